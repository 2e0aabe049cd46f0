from typing import Any

import attr

from .binding import BindingMixin

@attr.s(eq=False)
class Driver(BindingMixin):
    # What bindings bind is an attribute under its name.
    interface: Any
