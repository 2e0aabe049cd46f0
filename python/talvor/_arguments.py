"""Arguments that callers give, with errors that name what is wrong about them."""

from __future__ import annotations

import math
import operator
import os
from typing import Any

from .errors import UsageError, WrongTypeError

__all__ = ["integer", "number", "path"]


def _kind(value: object) -> str:
    kind = type(value).__name__
    return f"an {kind}" if kind[:1].lower() in "aeiou" else f"a {kind}"


def integer(name: str, value: Any, least: int = 0, most: int | None = None) -> int:
    """``value`` as an int from ``least`` to ``most``.

    >>> integer("bits", 2.5)
    Traceback (most recent call last):
    talvor.errors.WrongTypeError: bits=2.5: a float is no whole number
    next: give an int
    """
    try:
        found = operator.index(value)
    except TypeError:
        raise WrongTypeError(
            f"{name}={value!r}", f"{_kind(value)} is no whole number", "give an int"
        ) from None
    if found < least or (most is not None and found > most):
        bounds = f"{least} or more" if most is None else f"{least} to {most}"
        raise UsageError(f"{name}={found}", "is out of range", f"give {bounds}")
    return found


def number(name: str, value: Any, least: float = 0.0) -> float:
    """``value`` as a float that is no less than ``least``."""
    if isinstance(value, (str, bytes)):
        raise WrongTypeError(f"{name}={value!r}", f"{_kind(value)} is no number", "give a float")
    try:
        found = float(value)
    except (TypeError, ValueError):
        raise WrongTypeError(
            f"{name}={value!r}", f"{_kind(value)} is no number", "give a float"
        ) from None
    if math.isnan(found) or math.isinf(found) or found < least:
        raise UsageError(f"{name}={value!r}", "is out of range", f"give {least:g} or more")
    return found


def path(name: str, value: Any) -> str:
    """``value`` as the name of a file."""
    try:
        found = os.fspath(value)
    except TypeError:
        raise WrongTypeError(
            f"{name}={value!r}", f"{_kind(value)} is no name of a file", "give a str or a Path"
        ) from None
    return os.fsdecode(found)
