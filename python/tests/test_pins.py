"""Pins through boundary registers: sampled, driven, and let go on every way out."""

from __future__ import annotations

import gc
import itertools
import os
import signal
import subprocess
import sys
import time
from collections.abc import Iterator
from pathlib import Path

import pytest

import talvor


@pytest.fixture()
def board(source: Path) -> Iterator[talvor.SimulatedPod]:
    """The simulated board of two parts."""
    with talvor.simulate(source / "examples/board/pod.toml") as pod:
        yield pod


def test_pins_have_names_cells_and_places(board: talvor.SimulatedPod) -> None:
    pins = board.pins
    pin = pins["u1.PA(0)"]
    assert pin.name == "u1.PA(0)" and pin.number == 1 and pin.direction == "inout"
    assert pin.driving_cell is not None and pin.control_cell is not None
    assert pins[f"u1.{pin.package_pin}"] == pin
    assert pins["U1.pa0"] == pin
    assert len(pins) == len(list(pins)) > 50
    assert {each.device for each in pins} == {"u1", "u2"}
    assert "u1.PA(0)" in repr(pins) and pins._repr_html_().count("<tr>") == len(pins) + 1


def test_a_pin_that_there_is_not_is_told(board: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.UsageError, match="no described device has such"):
        board.pins["u1.XYZ"]
    with pytest.raises(talvor.UsageError, match="2 devices have such a pin"):
        board.pins["TCK"]
    with pytest.raises(talvor.RefusedError, match="no cell of the boundary register"):
        board.pins.get("u1.TCK")
    with pytest.raises(TypeError, match="no name of a pin"):
        board.pins[3]  # type: ignore[index]


def test_nothing_is_driven_by_the_file_of_another_part(source: Path, tmp_path: Path) -> None:
    parts = source / "examples/board"
    swapped = tmp_path / "swapped.toml"
    swapped.write_text(
        f'[[device]]\nname = "u2"\nbsdl = "{parts}/tlc44.bsd"\n'
        f'[[device]]\nname = "u1"\nbsdl = "{parts}/tlv100.bsd"\n'
    )
    with talvor.simulate(parts / "pod.toml", board=swapped) as pod:
        with pytest.raises(talvor.TargetError, match="its IDCODE is 0x04100501, the file says"):
            pod.pins.drive({"u1.PA(0)": 1}, compliance_met=True)
        with pytest.raises(talvor.TargetError, match="another order"):
            pod.interconnect(parts / "nets.toml")


def test_samples_show_what_the_target_does(board: talvor.SimulatedPod) -> None:
    sample = board.pins.sample()
    assert sample["u1.CLKOUT"] == 1 and sample["u1.RD_N"] == 0
    assert sample["u2.GCLK"] == 1, "over the board"
    assert len(sample) == len(board.pins) and "u1.CLKOUT" in sample and "u9.X" not in sample
    board.core("u1.CLKOUT", 0)
    assert board.pins.get("u1.CLKOUT") == 0
    assert board.pins.get("u1.CLKOUT", "u1.RD_N") == [0, 0]
    assert board.pins.get("u1.PC0") in (0, 1)
    assert board.state in ("reset", "idle")
    assert "CLKOUT" in sample._repr_html_() and "u1.CLKOUT=1" in repr(sample)


def test_a_device_alone_leaves_the_others_in_bypass(board: talvor.SimulatedPod) -> None:
    pins = board.device["u2"].pins
    assert {pin.device for pin in pins} == {"u2"}
    assert pins.get("GCLK") == 1
    with pytest.raises(talvor.UsageError):
        pins.get("u1.CLKOUT")


def test_watching_tells_what_has_changed(board: talvor.SimulatedPod) -> None:
    samples = []
    for sample in board.pins.watch(0.001, count=3):
        samples.append(sample)
        if len(samples) == 1:
            board.core("u1.RD_N", 1)
    assert samples[0].changed == () and samples[2].changed == ()
    assert set(samples[1].changed) == {"u1.RD_N", "u2.GOE"}
    assert samples[0].seconds < samples[1].seconds < samples[2].seconds


def test_the_pod_may_be_used_while_it_is_watched(board: talvor.SimulatedPod) -> None:
    for sample in itertools.islice(board.pins.watch(0), 3):
        assert sample["u1.CLKOUT"] == 1
        assert len(board.chain()) == 2
    assert board.pins.get("u1.CLKOUT") == 1


def test_pins_may_be_driven_while_they_are_watched(board: talvor.SimulatedPod) -> None:
    watch = board.pins.watch(0)
    next(watch)
    with board.pins.drive({"u1.PA(0)": 0}, compliance_met=True):
        with pytest.raises(talvor.RefusedError, match="its pins are driven"):
            next(watch)
        assert board.level("GPIO0") == 0


