import logging
from typing import Any

import attr

@attr.s(eq=False)
class ResourceExport:
    data: dict[str, Any] = attr.ib()
    host: str = attr.ib(default="")
    proxy: Any = attr.ib(default=None)
    proxy_required: bool = attr.ib(default=False)
    local: Any = attr.ib(init=False)
    local_params: dict[str, Any] = attr.ib(init=False)
    logger: logging.Logger
    def __attrs_post_init__(self) -> None: ...
    def poll(self) -> bool: ...

exports: dict[str, type[ResourceExport]]

def main() -> None: ...
