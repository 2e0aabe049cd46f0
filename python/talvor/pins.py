"""Pins of the target's devices through their boundary registers (IEEE 1149.1, boundary scan).

It needs the devices' BSDL files: named in the board file, or given with ``bsdl=``; a simulated pod
takes those that its description names.

>>> import talvor
>>> with talvor.simulate() as pod:  # whose devices have none
...     try:
...         pod.pins.sample()
...     except talvor.UsageError as error:
...         print(error.reason)
no device of the chain has a description
"""

from __future__ import annotations

import contextlib
import time
import weakref
from collections.abc import Iterator, Mapping, Sequence
from typing import TYPE_CHECKING, Final, Literal, NamedTuple, overload

from . import _core
from ._arguments import number
from ._html import table
from .errors import RefusedError, TalvorError, UsageError, WrongTypeError

if TYPE_CHECKING:
    from types import TracebackType

    from .pod import Pod

__all__ = ["DrivenPins", "Level", "Pin", "PinSample", "Pins"]

Level = Literal[0, 1, "Z"]
"""What a pin has or is given; ``"Z"`` is an output that is disabled."""

_LEVELS: Final[tuple[Level, Level, Level]] = (0, 1, "Z")


def _level(code: int | None) -> Level | None:
    return None if code is None else _LEVELS[code]


def _settings(levels: Mapping[str, Level]) -> list[str]:
    """The words of the host library: ``u1.PA(3)=1``."""
    if not isinstance(levels, Mapping):
        raise WrongTypeError(
            f"{levels!r}",
            "is no mapping of pins to levels",
            'give one, as in {"u1.PA(3)": 1, "u1.PA(4)": "Z"}',
        )
    words = []
    for name, level in levels.items():
        if level in ("z", "Z"):
            word = "Z"
        elif level in (0, 1):
            word = str(int(level))
        else:
            raise UsageError(f"{name}: {level!r}", "is no level", 'give 0, 1 or "Z"')
        words.append(f"{name}={word}")
    return words


class Pin(NamedTuple):
    """A pin that the boundary register of its device reaches.

    Attributes:
        device: The device as the board file, or the description of a simulated pod, calls it.
        number: The device's place in the chain, from 1, nearest TDI first.
        part: What its BSDL file calls it.
        signal: The signal, as in ``PA(3)``.
        package_pin: The pin of the package, as in ``14``; empty where the file has none.
        direction: in, out, inout, buffer or linkage, as the file says.
        observing_cell: The cell that tells its level, or None.
        driving_cell: The cell of its output, or None.
        control_cell: The cell that enables the output, or None where nothing does.
    """

    device: str
    number: int
    part: str
    signal: str
    package_pin: str
    direction: str
    observing_cell: int | None
    driving_cell: int | None
    control_cell: int | None

    @property
    def name(self) -> str:
        """``u1.PA(3)``."""
        return f"{self.device}.{self.signal}"


class PinSample(Mapping[str, "Level | None"]):
    """Levels of pins at one moment, by name: 0, 1, ``"Z"``, or None where nothing is known.

    A pin may be called as the host library calls it (``u1.PA(3)``), by its package pin (``u1.14``),
    and without its device where only one has such a pin.

    Attributes:
        seconds: When it was taken, from the first sample of a :meth:`Pins.watch` on.
        changed: Names of the pins that have changed since the sample before.
    """

    def __init__(
        self,
        pins: Pins,
        levels: list[int | None],
        seconds: float = 0.0,
        before: PinSample | None = None,
    ) -> None:
        self._pins = pins
        self._levels = [_level(code) for code in levels]
        self.seconds = seconds
        self.changed: tuple[str, ...] = ()
        if before is not None:
            pairs = zip(pins, self._levels, before._levels)
            self.changed = tuple(pin.name for pin, now, then in pairs if now != then)

    def __getitem__(self, name: str) -> Level | None:
        return self._levels[self._pins._place(name)]

    def __contains__(self, name: object) -> bool:
        if not isinstance(name, str):
            return False
        try:
            self._pins._place(name)
        except TalvorError:
            return False
        return True

    def __iter__(self) -> Iterator[str]:
        return (pin.name for pin in self._pins)

    def __len__(self) -> int:
        return len(self._levels)

    def __repr__(self) -> str:
        cells = (
            f"{pin.name}={'-' if level is None else level}"
            for pin, level in zip(self._pins, self._levels)
        )
        return " ".join(cells)

    def _repr_html_(self) -> str:
        """A table, for notebooks."""
        rows = [
            (pin.name, pin.package_pin, pin.direction, "-" if level is None else str(level))
            for pin, level in zip(self._pins, self._levels)
        ]
        return table(("pin", "package pin", "direction", "level"), rows)