def instructions(pod: talvor.SimulatedPod) -> set[int]:
    return {device.instruction for device in pod.target.values()}


def test_driven_pins_drive_the_board_until_they_are_let_go(board: talvor.SimulatedPod) -> None:
    before = instructions(board)
    with board.pins.drive({"u1.PA(0)": 0}, compliance_met=True) as driven:
        assert board.level("GPIO0") == 0
        driven["u1.PA(0)"] = 1
        assert board.level("GPIO0") == 1
        assert driven["u1.PA(0)"] == 1
        driven.set({"u1.PA(0)": "Z", "u1.PA(1)": 1})
        assert board.level("GPIO1") == 1
        assert board.nets["GPIO0"].driven != "strong"
        assert driven.driving and instructions(board) != before
    assert not driven.driving
    assert instructions(board) == before
    driven.leave()
    with pytest.raises(talvor.RefusedError, match="let go"):
        driven.read()
    with pytest.raises(talvor.RefusedError, match="let go"):
        driven["u1.PA(0)"] = 1


def test_a_fault_of_the_board_is_read_back(board: talvor.SimulatedPod) -> None:
    board.stick_net("GPIO0", 0)
    reads = board.pins.set({"u1.PA(0)": 1}, hold=0, compliance_met=True)
    assert reads["u1.PA(0)"] == 0
    assert reads["u2.IO8"] is None, "its device was left in BYPASS"


def test_all_devices_are_driven_where_none_is_named(board: talvor.SimulatedPod) -> None:
    with board.pins.drive(compliance_met=True) as driven:
        driven.set({"u1.PA(0)": 1})
        assert driven.read()["u2.IO8"] == 1


def test_nothing_else_uses_the_target_meanwhile(board: talvor.SimulatedPod) -> None:
    with board.pins.drive({"u1.PA(0)": 1}, compliance_met=True):
        for call in (
            lambda: board.chain(),
            lambda: board.dr(0, bits=8),
            lambda: board.move("reset"),
            lambda: board.pins.sample(),
            lambda: board.pins.drive({"u1.PA(0)": 1}, compliance_met=True),
            lambda: board.device["u1"].ir(0),
        ):
            with pytest.raises(talvor.RefusedError, match="its pins are driven"):
                call()
        assert board.level("GPIO0") == 1
        assert board.hertz > 0 and board.serial == 5 and board.state == "idle"
    assert len(board.chain()) == 2


def test_an_exception_lets_go(board: talvor.SimulatedPod) -> None:
    before = instructions(board)
    with pytest.raises(LookupError):
        with board.pins.drive({"u1.PA(0)": 0}, compliance_met=True):
            raise LookupError
    assert instructions(board) == before


def test_driven_pins_that_nobody_keeps_are_let_go(board: talvor.SimulatedPod) -> None:
    before = instructions(board)
    driven = board.pins.drive({"u1.PA(0)": 0}, compliance_met=True)
    assert instructions(board) != before
    del driven
    gc.collect()
    assert instructions(board) == before


def test_a_pod_that_is_closed_lets_go_first(source: Path, tmp_path: Path) -> None:
    pod = talvor.simulate(source / "examples/board/pod.toml", trace=True)
    pins = pod.pins
    driven = pins.drive({"u1.PA(0)": 0}, compliance_met=True)
    copy = tmp_path / "trace.vcd"
    trace = Path(pod._folder) / "trace.vcd"
    os.link(trace, copy)
    pod.close()
    assert not driven.driving
    driven.leave()
    seen = talvor.read_vcd(copy, last=True, count=2000)
    bypass = seen.shifts[-1]
    assert bypass.path == "ir" and bypass.tdi >> (bypass.bits - 13) == 0x1FFF
    assert [name for name, _ in seen.states][-2:] == ["Select-DR-Scan", "Select-IR-Scan"], "reset"
    for call in (driven.read, pins.sample, lambda: pins.get("u1.PA(0)"), lambda: pins.drive()):
        with pytest.raises(talvor.ClosedError):
            call()
    assert pins["u1.PA(0)"].name == "u1.PA(0)"


def test_a_copy_of_the_process_leaves_driven_pins_alone(board: talvor.SimulatedPod) -> None:
    driven = board.pins.drive({"u1.PA(0)": 0}, compliance_met=True)
    child = os.fork()
    if child == 0:
        code = 1
        try:
            driven.leave()
        except talvor.RefusedError:
            board.close()
            del driven
            gc.collect()
            code = 0
        os._exit(code)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
    assert driven.driving and board.level("GPIO0") == 0
    driven.leave()


