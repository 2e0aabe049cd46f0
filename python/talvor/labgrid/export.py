"""Pods for labgrid's exporter. Importing this teaches it the resource ``TalvorPod``."""

from __future__ import annotations

import json
import subprocess
import time
from typing import Any, Final

import attr
from labgrid.remote.exporter import ResourceExport, exports

from .._places import command
from ..errors import PodError
from .bridge import Bridge
from .description import devices_of, serial_of
from .resource import OPTIONS, NetworkTalvorPod, TalvorPod

__all__ = ["TalvorPodExport"]

_START_PATIENCE_SECONDS: Final = 15.0
_LOOK_PATIENCE_SECONDS: Final = 5.0
_LOOK_AGAIN_SECONDS: Final = 5.0
_TRY_AGAIN_SECONDS: Final = 2.0


def _published() -> tuple[str, list[int]]:
    """How the machine's pod proxy is, in a word, and the serial numbers of its pods."""
    done = subprocess.run(
        [command(), "--json", "--no-board", "info"],
        stdin=subprocess.DEVNULL,
        capture_output=True,
        timeout=_LOOK_PATIENCE_SECONDS,
    )
    found = json.loads(done.stdout)
    return str(found["proxy"]["state"]), [int(pod["serial"]) for pod in found["pods"]]


def _missing(serial: int | None) -> str:
    """Why the pod cannot be had; empty where it is there."""
    proxy, serials = _published()
    if not serials:
        return f"no pod is there; the pod proxy is {proxy}"
    if serial and serial not in serials:
        return f"pod {serial} is not there; those that are: {serials}"
    return ""


@attr.s(eq=False)
class TalvorPodExport(ResourceExport):
    """Shares a pod: while a place that has it is acquired, ``talvor serve`` offers it.

    Beside the arguments of :class:`TalvorPod` it takes

    - ``protocol``: ``xvc``, or ``remote_bitbang``, which is slower, and passes resets on;
    - ``exposed``: True lets every machine reach the bridge, which knows no password. Else only
      clients that may log in here reach it, through labgrid's connection by ssh.

    The bridge holds the pod's lock, so the pod is free while no place is acquired. Who acquires one
    while a program on this machine uses the pod finds it unavailable until that has ended; the
    reason stands in the resource's ``extra``.
    """

    def __attrs_post_init__(self) -> None:
        super().__attrs_post_init__()
        params = dict(self.local_params)
        self.exposed = bool(params.pop("exposed", False))
        protocol = str(params.pop("protocol", "xvc"))
        self.local = TalvorPod(target=None, name=None, **params)
        self.bridge: Bridge | None = None
        self.reason = ""
        self._look_at = 0.0
        self.offer = NetworkTalvorPod(
            target=None,
            name=None,
            host=self.host if self.exposed else "localhost",
            protocol=protocol,
            serial=serial_of(self.local),
            devices=devices_of(self.local),
        )
        self.data["cls"] = NetworkTalvorPod.__name__
        self.proxy_required = self.proxy_required or not self.exposed

    def __del__(self) -> None:
        if getattr(self, "bridge", None) is not None:
            self._stop(None)

    # --- what labgrid asks ------------------------------------------------------------------------

    def poll(self) -> bool:
        """Look after the bridge. True where clients have something to learn."""
        self.local.avail = self._usable()
        return bool(super().poll())

    def _get_start_params(self) -> dict[str, Any]:
        return {"pod": self.offer.serial}

    def _get_params(self) -> dict[str, Any]:
        offer = self.offer
        return {
            "host": offer.host,
            "port": None if self.bridge is None else self.bridge.port,
            "protocol": offer.protocol,
            "serial": offer.serial,
            "devices": offer.devices,
            "extra": {"reason": self.reason} if self.reason else {},
        }

    def _start(self, start_params: dict[str, Any]) -> None:
        """Start the bridge. A pod that is in use is not broken: it is tried again."""
        try:
            self.bridge = Bridge(
                self._options(),
                OPTIONS[self.offer.protocol],
                "*" if self.exposed else "127.0.0.1",
                _START_PATIENCE_SECONDS,
            )
        except PodError as error:
            self._give_up(error.reason)
        else:
            self.logger.info("a bridge serves the pod at port %d", self.bridge.port)

    def _stop(self, start_params: dict[str, Any] | None) -> None:
        """Stop the bridge; a client that is still there loses it."""
        bridge, self.bridge = self.bridge, None
        if bridge is not None:
            bridge.stop()
            self.logger.info("the bridge at port %d has been stopped", bridge.port)

    # --- the pod ----------------------------------------------------------------------------------

    def _options(self) -> list[str]:
        pod = self.local
        options = ["--no-board"] if pod.board is None else ["--board", pod.board]
        if pod.simulate:
            options.append("--simulate" if pod.simulate is True else f"--simulate={pod.simulate}")
        if pod.serial is not None:
            options += ["--pod", str(pod.serial)]
        return options

    def _give_up(self, reason: str) -> None:
        """The pod cannot be served for now."""
        self.logger.warning("the pod is not available: %s", reason)
        self._stop(None)
        self.reason = reason
        self.local.avail = False
        self._look_at = time.monotonic() + _TRY_AGAIN_SECONDS

    def _look(self) -> None:
        try:
            self.reason = "" if self.local.simulate else _missing(self.offer.serial)
        except (OSError, ValueError, KeyError, subprocess.TimeoutExpired) as error:
            if self.bridge is not None:
                return  # a machine that is busy is no reason to take the pod from a client
            self.reason = f"talvor info: {error}"
        self.local.avail = not self.reason  # without a pod labgrid stops the bridge

    def _usable(self) -> bool:
        if self.bridge is not None and not self.bridge.running:
            self._give_up(f"the bridge has ended: {self.bridge.last_words()}")
        elif time.monotonic() >= self._look_at:
            self._look_at = time.monotonic() + _LOOK_AGAIN_SECONDS
            self._look()
        return bool(self.local.avail)


exports[TalvorPod.__name__] = TalvorPodExport
