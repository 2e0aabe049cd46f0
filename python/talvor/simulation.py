"""Simulated pods: the same scans, and faults on demand."""

from __future__ import annotations

import os
import weakref
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, Final, Literal, NamedTuple

from . import _core
from ._arguments import integer
from ._arguments import path as path_of
from .errors import PodError, RefusedError, TalvorError, UsageError
from .pod import Path, Pod, connect

if TYPE_CHECKING:
    from .pins import Level
    from .target import TargetDevices
    from .trace import Trace

__all__ = ["Net", "SimulatedPod", "simulate"]

_TRACE_BYTES: Final = 1 << 28
_CONTROL_PATIENCE_SECONDS: Final = 10.0

_WIRES: Final = ("tck", "tms", "tdi", "tdo", "trst")

# The one that runs in this process; the driver finds pods by a name that is the same for all.
_running: weakref.ref[SimulatedPod] | None = None


def _end(
    connection: _core.Connection, simulation: _core.Simulation, folder: str, owner: int
) -> None:
    """Disconnect, then end the simulator. In a copy of the process both are the parent's."""
    import shutil

    try:
        connection.close()
    finally:
        if os.getpid() == owner:
            try:
                simulation.stop()
            finally:
                shutil.rmtree(folder, ignore_errors=True)


def _wire(name: str) -> str | None:
    """The wire of the cable that is called so."""
    word = str(name).lower()
    word = "trst" if word == "trstn" else word
    return word if word in _WIRES else None


def _level_word(level: Any) -> str:
    if level in (0, 1):
        return str(int(level))
    if level in ("z", "Z"):
        return "Z"
    raise UsageError(f"level {level!r}", "is no level", 'give 0, 1 or "Z"')


class Net(NamedTuple):
    """A net of the simulated board.

    Attributes:
        name: Its own, or that of its first pin.
        level: 0 or 1.
        driven: floating, keeper, weak, pull, strong, or stuck.
        contention: Outputs drive it against each other.
        pins: The pins that it joins, as in ``u1.PA(3)``.
    """

    name: str
    level: Literal[0, 1]
    driven: str
    contention: bool
    pins: list[str]


