"""A pod that is open, and what is done with it."""

from __future__ import annotations

import atexit
import os
import weakref
from collections.abc import Callable, Mapping, Sequence
from types import TracebackType
from typing import TYPE_CHECKING, Any, Final, Literal, NamedTuple, TypeVar, overload

from . import _core
from ._arguments import integer, number
from ._arguments import path as path_of
from .chain import Chain, Device
from .errors import TalvorError, UsageError, WrongTypeError, _made
from .state import State, StateLike, from_core, to_core

if TYPE_CHECKING:
    from .interconnect import InterconnectReport
    from .lib import Operations
    from .pins import Pins
    from .playing import PlayReport, ProgressCallback
    from .registers import Registers
    from .shmoo import Shmoo

__all__ = ["Devices", "Pod", "ResetEntry", "open"]

_Pod = TypeVar("_Pod", bound="Pod")
Path = str | os.PathLike[str]

# What most scans are, looked up once.
_DR: Final = _core.ScanPath.DR
_IR: Final = _core.ScanPath.IR
_IDLE: Final = State.IDLE
_CORE_IDLE: Final = _core.StableState.IDLE

_open_pods: weakref.WeakSet[Pod] = weakref.WeakSet()


@atexit.register
def _close_all() -> None:
    """What is still queued reaches the targets, and simulated pods end."""
    for pod in list(_open_pods):
        try:
            pod.close()
        except TalvorError:
            pass


class ResetEntry(NamedTuple):
    """A line of the reset log: its key, a sentence, and the number that belongs to some."""

    key: int
    text: str
    number: int | None


def _scan_mistake(error: TypeError, bits: Any) -> Exception:
    """What to raise where the host library takes an argument of a scan for none of its."""
    if isinstance(error, TalvorError):
        return error
    try:
        if bits is not None:
            integer("bits", bits, 1, 1 << 36)
    except UsageError as found:
        return found
    return WrongTypeError(
        "scan", "an argument is of a wrong type", "fast and receive are truth values"
    )


class Devices:
    """The devices of a pod's chain by name, or by place from 0."""

    def __init__(self, pod: Pod) -> None:
        self._pod = pod

    def __getitem__(self, key: int | str) -> Device:
        return self._pod._known_chain()[key]


