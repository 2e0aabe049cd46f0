"""The scan chain and its devices."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from typing import TYPE_CHECKING, Any, overload

from . import _core
from ._html import table
from .errors import UsageError
from .state import State, StateLike, to_core

if TYPE_CHECKING:
    from .pins import Pins
    from .pod import Pod

__all__ = ["Chain", "Device", "IdCode"]


class IdCode(int):
    """A device identification code (IEEE 1149.1, clause 12.1): a number with named parts.

    >>> code = IdCode(0x1A2B3C4D)
    >>> code, code.version, hex(code.part), hex(code.manufacturer)
    (0x1A2B3C4D, 1, '0xa2b3', '0x626')
    """

    @property
    def version(self) -> int:
        """Bits 31 to 28."""
        return self >> 28

    @property
    def part(self) -> int:
        """Bits 27 to 12."""
        return (self >> 12) & 0xFFFF

    @property
    def manufacturer(self) -> int:
        """Bits 11 to 1: the bank in the upper four, the code in the lower seven."""
        return (self >> 1) & 0x7FF

    def __repr__(self) -> str:
        return f"0x{int(self):08X}"

    __str__ = __repr__


class Device:
    """One device of a chain. Its scans leave the other devices in BYPASS.

    Attributes:
        number: Its place in the chain, from 1, nearest TDI first.
        name: As the board file or the description of a simulated pod calls it; may be empty.
        idcode: Its code, or None where it answers with BYPASS after a reset.
        ir_bits: Length of its instruction register in bits; 0 where it is not known.
    """

    def __init__(
        self, pod: Pod, chain: _core.Chain, index: int, name: str, idcode: int | None, ir_bits: int
    ) -> None:
        self._pod = pod
        self._chain = chain
        self._index = index
        self.number = index + 1
        self.name = name
        self.idcode = None if idcode is None else IdCode(idcode)
        self.ir_bits = ir_bits

    def __repr__(self) -> str:
        name = f" {self.name}" if self.name else ""
        return f"<Device {self.number}{name} {self.idcode or 'without IDCODE'}>"

    def _scan(
        self,
        path: _core.ScanPath,
        data: Any,
        bits: int | None,
        end: StateLike,
        fast: bool,
        into: Any,
    ) -> Any:
        if not self._chain.lengths_known:
            raise UsageError(
                f"device {self.number}",
                "the instruction lengths of the chain are ambiguous",
                "give them with ir_lengths=, nearest TDI first, or in the board file",
            )
        try:
            return self._pod._connection.scan_device(
                self._chain, self._index, path, data, bits, to_core(end), fast, into
            )
        except TypeError as error:
            from .pod import _scan_mistake

            raise _scan_mistake(error, bits) from None

    @property
    def pins(self) -> Pins:
        """Its pins, by boundary scan; the other devices are in BYPASS. See :class:`talvor.Pins`."""
        from .pins import Pins

        return Pins(self._pod, str(self.number))

    @overload
    def ir(self, data: int, *, end: StateLike = ..., fast: bool = ...) -> int: ...
    @overload
    def ir(self, data: Any, *, end: StateLike = ..., fast: bool = ...) -> Any: ...
    def ir(self, data: Any, *, end: StateLike = State.IDLE, fast: bool = False) -> Any:
        """Shift an instruction into this device, and ones, which are BYPASS, into the others.

        Args:
            data: The instruction; bit 0 is shifted first. Its length is the device's own.
            end: State to end in.
            fast: See :meth:`Pod.dr`.

        Returns:
            What the instruction register captured.
        """
        bits = None if isinstance(data, int) else self.ir_bits
        return self._scan(_core.ScanPath.IR, data, bits, end, fast, None)

    @overload
    def dr(
        self,
        data: int = ...,
        *,
        bits: int | None = ...,
        ir: int | None = ...,
        end: StateLike = ...,
        fast: bool = ...,
    ) -> int: ...
    @overload
    def dr(
        self,
        data: Any = ...,
        *,
        bits: int | None = ...,
        ir: int | None = ...,
        end: StateLike = ...,
        fast: bool = ...,
        into: Any = ...,
    ) -> Any: ...
    def dr(
        self,
        data: Any = 0,
        *,
        bits: int | None = None,
        ir: int | None = None,
        end: StateLike = State.IDLE,
        fast: bool = False,
        into: Any = None,
    ) -> Any:
        """Shift data through this device's register; the others' BYPASS bits are taken care of.

        Args:
            data: An int, bytes, or anything with a contiguous buffer; bit 0 is shifted first.
            bits: How many bits; must be given with an int.
            ir: An instruction to shift into the device before.
            end: State to end in.
            fast: See :meth:`Pod.dr`.
            into: A writable buffer for the answer.

        Returns:
            What came out: an int for an int, else bytes; ``into`` where that is given.
        """
        if ir is not None:
            self.ir(ir)
        return self._scan(_core.ScanPath.DR, data, bits, end, fast, into)


class Chain(Sequence[Device]):
    """The devices of a chain, the one nearest TDI first.

    Indexed by place (from 0), or by what a person calls a device: its name, capitals or not, else
    its number (from 1) as a text.
    """

    def __init__(
        self, pod: Pod, core: _core.Chain, names: Sequence[str] = (), names_first: bool = False
    ) -> None:
        found = core.devices()
        if len(names) != len(found):
            names = [""] * len(found)
        self._core = core
        self._devices = [
            Device(
                pod, core, index, known or name if names_first else name or known, idcode, ir_bits
            )
            for index, ((name, idcode, ir_bits), known) in enumerate(zip(found, names))
        ]

    @property
    def lengths_known(self) -> bool:
        """Whether the length of each instruction register is known."""
        return self._core.lengths_known

    @property
    def ir_bits(self) -> int:
        """Length of all instruction registers together, in bits."""
        return sum(device.ir_bits for device in self) or self._core.instruction_bits()

    def __len__(self) -> int:
        return len(self._devices)

    def __iter__(self) -> Iterator[Device]:
        return iter(self._devices)

    @overload
    def __getitem__(self, key: int | str) -> Device: ...
    @overload
    def __getitem__(self, key: slice) -> list[Device]: ...
    def __getitem__(self, key: int | str | slice) -> Device | list[Device]:
        if not isinstance(key, str):
            return self._devices[key]
        try:
            return self._devices[_core.find_device([device.name for device in self], key)]
        except UsageError as error:
            said = f"{error.thing}: {error.reason}"
            raise KeyError(f"{said}; {error.next_step}" if error.next_step else said) from None

    def _rows(self) -> list[tuple[str, ...]]:
        return [
            (
                str(device.number),
                device.name,
                "none" if device.idcode is None else repr(device.idcode),
                "-" if device.idcode is None else f"0x{device.idcode.manufacturer:03X}",
                "-" if device.idcode is None else f"0x{device.idcode.part:04X}",
                "-" if device.idcode is None else str(device.idcode.version),
                str(device.ir_bits or "?"),
            )
            for device in self
        ]

    _HEADS = ("#", "name", "IDCODE", "manufacturer", "part", "version", "IR bits")

    def __repr__(self) -> str:
        rows = [self._HEADS, *self._rows()]
        widths = [max(len(cell) for cell in column) for column in zip(*rows)]
        lines = ("  ".join(cell.ljust(width) for cell, width in zip(row, widths)) for row in rows)
        return "\n".join(line.rstrip() for line in lines)

    def _repr_html_(self) -> str:
        """A table, for notebooks."""
        return table(self._HEADS, self._rows())
