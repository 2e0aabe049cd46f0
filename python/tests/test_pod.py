"""Pods: chain, devices, the TAP, registers, clock."""

from __future__ import annotations

import pytest

import talvor
from talvor import State


def test_chain_finds_the_devices_with_their_names(pod: talvor.SimulatedPod) -> None:
    chain = pod.chain()
    assert [device.name for device in chain] == ["gate", "cpu", "switch", "dsp", "store"]
    assert [device.ir_bits for device in chain] == [6, 4, 5, 8, 10]
    assert chain["cpu"].idcode == 0x1A2B3C4D
    assert chain["switch"].idcode is None
    assert chain[-1].number == 5
    assert chain.ir_bits == 33
    assert chain.lengths_known


def test_an_unknown_device_is_named_with_those_that_there_are(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(KeyError, match="device fpga: no device .* they are gate, cpu, switch"):
        pod.device["fpga"]
    with pytest.raises(KeyError, match="device 6: the chain has 5 devices"):
        pod.device["6"]


def test_a_device_is_meant_by_its_name_in_any_case_or_its_number(
    pod: talvor.SimulatedPod,
) -> None:
    assert pod.device["CPU"].number == pod.device["2"].number == pod.device[1].number == 2


def test_chain_is_a_table_in_text_and_html(pod: talvor.SimulatedPod) -> None:
    chain = pod.chain()
    assert "0x1A2B3C4D" in repr(chain)
    table = chain._repr_html_()
    assert table.startswith("<table>") and table.count("<tr>") == 6
    assert "<td>cpu</td><td>0x1A2B3C4D</td>" in table


def test_html_quotes_names() -> None:
    text = '[[pod]]\nserial = 3\n[[pod.tap]]\nname = "<b>"\nir_length = 4\nidcode = 0x1A2B3C4D\n'
    text += 'idcode_instruction = 2\n'
    with talvor.simulate(text=text) as pod:
        assert "<td>&lt;b&gt;</td>" in pod.chain()._repr_html_()


def test_device_scans_leave_the_others_alone(pod: talvor.SimulatedPod) -> None:
    cpu = pod.device["cpu"]
    assert cpu.ir(0b1000) & 0b11 == 0b01
    cpu.dr(0xDEADBEEF, bits=32)
    assert cpu.dr(0, bits=32) == 0xDEADBEEF
    store = pod.device["store"]
    assert store.dr(0, bits=32, ir=0x008) == 0x54414C56


def test_given_lengths_and_names_of_a_board_are_used(tmp_path) -> None:  # type: ignore[no-untyped-def]
    board = tmp_path / "board.toml"
    names = ["a", "b", "c", "d", "e"]
    board.write_text(
        "".join(
            f'[[device]]\nname = "{name}"\nir = {bits}\n'
            for name, bits in zip(names, [6, 4, 5, 8, 10])
        )
    )
    with talvor.simulate(board=board) as pod:
        assert [device.name for device in pod.chain()] == names
        assert pod.board.endswith("board.toml")


def test_state_tells_where_the_tap_stands(pod: talvor.SimulatedPod) -> None:
    for state in State:
        pod.move(state)
        assert pod.state is state
    pod.move("RTI")
    assert pod.state == "idle"


def test_a_state_that_does_not_hold_is_refused(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.UsageError, match="no stable state"):
        pod.move("shiftdr")


def test_reset_answers_the_log(pod: talvor.SimulatedPod) -> None:
    log = pod.reset(soft=True)
    assert any(entry.text for entry in log)
    assert any(entry.number is not None for entry in log)
    assert pod.state in State


def test_run_spends_clocks_in_idle(pod: talvor.SimulatedPod) -> None:
    before = pod.status()["virtual_time_ns"]
    pod.run(clocks=7000)
    spent = (pod.status()["virtual_time_ns"] - before) * pod.hertz / 1e9
    assert 6990 <= spent < 8000
    assert pod.state is State.IDLE


def test_registers_are_read_and_written(pod: talvor.SimulatedPod) -> None:
    registers = pod.registers
    values = registers[0:16]
    assert len(values) == 16 and registers[3] == values[3]
    with pytest.raises(IndexError):
        registers[32]
    with pytest.raises(talvor.UsageError, match="16 bits"):
        registers[3] = 0x10000
    with pytest.raises(talvor.UsageError, match="one value each"):
        registers[0:2] = [1]
    registers.poll("idle")
    with pytest.raises(talvor.UsageError, match="no condition"):
        registers.poll("tea")


def test_the_test_clock_is_the_fastest_at_or_below(pod: talvor.SimulatedPod) -> None:
    first = pod.hertz
    pod.hertz = 1e6
    assert 0 < pod.hertz <= 1e6
    pod.hertz = None
    assert pod.hertz == first


def test_the_link_delay_is_set_and_bounded(pod: talvor.SimulatedPod) -> None:
    pod.link_delay = 7
    assert pod.link_delay == 7
    with pytest.raises(talvor.UsageError, match="0 to 31"):
        pod.link_delay = 32


def test_shmoo_finds_the_clock_that_is_too_fast(pod: talvor.SimulatedPod) -> None:
    before = pod.link_delay, pod.hertz
    seen: list[tuple[int, int]] = []
    shmoo = pod.shmoo(clocks=4, delays=(0, 3), bits=64, progress=lambda *now: seen.append(now))
    cells = len(shmoo.clocks) * len(shmoo.delays)
    assert seen[-1] == (cells, cells)
    assert shmoo.delays == [0, 1, 2, 3]
    assert len(shmoo.works) == len(shmoo.clocks) and any(map(any, shmoo.works))
    assert not any(shmoo.works[0])  # above 18 MHz the target answers late
    assert shmoo.best is not None and shmoo.best[0].hertz < 18e6
    assert shmoo._repr_svg_().lstrip().startswith("<")
    assert (pod.link_delay, pod.hertz) == before


def test_what_a_shmoos_callback_raises_ends_it(pod: talvor.SimulatedPod) -> None:
    def stop(done: int, total: int) -> None:
        if done == 3:
            raise LookupError("enough")

    with pytest.raises(LookupError, match="enough"):
        pod.shmoo(clocks=4, delays=(0, 3), bits=64, progress=stop)
    assert pod.chain()


def test_a_pod_tells_what_it_is(pod: talvor.SimulatedPod) -> None:
    assert pod.serial == 5
    assert pod.revision == (3, 2)
    assert pod.library.endswith("libjsctalvor_340.so.0")
    assert repr(pod) == "<SimulatedPod 5>"


@pytest.mark.parametrize(
    "call",
    [
        lambda pod: pod.run("soon"),
        lambda pod: pod.run(seconds="1"),
        lambda pod: pod.move("idle", times=1.5),
        lambda pod: pod.move(3),
        lambda pod: setattr(pod, "hertz", "fast"),
        lambda pod: setattr(pod, "link_delay", 1.5),
        lambda pod: pod.shmoo(bits=1.5),
        lambda pod: pod.play(7),
        lambda pod: pod.registers["x"],
        lambda pod: pod.registers.read_again(3, 1.5),
        lambda pod: pod.registers.write_again(3, ["x"]),
        lambda pod: setattr(pod, "registers", None) if False else pod.registers.__setitem__(3, 1.5),
        lambda pod: pod.latency("x"),
        lambda pod: talvor.open(board=5),
        lambda pod: talvor.open(serial="5"),
        lambda pod: talvor.open(board=False, patience="x"),
        lambda pod: talvor.open(board=False, ir_lengths=["x"]),
    ],
)
def test_wrong_types_are_type_errors_with_a_next_step(pod: talvor.SimulatedPod, call) -> None:  # type: ignore[no-untyped-def]
    with pytest.raises(TypeError) as failed:
        call(pod)
    assert isinstance(failed.value, talvor.WrongTypeError)
    assert failed.value.thing and failed.value.reason and failed.value.next_step
