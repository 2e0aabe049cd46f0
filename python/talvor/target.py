"""The devices of a simulated target, seen past the TAP."""

from __future__ import annotations

from collections.abc import Iterator, Mapping, MutableMapping
from typing import TYPE_CHECKING, Any

from ._arguments import integer

if TYPE_CHECKING:
    from .simulation import SimulatedPod

__all__ = ["TargetDevice", "TargetDevices"]


class TargetDevice(MutableMapping[str, int]):
    """A device: its data registers by name, what each would capture now as an int.

    Setting one changes what it captures from the next capture on, until something else changes it
    or power comes back. Which those are the description tells; ``idcode`` is one. Registers that
    cannot be set, as a memory, raise a :class:`talvor.UsageError`.
    """

    def __init__(self, pod: SimulatedPod, name: str) -> None:
        self._pod = pod
        self.name = name

    def _facts(self) -> dict[str, Any]:
        for device in self._pod._asked("registers")["devices"]:
            if device["name"] == self.name:
                return dict(device)
        raise KeyError(self.name)

    @property
    def instruction(self) -> int:
        """What its instruction register holds."""
        return int(self._facts()["instruction"], 16)

    def bits(self, register: str) -> int:
        """The length of a register in bits."""
        return int(self._facts()["registers"][register]["bits"])

    def __getitem__(self, register: str) -> int:
        return int(self._facts()["registers"][register]["value"], 16)

    def __setitem__(self, register: str, value: int) -> None:
        self._pod._settle()
        self._pod._fault(f"register {self.name} {register} {integer('value', value):#x}")

    def __delitem__(self, register: str) -> None:
        raise TypeError("a device keeps its registers")

    def __iter__(self) -> Iterator[str]:
        return iter(self._facts()["registers"])

    def __len__(self) -> int:
        return len(self._facts()["registers"])

    def __repr__(self) -> str:
        return f"<TargetDevice {self.name}>"


class TargetDevices(Mapping[str, TargetDevice]):
    """The devices by name, the one nearest TDI first."""

    def __init__(self, pod: SimulatedPod) -> None:
        self._pod = pod

    def _names(self) -> list[str]:
        return [str(device["name"]) for device in self._pod._asked("registers")["devices"]]

    def __getitem__(self, name: str) -> TargetDevice:
        names = self._names()
        if name not in names:
            raise KeyError(f"{name!r}: the devices are {names}")
        return TargetDevice(self._pod, name)

    def __iter__(self) -> Iterator[str]:
        return iter(self._names())

    def __len__(self) -> int:
        return len(self._names())

    def __repr__(self) -> str:
        return f"<TargetDevices {self._names()}>"
