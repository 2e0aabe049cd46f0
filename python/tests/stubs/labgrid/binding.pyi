from collections.abc import Callable
from typing import Any, TypeVar

import attr

_F = TypeVar("_F", bound=Callable[..., Any])

@attr.s(eq=False)
class BindingMixin:
    bindings: dict[str, Any]
    target: Any = attr.ib()
    name: str | None = attr.ib()
    def __attrs_post_init__(self) -> None: ...
    @classmethod
    def check_active(cls, func: _F) -> _F: ...
