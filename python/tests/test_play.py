"""Playing files."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path

import pytest

import talvor


@pytest.fixture()
def wrong(tmp_path: Path) -> Path:
    """A file whose second and fourth scans are answered otherwise than it says."""
    file = tmp_path / "wrong.svf"
    file.write_text(
        "STATE RESET;\nSIR 33 TDI (1FFFFFFFF);\nSDR 13 TDI (55) TDO (AA0);\n"
        "SDR 13 TDI (55) TDO (AA1);\nSDR 13 TDI (AA) TDO (1540);\nSDR 13 TDI (AA) TDO (1541);\n"
    )
    return file


def test_a_file_is_played_and_counted(pod: talvor.SimulatedPod, source: Path) -> None:
    report = pod.play(source / "examples/demo.svf")
    assert report.passed and report.complete and report.playable
    assert report.format == "SVF"
    assert report.compared_scans > 0
    assert report.dr_bits > 0 and report.size > 10_000


def test_progress_is_told_to_the_end(pod: talvor.SimulatedPod, source: Path) -> None:
    seen: list[talvor.Progress] = []
    report = pod.play(source / "examples/demo.svf", progress=seen.append)
    assert seen[0].phase == "check"
    assert seen[-1].phase == "play" and seen[-1].done == report.size


def test_what_a_callback_raises_ends_the_playing(pod: talvor.SimulatedPod, source: Path) -> None:
    def stop(progress: talvor.Progress) -> None:
        raise LookupError(progress.phase)

    with pytest.raises(LookupError, match="check"):
        pod.play(source / "examples/demo.svf", progress=stop)
    with pytest.raises(talvor.UsageError):
        pod.play(source / "examples/demo.svf", progress=lambda progress: False)
    assert pod.play(source / "examples/demo.svf").passed


def test_the_first_wrong_answer_is_an_error_with_a_report(
    pod: talvor.SimulatedPod, wrong: Path
) -> None:
    with pytest.raises(talvor.TargetError, match="wrong.svf:4") as failed:
        pod.play(wrong)
    report = failed.value.report  # type: ignore[attr-defined]
    assert not report.complete and not report.passed
    (mismatch,) = report.mismatches
    assert (mismatch.line, mismatch.expected, mismatch.got) == (4, 0xAA1, 0xAA0)
    assert (mismatch.bits, mismatch.first_bits) == (13, [0])


def test_past_wrong_answers_they_are_in_the_report(pod: talvor.SimulatedPod, wrong: Path) -> None:
    report = pod.play(wrong, keep_going=True)
    assert report.complete and not report.passed
    assert report.mismatch_count == 2
    assert [mismatch.line for mismatch in report.mismatches] == [4, 6]


def test_a_dry_run_shifts_nothing(pod: talvor.SimulatedPod, wrong: Path) -> None:
    before = pod.status()["virtual_time_ns"]
    report = pod.play(wrong, dry_run=True)
    assert report.playable and not report.complete and report.statements == 6
    assert pod.status()["virtual_time_ns"] == before


def test_what_cannot_be_played_is_refused_before_anything_moves(
    pod: talvor.SimulatedPod, tmp_path: Path
) -> None:
    file = tmp_path / "refused.svf"
    file.write_text("SDR 8 TDI (1);\nPIO (H);\n")
    with pytest.raises(talvor.TalvorError, match="refused.svf:2"):
        pod.play(file)
    report = pod.play(file, dry_run=True)
    assert not report.playable and "refused.svf:2" in str(report.refusals[0])


def test_of_several_refusals_the_error_tells_how_many(
    pod: talvor.SimulatedPod, tmp_path: Path
) -> None:
    file = tmp_path / "refused.svf"
    file.write_text("SDR 8 TDI (1);\nPIO (H);\nPIO (L);\n")
    with pytest.raises(talvor.TalvorError, match="2 statements cannot be played; the first: "):
        pod.play(file)
    assert len(pod.play(file, dry_run=True).refusals) == 2


def test_files_that_break_their_format_are_file_errors(
    pod: talvor.SimulatedPod, tmp_path: Path
) -> None:
    file = tmp_path / "broken.svf"
    file.write_text("SDR 8 TDI (1;\n")
    with pytest.raises(talvor.FileError, match="broken.svf"):
        pod.play(file)
    with pytest.raises(talvor.FileError, match="No such file"):
        pod.play(tmp_path / "none.svf")
    with pytest.raises(talvor.UsageError, match="svf, xsvf or stapl"):
        pod.play(file, format="pdf")


@pytest.fixture()
def cpld(source: Path) -> Iterator[talvor.SimulatedPod]:
    """A device that ``cpld.stapl`` is for."""
    with talvor.simulate(source / "examples/cpld.toml") as pod:
        yield pod


@pytest.fixture()
def program(source: Path) -> Path:
    return source / "examples/cpld.stapl"


def test_an_action_of_a_stapl_file_is_played(cpld: talvor.SimulatedPod, program: Path) -> None:
    report = cpld.play(program, action="program", values={"ROWS": 10})
    assert report.passed and report.format == "STAPL"
    assert report.program is not None
    assert (report.program.action, report.program.exit_code) == ("PROGRAM", 0)
    assert report.program.exit_meaning == "success"
    assert report.program.printed == ["erasing", "programming 10 rows of 96 bits", "verifying"]
    assert report.program.exports[0] == ("IDCODE", (0x1C91D7E3, 32))
    assert report.program.exports[-1] == ("PERCENT_DONE", 100)
    assert cpld.play(program, action="VERIFY", values={"ROWS": 10}).passed
    assert cpld.play(program, action="READ_IDCODE", check=False, format="stapl").passed


def test_procedures_of_a_stapl_file_are_chosen(cpld: talvor.SimulatedPod, program: Path) -> None:
    few = {"ROWS": 3}
    without = cpld.play(
        program, action="PROGRAM", values=few, disable=["DO_VERIFY", "blank_check"]
    )
    assert without.program is not None and "verifying" not in without.program.printed
    wanted = cpld.play(program, action="ERASE", values=few, enable=["BLANK_CHECK"])
    left_out = cpld.play(program, action="ERASE", values=few)
    assert wanted.compared_scans > left_out.compared_scans


def test_the_exit_code_of_a_stapl_file_is_an_error_with_a_report(
    cpld: talvor.SimulatedPod, program: Path
) -> None:
    with pytest.raises(talvor.TargetError, match="EXIT 11: verifying failed") as failed:
        cpld.play(program, action="VERIFY")
    report = failed.value.report  # type: ignore[attr-defined]
    assert report.complete and not report.passed and not report.mismatches
    assert (report.program.exit_code, report.program.printed[-1]) == (11, "row 0 is another one")
    going_on = cpld.play(program, action="VERIFY", keep_going=True)
    assert not going_on.passed


def test_a_dry_run_of_a_stapl_file_runs_nothing(cpld: talvor.SimulatedPod, program: Path) -> None:
    before = cpld.status()["virtual_time_ns"]
    report = cpld.play(program, action="PROGRAM", values={"ROWS": 10}, dry_run=True)
    assert report.playable and not report.passed and report.program is not None
    assert report.program.exit_code is None and report.program.printed == []
    assert cpld.status()["virtual_time_ns"] == before


def test_mistakes_with_stapl_files_are_named(
    cpld: talvor.SimulatedPod, program: Path, source: Path, tmp_path: Path
) -> None:
    with pytest.raises(talvor.UsageError, match="name one with action=: PROGRAM, VERIFY"):
        cpld.play(program)
    with pytest.raises(talvor.UsageError, match="no such action"):
        cpld.play(program, action="BLINK")
    with pytest.raises(talvor.UsageError, match="it is an SVF file, which has no actions"):
        cpld.play(source / "examples/demo.svf", action="PROGRAM")
    changed = tmp_path / "changed.stapl"
    changed.write_text(program.read_text().replace("erasing", "ERASING"))
    with pytest.raises(talvor.FileError, match="play it as it is with ignore_crc=True"):
        cpld.play(changed, action="READ_IDCODE")
    assert cpld.play(changed, action="READ_IDCODE", ignore_crc=True).passed


def test_progress_of_a_stapl_file_is_told_and_ends_it(
    cpld: talvor.SimulatedPod, program: Path
) -> None:
    seen: list[talvor.Progress] = []
    cpld.play(program, action="PROGRAM", values={"ROWS": 10}, progress=seen.append)
    assert {now.phase for now in seen} == {"check", "play"}
    with pytest.raises(talvor.UsageError):
        cpld.play(program, action="PROGRAM", progress=lambda now: now.phase == "check")
    assert cpld.play(program, action="READ_IDCODE").passed
