"""Pods as resources: at this machine, and at an exporter's."""

from __future__ import annotations

from typing import Any, Final

import attr
from attr.validators import in_, instance_of, optional
from labgrid.factory import target_factory
from labgrid.resource.common import NetworkResource, Resource

__all__ = ["OPTIONS", "PROTOCOLS", "NetworkTalvorPod", "TalvorPod"]

# What a bridge may speak, by the names that descriptions of simulated pods use, each with the
# option of ``talvor serve``.
OPTIONS: Final = {"xvc": "--xvc", "remote_bitbang": "--rbb"}
PROTOCOLS: Final = tuple(OPTIONS)


@target_factory.reg_resource
@attr.s(eq=False)
class TalvorPod(Resource):
    """A pod at this machine, or a simulated one.

    Args:
        board: Board file, relative to the environment's; without one the pod's defaults hold.
        serial: The pod's serial number; before the board file's. Without either the first pod.
        simulate: True for a simulated pod with five devices, or a description file.
    """

    board: str | None = attr.ib(default=None, validator=optional(instance_of(str)))
    serial: int | None = attr.ib(default=None, validator=optional(instance_of(int)))
    simulate: bool | str = attr.ib(default=False, validator=instance_of((bool, str)))


@target_factory.reg_resource
@attr.s(eq=False)
class NetworkTalvorPod(NetworkResource):
    """A pod that ``talvor serve`` offers on another machine.

    An exporter makes it of a :class:`TalvorPod`; an environment may name a bridge that somebody has
    started by hand.

    Args:
        host: The machine of the bridge.
        port: TCP port of the bridge; None while an exporter has not started it.
        protocol: What it speaks: ``xvc``, or ``remote_bitbang``, which is slower and has resets.
        serial: The pod's serial number; None where it does not matter.
        devices: The chain, nearest TDI first: for each device ``name`` and ``ir``, the length of
            its instruction register in bits, as far as they are known.
    """

    port: int | None = attr.ib(default=None, validator=optional(instance_of(int)))
    protocol: str = attr.ib(default="xvc", validator=in_(PROTOCOLS))
    serial: int | None = attr.ib(default=None, validator=optional(instance_of(int)))
    devices: list[dict[str, Any]] = attr.ib(
        default=attr.Factory(list), validator=instance_of(list)
    )

    @property
    def has_resets(self) -> bool:
        """Whether the bridge passes on the reset line and TRSTn."""
        return self.protocol == "remote_bitbang"
