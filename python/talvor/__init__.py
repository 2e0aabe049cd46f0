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

from .chain import Chain, Device, IdCode  # noqa: E402
from .errors import (  # noqa: E402
    ClosedError,
    FileError,
    PodError,
    RefusedError,
    TalvorError,
    TargetError,
    UsageError,
)
from .playing import Mismatch, Note, PlayReport, ProgramReport, Progress  # noqa: E402
from .pod import Pod, ResetEntry, open  # noqa: E402
from .registers import Registers  # noqa: E402
from .shmoo import Shmoo, ShmooClock  # noqa: E402
from .simulation import SimulatedPod, simulate  # noqa: E402
from .state import State  # noqa: E402
from .trace import Shift, Trace, read_vcd  # noqa: E402

__all__ = [
    "Chain",
    "ClosedError",
    "Device",
    "FileError",
    "IdCode",
    "Mismatch",
    "Note",
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
    "TargetError",
    "Trace",
    "UsageError",
    "open",
    "read_vcd",
    "simulate",
]
