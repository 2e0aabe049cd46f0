"""Simulated pods: the same scans, and faults on demand."""

from __future__ import annotations

import contextlib
import json
import os
import shutil
import socket
import tempfile
import warnings
import weakref
from collections.abc import Sequence
from typing import Any, Final

from . import _core
from .errors import PodError, RefusedError, TalvorError, UsageError
from .pod import Path, Pod, connect
from .trace import Trace

__all__ = ["SimulatedPod", "simulate"]

_TRACE_BYTES: Final = 1 << 28
_CONTROL_PATIENCE_SECONDS: Final = 10.0

# The one that runs in this process; the driver finds pods by a name that is the same for all.
_running: weakref.ref[SimulatedPod] | None = None


def _end(
    connection: _core.Connection, simulation: _core.Simulation, folder: str, owner: int
) -> None:
    """Disconnect, then end the simulator. In a copy of the process both are the parent's."""
    connection.close()
    if os.getpid() != owner:
        return
    try:
        simulation.stop()
    finally:
        shutil.rmtree(folder, ignore_errors=True)


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
    ) -> None:
        super().__init__(connection, names)
        self._simulation = simulation
        self._folder = folder
        self._traced = traced
        self._several = False
        # A pod that nobody keeps, or that is open when the program ends, ends as one that is closed.
        self._end = weakref.finalize(self, _end, connection, simulation, folder, os.getpid())

    def close(self) -> None:
        """Disconnect, and end the simulated pod. A second call does nothing."""
        super().close()
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
        prefix = f"pod {self.serial} " if self._several else ""
        self._ask(prefix + words)

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
        self._fault(f"fail {count}")

    def refuse_writes(self, count: int = 1) -> None:
        """Let the pod refuse the next ``count`` writes to its support registers."""
        self._fault(f"refuse {count}")

    def latency(self, microseconds: int) -> None:
        """Let each exchange with the pod take that many microseconds longer."""
        self._fault(f"latency {microseconds}")

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

    def status(self) -> dict[str, Any]:
        """How the pod stands, after everything that is queued: faults, counts, the TAP's state.

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     pod.move("pausedr")
        ...     pod.status()["tap_state"]
        'Pause-DR'
        """
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
        if not self._traced:
            raise RefusedError(
                "trace", "the simulated pod writes none", "open it with simulate(trace=True)"
            )
        self._settle()
        path = os.path.join(self._folder, self._trace_name())
        core = _core.read_vcd(path, first, count, last, self._connection)
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
            :func:`talvor.open`.

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
    folder = tempfile.mkdtemp(prefix="talvor-")
    simulation: _core.Simulation | None = None
    try:
        if text is not None:
            description = os.path.join(folder, "description.toml")
            with open(description, "w", encoding="utf-8") as file:
                file.write(text)
        source = "" if description is None else os.fspath(description)
        simulation = _core.Simulation(
            source,
            os.path.join(folder, "control"),
            os.path.join(folder, "trace.vcd") if trace else "",
            trace_bytes,
        )
        if note := simulation.note():
            warnings.warn(note, RuntimeWarning, stacklevel=2)
        connection = connect(
            board, serial, library, link_delay, max_hertz, ir_lengths, patience, 0.0, False
        )
    except BaseException:
        if simulation is not None:
            with contextlib.suppress(TalvorError):
                simulation.stop()
        shutil.rmtree(folder, ignore_errors=True)
        raise
    several, names = _described(source, int(connection.facts()["serial"]))
    pod = SimulatedPod(connection, names, simulation, folder, trace)
    pod._several = several
    _running = weakref.ref(pod)
    return pod


def _described(source: str, serial: int) -> tuple[bool, list[str]]:
    """Whether the description, which the simulator has taken, has several pods; the devices."""
    import tomllib

    if source:
        with open(source, "rb") as file:
            described = tomllib.load(file)
    else:
        described = tomllib.loads(_core.built_in_description())
    pods = described.get("pod", [])
    for pod in pods if isinstance(pods, list) else []:
        if pod.get("serial", serial) == serial or len(pods) == 1:
            return len(pods) > 1, [str(tap.get("name", "")) for tap in pod.get("tap", [])]
    return False, []
