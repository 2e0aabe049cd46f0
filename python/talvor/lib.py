"""The driver's table of 54 operations, as it is.

``pod.lib.GetState(...)`` calls the operation of that name on the pod's handle, with the arguments
that ``jsc_export.h`` tells, as :mod:`ctypes` takes them, and answers the driver's code: 0, or one of
``JTI_ErrorCode``. Nothing is raised, copied or queued by this package. The records and enumerations
of the headers are here under their names.

>>> import ctypes, talvor
>>> from talvor import lib
>>> with talvor.simulate() as pod:
...     state = ctypes.c_int32()
...     code = pod.lib.GetState(ctypes.byref(state))
>>> code, lib.JSC_JtagState(state.value).name
(0, 'eJSC_JTAG_STATE_RESET')
"""

from __future__ import annotations

import ctypes
from typing import TYPE_CHECKING, Any, Final

from . import _operations
from ._operations import *  # noqa: F403

if TYPE_CHECKING:
    from .pod import Pod

NAMES: Final[tuple[str, ...]] = tuple(name for name, _ in _operations.OPERATIONS)
"""The operations in the order of the table."""

_SLOT: Final = ctypes.sizeof(ctypes.c_void_p)
_KINDS: Final = {
    name: (index, ctypes.CFUNCTYPE(ctypes.c_int32, *arguments))
    for index, (name, arguments) in enumerate(_operations.OPERATIONS)
}


class Operation:
    """One operation of a pod's table. Called without the handle, which is the pod's."""

    def __init__(self, pod: Pod, name: str) -> None:
        self._pod = pod
        self.name = name
        self._index, self._kind = _KINDS[name]

    def __call__(self, *arguments: Any) -> int:
        """Call it, after what the pod has queued; the driver's code.

        Args:
            arguments: Those behind the handle. What a pointer points to must be alive until a
                flush has succeeded, where the operation says so.
        """
        connection = self._pod._connection
        table, handle = connection.addresses()
        slot = ctypes.c_void_p.from_address(table + self._index * _SLOT)
        function = self._kind(slot.value or 0)
        code: int = connection.call(lambda: int(function(handle, *arguments)))
        return code

    def __repr__(self) -> str:
        return f"<operation {self._index}, {self.name}>"


class Operations:
    """The table of a pod: an attribute for each operation."""

    def __init__(self, pod: Pod) -> None:
        self._pod = pod

    def __getattr__(self, name: str) -> Operation:
        if name not in _KINDS:
            raise AttributeError(f"{name}: the table has no such operation")
        return Operation(self._pod, name)

    def __dir__(self) -> list[str]:
        return sorted(NAMES)

    def __len__(self) -> int:
        return len(NAMES)