def _let_go(connection: _core.Connection, driven: _core.DrivenPins) -> None:
    """For driven pins that nobody keeps any more, and at the end of the program."""
    try:
        connection.let_go(driven)
    except TalvorError:
        pass  # nobody can be told


class DrivenPins:
    """Pins that boundary registers drive, until they are let go. Made by :meth:`Pins.drive`.

    The end of the ``with`` block, :meth:`leave`, the end of the pod or of the program give every
    boundary register its safe values, then every device BYPASS, then reset the TAPs; each of these
    steps is taken even if the one before it failed. Meanwhile nothing else may use the target.

    Attributes:
        notes: What else happens to pins that nobody named.
    """

    def __init__(self, pins: Pins, core: _core.DrivenPins, notes: list[str]) -> None:
        self._pins = pins
        self._core = core
        self._connection = pins._pod._connection
        self.notes = tuple(notes)
        self._end = weakref.finalize(self, _let_go, self._connection, core)

    @property
    def driving(self) -> bool:
        """Whether they are still driven."""
        return self._core.entered()

    def set(self, levels: Mapping[str, Level]) -> None:
        """Drive these levels, too; the others stay as they are. All change at once.

        Args:
            levels: 0, 1 or ``"Z"`` by the name of the pin.
        """
        notes = self._connection.set_pins(self._core, self._pins._found(), _settings(levels))
        self.notes += tuple(note for note in notes if note not in self.notes)

    def __setitem__(self, name: str, level: Level) -> None:
        self.set({name: level})

    def read(self) -> PinSample:
        """What the pins read now; with INTEST what the devices' own logic gives to them."""
        found = self._pins._found()
        return PinSample(self._pins, self._connection.read_pins(self._core, found))

    def __getitem__(self, name: str) -> Level | None:
        return self.read()[name]

    def leave(self) -> None:
        """Let go, the safe way. A second call does nothing."""
        self._connection.let_go(self._core)

    def __enter__(self) -> DrivenPins:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.leave()


