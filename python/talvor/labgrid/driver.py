"""A pod at work: chain, scans, files, resets."""

from __future__ import annotations

import contextlib
import os
import tempfile
from collections.abc import Iterator
from typing import Any

import attr
from attr.validators import instance_of, optional
from labgrid.driver import Driver
from labgrid.factory import target_factory
from labgrid.protocol import BootstrapProtocol, ResetProtocol
from labgrid.step import step
from labgrid.util.proxy import proxymanager

from .. import simulation
from ..chain import Chain
from ..errors import PodError, RefusedError, UsageError
from ..pins import Pins
from ..playing import PlayReport, ProgressCallback
from ..pod import Pod
from ..pod import open as open_pod
from ..state import State, StateLike
from .description import board_of, devices_in, stand_in_of
from .resource import NetworkTalvorPod, TalvorPod

__all__ = ["TalvorDriver"]


def _open_bridge(resource: NetworkTalvorPod, devices: list[dict[str, Any]]) -> Pod:
    """A simulated pod that has the pod behind the bridge as its target."""
    if resource.port is None:
        reason = getattr(resource, "extra", {}).get("reason", "the exporter serves it to nobody")
        raise PodError(
            "bridge", reason, "acquire the place, and look at labgrid-client -v resources"
        )
    host, port = proxymanager.get_host_and_port(resource)
    with tempfile.NamedTemporaryFile("w", suffix=".toml", prefix="talvor-") as board:
        board.write(board_of(devices))
        board.flush()
        try:
            return simulation.simulate(
                text=stand_in_of(resource, host, port), board=board.name, serial=resource.serial
            )
        except PodError as error:
            raise PodError(
                f"bridge at {host}:{port}",
                error.reason,
                "see that it runs, and serves nobody else: it has one client at a time",
                error.code,
            ) from error


def _lost(pod: simulation.SimulatedPod, error: PodError) -> PodError:
    """What to say of a pod behind a bridge that does not work any more."""
    said = pod._simulation.last_words().splitlines()
    return PodError(
        error.thing,
        f"the bridge does not work any more: {said[-1] if said else error.reason}",
        "the exporter knows why; activate the driver anew when the bridge is there again",
        error.code,
    )


