"""What files say of a pod and its chain, for who cannot read them because he is elsewhere."""

from __future__ import annotations

import json
import tomllib
from collections.abc import Sequence
from pathlib import Path
from typing import Any

from .. import _core
from ..errors import FileError
from .resource import NetworkTalvorPod, TalvorPod

__all__ = ["board_of", "devices_in", "devices_of", "serial_of", "stand_in_of"]


def _read(path: str) -> dict[str, Any]:
    try:
        with open(path, "rb") as file:
            return tomllib.load(file)
    except OSError as error:
        raise FileError(path, f"it cannot be read: {error.strerror}") from error
    except tomllib.TOMLDecodeError as error:
        raise FileError(path, str(error)) from error


def _board(pod: TalvorPod) -> dict[str, Any]:
    return {} if pod.board is None else _read(pod.board)


def _simulated(pod: TalvorPod) -> list[dict[str, Any]]:
    """The pods of the description."""
    if isinstance(pod.simulate, str):
        return list(_read(pod.simulate)["pod"])
    return list(tomllib.loads(_core.built_in_description())["pod"]) if pod.simulate else []


def serial_of(pod: TalvorPod) -> int | None:
    """The pod's serial number, where it is told."""
    told = pod.serial or _board(pod).get("KELM", {}).get("POD_SN", 0)
    if not told and pod.simulate:
        told = _simulated(pod)[0]["serial"]
    return int(told) or None


def devices_of(pod: TalvorPod) -> list[dict[str, Any]]:
    """The chain as far as board file or description tell: ``name`` and ``ir`` of each device."""
    told = [
        {"name": device.get("name", ""), "ir": device.get("ir", 0)}
        for device in _board(pod).get("device", [])
    ]
    if told or not pod.simulate:
        return told
    serial = serial_of(pod)
    return [
        {"name": tap.get("name", ""), "ir": tap.get("ir_length", 0)}
        for one in _simulated(pod)
        if one["serial"] == serial
        for tap in one.get("tap", [])
    ]


def devices_in(board: str) -> list[dict[str, Any]]:
    """The devices of a board file, with the paths of their BSDL files as they are from anywhere."""
    devices = [dict(device) for device in _read(board).get("device", [])]
    for device in devices:
        if "bsdl" in device:
            device["bsdl"] = str(Path(board).absolute().parent / str(device["bsdl"]))
    return devices


def board_of(devices: Sequence[dict[str, Any]]) -> str:
    """A board file for the chain."""
    lines: list[str] = []
    for device in devices:
        lines.append("[[device]]")
        for key in ("name", "bsdl"):
            if text := str(device.get(key, "")):
                lines.append(f"{key} = {json.dumps(text, ensure_ascii=False)}")
        if bits := int(device.get("ir", 0)):
            lines.append(f"ir = {bits}")
    return "\n".join(lines) + "\n"


def stand_in_of(pod: NetworkTalvorPod, host: str, port: int) -> str:
    """The description of a simulated pod that has the bridge at ``host`` and ``port`` as target."""
    address = f"[{host}]:{port}" if ":" in host else f"{host}:{port}"
    return (
        "[[pod]]\n"
        f"serial = {pod.serial or 1}\n"
        "revision = 0x0302\n"
        f"target = {json.dumps(address)}\n"
        f"target_protocol = {json.dumps(pod.protocol)}\n"
        + ("target_resets = true\n" if pod.has_resets else "")
    )