class Pins:
    """The pins of a pod's target, or of one of its devices: ``pod.pins``, ``device.pins``.

    The chain is looked for once, when a pin is first asked for; that resets the TAPs.
    """

    def __init__(self, pod: Pod, device: str = "") -> None:
        self._pod = pod
        self._device = device
        self._core: _core.Pins | None = None
        self._pins: list[Pin] = []

    def _found(self) -> _core.Pins:
        if self._core is None:
            names = self._pod._names_that_hold()
            self._core = self._pod._connection.find_pins(self._device, names)
            self._pins = [Pin(*facts) for facts in self._core.facts()]
        return self._core

    def _place(self, name: str) -> int:
        if not isinstance(name, str):
            raise WrongTypeError(f"{name!r}", "is no name of a pin", "give one, as in 'u1.PA(3)'")
        return self._found().find(name)

    @property
    def notes(self) -> tuple[str, ...]:
        """What is to be known of the devices: those that stay out of it, compliance patterns."""
        return tuple(self._found().notes)

    def __len__(self) -> int:
        self._found()
        return len(self._pins)

    def __iter__(self) -> Iterator[Pin]:
        self._found()
        return iter(self._pins)

    def __getitem__(self, name: str) -> Pin:
        place = self._place(name)
        return self._pins[place]

    def __repr__(self) -> str:
        return "\n".join(f"{pin.name:20} {pin.package_pin:6} {pin.direction}" for pin in self)

    def _repr_html_(self) -> str:
        """A table, for notebooks."""
        heads = ("pin", "package pin", "direction", "part")
        return table(heads, [(p.name, p.package_pin, p.direction, p.part) for p in self])

    def _sample(self, stay: bool) -> list[int | None]:
        return self._pod._connection.sample(self._found(), stay)

    def sample(self) -> PinSample:
        """The levels of all pins while the target runs on (SAMPLE). Resets the TAPs."""
        return PinSample(self, self._sample(False))

    @overload
    def get(self, name: str, /) -> Level | None: ...
    @overload
    def get(self, name: str, second: str, /, *more: str) -> list[Level | None]: ...
    def get(self, *names: str) -> Level | None | list[Level | None]:
        """The level of a pin, or of several at the same moment; see :meth:`sample`."""
        for name in names:
            self._place(name)  # what is wrong with it is told before anything moves
        taken = self.sample()
        levels = [taken[name] for name in names]
        return levels[0] if len(levels) == 1 else levels

    def watch(self, seconds: float = 0.05, *, count: int | None = None) -> Iterator[PinSample]:
        """Sample again and again.

        The pod may be used in between; who does pays for finding the way back into SAMPLE.

        Args:
            seconds: From sample to sample; samples that are late are not made up for.
            count: How many; None: for ever.
        """
        period = number("seconds", seconds)
        connection = self._pod._connection
        began = due = time.monotonic()
        before: PinSample | None = None
        taken = 0
        try:
            while count is None or taken < count:
                time.sleep(max(0.0, due - time.monotonic()))
                now = time.monotonic()
                before = PinSample(self, self._sample(True), now - began, before)
                taken += 1
                due = max(due + period, now)
                yield before
        finally:
            if not self._pod.closed:
                with contextlib.suppress(RefusedError):  # who drives pins now resets the TAPs
                    connection.leave_sampling(self._found())

    def drive(
        self,
        levels: Mapping[str, Level] | None = None,
        *,
        instruction: Literal["extest", "clamp", "highz", "intest"] = "extest",
        enable_others: bool = False,
        compliance_met: bool = False,
    ) -> DrivenPins:
        """Drive pins, from now until they are let go; to be used in a ``with`` block.

        Devices of which no pin is named stay in BYPASS, and run on; without any level all devices
        drive their safe values. Pins that nobody named have their safe values, too.

        Args:
            levels: 0, 1 or ``"Z"`` by the name of the pin.
            instruction: extest; clamp, with BYPASS in the chain, where nothing is read back; highz,
                which takes no levels and disables all outputs; intest, which drives the inputs of
                the devices' own logic.
            enable_others: Also where that enables, disables or drives pins that were not named.
            compliance_met: The pins of COMPLIANCE_PATTERNS stand as the devices want them.

        Raises:
            RefusedError: An output that nothing can disable is to be ``"Z"``; a shared cell would
                change other pins; a device complies only under conditions. Nothing is driven.
            TargetError: The chain answers otherwise than its descriptions say. Nothing is driven.
        """
        if instruction == "highz" and levels:
            raise UsageError(
                "instruction='highz'", "it disables every output", "leave the levels away"
            )
        core, notes = self._pod._connection.drive_pins(
            self._found(), _settings(levels or {}), instruction, enable_others, compliance_met
        )
        return DrivenPins(self, core, notes)

    def set(
        self,
        levels: Mapping[str, Level],
        *,
        hold: float,
        enable_others: bool = False,
        compliance_met: bool = False,
    ) -> PinSample:
        """Drive pins for ``hold`` seconds by EXTEST, then let go; what they read meanwhile."""
        seconds = number("hold", hold)
        with self.drive(
            levels, enable_others=enable_others, compliance_met=compliance_met
        ) as driven:
            reads = driven.read()
            time.sleep(seconds)
        return reads

    def to_svg(self, device: str | int | None = None) -> str:
        """A picture of a device's package with the levels of a new sample.

        Args:
            device: Its name, or its number from 1; may be left away where there is only one.
        """
        numbers = {pin.device: pin.number for pin in self}
        if isinstance(device, int) and device in numbers.values():
            place = device
        elif isinstance(device, str) and device in numbers:
            place = numbers[device]
        elif device is None and len(numbers) == 1:
            place = next(iter(numbers.values()))
        else:
            raise UsageError(f"device={device!r}", "is none of them", f"choose of {list(numbers)}")
        self._sample(False)
        return self._found().package_svg(place)
