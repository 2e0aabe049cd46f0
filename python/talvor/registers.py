"""The controller's registers, for who debugs a pod."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Final, overload

from ._arguments import integer
from .errors import UsageError

if TYPE_CHECKING:
    from .pod import Pod

__all__ = ["Registers"]

_COUNT: Final = 32
_MOST: Final = 0xFFFF


class Registers:
    """The registers of a pod's scan controller: 16 bits each, indexed by number, 0 to 31.

    0 to 15 are read from the driver's cache, and only changes of them are sent.

    >>> import talvor
    >>> with talvor.simulate() as pod:
    ...     len(pod.registers[0:4])
    4
    """

    def __init__(self, pod: Pod) -> None:
        self._pod = pod

    def __len__(self) -> int:
        return _COUNT

    @overload
    def __getitem__(self, key: int) -> int: ...
    @overload
    def __getitem__(self, key: slice) -> list[int]: ...
    def __getitem__(self, key: int | slice) -> int | list[int]:
        first, count = self._stretch(key)
        if count == 0:
            return []
        values = self._pod._connection.registers(first, count, False)
        return values if isinstance(key, slice) else values[0]

    @overload
    def __setitem__(self, key: int, value: int) -> None: ...
    @overload
    def __setitem__(self, key: slice, value: Sequence[int]) -> None: ...
    def __setitem__(self, key: int | slice, value: int | Sequence[int]) -> None:
        first, count = self._stretch(key)
        given = list(value) if isinstance(value, Sequence) else [value]
        values = [integer("value", one, -1 << 63) for one in given]
        if len(values) != count:
            raise UsageError(
                f"{count} registers from {first}",
                f"there are {len(values)} values for them",
                "give one value each",
            )
        for one in values:
            if not 0 <= one <= _MOST:
                raise UsageError(f"value {one:#x}", "a register has 16 bits", "give 0 to 0xFFFF")
        if values:
            self._pod._connection.put_registers(first, False, values)

    def read_again(self, number: int, count: int) -> list[int]:
        """Read register ``number`` ``count`` times, one after the other."""
        first, _ = self._stretch(number)
        return self._pod._connection.registers(first, integer("count", count, 1, _MOST), True)

    def write_again(self, number: int, values: Sequence[int]) -> None:
        """Write ``values`` to register ``number``, one after the other."""
        first, _ = self._stretch(number)
        given = [integer("value", one, 0, _MOST) for one in values]
        self._pod._connection.put_registers(first, True, given)

    def poll(self, condition: str) -> None:
        """Let the pod wait for a condition.

        Args:
            condition: idle, ready, write-one, write-many, read-one or read-many.
        """
        self._pod._connection.poll(str(condition))

    @staticmethod
    def _stretch(key: int | slice) -> tuple[int, int]:
        if isinstance(key, slice):
            first, end, step = key.indices(_COUNT)
            if step != 1:
                raise UsageError("registers", "they are read in a row", "leave the step away")
            return first, max(0, end - first)
        number = integer("register", key, -1 << 63)
        if not 0 <= number < _COUNT:
            raise IndexError(f"register {number}: there are 0 to {_COUNT - 1}")
        return number, 1