def test_what_cannot_be_driven_says_why_and_drives_nothing(board: talvor.SimulatedPod) -> None:
    pins = board.pins
    assert len(pins) > 0  # looks for the chain
    before = instructions(board)
    for levels, words in (
        ({"u1.PA(0)": 2}, "no level"),
        ({"u1.PA(0)": "high"}, "no level"),
        ({"u1.TXD0": "Z"}, "u1.TXD0|TXD0"),
        ({"u1.NOPE": 1}, "no described device"),
    ):
        with pytest.raises(talvor.TalvorError, match=words):
            pins.drive(levels, compliance_met=True)  # type: ignore[arg-type]
    with pytest.raises(talvor.UsageError, match="choose extest"):
        pins.drive(instruction="sample")  # type: ignore[arg-type]
    with pytest.raises(talvor.UsageError, match="disables every output"):
        pins.drive({"u1.PA(0)": 1}, instruction="highz")
    with pytest.raises(TypeError, match="no mapping"):
        pins.drive(["u1.PA(0)"])  # type: ignore[arg-type]
    assert instructions(board) == before


def test_compliance_patterns_are_to_be_met(board: talvor.SimulatedPod) -> None:
    assert any("complies with IEEE 1149.1 only while" in note for note in board.pins.notes)
    with pytest.raises(talvor.RefusedError, match="compliance_met=True"):
        board.pins.drive({"u1.PA(0)": 1})
    with pytest.raises(talvor.RefusedError, match="compliance_met=True"):
        board.pins.set({"u1.PA(0)": 1}, hold=0)


def test_clamp_holds_what_it_began_with(board: talvor.SimulatedPod) -> None:
    with board.pins.drive({"u1.PA(0)": 0}, instruction="clamp", compliance_met=True) as driven:
        assert board.level("GPIO0") == 0
        assert driven.read()["u1.PA(0)"] is None
        with pytest.raises(talvor.RefusedError, match="holds the levels"):
            driven["u1.PA(0)"] = 1


def test_ctrl_c_lets_go(source: Path) -> None:
    program = f"""
import talvor, time
pod = talvor.simulate({str(source / 'examples/board/pod.toml')!r})
before = [device.instruction for device in pod.target.values()]
try:
    with pod.pins.drive({{"u1.PA(0)": 0}}, compliance_met=True) as driven:
        print("driving", flush=True)
        while True:
            driven.read()
except KeyboardInterrupt:
    print([device.instruction for device in pod.target.values()] == before, driven.driving)
pod.close()
"""
    process = subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, text=True)
    assert process.stdout is not None and process.stdout.readline() == "driving\n"
    time.sleep(0.2)
    process.send_signal(signal.SIGINT)
    said, _ = process.communicate(timeout=60)
    assert said == "True False\n" and process.returncode == 0


def test_without_bsdl_files_there_is_a_next_step(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.UsageError, match="bsdl="):
        pod.pins.sample()


def test_a_picture_shows_the_package(board: talvor.SimulatedPod) -> None:
    assert "CLKOUT" in board.pins.to_svg("u1")
    with pytest.raises(talvor.UsageError, match="choose of"):
        board.pins.to_svg()


def test_connections_are_tested_against_the_netlist(
    board: talvor.SimulatedPod, source: Path, tmp_path: Path
) -> None:
    nets = source / "examples/board/nets.toml"
    report = board.interconnect(nets)
    assert report.good and report.findings == [] and report.vectors > 0
    assert len(report.nets) > 20 and report.untested
    assert "no fault" in repr(report) and "<svg" in report._repr_svg_()
    report.save(tmp_path / "board.svg")
    board.break_net("u2.IO8")
    report = board.interconnect(nets)
    assert not report.good and report.findings[0].nets == ["GPIO0"]
    assert "open" in report.findings[0].lines[0]
    planned = board.interconnect(nets, dry_run=True)
    assert not planned.tested and not planned.good and len(planned.nets) == len(report.nets)
    with pytest.raises(talvor.FileError):
        board.interconnect("/dev/null/none.toml")
    with pytest.raises(talvor.UsageError, match="parts=|device"):
        board.interconnect(nets, parts={"U1": "none"})


def test_ctrl_c_ends_a_watch_and_the_pod_is_as_good_as_before(source: Path) -> None:
    program = f"""
import talvor
pod = talvor.simulate({str(source / 'examples/board/pod.toml')!r})
try:
    for number, _ in enumerate(pod.pins.watch(0)):
        if number == 3:
            print("watching", flush=True)
except KeyboardInterrupt:
    print(len(pod.chain()), pod.pins.get("u1.CLKOUT"))
pod.close()
"""
    process = subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, text=True)
    assert process.stdout is not None and process.stdout.readline() == "watching\n"
    process.send_signal(signal.SIGINT)
    said, _ = process.communicate(timeout=60)
    assert said == "2 1\n" and process.returncode == 0
