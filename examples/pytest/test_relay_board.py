"""Acceptance tests of a made-up relay board. Run them with: pytest examples/pytest"""

import pytest
import talvor

LATCH = 0b01100
UPDATES = 0b0101


def test_both_devices_are_there(talvor_pod):
    chain = talvor_pod.chain()
    assert [(device.name, device.idcode) for device in chain] == [
        ("supervisor", 0x11C0FFE1),
        ("relays", 0x2BADB101),
    ]


@pytest.mark.parametrize("relay", range(12))
def test_each_relay_is_latched_alone(talvor_pod, relay):
    relays = talvor_pod.device["relays"]
    relays.dr(1 << relay, bits=12, ir=LATCH)
    assert relays.dr(0, bits=12) == 1 << relay


def test_no_relay_is_latched_after_power_up(talvor_pod):
    assert talvor_pod.device["relays"].dr(0, bits=12, ir=LATCH) == 0


def test_the_supervisor_counts_updates(talvor_pod):
    supervisor = talvor_pod.device["supervisor"]
    first = supervisor.dr(0, bits=16, ir=UPDATES)
    assert supervisor.dr(0, bits=16) == first + 1


def test_a_board_without_power_is_told(talvor_pod):
    if not isinstance(talvor_pod, talvor.SimulatedPod):
        pytest.skip("a real board keeps its power")
    talvor_pod.power_off()
    with pytest.raises(talvor.TargetError, match="TDO"):
        talvor_pod.chain()


@pytest.mark.talvor_fault("latency 2000")
def test_a_slow_pod_answers_the_same(talvor_pod):
    assert len(talvor_pod.chain()) == 2