class Pod:
    """A connected pod. Made by :func:`talvor.open` and :func:`talvor.simulate`.

    One call at a time works with a pod: threads wait for each other. While it works the interpreter
    is free for other threads. Ctrl-C ends a long call at the next safe point.

    After :meth:`close`, or the end of a ``with`` block, everything raises :class:`ClosedError`.
    """

    def __init__(
        self, connection: _core.Connection, names: Sequence[str] = (), names_first: bool = False
    ) -> None:
        self._connection = connection
        self._quick_scan = connection.quick_scanner()
        self._names = names
        self._names_first = names_first  # before those that the host library knows
        self._chain: Chain | None = None
        self._pins: Pins | None = None
        _open_pods.add(self)

    # --- its life ---------------------------------------------------------------------------------

    def close(self) -> None:
        """Disconnect. What is still queued reaches the target first. A second call does nothing."""
        self._connection.close()

    @property
    def closed(self) -> bool:
        """Whether the pod has been closed."""
        return self._connection.closed()

    def __enter__(self: _Pod) -> _Pod:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        if self.closed:
            return f"<{type(self).__name__}, closed>"
        return f"<{type(self).__name__} {self.serial}>"

    # --- what it is -------------------------------------------------------------------------------

    @property
    def serial(self) -> int:
        """The pod's serial number."""
        return int(self._connection.facts()["serial"])

    @property
    def revision(self) -> tuple[int, int]:
        """The pod's revision, major and minor; the major one is its generation."""
        revision = int(self._connection.facts()["revision"])
        return revision >> 8, revision & 0xFF

    @property
    def board(self) -> str:
        """What messages call the board file; ``"defaults"`` without one."""
        return str(self._connection.facts()["board"])

    @property
    def library(self) -> str:
        """The file of the driver that was loaded."""
        return str(self._connection.facts()["library"])

    # --- scans ------------------------------------------------------------------------------------

    @overload
    def ir(
        self,
        data: int,
        *,
        bits: int | None = ...,
        end: StateLike = ...,
        fast: bool = ...,
        receive: Literal[True] = ...,
    ) -> int: ...
    @overload
    def ir(
        self,
        data: Any,
        *,
        bits: int | None = ...,
        end: StateLike = ...,
        fast: bool = ...,
        receive: bool = ...,
        into: Any = ...,
    ) -> Any: ...
    def ir(
        self,
        data: Any,
        *,
        bits: int | None = None,
        end: StateLike = State.IDLE,
        fast: bool = False,
        receive: bool = True,
        into: Any = None,
    ) -> Any:
        """Shift through the instruction registers of the whole chain. As :meth:`dr`.

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     captured = pod.ir(0x3FFFFFFFF, bits=33 + 1)
        ...     captured & 1
        1
        """
        if end is _IDLE and into is None and receive and not fast:
            answer = self._quick_scan(data, bits, True)
            if answer is not NotImplemented:
                return answer
        return self._scan(_IR, data, bits, end, fast, receive, into)

    @overload
    def dr(
        self,
        data: int,
        *,
        bits: int | None = ...,
        end: StateLike = ...,
        fast: bool = ...,
        receive: Literal[True] = ...,
    ) -> int: ...
    @overload
    def dr(
        self,
        data: Any,
        *,
        bits: int | None = ...,
        end: StateLike = ...,
        fast: bool = ...,
        receive: bool = ...,
        into: Any = ...,
    ) -> Any: ...
    def dr(
        self,
        data: Any,
        *,
        bits: int | None = None,
        end: StateLike = State.IDLE,
        fast: bool = False,
        receive: bool = True,
        into: Any = None,
    ) -> Any:
        """Shift through the data registers of the whole chain.

        Args:
            data: What goes in: an int, bytes, or anything with a contiguous buffer, such as a numpy
                array, which is read where it lies. Bit 0 of an int, and of the first byte, is
                shifted first.
            bits: How many bits are shifted. Must be given with an int; else all of the buffer.
            end: State to end in: idle, reset, pausedr or pauseir.
            fast: Leave the pod's return path to the driver: one shift without a marker, wrong for
                scans that are longer or shorter than their path.
            receive: False: nobody wants the answer. Then the scan may stay queued until the next
                call that needs one, or :meth:`flush`.
            into: A writable buffer that takes the answer.

        Returns:
            What came out: an int for an int, else bytes; ``into`` where that is given, None without
            ``receive``.

        Raises:
            UsageError: The data do not fit into the bits, or cannot be read.
            TargetError: The answer is not certain; the data were shifted all the same.
            PodError: The pod has failed. The target's state is unknown then.

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     pod.move("reset")
        ...     hex(pod.dr(0, bits=32))
        '0x5707e35'
        """
        if end is _IDLE and into is None and receive and not fast:
            answer = self._quick_scan(data, bits, False)
            if answer is not NotImplemented:
                return answer
        return self._scan(_DR, data, bits, end, fast, receive, into)

    def _scan(
        self,
        path: _core.ScanPath,
        data: Any,
        bits: int | None,
        end: StateLike,
        fast: bool,
        receive: bool,
        into: Any,
    ) -> Any:
        try:
            state = _CORE_IDLE if end is _IDLE else to_core(end)
            return self._connection.scan(path, data, bits, state, fast, receive, into)
        except TypeError as error:
            raise _scan_mistake(error, bits) from None

    def flush(self) -> None:
        """Let everything that is queued reach the target."""
        self._connection.flush()

    # --- the chain --------------------------------------------------------------------------------

    def chain(self) -> Chain:
        """Find every device of the scan chain. Resets the TAPs; all devices are in BYPASS then.

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     print([device.name for device in pod.chain()])
        ['gate', 'cpu', 'switch', 'dsp', 'store']
        """
        core = self._connection.discover()
        self._chain = Chain(self, core, self._names, self._names_first)
        return self._chain

    @property
    def device(self) -> Devices:
        """The devices by name, or by place from 0. The chain is looked for once, as by chain().

        >>> import talvor
        >>> with talvor.simulate() as pod:
        ...     cpu = pod.device["cpu"]
        ...     _ = cpu.dr(0xCAFE, bits=32, ir=0b1000)
        ...     hex(cpu.dr(0, bits=32))
        '0xcafe'
        """
        return Devices(self)

    def _names_that_hold(self) -> list[str]:
        return list(self._names) if self._names_first else []

    def _known_chain(self) -> Chain:
        return self._chain or self.chain()

    # --- the board --------------------------------------------------------------------------------

    @property
    def pins(self) -> Pins:
        """The pins of the target's devices, by boundary scan; see :class:`talvor.Pins`.

        The devices need BSDL files. Their pins are looked for once, when one is first asked for.
        """
        from .pins import Pins

        if self._pins is None:
            self._pins = Pins(self)
        return self._pins

    def interconnect(
        self,
        netlist: Path,
        *,
        parts: Mapping[str, str | int] | None = None,
        passive: Sequence[str] = (),
        dry_run: bool = False,
        title: str = "",
    ) -> InterconnectReport:
        """Test the connections of the board. Drives the pins of its devices; resets the TAPs.

        Args:
            netlist: KiCad's, or a TOML file of nets.
            parts: Which device of the chain a part of the netlist is, by its name or its number
                from 1; else the one of the same name.
            passive: Parts that drive nothing, beside those named like resistors and the like.
            dry_run: Only say who would drive and see each net.
            title: Of the picture; else the netlist's name.

        Raises:
            FileError: The netlist cannot be used.
            RefusedError: Two outputs that nothing disables are on one net.
            TargetError: The chain answers otherwise than its descriptions say.
        """
        from .interconnect import InterconnectReport

        file = path_of("netlist", netlist)
        devices = {str(part): str(device) for part, device in (parts or {}).items()}
        return InterconnectReport(
            *self._connection.interconnect(
                file,
                self._names_that_hold(),
                devices,
                list(passive),
                bool(dry_run),
                title or os.path.basename(file),
            )
        )

    # --- the TAP ----------------------------------------------------------------------------------

    @property
    def state(self) -> State:
        """Where the TAP stands, asked of the controller."""
        return from_core(self._connection.state())

    def move(self, to: StateLike, *, via_idle: bool = False, times: int = 1) -> None:
        """Move the TAP to a stable state.

        Args:
            to: reset, idle, pausedr or pauseir.
            via_idle: Through Run-Test/Idle, where seven test clocks are spent.
            times: So many times over.
        """
        self._connection.move(to_core(to), bool(via_idle), integer("times", times, 0, 0xFFFFFFFF))

    def run(self, clocks: int = 0, *, seconds: float = 0.0) -> None:
        """Stay in Run-Test/Idle until both are over.

        Args:
            clocks: Test clocks, at least; the pod counts them by seven.
            seconds: Time, at least.
        """
        self._connection.run(
            integer("clocks", clocks), number("seconds", seconds), to_core(State.IDLE)
        )

    def reset(
        self,
        *,
        soft: bool = False,
        hard: bool = False,
        hidden: bool = False,
        trst: bool = False,
    ) -> list[ResetEntry]:
        """Reset the scan controller, and read the log that it writes. ``move("reset")`` resets TAPs.

        Args:
            soft: By its control register.
            hard: Pulse the pod's reset line to the target.
            hidden: Keep the target undisturbed: outputs off meanwhile, TAP state restored.
            trst: Pulse TRSTn.
        """
        log = self._connection.reset(bool(soft), bool(hard), bool(hidden), bool(trst))
        return [ResetEntry(*entry) for entry in log]

    # --- clock and delay --------------------------------------------------------------------------

    @property
    def hertz(self) -> int:
        """The test clock in Hz. Setting it connects the pod anew with the fastest at or below."""
        return self._connection.hertz()

    @hertz.setter
    def hertz(self, most: float | None) -> None:
        self._connection.put_hertz(None if most is None else number("hertz", most))

    @property
    def link_delay(self) -> int:
        """The link delay in test clocks, until the pod is connected anew."""
        return self._connection.link_delay()[0]

    @link_delay.setter
    def link_delay(self, clocks: int) -> None:
        most = self._connection.link_delay()[1]
        clocks = integer("link_delay", clocks, -1 << 62)
        if not 0 <= clocks <= most:
            raise UsageError(f"link delay {clocks}", "is out of range", f"give 0 to {most}")
        self._connection.put_link_delay(clocks)

    def shmoo(
        self,
        *,
        minimum: float | None = None,
        maximum: float | None = None,
        clocks: int = 16,
        delays: tuple[int, int] | None = None,
        bits: int = 1024,
        title: str = "Test clock and link delay",
        progress: Callable[[int, int], object] | None = None,
    ) -> Shmoo:
        """Try the chain at each test clock with each link delay. Resets the TAPs.

        Args:
            minimum: Slowest clock in Hz; else 500 kHz, or the pod's slowest.
            maximum: Fastest clock in Hz; else the pod's.
            clocks: How many clocks, at most.
            delays: First and last link delay, in test clocks; else all.
            bits: Random bits to send through BYPASS at each trial.
            title: Of the picture.
            progress: Called after each trial with how many are done, and how many there are.
        """
        from .shmoo import Shmoo, ShmooClock

        clocks, bits = integer("clocks", clocks), integer("bits", bits)
        if clocks < 1 or bits < 1:
            raise UsageError("clocks, bits", "there must be one", "give 1 or more")
        found, tried, works, best, svg = self._connection.shmoo(
            minimum, maximum, clocks, delays, bits, title, progress
        )
        rows = [ShmooClock(*clock) for clock in found]
        return Shmoo(
            rows, tried, works, None if best is None else (rows[best[0]], tried[best[1]]), svg
        )

    # --- files ------------------------------------------------------------------------------------

    def play(
        self,
        path: Path,
        *,
        progress: ProgressCallback | None = None,
        format: str = "",
        check: bool = True,
        dry_run: bool = False,
        keep_going: bool = False,
        reset: bool = True,
        fast: bool = False,
        strict: bool = False,
        action: str = "",
        enable: Sequence[str] = (),
        disable: Sequence[str] = (),
        values: Mapping[str, int] | None = None,
        ignore_crc: bool = False,
    ) -> PlayReport:
        """Check a file, then play it.

        Args:
            path: An SVF, XSVF or STAPL file.
            progress: Called about twenty times a second with a :class:`Progress`; what it raises
                ends the playing, and so does False.
            format: ``"svf"``, ``"xsvf"`` or ``"stapl"``; else the content tells.
            check: Read the whole file first, so that nothing is shifted where something in it
                cannot be.
            dry_run: Only check; the report tells what cannot be played.
            keep_going: Past wrong answers; the report has them.
            reset: Begin in Test-Logic-Reset.
            fast: See :meth:`dr`.
            strict: Refuse what the pod can only play otherwise than written, to the same effect.
            action: What to do of a STAPL file; not needed where it has one action only.
            enable: STAPL: optional procedures that are wanted.
            disable: STAPL: recommended procedures that are not.
            values: STAPL: other first values for variables, by name; 1 and 0 enable and disable
                a procedure.
            ignore_crc: STAPL: play the file though its checksum is wrong.

        Raises:
            FileError: The file cannot be read, or breaks its format.
            RefusedError: The pod cannot play something in it.
            TargetError: A wrong answer, or the exit code of a STAPL program. Its attribute
                ``report`` tells how far it came.
        """
        from .playing import Progress, report_of

        request = _core.PlayRequest()
        request.path = path_of("path", path)
        request.format = format
        request.check = check
        request.dry_run = dry_run
        request.keep_going = keep_going
        request.reset = reset
        request.fast = fast
        request.strict = strict
        request.choices.action = action
        request.choices.enable = list(enable)
        request.choices.disable = list(disable)
        request.choices.values = [f"{name}={value:d}" for name, value in (values or {}).items()]
        request.ignore_crc = ignore_crc
        tell = None if progress is None else lambda *counts: progress(Progress(*counts))
        outcome = self._connection.play(request, tell)
        report = report_of(outcome)
        failed = outcome.error()
        if failed is None or dry_run or (keep_going and report.complete):
            return report
        error = _made(*failed)
        error.report = report  # type: ignore[attr-defined]
        raise error

    # --- what lies below --------------------------------------------------------------------------

    @property
    def registers(self) -> Registers:
        """The controller's registers."""
        from .registers import Registers

        return Registers(self)

    @property
    def lib(self) -> Operations:
        """The driver's 54 operations as they are, see :mod:`talvor.lib`."""
        from .lib import Operations

        return Operations(self)


