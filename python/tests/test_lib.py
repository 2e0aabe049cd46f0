"""The 54 operations as they are."""

from __future__ import annotations

import ctypes
import re
import subprocess
import sys
from pathlib import Path

import pytest

import talvor
from talvor import lib


def test_the_file_for_ctypes_is_as_old_as_the_headers(source: Path) -> None:
    subprocess.run([sys.executable, source / "scripts/python-operations", "--check"], check=True)


def test_each_operation_stands_at_its_place(source: Path) -> None:
    header = (source / "include/jsc_export.h").read_text()
    slots = re.findall(r"_t (\w+); +/\* (\d+) \*/", header)
    assert [(name, str(place)) for place, name in enumerate(lib.NAMES)] == slots
    assert len(lib.NAMES) == 54


def test_records_are_laid_out_as_the_headers_say(source: Path) -> None:
    asserted = re.findall(
        r"JTI_STATIC_ASSERT\((offsetof|sizeof)\((\w+)(?:, (\w+))?\) == (\d+),",
        (source / "include/jsc_external.h").read_text(),
    )
    checked = 0
    for kind, record, field, number in asserted:
        known = getattr(lib, record, None)
        if known is None:
            continue
        found = ctypes.sizeof(known) if kind == "sizeof" else getattr(known, field).offset
        assert found == int(number), f"{record}.{field}"
        checked += 1
    assert checked > 50


def test_a_scan_by_hand_is_that_of_the_pod(pod: talvor.SimulatedPod) -> None:
    pod.device["cpu"].ir(0b1000)
    pod.device["cpu"].dr(0xCAFEF00D, bits=32)
    command = lib.JSC_JtagCommand(
        jtagBefore=lib.JSC_JtagTransit.eJSC_JTAG_TRANSIT_VIA_CAPTURE,
        jtagShift=lib.JSC_JtagShift.eJSC_JTAG_SHIFT_DR,
        jtagAfter=lib.JSC_JtagTransit.eJSC_JTAG_TRANSIT_QUICKEST,
        jtagEnd=lib.JSC_JtagState.eJSC_JTAG_STATE_IDLE,
        jtagAmble=lib.JSC_JtagAmble.eJSC_JTAG_AMBLE_NEITHER,
        jtagUsage=lib.JSC_JtagUsage.eJSC_JTAG_USAGE_FRESH,
        jtagWidth=lib.JSC_JtagWidth.eJSC_JTAG_WIDTH_16,
        jtagAdjust=lib.JSC_JtagAdjust.eJSC_JTAG_ADJUST_AUTO,
    )
    words = 8
    out, into = (ctypes.c_uint16 * words)(), (ctypes.c_uint16 * words)()
    parameters = lib.JSC_JtagParam16(
        repeatCount=1, shiftCount=16 * words, pOutBuffer=out, pInBuffer=into
    )
    assert pod.lib.ScanBoth16(ctypes.byref(command), ctypes.byref(parameters)) == 0
    # 16 ones of the adjustment come first; behind them the register and three BYPASS bits.
    seen = int.from_bytes(bytes(into), "little")
    assert f"{0xCAFEF00D:032b}" in f"{seen:0128b}"


def test_what_the_driver_answers_is_not_raised(pod: talvor.SimulatedPod) -> None:
    assert pod.lib.GetState(None) == -122
    assert pod.lib.RegisterRead(True, True, 99, 1, (ctypes.c_uint16 * 1)()) == -170
    assert pod.lib.SwdRegRead(0, 0, None) == lib.JTI_ErrorCode.eJTI_ERROR_NOT_OFFERED


def test_the_tap_is_looked_for_after_an_operation_moved_it(pod: talvor.SimulatedPod) -> None:
    pod.move("idle")
    command = lib.JSC_JtagCommand(
        jtagAfter=lib.JSC_JtagTransit.eJSC_JTAG_TRANSIT_QUICKEST,
        jtagEnd=lib.JSC_JtagState.eJSC_JTAG_STATE_PAUSE_IR,
    )
    assert pod.lib.PutState(ctypes.byref(command), 0, 1) == 0
    pod.move("idle")
    assert pod.status()["tap_state"] == "Run-Test/Idle"


def test_a_name_that_is_no_operation_is_no_attribute(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(AttributeError, match="Reboot"):
        pod.lib.Reboot
    assert "GetState" in dir(pod.lib) and len(pod.lib) == 54
