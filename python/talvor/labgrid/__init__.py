"""Pods for labgrid: a resource, its export, and a driver.

An environment names this module among its ``imports``; it registers the resources
:class:`TalvorPod` and :class:`NetworkTalvorPod` and the driver :class:`TalvorDriver`. A pod is
exported by ``python3 -m talvor.labgrid.exporter``, which is labgrid's exporter that knows pods.

It needs labgrid, which ``import talvor`` does not.
"""

from __future__ import annotations

try:
    import labgrid  # noqa: F401
except ModuleNotFoundError as missing:
    raise ModuleNotFoundError(
        "talvor.labgrid needs labgrid: install python3-labgrid", name=missing.name
    ) from None

from .driver import TalvorDriver
from .resource import NetworkTalvorPod, TalvorPod

__all__ = ["NetworkTalvorPod", "TalvorDriver", "TalvorPod"]
