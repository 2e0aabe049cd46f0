"""Scans: what may go in, what comes out."""

from __future__ import annotations

import random

import pytest

import talvor

numpy = pytest.importorskip("numpy")


@pytest.fixture()
def scratch(pod: talvor.SimulatedPod) -> talvor.SimulatedPod:
    """A pod whose chain is the 32 bits of cpu's scratch register and four BYPASS bits."""
    pod.device["cpu"].ir(0b1000)
    return pod


def test_an_integer_comes_back_as_an_integer(scratch: talvor.SimulatedPod) -> None:
    before = 3  # devices nearer TDO
    scratch.dr(0x12345678 << before, bits=36)
    answer = scratch.dr(0, bits=36)
    assert isinstance(answer, int)
    assert answer >> before & 0xFFFFFFFF == 0x12345678


@pytest.mark.parametrize("bits", [1, 15, 16, 17, 63, 64, 65, 100, 1000])
def test_what_goes_in_comes_out_behind_the_chain(pod: talvor.SimulatedPod, bits: int) -> None:
    pod.ir((1 << 33) - 1, bits=33)  # BYPASS: five bits
    value = random.Random(bits).getrandbits(bits)
    answer = pod.dr(value, bits=bits + 5)
    assert answer == value << 5
    data = value.to_bytes((bits + 7) // 8 + 1, "little")
    assert int.from_bytes(pod.dr(data, bits=bits + 5), "little") == value << 5


@pytest.mark.parametrize("kind", [bytes, bytearray, memoryview])
def test_bytes_come_back_as_bytes(pod: talvor.SimulatedPod, kind: type) -> None:
    pod.ir((1 << 33) - 1, bits=33)
    answer = pod.dr(kind(b"\x01\x02\x03"))
    assert answer == (0x030201 << 5 & 0xFFFFFF).to_bytes(3, "little")


def test_arrays_are_read_and_written_where_they_lie(pod: talvor.SimulatedPod) -> None:
    pod.ir((1 << 33) - 1, bits=33)
    out = numpy.arange(1000, dtype=numpy.uint32)
    into = numpy.zeros(1000, dtype=numpy.uint32)
    assert pod.dr(out, into=into) is into
    sent = int.from_bytes(out.tobytes(), "little")
    assert int.from_bytes(into.tobytes(), "little") == sent << 5 & (1 << 32000) - 1


def test_arrays_that_are_not_contiguous_are_refused(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.UsageError, match="contiguous"):
        pod.dr(numpy.arange(10, dtype=numpy.uint8)[::2])


def test_arrays_of_truth_values_are_refused(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.UsageError, match="packbits"):
        pod.dr(numpy.zeros(10, dtype=bool))


@pytest.mark.parametrize(
    ("data", "bits", "words"),
    [
        (5, None, "bits="),
        (5, 2, "does not fit into 2 bits"),
        (-1, 8, "does not fit"),
        (1 << 100, 100, "does not fit into 100 bits"),
        (-1, 100, "does not fit"),
        (5, 0, "no length"),
        (b"", None, "0 bits"),
        (b"ab", 17, "16 bits in it, not 17"),
        ("text", 8, "no integer"),
        (1.5, 8, "no integer"),
    ],
)
def test_data_that_cannot_be_shifted_say_why(
    pod: talvor.SimulatedPod, data: object, bits: int | None, words: str
) -> None:
    with pytest.raises(talvor.UsageError, match=words):
        pod.dr(data, bits=bits)


def test_a_buffer_for_the_answer_must_be_writable_and_large_enough(
    pod: talvor.SimulatedPod,
) -> None:
    with pytest.raises(talvor.UsageError, match="written"):
        pod.dr(b"ab", into=b"ab")
    with pytest.raises(talvor.UsageError, match="room for 1 bytes"):
        pod.dr(b"ab", into=bytearray(1))
    into = bytearray(b"\xff" * 4)
    pod.dr(b"\0\0", into=into)
    assert into[2:] == b"\xff\xff"


def test_a_scan_without_answer_is_queued(scratch: talvor.SimulatedPod) -> None:
    assert scratch.dr(0x5A5A << 3, bits=36, receive=False) is None
    assert scratch.dr(0, bits=36) >> 3 & 0xFFFFFFFF == 0x5A5A


def test_an_answered_scan_has_been_updated(scratch: talvor.SimulatedPod) -> None:
    scratch.dr(0, bits=36)
    assert scratch._ask("status").count('"tap_state":"Run-Test/Idle"') == 1


def test_a_scan_may_rest_and_go_on(scratch: talvor.SimulatedPod) -> None:
    scratch.dr(0x1234 << 3, bits=20, end="pausedr")
    scratch.dr(0x9ABC >> 1, bits=16)
    assert scratch.dr(0, bits=36) >> 3 & 0xFFFFFFFF == (0x1234 | (0x9ABC >> 1) << 17) & 0xFFFFFFFF


def test_a_long_scan_is_exact(pod: talvor.SimulatedPod) -> None:
    pod.ir((1 << 33) - 1, bits=33)
    data = random.Random(1).randbytes(1 << 17)
    answer = pod.dr(data)
    sent = int.from_bytes(data, "little")
    assert int.from_bytes(answer, "little") == sent << 5 & (1 << 8 * len(data)) - 1


@pytest.mark.parametrize(
    ("arguments", "words"),
    [
        ({"data": 5, "bits": "x"}, "bits='x': a str is no whole number\\nnext: give an int"),
        ({"data": 5, "bits": 8.0}, "bits=8.0: a float is no whole number"),
        ({"data": 5, "bits": 8, "end": 3}, "no stable state"),
        ({"data": 1.5, "bits": 8}, "data: a float is no integer"),
        ({"data": numpy.float64(1.5), "bits": 8}, "data: a .*float64 is no integer"),
        ({"data": None, "bits": 8}, "data: a NoneType is no integer"),
    ],
)
def test_wrong_types_are_told_with_a_next_step(
    pod: talvor.SimulatedPod, arguments: dict[str, object], words: str
) -> None:
    for scan in (pod.dr, pod.ir, pod.device["cpu"].dr):
        with pytest.raises(TypeError, match=words) as failed:
            scan(**arguments)  # type: ignore[operator]
        assert isinstance(failed.value, talvor.UsageError)
        assert failed.value.thing and failed.value.next_step


def test_a_length_out_of_range_is_a_usage_error(pod: talvor.SimulatedPod) -> None:
    for bits in (-1, 1 << 70):
        with pytest.raises(talvor.UsageError, match="bits=.*out of range|bits"):
            pod.dr(5, bits=bits)


def test_numbers_of_numpy_are_integers(scratch: talvor.SimulatedPod) -> None:
    scratch.dr(numpy.uint64(0x1234 << 3), bits=numpy.int64(36))
    assert scratch.dr(numpy.int8(0), bits=36) >> 3 & 0xFFFFFFFF == 0x1234


def test_a_device_scan_that_rests_is_whole(pod: talvor.SimulatedPod) -> None:
    cpu = pod.device["cpu"]
    cpu.ir(0b1000)
    cpu.dr(0xDEADBEEF, bits=32, end="pausedr")
    assert pod.state == "pausedr"
    assert cpu._pod.target["cpu"]["scratch"] == 0, "not updated yet"
    pod.move("idle")
    assert pod.target["cpu"]["scratch"] == 0xDEADBEEF