class SimulatedPod(Pod):
    """A pod with a simulated target of this process's own. Made by :func:`talvor.simulate`.

    What the methods break stays broken until it is mended, or the pod is closed.

    >>> import talvor
    >>> with talvor.simulate() as pod:
    ...     pod.power_off()
    ...     try:
    ...         pod.chain()
    ...     except talvor.TargetError as error:
    ...         print(error.thing)
    TDO
    """

    def __init__(
        self,
        connection: _core.Connection,
        names: Sequence[str],
        simulation: _core.Simulation,
        folder: str,
        traced: bool,
        names_first: bool,
    ) -> None:
        super().__init__(connection, names, names_first)
        self._simulation = simulation
        self._folder = folder
        self._traced = traced
        self._several = False
        # A pod that nobody keeps, or that is open when the program ends, ends as one that is closed.
        self._end = weakref.finalize(self, _end, connection, simulation, folder, os.getpid())

    def close(self) -> None:
        """Disconnect, and end the simulated pod. A second call does nothing."""
        try:
            super().close()
        finally:
            if self.closed:
                self._end()

    # --- faults -----------------------------------------------------------------------------------

    def command(self, line: str) -> str:
        """Give the simulator a command, as ``talvor-podsim ctl`` does; its answer.

        Raises:
            UsageError: The simulator knows no such command.
        """
        self._settle()
        return self._ask(line)

    def _ask(self, line: str) -> str:
        import socket

        if self.closed:
            self._connection.flush()  # which says so
        if "\n" in line:
            raise UsageError(line, "is more than one line", "give one command")
        try:
            with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as control:
                control.settimeout(_CONTROL_PATIENCE_SECONDS)
                control.connect(os.path.join(self._folder, "control"))
                control.sendall(line.encode() + b"\n")
                answer = control.makefile("rb").readline().decode().rstrip("\n")
        except OSError as error:
            raise PodError("simulator", f"it does not answer: {error}") from error
        if answer.startswith("error: "):
            raise UsageError(line, answer.removeprefix("error: "))
        return answer

    def _fault(self, words: str) -> None:
        self._of_this(words)

    def _of_this(self, words: str) -> str:
        prefix = f"pod {self.serial} " if self._several else ""
        return self._ask(prefix + words)

    def _asked(self, words: str) -> Any:
        """The document that a question is answered with, after everything that is queued."""
        import json

        self._settle()
        return json.loads(self._of_this(words))

    def power_off(self) -> None:
        """Take the target's power away."""
        self._fault("power off")

    def power_on(self) -> None:
        """Give the target its power back."""
        self._fault("power on")

    def clock_off(self) -> None:
        """Stop the test clock on its way to the target."""
        self._fault("clock off")

    def clock_on(self) -> None:
        """Let the test clock go through again."""
        self._fault("clock on")

    def emu0(self, high: bool) -> None:
        """Set the level of EMU0."""
        self._fault(f"emu0 {'high' if high else 'low'}")

    def emu1(self, high: bool) -> None:
        """Set the level of EMU1."""
        self._fault(f"emu1 {'high' if high else 'low'}")

    def fail_batches(self, count: int = 1) -> None:
        """Let the next ``count`` exchanges with the pod fail."""
        self._fault(f"fail {integer('count', count)}")

    def refuse_writes(self, count: int = 1) -> None:
        """Let the pod refuse the next ``count`` writes to its support registers."""
        self._fault(f"refuse {integer('count', count)}")

    def latency(self, microseconds: int) -> None:
        """Let each exchange with the pod take that many microseconds longer."""
        self._fault(f"latency {integer('microseconds', microseconds)}")

    def loopback(self, fault: str) -> None:
        """Break the controller's loop-back path.

        Args:
            fault: high-ff, low-ff, high-00, low-00 or corrupt; ok mends it.
        """
        self._fault(f"loopback {fault}")

    def unplug(self) -> None:
        """Take the pod away."""
        self._fault("unplug")

    def plug(self) -> None:
        """Bring the pod back."""
        self._fault("plug")

    # --- wires and nets ---------------------------------------------------------------------------

    def break_net(self, name: str) -> None:
        """Break a wire of the cable, or a net or a pin's joint of the board.

        Args:
            name: TCK, TMS, TDI, TDO or TRST, of the cable: inputs and TDO then read 1. Else a net
                of the description, which no pin then reaches another over, or a pin, as in
                ``u1.PA(3)``.

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     pod.break_net("TDO")
        ...     try:
        ...         pod.chain()
        ...     except talvor.TargetError as error:
        ...         print(error.thing)
        ...     pod.mend_net("TDO")
        ...     len(pod.chain())
        TDO
        5
        """
        wire = _wire(name)
        self._fault(f"cable {wire} open" if wire else f"fault open {name}")

    def stick_net(self, name: str, level: Literal[0, 1]) -> None:
        """Let a wire, a net or a pin touch ground (0) or the supply (1).

        Args:
            name: See :meth:`break_net`.
            level: 0 or 1.
        """
        word = str(integer("level", level, 0, 1))
        wire = _wire(name)
        self._fault(f"cable {wire} {word}" if wire else f"fault stuck {name} {word}")

    def short_nets(
        self, *names: str, model: Literal["wired-and", "wired-or", "strong"] = "wired-and"
    ) -> None:
        """Join nets of the board.

        Args:
            names: Two nets or more.
            model: What they come to where they are driven differently: 0, 1, or what the first has.
        """
        self._fault(f"fault short {' '.join(names)} {model}")

    def kill_device(self, name: str, *, tdo: Literal[0, 1] = 1) -> None:
        """Let a device drive no pin and answer nothing; its TDO stands still at ``tdo``."""
        self._fault(f"fault dead {name} {integer('tdo', tdo, 0, 1)}")

    def swap_devices(self, one: str, other: str) -> None:
        """Let two devices stand in each other's place in the chain."""
        self._fault(f"fault swapped {one} {other}")

    def mend_net(self, name: str) -> None:
        """Mend what :meth:`break_net` or :meth:`stick_net` has done to a wire, a net or a pin."""
        wire = _wire(name)
        if wire is not None:
            self._fault(f"cable {wire} ok")
            return
        self._settle()
        mended = 0
        for fault in self.faults:
            kind, *places = fault.split()
            if kind in ("open", "stuck") and places[0] == name:
                self._fault(f"mend {kind} {name}")
                mended += 1
        if mended == 0:
            raise UsageError(name, "nothing is wrong with it", "the attribute faults has what is")

    def mend_all(self) -> None:
        """Mend every wire, and every fault of the board. Power, clock and the like stay away."""
        self._fault("cable ok")
        if self.faults:
            self._fault("mend all")

    @property
    def faults(self) -> list[str]:
        """What is wrong with the board, as :meth:`command` would say it behind ``fault``.

        Of wires of the cable ``status()["cable"]`` tells.
        """
        return [str(fault) for fault in self._asked("board")["faults"]]

    @property
    def nets(self) -> dict[str, Net]:
        """The nets of the simulated board by name, after everything that is queued."""
        return {net["name"]: Net(**net) for net in self._asked("board")["nets"]}

    def level(self, place: str) -> Literal[0, 1]:
        """The level of a net or a pin of the simulated board."""
        self._settle()
        return 1 if self._of_this(f"level {place}") == "1" else 0

    def drive(self, net: str, level: Level) -> None:
        """Let the board itself drive a net, as a switch or a connector does; ``"Z"`` lets go."""
        self._fault(f"drive {net} {_level_word(level)}")

    def core(self, pin: str, level: Level) -> None:
        """Let a device's own logic drive a pin, until power comes back; ``"Z"`` lets go."""
        self._fault(f"core {pin} {_level_word(level)}")

    @property
    def target(self) -> TargetDevices:
        """The devices of the simulated target, with their registers, read and set past the TAP.

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     pod.device["cpu"].dr(0xCAFE, bits=32, ir=0b1000) >= 0
        ...     hex(pod.target["cpu"]["scratch"])
        ...     pod.target["cpu"]["idcode"] = 0x0BADC0DF
        ...     pod.chain()["cpu"].idcode
        True
        '0xcafe'
        0x0BADC0DF
        """
        from .target import TargetDevices

        return TargetDevices(self)

    def status(self) -> dict[str, Any]:
        """How the pod stands, after everything that is queued: faults, counts, the TAP's state.

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     pod.move("pausedr")
        ...     pod.status()["tap_state"]
        'Pause-DR'
        """
        import json

        self._settle()
        pods = json.loads(self._ask("status"))["pods"]
        serial = self.serial
        return next(dict(one) for one in pods if one["serial"] == serial)

    # --- what the target saw ----------------------------------------------------------------------

    def trace(
        self, *, first: int = 0, count: int = 200, last: bool = False, title: str = ""
    ) -> Trace:
        """A stretch of what the target has seen so far; needs ``simulate(trace=True)``.

        Args:
            first: First test clock of the stretch.
            count: Test clocks, at most.
            last: The last ``count`` test clocks instead.
            title: For the picture.

        >>> import talvor
        >>> with talvor.simulate(trace=True) as pod:
        ...     _ = pod.ir(0x2A, bits=8)
        ...     ours = [shift for shift in pod.trace(count=1000).shifts if not shift.purpose]
        >>> ours[-1].path, hex(ours[-1].tdi)
        ('ir', '0x2a')
        """
        from .trace import Trace

        if not self._traced:
            raise RefusedError(
                "trace", "the simulated pod writes none", "open it with simulate(trace=True)"
            )
        self._settle()
        path = os.path.join(self._folder, self._trace_name())
        core = _core.read_vcd(
            path, integer("first", first), integer("count", count), bool(last), self._connection
        )
        return Trace(core, title)

    def _settle(self) -> None:
        """Let everything that is queued reach the target, where the pod still takes it."""
        try:
            self.flush()
        except TalvorError:
            if self.closed:
                raise

    def _trace_name(self) -> str:
        return f"trace-{self.serial}.vcd" if self._several else "trace.vcd"


