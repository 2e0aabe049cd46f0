"""Breaking the simulated hardware, and looking at what it has seen."""

from __future__ import annotations

import warnings
from pathlib import Path

import pytest

import talvor


def test_power_that_is_gone_is_seen_and_comes_back(pod: talvor.SimulatedPod) -> None:
    pod.power_off()
    assert pod.status()["power"] is False
    with pytest.raises(talvor.TargetError, match="TDO: reads ones only"):
        pod.chain()
    pod.power_on()
    pod.reset(soft=True)
    assert len(pod.chain()) == 5


def test_a_clock_that_is_gone_is_seen(pod: talvor.SimulatedPod) -> None:
    pod.clock_off()
    with pytest.raises(talvor.TargetError):
        pod.chain()
    pod.clock_on()
    assert pod.status()["clock"] is True


def test_batches_fail_as_often_as_was_said(pod: talvor.SimulatedPod) -> None:
    pod.fail_batches(1)
    with pytest.raises(talvor.PodError) as failed:
        pod.state
    assert failed.value.code_name == "eJTI_ERROR_BATCH_FAILED"
    assert pod.status()["failed_batches"] == 1
    assert len(pod.chain()) == 5


@pytest.mark.parametrize(
    ("fault", "field", "value"),
    [
        (lambda pod: pod.emu0(False), "emu0", False),
        (lambda pod: pod.emu1(False), "emu1", False),
        (lambda pod: pod.refuse_writes(3), "refuse", 3),
        (lambda pod: pod.latency(70), "latency_us", 70),
        (lambda pod: pod.loopback("low-ff"), "loopback", "low-ff"),
        (lambda pod: pod.unplug(), "plugged", False),
    ],
)
def test_faults_show_in_the_status(fault, field: str, value: object) -> None:  # type: ignore[no-untyped-def]
    with talvor.simulate() as pod:
        assert pod.status()[field] != value
        fault(pod)
        assert pod.status()[field] == value


def test_commands_that_there_are_not_are_told_with_those_that_there_are(
    pod: talvor.SimulatedPod,
) -> None:
    with pytest.raises(talvor.UsageError, match="expected power, clock"):
        pod.command("coffee on")
    with pytest.raises(talvor.UsageError, match="more than one line"):
        pod.command("power off\npower on")
    assert pod.command("power off") == "ok"


def test_the_trace_shows_what_the_target_saw() -> None:
    with talvor.simulate(trace=True) as pod:
        pod.move("reset")
        first = pod.trace(count=0).total_tcks
        pod.ir(0x155555555, bits=33)
        trace = pod.trace(first=first, count=400, title="an instruction")
        ours = [shift for shift in trace.shifts if not shift.purpose]
        assert [(shift.path, shift.bits, shift.tdi) for shift in ours] == [("ir", 33, 0x155555555)]
        assert ("Shift-IR" in dict(trace.states)) and trace.first_tck == first
        assert "an instruction" in trace._repr_svg_() and "<svg" in trace._repr_svg_()
        assert "TDI" in trace.to_text(100)
        last = pod.trace(count=7, last=True)
        assert len(last) == 7 and last.first_tck + 7 == last.total_tcks


def test_a_trace_is_kept_by_who_wants_it(tmp_path: Path) -> None:
    with talvor.simulate(trace=True) as pod:
        pod.chain()
        trace = pod.trace()
    trace.save(tmp_path / "chain.svg")
    assert (tmp_path / "chain.svg").read_text().rstrip().endswith("</svg>")


def test_without_a_trace_there_is_a_next_step(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.RefusedError, match=r"simulate\(trace=True\)"):
        pod.trace()


def test_a_pod_of_several_is_the_one_that_is_meant(source: Path) -> None:
    description = source / "examples/two-pods.toml"
    serials = [int(line.split("=")[1]) for line in description.read_text().splitlines() if line.startswith("serial")]
    with talvor.simulate(description, serial=serials[1], trace=True) as pod:
        assert pod.serial == serials[1]
        pod.latency(3)
        assert pod.status()["latency_us"] == 3
        pod.chain()
        assert pod.trace().total_tcks > 0


def test_a_bad_description_is_told_in_the_simulators_words(tmp_path: Path) -> None:
    bad = tmp_path / "bad.toml"
    bad.write_text("[[pod]]\nserial = 'five'\n")
    with pytest.raises(talvor.FileError, match="bad.toml:2"):
        talvor.simulate(bad)
    with talvor.simulate() as pod:  # and the next one stands
        assert len(pod.chain()) == 5


