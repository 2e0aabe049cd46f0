"""Playing files."""

from __future__ import annotations

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


def test_files_that_break_their_format_are_file_errors(
    pod: talvor.SimulatedPod, tmp_path: Path
) -> None:
    file = tmp_path / "broken.svf"
    file.write_text("SDR 8 TDI (1;\n")
    with pytest.raises(talvor.FileError, match="broken.svf"):
        pod.play(file)
    with pytest.raises(talvor.FileError, match="No such file"):
        pod.play(tmp_path / "none.svf")
    with pytest.raises(talvor.UsageError, match="svf or xsvf"):
        pod.play(file, format="pdf")