def simulate(
    description: Path | None = None,
    *,
    text: str | None = None,
    trace: bool = False,
    trace_bytes: int = _TRACE_BYTES,
    board: Path | None = None,
    serial: int | None = None,
    library: Path | None = None,
    link_delay: int | None = None,
    max_hertz: float | None = None,
    ir_lengths: Sequence[int] = (),
    bsdl: Path | None = None,
    patience: float = 60.0,
) -> SimulatedPod:
    """Start a simulated pod, and open it.

    It stands in a ``/dev/shm`` of this process's own, so that no other program meets it, and this
    process sees no other pod from then on. Start threads afterwards. There is one at a time.

    Args:
        description: A description file; without one a chain of five devices.
        text: The description itself.
        trace: Write down what the target sees, for :meth:`SimulatedPod.trace`. Scans are slower.
        trace_bytes: Largest size of that; what comes later is lost. 0: no limit.
        board, serial, library, link_delay, max_hertz, ir_lengths, patience: See
            :func:`talvor.open`; without a board the pod's own defaults hold.
        bsdl: See :func:`talvor.open`; else the folder of the files that the description names.

    Raises:
        FileError: The description cannot be used.
        RefusedError: This process has a simulated pod already.
    """
    global _running
    if description is not None and text is not None:
        raise UsageError("description, text", "there are two", "give one of them")
    if _running is not None and (other := _running()) is not None and not other.closed:
        raise RefusedError(
            "simulate",
            "this process has a simulated pod already",
            "close it first; several pods may stand in one description",
        )
    import contextlib
    import shutil
    import tempfile

    folder = tempfile.mkdtemp(prefix="talvor-")
    simulation: _core.Simulation | None = None
    try:
        if text is not None:
            description = os.path.join(folder, "description.toml")
            with open(description, "w", encoding="utf-8") as file:
                file.write(text)
        source = "" if description is None else path_of("description", description)
        simulation = _core.Simulation(
            source,
            os.path.join(folder, "control"),
            os.path.join(folder, "trace.vcd") if trace else "",
            integer("trace_bytes", trace_bytes),
        )
        if note := simulation.note():
            import warnings

            warnings.warn(note, RuntimeWarning, stacklevel=2)
        pods = _pods_of(source)
        if bsdl is None:
            bsdl = _bsdl_folder(source, pods, serial)
        connection = connect(
            board, serial, library, link_delay, max_hertz, ir_lengths, patience, 0.0, False, bsdl
        )
    except BaseException:
        if simulation is not None:
            with contextlib.suppress(TalvorError):
                simulation.stop()
        shutil.rmtree(folder, ignore_errors=True)
        raise
    names = _names(_pod_of(pods, int(connection.facts()["serial"])))
    pod = SimulatedPod(connection, names, simulation, folder, trace, board is None)
    pod._several = len(pods) > 1
    _running = weakref.ref(pod)
    return pod


def _pods_of(source: str) -> list[dict[str, Any]]:
    """The pods of a description, which the simulator has taken."""
    import tomllib

    if source:
        with open(source, "rb") as file:
            described = tomllib.load(file)
    else:
        described = tomllib.loads(_core.built_in_description())
    pods = described.get("pod", [])
    return pods if isinstance(pods, list) else []


def _pod_of(pods: list[dict[str, Any]], serial: int | None) -> dict[str, Any]:
    """The pod with that serial number, or the only one; empty where there is none."""
    for pod in pods:
        if len(pods) == 1 or pod.get("serial") == serial:
            return pod
    return {}


def _names(pod: dict[str, Any]) -> list[str]:
    return [str(tap.get("name", "")) for tap in pod.get("tap", [])]


def _bsdl_folder(source: str, pods: list[dict[str, Any]], serial: int | None) -> str | None:
    """The folder of the BSDL files that a description names, where it is one."""
    beside = os.path.dirname(os.path.abspath(source))
    files = [tap["bsdl"] for tap in _pod_of(pods, serial).get("tap", []) if "bsdl" in tap]
    folders = {os.path.dirname(os.path.join(beside, str(file))) for file in files}
    return folders.pop() if len(folders) == 1 else None