@target_factory.reg_driver
@attr.s(eq=False)
class TalvorDriver(Driver, BootstrapProtocol, ResetProtocol):
    """JTAG through a pod, wherever it is.

    Active it has the pod open, and so its lock; :attr:`pod` is the whole of :class:`talvor.Pod`,
    and the methods here are those that a test or a strategy wants most, as steps of labgrid.

    Args:
        image: Name of a file under ``images`` of the environment, for :meth:`load` and
            :meth:`play` without one.
        wait: Seconds to wait for a pod that another program uses.
        board: For a pod behind a bridge, a board file of this machine, whose devices, with their
            BSDL files, go before what the exporter tells; the rest of it is passed over.
    """

    bindings = {"interface": {TalvorPod, NetworkTalvorPod}}

    image: str | None = attr.ib(default=None, validator=optional(instance_of(str)))
    wait: float = attr.ib(default=0.0, converter=float)
    board: str | None = attr.ib(default=None, validator=optional(instance_of(str)))

    def __attrs_post_init__(self) -> None:
        super().__attrs_post_init__()
        self._pod: Pod | None = None

    # --- its life ---------------------------------------------------------------------------------

    def on_activate(self) -> None:
        """Open the pod, and reserve it."""
        resource = self.interface
        if isinstance(resource, NetworkTalvorPod):
            board = self._path(self.board)
            chain = resource.devices if board is None else devices_in(board)
            self._pod = _open_bridge(resource, chain)
        elif resource.simulate:
            self._pod = simulation.simulate(
                None if resource.simulate is True else self._path(resource.simulate),
                board=self._path(resource.board),
                serial=resource.serial,
            )
        else:
            self._pod = open_pod(self._path(resource.board), serial=resource.serial, wait=self.wait)

    def on_deactivate(self) -> None:
        """Let everything that is queued reach the target, and free the pod."""
        pod, self._pod = self._pod, None
        if pod is not None:
            pod.close()

    def _path(self, path: str | None) -> str | None:
        """A path of the environment's file, from here."""
        if path is None or self.target.env is None:
            return path
        return str(self.target.env.config.resolve_path(path))

    def _image(self) -> str:
        if self.image is None:
            raise UsageError(
                "file",
                "none is given",
                "give one, or let image: name one of the environment's images",
            )
        return str(self.target.env.config.get_image_path(self.image))

    # --- the pod ----------------------------------------------------------------------------------

    @property
    def pod(self) -> Pod:
        """The open pod. Of one behind a bridge, clock and link delay are those of a stand-in."""
        return self._open_pod()

    @Driver.check_active
    def _open_pod(self) -> Pod:
        assert self._pod is not None
        return self._pod

    @contextlib.contextmanager
    def _at_work(self) -> Iterator[Pod]:
        """The pod for a piece of work; what a lost bridge causes is said to be that."""
        pod = self.pod
        try:
            yield pod
        except PodError as error:
            if not isinstance(self.interface, NetworkTalvorPod):
                raise
            assert isinstance(pod, simulation.SimulatedPod)
            raise _lost(pod, error) from error

    @property
    def tap_state(self) -> State:
        """Where the TAP stands."""
        with self._at_work() as pod:
            return pod.state

    @Driver.check_active
    @step(args=["to"])
    def move(self, to: StateLike) -> None:
        """Move the TAP to a stable state: reset, idle, pausedr or pauseir."""
        with self._at_work() as pod:
            pod.move(to)

    @Driver.check_active
    @step(result=True)
    def chain(self) -> Chain:
        """Find every device of the scan chain. Resets the TAPs."""
        with self._at_work() as pod:
            return pod.chain()

    @Driver.check_active
    @step(args=["device", "bits"])
    def ir(self, data: Any, *, bits: int | None = None, device: int | str | None = None) -> Any:
        """Shift through the instruction registers: of the whole chain, or of a device alone.

        Args:
            data: What goes in, bit 0 first.
            bits: How many; of a device it is known.
            device: Its name, or its place from 0; the others get BYPASS.

        Returns:
            What came out, as :meth:`talvor.Pod.ir`.
        """
        with self._at_work() as pod:
            return pod.ir(data, bits=bits) if device is None else pod.device[device].ir(data)

    @Driver.check_active
    @step(args=["device", "bits"])
    def dr(
        self,
        data: Any = 0,
        *,
        bits: int | None = None,
        device: int | str | None = None,
        ir: int | None = None,
    ) -> Any:
        """Shift through the data registers: of the whole chain, or of a device alone.

        Args:
            data: What goes in, bit 0 first.
            bits: How many; must be given with an int.
            device: Its name, or its place from 0; the others are in BYPASS.
            ir: An instruction to shift into the device before.

        Returns:
            What came out, as :meth:`talvor.Pod.dr`.
        """
        with self._at_work() as pod:
            if device is not None:
                return pod.device[device].dr(data, bits=bits, ir=ir)
            if ir is not None:
                raise UsageError("ir", "is for one device", "give device=")
            return pod.dr(data, bits=bits)

    @property
    def pins(self) -> Pins:
        """The pins of the devices, as :attr:`talvor.Pod.pins`."""
        return self.pod.pins

    # --- files ------------------------------------------------------------------------------------

    @Driver.check_active
    @step(args=["file"])
    def play(
        self,
        file: str | os.PathLike[str] | None = None,
        *,
        progress: ProgressCallback | None = None,
        **options: Any,
    ) -> PlayReport:
        """Check a file of this machine, then play it.

        Args:
            file: The file; None for that of ``image``.
            progress, options: See :meth:`talvor.Pod.play`.

        Raises:
            TargetError: A wrong answer; ``report`` tells how far it came.
        """
        path = self._image() if file is None else file
        with self._at_work() as pod:
            return pod.play(path, progress=progress, **options)

    @Driver.check_active
    @step(args=["filename"])
    def load(self, filename: str | None = None) -> None:
        """Play a programming file, as labgrid's strategies load what a board starts from."""
        self.play(filename)

    # --- resets -----------------------------------------------------------------------------------

    @Driver.check_active
    @step()
    def reset(self) -> None:
        """Pulse the pod's reset line to the target."""
        resource = self.interface
        if isinstance(resource, NetworkTalvorPod) and not resource.has_resets:
            raise RefusedError(
                "reset",
                f"a bridge that speaks {resource.protocol} has no reset line",
                "export the pod with protocol: remote_bitbang",
            )
        with self._at_work() as pod:
            pod.reset(hard=True)
