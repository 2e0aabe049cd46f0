"""``talvor serve`` as a child, for as long as a client has its pod."""

from __future__ import annotations

import json
import shutil
import subprocess
import tempfile
import time
from collections.abc import Sequence
from pathlib import Path
from typing import Any, Final

from .._places import command
from ..errors import PodError, TalvorError, UsageError

__all__ = ["Bridge"]

_END_PATIENCE_SECONDS: Final = 5.0
_LOOK_SECONDS: Final = 0.02
_WRONG_COMMAND: Final = 2  # exit status for a wrong command line or a bad file


def _tied() -> list[str]:
    """Words before a command so that it ends with this process, however this ends."""
    program = shutil.which("setpriv")
    return [] if program is None else [program, "--pdeathsig", "TERM", "--"]


class Bridge:
    """A running bridge.

    Attributes:
        port: The TCP port at which it listens.
    """

    def __init__(
        self,
        options: Sequence[str],
        protocol: str,
        address: str,
        patience: float,
        more: Sequence[str] = (),
    ) -> None:
        """Start one, and wait until clients may come.

        Args:
            options: Words for ``talvor`` that choose the pod.
            protocol: Its option, as in ``--xvc``.
            address: Where it listens, without the port, which is any free one.
            patience: Seconds to wait at most.
            more: Further options of ``talvor serve``.

        Raises:
            UsageError: The pod is described wrongly; it is of no use to try again.
            PodError: It cannot be served now: it is in use, or not there.
        """
        self._folder = Path(tempfile.mkdtemp(prefix="talvor-bridge-"))
        try:
            with open(self._folder / "events", "wb") as events:
                serve = [command(), "--json", *options, "serve", protocol, f"{address}:0", *more]
                self._child = subprocess.Popen(
                    [*_tied(), *serve], stdin=subprocess.DEVNULL, stdout=events
                )
            try:
                self.port = self._port(patience)
            except TalvorError:
                self._end()
                raise
        except BaseException:
            shutil.rmtree(self._folder, ignore_errors=True)
            raise

    def _port(self, patience: float) -> int:
        limit = time.monotonic() + patience
        while (ready := self._ready()) is None:
            if (status := self._child.poll()) is not None:
                kind = UsageError if status == _WRONG_COMMAND else PodError
                raise kind("talvor serve", self.last_words())
            if time.monotonic() > limit:
                raise PodError("talvor serve", f"it is not ready after {patience:g} seconds")
            time.sleep(_LOOK_SECONDS)
        return int(str(ready["ports"][0]["address"]).rpartition(":")[2])

    def _said(self) -> str:
        return (self._folder / "events").read_text(errors="replace")

    def _ready(self) -> dict[str, Any] | None:
        """The event that says where it listens, once it is whole."""
        line, end, _ = self._said().partition("\n")
        # What begins otherwise is an error, in several lines, and the end is near.
        return dict(json.loads(line)) if end and line.startswith('{"event"') else None

    @property
    def running(self) -> bool:
        """Whether it still serves."""
        return self._child.poll() is None

    def last_words(self) -> str:
        """Why it has ended."""
        # Events are of one line each, the error that follows them is of several.
        _, begin, error = f"\n{self._said()}".rpartition("\n{\n")
        try:
            told = json.loads(begin + error)["error"]
            return f"{told['thing']}: {told['reason']}"
        except (KeyError, TypeError, ValueError):
            return f"it has ended with status {self._child.returncode}"

    def _end(self) -> None:
        self._child.terminate()
        try:
            self._child.wait(_END_PATIENCE_SECONDS)
        except subprocess.TimeoutExpired:
            self._child.kill()
            self._child.wait()

    def stop(self) -> None:
        """End it; the pod is free then. A second call does nothing."""
        self._end()
        shutil.rmtree(self._folder, ignore_errors=True)
