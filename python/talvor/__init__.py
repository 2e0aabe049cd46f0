"""JTAG targets behind pods, and simulated ones.

>>> import talvor
>>> with talvor.simulate() as pod:
...     print(pod.chain())
#  name    IDCODE      manufacturer  part    version  IR bits
1  gate    0x2C0DE7E3  0x3F1         0xC0DE  2        6
2  cpu     0x1A2B3C4D  0x626         0xA2B3  1        4
3  switch  none        -             -       -        5
4  dsp     0x3D5A07E3  0x3F1         0xD5A0  3        8
5  store   0x05707E35  0x71A         0x5707  0        10

:func:`open` opens a pod, :func:`simulate` a simulated one; both answer a :class:`Pod`. What goes
wrong is a :class:`TalvorError` that names the thing, the reason and the next step.
"""

from __future__ import annotations

from . import _core
from ._places import program_folder as _program_folder

_core.choose_program_folder(_program_folder())

from typing import TYPE_CHECKING, Any  # noqa: E402

from .chain import Chain, Device, IdCode  # noqa: E402
from .errors import (  # noqa: E402
    ClosedError,
    FileError,
    PodError,
    RefusedError,
    TalvorError,
    TargetError,
    UsageError,
    WrongTypeError,
)
from .pod import Pod, ResetEntry, open  # noqa: E402
from .simulation import Net, SimulatedPod, simulate  # noqa: E402
from .state import State  # noqa: E402

if TYPE_CHECKING:
    from .cli import CommandResult, command
    from .interconnect import Finding, InterconnectReport, CheckedNet
    from .pins import DrivenPins, Level, Pin, PinSample, Pins
    from .playing import Mismatch, Note, PlayReport, ProgramReport, Progress
    from .registers import Registers
    from .shmoo import Shmoo, ShmooClock
    from .target import TargetDevice, TargetDevices
    from .trace import Shift, Trace, read_vcd

# What is loaded when it is first used, so that importing the package takes little time.
_LATER = {
    "cli": ("CommandResult", "command"),
    "interconnect": ("Finding", "InterconnectReport", "CheckedNet"),
    "pins": ("DrivenPins", "Level", "Pin", "PinSample", "Pins"),
    "playing": ("Mismatch", "Note", "PlayReport", "ProgramReport", "Progress"),
    "registers": ("Registers",),
    "shmoo": ("Shmoo", "ShmooClock"),
    "target": ("TargetDevice", "TargetDevices"),
    "trace": ("Shift", "Trace", "read_vcd"),
}


def __getattr__(name: str) -> Any:
    for module, names in _LATER.items():
        if name in names or name == module:
            import importlib

            loaded = importlib.import_module(f".{module}", __name__)
            found = loaded if name == module else getattr(loaded, name)
            globals()[name] = found
            return found
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__() -> list[str]:
    return sorted({*globals(), *__all__})


__all__ = [
    "Chain",
    "CheckedNet",
    "ClosedError",
    "CommandResult",
    "Device",
    "DrivenPins",
    "FileError",
    "Finding",
    "IdCode",
    "InterconnectReport",
    "Level",
    "Mismatch",
    "Net",
    "Note",
    "Pin",
    "PinSample",
    "Pins",
    "PlayReport",
    "ProgramReport",
    "Pod",
    "PodError",
    "Progress",
    "RefusedError",
    "Registers",
    "ResetEntry",
    "Shift",
    "Shmoo",
    "ShmooClock",
    "SimulatedPod",
    "State",
    "TalvorError",
    "TargetDevice",
    "TargetDevices",
    "TargetError",
    "Trace",
    "UsageError",
    "WrongTypeError",
    "command",
    "open",
    "read_vcd",
    "simulate",
]
