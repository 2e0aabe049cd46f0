"""Tests of the board, the same wherever the board is.

    pytest --lg-env simulated.yaml
"""

import pytest

SCRATCH = 0b1000


@pytest.fixture()
def jtag(target):
    """The board's pod, open."""
    return target.get_driver("TalvorDriver")


def test_both_devices_are_there(jtag):
    names = [device.name for device in jtag.chain()]
    assert names == ["bridge", "controller"]


def test_idcodes_are_those_of_the_parts_list(jtag):
    assert [device.idcode for device in jtag.chain()] == [0x1B0A97E3, 0x2C0178FB]


@pytest.mark.parametrize("value", [0, 0xFFFFFFFF, 0xA5A5C3C3])
def test_the_controller_keeps_what_it_is_given(jtag, value):
    jtag.dr(value, bits=32, device="controller", ir=SCRATCH)
    assert jtag.dr(0, bits=32, device="controller") == value


def test_the_self_test_passes(jtag):
    assert jtag.play().passed


def test_the_tap_waits_where_it_is_told_to(jtag):
    jtag.move("pausedr")
    assert jtag.tap_state == "pausedr"
    jtag.move("idle")
