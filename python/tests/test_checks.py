"""The package itself: its types, its examples, the code of its pages."""

from __future__ import annotations

import doctest
import importlib
import importlib.util
import pkgutil
import re
import subprocess
import sys
from pathlib import Path

import pytest

import talvor


def modules() -> list[str]:
    """Names of all that can be imported here."""
    names = ["talvor"]
    names += [module.name for module in pkgutil.iter_modules(talvor.__path__, "talvor.")]
    if importlib.util.find_spec("labgrid") is None:
        names.remove("talvor.labgrid")
    else:
        folder = str(Path(talvor.__path__[0]) / "labgrid")
        names += [module.name for module in pkgutil.iter_modules([folder], "talvor.labgrid.")]
    return [name for name in names if not name.endswith(("__main__", "_core"))]


@pytest.mark.parametrize("name", modules())
def test_the_examples_of_docstrings_hold(name: str) -> None:
    failed, _ = doctest.testmod(importlib.import_module(name), optionflags=doctest.ELLIPSIS)
    assert failed == 0


def test_there_are_examples() -> None:
    finder = doctest.DocTestFinder()
    count = sum(
        len(test.examples) for name in modules() for test in finder.find(importlib.import_module(name))
    )
    assert count > 20


def test_types_are_whole(source: Path) -> None:
    pytest.importorskip("mypy")
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir=/dev/null", "-p", "talvor"],
        # labgrid has no types; what the package uses of it is written down beside the tests.
        env={"MYPYPATH": f"{source}/python:{source}/python/tests/stubs", "PATH": "/usr/bin:/bin"},
        capture_output=True,
        text=True,
    )
    assert done.returncode == 0, done.stdout + done.stderr


def boxes(page: Path) -> list[str]:
    """The pieces of Python in a page, each whole."""
    return re.findall(r"^```python\n(.*?)^```", page.read_text(), flags=re.S | re.M)


def test_the_code_of_the_page_runs(source: Path, tmp_path: Path) -> None:
    found = boxes(source / "docs/python.md")
    assert len(found) >= 5
    for number, code in enumerate(found):
        done = subprocess.run(
            [sys.executable, "-c", code], cwd=source, capture_output=True, text=True
        )
        assert done.returncode == 0, f"box {number + 1}:\n{code}\n{done.stderr}"
        for line in re.findall(r"# prints: (.*)", code):
            assert line in done.stdout, f"box {number + 1} printed {done.stdout!r}"
