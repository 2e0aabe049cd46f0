"""The command ``talvor`` from Python, for what has no call of its own."""

from __future__ import annotations

import subprocess
from collections.abc import Sequence
from typing import Any, NamedTuple

from ._places import command as _program
from .errors import FileError, UsageError

__all__ = ["CommandResult", "command"]


class CommandResult(NamedTuple):
    """How a command has ended.

    Attributes:
        status: Its exit status; 0 is success.
        output: What it has printed.
        errors: What it has said on the standard error stream.
    """

    status: int
    output: str
    errors: str

    def json(self) -> Any:
        """The document that it has printed, where ``--json`` was among its arguments."""
        import json

        try:
            return json.loads(self.output)
        except ValueError:
            raise UsageError(
                "output", "it is no JSON document", 'put "--json" among the arguments'
            ) from None


def command(arguments: Sequence[str], *, input: str | None = None) -> CommandResult:
    """Run ``talvor`` with ``arguments``, and wait for its end.

    It is a program of its own: a pod that is open here is in use for it, unless it gets
    ``--share``; ``--simulate`` gives it a simulated pod of its own. Ctrl-C ends it, too.

    Args:
        arguments: As a shell would give them.
        input: What it reads on its standard input; without one that is empty.

    Raises:
        FileError: There is no such program.

    >>> import talvor
    >>> result = talvor.command(["chain", "--simulate", "--json"])
    >>> result.status, result.json()["devices"][1]["idcode"]
    (0, '0x1A2B3C4D')
    """
    if isinstance(arguments, str):
        raise UsageError(repr(arguments), "is one text", "give a list of arguments")
    try:
        done = subprocess.run(
            [_program(), *map(str, arguments)],
            input="" if input is None else input,
            capture_output=True,
            text=True,
            errors="replace",
        )
    except OSError as error:
        raise FileError(
            "talvor", f"it cannot be run: {error.strerror}", "install it, or put it into PATH"
        ) from error
    return CommandResult(done.returncode, done.stdout, done.stderr)
