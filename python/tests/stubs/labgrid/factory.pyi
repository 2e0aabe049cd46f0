from typing import TypeVar

_Class = TypeVar("_Class", bound=type)

class TargetFactory:
    def reg_resource(self, cls: _Class) -> _Class: ...
    def reg_driver(self, cls: _Class) -> _Class: ...

target_factory: TargetFactory
