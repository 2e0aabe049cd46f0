"""The notebook: its pictures are today's, with Jupyter and without."""

from __future__ import annotations

import importlib.util
import json
import shutil
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest

NAME = "bring-up.ipynb"
HAS_JUPYTER = shutil.which("jupyter-nbconvert") and importlib.util.find_spec("ipykernel")


def run_script(source: Path, *words: str | Path) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [sys.executable, source / "scripts/notebook", *words],
        capture_output=True,
        text=True,
        timeout=200,
    )


@pytest.fixture()
def copy(source: Path, tmp_path: Path) -> Path:
    """The notebook, with the files that it reads, in a folder that may be written."""
    for name in (NAME, "five.toml", "demo.svf"):
        shutil.copy(source / "examples" / name, tmp_path)
    return tmp_path / NAME


def changed(notebook: Path, old: str, new: str) -> None:
    text = notebook.read_text()
    assert old in text
    notebook.write_text(text.replace(old, new))


def outputs(notebook: dict[str, Any]) -> list[Any]:
    """What the cells show, without what depends on the front end."""
    shown: list[Any] = []
    for cell in notebook["cells"]:
        for output in cell.get("outputs", []):
            parts = output.get("data", {output["output_type"]: output.get("text")})
            shown.append({kind: "".join(part).rstrip("\n") for kind, part in parts.items()})
    return shown


def test_the_notebook_shows_what_it_shows_today(source: Path) -> None:
    done = run_script(source, "--check", source / "examples" / NAME)
    assert done.returncode == 0, done.stderr


def test_the_notebook_has_pictures_and_a_table(source: Path) -> None:
    shown = outputs(json.loads((source / "examples" / NAME).read_text()))
    assert sum("image/svg+xml" in parts for parts in shown) >= 3
    assert sum("text/html" in parts for parts in shown) >= 1


def test_outputs_that_are_out_of_date_are_named(source: Path, copy: Path) -> None:
    fresh = copy.read_text()
    changed(copy, "wrong answers: 0", "wrong answers: 1")
    done = run_script(source, "--check", copy)
    assert done.returncode == 1
    assert "it shows something else in code cell 7\n" in done.stderr
    assert "wrong answers: 1" in copy.read_text()
    assert run_script(source, copy).returncode == 0
    assert copy.read_text() == fresh


def test_a_cell_that_fails_is_told(source: Path, copy: Path) -> None:
    changed(copy, "pod.power_off()", "pod.power_of()")
    before = copy.read_text()
    done = run_script(source, copy)
    assert done.returncode == 1
    assert 'File "cell 11", line 1' in done.stderr and "power_of" in done.stderr
    assert copy.read_text() == before


@pytest.mark.skipif(not HAS_JUPYTER, reason="jupyter-nbconvert and ipykernel are not installed")
def test_jupyter_shows_the_same(source: Path, copy: Path) -> None:
    done = subprocess.run(
        ["jupyter-nbconvert", "--to", "notebook", "--execute", "--stdout", copy],
        env={"PATH": "/usr/bin:/bin", "HOME": str(copy.parent), "PYTHONPATH": ":".join(sys.path)},
        capture_output=True,
        text=True,
        timeout=250,
    )
    assert done.returncode == 0, done.stderr
    assert outputs(json.loads(done.stdout)) == outputs(json.loads(copy.read_text()))
