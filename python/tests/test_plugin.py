"""The pytest plugin, by pytest itself."""

from __future__ import annotations

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest


def run_pytest(*arguments: str | Path, cwd: Path | None = None) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [sys.executable, "-m", "pytest", *map(str, arguments)],
        cwd=cwd,
        capture_output=True,
        text=True,
        timeout=200,
    )


@pytest.fixture()
def suite(tmp_path: Path) -> Path:
    """A folder for tests that are made up."""
    (tmp_path / "pytest.ini").write_text("[pytest]\n")
    return tmp_path


def test_the_example_passes(source: Path) -> None:
    done = run_pytest("-q", "-p", "no:cacheprovider", source / "examples/pytest")
    assert done.returncode == 0, done.stdout + done.stderr
    assert "17 passed" in done.stdout


def test_the_example_passes_in_parallel_without_meeting(source: Path) -> None:
    pytest.importorskip("xdist")
    done = run_pytest("-q", "-n", "4", "-p", "no:cacheprovider", source / "examples/pytest")
    assert done.returncode == 0, done.stdout + done.stderr
    assert "17 passed" in done.stdout
    assert "warning" not in done.stdout.lower()


def test_a_failed_test_shows_what_the_target_saw(suite: Path) -> None:
    (suite / "test_it.py").write_text(
        "def test_wrong(talvor_pod):\n"
        "    talvor_pod.ir(0x155, bits=33)\n"
        "    assert False\n"
        "def test_right(talvor_pod):\n"
        "    assert talvor_pod.chain()\n"
    )
    report = suite / "report.xml"
    done = run_pytest(f"--junit-xml={report}", "--talvor-pictures", "pictures", cwd=suite)
    assert done.returncode == 1 and "1 failed, 1 passed" in done.stdout
    assert "talvor: what the target saw last" in done.stdout
    assert "155" in done.stdout
    (picture,) = (suite / "pictures").iterdir()
    assert "<svg" in picture.read_text() and "test_wrong" in picture.name
    assert re.search(r'name="talvor_waveform" value="pictures/[^"]*test_wrong', report.read_text())


def test_pictures_go_into_the_cache(suite: Path) -> None:
    (suite / "test_it.py").write_text("def test_wrong(talvor_pod):\n    assert not talvor_pod.chain()\n")
    assert run_pytest(cwd=suite).returncode == 1
    assert len(list((suite / ".pytest_cache/d/talvor").glob("*.svg"))) == 1


def test_markers_break_the_pod_and_choose_the_description(suite: Path, source: Path) -> None:
    (suite / "one.toml").write_text((source / "examples/pytest/relay_board.toml").read_text())
    (suite / "test_it.py").write_text(
        "import pytest, talvor\n"
        "@pytest.mark.talvor_fault('emu0 low', 'emu1 low')\n"
        "class TestBroken:\n"
        "    def test_emu(self, talvor_pod):\n"
        "        status = talvor_pod.status()\n"
        "        assert not status['emu0'] and not status['emu1']\n"
        "    @pytest.mark.talvor_fault('emu0 high')\n"
        "    def test_later_markers_win(self, talvor_pod):\n"
        "        assert talvor_pod.status()['emu0']\n"
        "@pytest.mark.talvor_description('one.toml')\n"
        "def test_described(talvor_pod):\n"
        "    assert talvor_pod.serial == 71\n"
    )
    done = run_pytest("--strict-markers", "-q", cwd=suite)
    assert "3 passed" in done.stdout, done.stdout


def test_a_real_pod_is_opened_and_never_broken(suite: Path, build: Path) -> None:
    (suite / "board.toml").write_text("[KELM]\nPOD_SN = 5\n")
    (suite / "test_it.py").write_text(
        "import pytest, talvor\n"
        "@pytest.mark.talvor_fault('power off')\n"
        "def test_broken(talvor_pod):\n"
        "    assert False\n"
        "def test_whole(talvor_pod):\n"
        "    assert type(talvor_pod) is talvor.Pod and len(talvor_pod.chain()) == 5\n"
    )
    described = subprocess.run(
        [build / "bin/talvor-podsim", "--print-description=five"], capture_output=True, text=True
    )
    (suite / "five.toml").write_text(described.stdout)
    command = [sys.executable, "-m", "pytest", "-q"]
    done = subprocess.run(
        [build / "bin/talvor-podsim", "five.toml", "--private", "--", *command,
         "--talvor-board", "board.toml"],
        cwd=suite,
        capture_output=True,
        text=True,
        timeout=100,
        env=dict(os.environ),
    )
    assert "1 passed, 1 skipped" in done.stdout, done.stdout + done.stderr
