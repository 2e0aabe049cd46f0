from collections.abc import Callable, Sequence
from typing import Any, TypeVar

_F = TypeVar("_F", bound=Callable[..., Any])

def step(
    *, title: str | None = ..., args: Sequence[str] = ..., result: bool = ..., tag: str | None = ...
) -> Callable[[_F], _F]: ...