def test_there_is_one_at_a_time(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.RefusedError, match="close it first"):
        talvor.simulate()
    assert len(pod.chain()) == 5


def test_many_follow_each_other_without_a_trace(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr("tempfile.tempdir", str(tmp_path))
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        for _ in range(5):
            with talvor.simulate() as pod:
                assert len(pod.chain()) == 5
        pod = talvor.simulate()  # nobody closes it
        assert list(tmp_path.iterdir()) != []
        del pod
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("wire", ["TDO", "TDI", "TMS", "TCK"])
def test_a_wire_breaks_and_is_mended_in_a_line(pod: talvor.SimulatedPod, wire: str) -> None:
    pod.break_net(wire)
    assert pod.status()["cable"] == {wire.lower(): "open"}
    with pytest.raises(talvor.TargetError):
        pod.chain()
    pod.mend_net(wire)
    assert pod.status()["cable"] == {}
    assert len(pod.chain()) == 5


def test_wires_touch_ground_and_supply(pod: talvor.SimulatedPod) -> None:
    pod.stick_net("TDO", 0)
    with pytest.raises(talvor.TargetError, match="TDO: reads zeros only"):
        pod.chain()
    pod.stick_net("tdo", 1)
    with pytest.raises(talvor.TargetError, match="TDO: reads ones only"):
        pod.chain()
    pod.stick_net("TRSTn", 0)
    assert pod.status()["cable"] == {"tdo": "1", "trst": "0"}
    pod.mend_all()
    assert len(pod.chain()) == 5


def test_nets_break_and_are_mended(source: Path) -> None:
    with talvor.simulate(source / "examples/board/pod.toml") as pod:
        assert pod.level("ADDR1") == 1 and pod.nets["ADDR1"].driven == "strong"
        pod.break_net("ADDR1")
        pod.stick_net("ADDR0", 1)
        assert pod.faults == ["open ADDR1", "stuck ADDR0 1"]
        assert pod.nets["ADDR0"].level == 1 and pod.nets["ADDR0"].driven == "stuck"
        pod.mend_net("ADDR1")
        with pytest.raises(talvor.UsageError, match="nothing is wrong"):
            pod.mend_net("ADDR1")
        with pytest.raises(talvor.UsageError, match="no net and no pin"):
            pod.break_net("NOPE")
        pod.short_nets("ADDR1", "ADDR2", model="wired-or")
        assert pod.level("ADDR2") == 1
        pod.kill_device("u2", tdo=0)
        pod.mend_all()
        assert pod.faults == [] and pod.level("ADDR2") == 0
        pod.core("u1.A(2)", 1)
        assert pod.level("ADDR2") == 1
        pod.drive("NMI", 0)
        pod.drive("NMI", "Z")
        pod.swap_devices("u1", "u2")
        assert pod.chain()[0].idcode != pod.target["u1"]["idcode"]


def test_registers_of_the_target_are_read_and_set(pod: talvor.SimulatedPod) -> None:
    cpu = pod.target["cpu"]
    pod.device["cpu"].dr(0xCAFE, bits=32, ir=0b1000)
    assert cpu["scratch"] == 0xCAFE and cpu.instruction == 0b1000 and cpu.bits("scratch") == 32
    cpu["scratch"] = 0x12345678
    assert pod.device["cpu"].dr(0, bits=32) == 0x12345678
    cpu["idcode"] = 0x0BADC0DF
    assert pod.chain()["cpu"].idcode == 0x0BADC0DF
    pod.power_off()
    pod.power_on()
    assert cpu["idcode"] == 0x1A2B3C4D
    assert list(pod.target) == ["gate", "cpu", "switch", "dsp", "store"] and "idcode" in cpu
    with pytest.raises(KeyError, match="'gate', 'cpu'"):
        pod.target["fpga"]
    with pytest.raises(KeyError):
        cpu["nothing"]
    with pytest.raises(talvor.UsageError, match="no register 'nothing'"):
        cpu["nothing"] = 1
    with pytest.raises(talvor.UsageError, match="does not fit"):
        cpu["idcode"] = 1 << 32
    with pytest.raises(TypeError, match="no whole number"):
        cpu["idcode"] = 1.5  # type: ignore[assignment]