def open(
    board: Path | Literal[False] | None = None,
    *,
    serial: int | None = None,
    library: Path | None = None,
    link_delay: int | None = None,
    max_hertz: float | None = None,
    ir_lengths: Sequence[int] = (),
    bsdl: Path | None = None,
    patience: float = 60.0,
    wait: float = 0.0,
    share: bool = False,
) -> Pod:
    """Open a pod, and reserve it for this process.

    Args:
        board: A board file. Without one it is looked for as the command ``talvor`` does: in
            ``$TALVOR_BOARD``, as ``talvor.toml`` in the working folder and those above it, in the
            user's settings; a file that others may write to is passed over with a warning. Where
            there is none, or with False, the pod's own defaults hold.
        serial: The pod's serial number; before the board file's.
        library: The driver; before the board file's, and that which belongs to this module.
        link_delay: In test clocks; before the board file's.
        max_hertz: Test clock in Hz, at most; before the board file's.
        ir_lengths: Instruction lengths of the devices in bits, nearest TDI first.
        bsdl: A folder of BSDL files, or one of them, found by the devices' IDCODEs; beside those
            that the board file names.
        patience: Seconds that the pod's proxy may take for one answer; 0: as long as it takes.
        wait: Seconds to wait for a pod that is in use.
        share: Go on beside the user of a pod that is in use.

    Raises:
        FileError: The board file, a BSDL file, or the driver, cannot be used.
        RefusedError: Another program uses the pod.
        PodError: There is no such pod, or it cannot be connected.
    """
    if board is None:
        board = _board_that_is_meant()
    elif board is False:
        board = None
    return Pod(
        connect(
            board, serial, library, link_delay, max_hertz, ir_lengths, patience, wait, share, bsdl
        )
    )


def _board_that_is_meant() -> str | None:
    """The board file that the command would take."""
    found, passed_over = _core.find_board()
    for one in passed_over:
        import warnings

        warnings.warn(
            f"passing over {one}; take it with board=, if it is to be trusted",
            RuntimeWarning,
            stacklevel=3,
        )
    return found


def connect(
    board: Path | None,
    serial: int | None,
    library: Path | None,
    link_delay: int | None,
    max_hertz: float | None,
    ir_lengths: Sequence[int],
    patience: float,
    wait: float,
    share: bool,
    bsdl: Path | None,
) -> _core.Connection:
    """The host library's connection for the arguments of :func:`open`."""
    most = 0xFFFFFFFF
    return _core.Connection(
        None if board is None else path_of("board", board),
        None if library is None else path_of("library", library),
        None if serial is None else integer("serial", serial, 0, most),
        None if link_delay is None else integer("link_delay", link_delay, -most // 2, most // 2),
        None if max_hertz is None else number("max_hertz", max_hertz),
        [integer("ir_lengths", length, 0, most) for length in ir_lengths],
        number("patience", patience),
        number("wait", wait),
        bool(share),
        None if bsdl is None else path_of("bsdl", bsdl),
    )
