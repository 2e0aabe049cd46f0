"""The states that a TAP rests in."""

from __future__ import annotations

import enum
from typing import Final

from . import _core

__all__ = ["State", "StateLike"]


class State(enum.StrEnum):
    """A state of the TAP controller that holds while TMS does not change.

    >>> State("idle") is State.IDLE
    True
    """

    RESET = "reset"
    IDLE = "idle"
    PAUSEDR = "pausedr"
    PAUSEIR = "pauseir"


StateLike = State | str

_TO_CORE: Final[dict[str, _core.StableState]] = {
    "reset": _core.StableState.RESET,
    "idle": _core.StableState.IDLE,
    "pausedr": _core.StableState.PAUSEDR,
    "pauseir": _core.StableState.PAUSEIR,
    "tlr": _core.StableState.RESET,
    "rti": _core.StableState.IDLE,
    "drpause": _core.StableState.PAUSEDR,
    "irpause": _core.StableState.PAUSEIR,
}


def to_core(state: StateLike) -> _core.StableState:
    """The host library's word for ``state``."""
    if not isinstance(state, str):
        from .errors import WrongTypeError

        raise WrongTypeError(
            repr(state), "is no stable state", "choose reset, idle, pausedr or pauseir"
        )
    found = _TO_CORE.get(state) or _TO_CORE.get(state.lower())
    if found is None:
        from .errors import UsageError

        raise UsageError(
            str(state), "is no stable state", "choose reset, idle, pausedr or pauseir"
        )
    return found


def from_core(state: _core.StableState) -> State:
    """The state that the host library means."""
    return State(state.name.lower())
