"""What goes wrong, as exceptions that name the thing, the reason and the next step.

>>> import talvor
>>> try:
...     talvor.open(board="/dev/null/none.toml")
... except talvor.FileError as error:
...     print(error.thing)
/dev/null/none.toml
"""

from __future__ import annotations

from typing import Any, Final

__all__ = [
    "ClosedError",
    "FileError",
    "PodError",
    "RefusedError",
    "TalvorError",
    "TargetError",
    "UsageError",
    "WrongTypeError",
]


class TalvorError(Exception):
    """Base of all exceptions of this package.

    Attributes:
        thing: What it is about: ``"board.toml"``, ``"line 12: SDR"``, ``"pod 5"``; may be empty.
        reason: What is wrong with it.
        next_step: What to do about it; empty where the reason says it all.
        code: The driver's own code, or 0 where the driver did not speak.
    """

    def __init__(
        self, thing: str = "", reason: str = "", next_step: str = "", code: int = 0
    ) -> None:
        super().__init__(thing, reason, next_step, code)
        self.thing = thing
        self.reason = reason
        self.next_step = next_step
        self.code = code

    def __str__(self) -> str:
        headline = f"{self.thing}: {self.reason}" if self.thing else self.reason
        return f"{headline}\nnext: {self.next_step}" if self.next_step else headline

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.thing, self.reason, self.next_step, self.code)

    @property
    def code_name(self) -> str:
        """The name that the driver's headers have for the code; empty for code 0."""
        from . import _core

        return _core.code_name(self.code) if self.code else ""


class UsageError(TalvorError, ValueError):
    """A wrong argument."""


class WrongTypeError(UsageError, TypeError):
    """An argument of a type that cannot be meant."""


class FileError(TalvorError, OSError):
    """A file that cannot be read, or that breaks its format."""

    def __init__(
        self, thing: str = "", reason: str = "", next_step: str = "", code: int = 0
    ) -> None:
        TalvorError.__init__(self, thing, reason, next_step, code)

    __str__ = TalvorError.__str__


class RefusedError(TalvorError):
    """A request that pod or library cannot serve; nothing has moved."""


class ClosedError(RefusedError):
    """The pod has been closed; what was made from it is of no use any more."""


class PodError(TalvorError):
    """The pod, its proxy or the driver has failed."""


class TargetError(TalvorError):
    """The target has answered something else than it should."""


# In the order of the host library's kinds.
_KINDS: Final = (UsageError, FileError, RefusedError, PodError, TargetError)

# What the command's options are called here.
_KEYWORDS: Final = {
    "action": "action=",
    "board": "board=",
    "bsdl": "bsdl=",
    "compliance-met": "compliance_met=True",
    "delays": "delays=",
    "dry-run": "dry_run=True",
    "enable-others": "enable_others=True",
    "fast": "fast=True",
    "ignore-crc": "ignore_crc=True",
    "ir": "ir=",
    "ir-lengths": "ir_lengths=",
    "keep-going": "keep_going=True",
    "library": "library=",
    "link-delay": "link_delay=",
    "maximum": "maximum=",
    "minimum": "minimum=",
    "part": "parts=",
    "passive": "passive=",
    "patience": "patience=",
    "pod": "serial=",
    "share": "share=True",
    "wait": "wait=",
}


def _in_python(text: str) -> str:
    """``text``, which may tell options of the command, with their names as keywords."""
    if "--" not in text:
        return text
    import re

    return re.sub(r"--([a-z][a-z-]*)", lambda match: _KEYWORDS.get(match[1], match[0]), text)


def _made(kind: int, code: int, thing: str, reason: str, next_step: str) -> TalvorError:
    """The exception for an error of the host library."""
    return _KINDS[kind](_in_python(thing), _in_python(reason), _in_python(next_step), code)


def _wrong_type(thing: str, reason: str, next_step: str) -> WrongTypeError:
    return WrongTypeError(thing, reason, next_step)


def _closed() -> ClosedError:
    return ClosedError("pod", "it has been closed", "open it again")
