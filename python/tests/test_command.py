"""The package around the module: the command, the import, the errors."""

from __future__ import annotations

import os
import pickle
import subprocess
import sys
from pathlib import Path

import pytest

import talvor
from talvor import _core, _places


def test_the_module_run_is_the_command(build: Path) -> None:
    for arguments in (["--version"], ["chain", "--simulate"], ["nonsense"], []):
        asked = [subprocess.run([*program, *arguments], capture_output=True, text=True)
                 for program in ([sys.executable, "-m", "talvor"], [build / "bin/talvor"])]
        assert asked[0].returncode == asked[1].returncode
        assert asked[0].stdout == asked[1].stdout
        assert asked[0].stderr == asked[1].stderr


def test_programs_and_driver_are_those_of_the_build_folder(build: Path) -> None:
    assert _places.program_folder() == str(build / "bin")
    assert _core.library_facts(None)[0].startswith(str(build / "lib"))


def test_the_environment_chooses_another_driver() -> None:
    done = subprocess.run(
        [sys.executable, "-c", "import talvor; talvor.simulate()"],
        env={**os.environ, "TALVOR_LIBRARY": "/dev/null/none.so"},
        capture_output=True,
        text=True,
    )
    assert "talvor.errors.FileError: driver library: cannot be loaded" in done.stderr
    assert "name libjsctalvor_340.so.0 with library=" in done.stderr


def test_importing_takes_no_other_package_but_the_standard_library() -> None:
    program = (
        "import sys; before = set(sys.modules); import talvor;"
        "new = {name.partition('.')[0] for name in set(sys.modules) - before};"
        "print(sorted(new - set(sys.stdlib_module_names) - {'talvor'}))"
    )
    said = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert said.stdout == "[]\n", said.stderr


def test_errors_have_their_parts_and_survive_a_copy() -> None:
    with pytest.raises(talvor.PodError) as failed:
        talvor.open(serial=4242)
    error = failed.value
    assert error.thing and error.reason and str(error).startswith(f"{error.thing}: {error.reason}")
    again = pickle.loads(pickle.dumps(error))
    assert (type(again), again.args) == (type(error), error.args)
    file_error = talvor.FileError("a", "b", "c", 4)
    again = pickle.loads(pickle.dumps(file_error))
    assert (again.thing, again.reason, again.next_step, again.code) == ("a", "b", "c", 4)


def test_options_of_the_command_are_told_as_keywords(source: Path) -> None:
    with talvor.simulate() as pod:
        with pytest.raises(talvor.UsageError, match="minimum= and maximum="):
            pod.shmoo(minimum=1, maximum=2)


def test_files_that_are_wrong_are_os_errors_too() -> None:
    with pytest.raises(OSError):
        talvor.open(board="/dev/null/none.toml")


def test_a_board_is_looked_for_as_the_command_does(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("HOME", str(tmp_path))
    monkeypatch.delenv("XDG_CONFIG_HOME", raising=False)
    monkeypatch.delenv("TALVOR_BOARD", raising=False)
    below = tmp_path / "a/b"
    below.mkdir(parents=True)
    monkeypatch.chdir(below)
    with talvor.simulate():
        # The simulated pod is this process's; a second connection sees it in use, or not there.
        board = tmp_path / "talvor.toml"
        board.write_text("[library]\npath = 5\n")
        with pytest.raises(talvor.FileError, match="talvor.toml"):
            talvor.open()
        with pytest.raises(talvor.TalvorError) as failed:
            talvor.open(board=False)
        assert "talvor.toml" not in str(failed.value)
        named = tmp_path / "named.toml"
        named.write_text("nonsense = 1\n")
        monkeypatch.setenv("TALVOR_BOARD", str(named))
        with pytest.raises(talvor.FileError, match="named.toml"):
            talvor.open()
        monkeypatch.delenv("TALVOR_BOARD")
        board.chmod(0o666)
        with pytest.warns(RuntimeWarning, match="passing over .*take it with board="):
            with pytest.raises(talvor.TalvorError):
                talvor.open()


def test_the_command_is_run_from_python(source: Path) -> None:
    result = talvor.command(["chain", "--simulate", "--json"])
    assert result.status == 0 and len(result.json()["devices"]) == 5
    wrong = talvor.command(["nonsense"])
    assert wrong.status == 2 and "nonsense" in wrong.errors
    with pytest.raises(talvor.UsageError, match="--json"):
        wrong.json()
    with pytest.raises(talvor.UsageError, match="list of arguments"):
        talvor.command("chain --simulate")
    shell = talvor.command(["shell", "--simulate"], input="state\n")
    assert shell.status == 0, shell.errors


def test_what_is_loaded_later_is_there() -> None:
    for name in talvor.__all__:
        assert getattr(talvor, name) is not None and name in dir(talvor)
    with pytest.raises(AttributeError, match="nonsense"):
        talvor.nonsense  # type: ignore[attr-defined]


def test_importing_loads_little() -> None:
    program = (
        "import sys; before = set(sys.modules); import talvor;"
        "heavy = {'inspect', 'dataclasses', 'socket', 'subprocess', 'tempfile', 'json', 'tomllib'};"
        "print(sorted((set(sys.modules) - before) & heavy))"
    )
    said = subprocess.run([sys.executable, "-S", "-c", program], capture_output=True, text=True)
    assert said.stdout == "[]\n", said.stderr
