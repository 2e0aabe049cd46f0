"""A pod for each test: the fixture ``talvor_pod`` of pytest.

A test that takes ``talvor_pod`` gets a fresh simulated pod, or, with ``--talvor-board``, a real one
that is connected anew. What the target of a test that fails has seen last stands in the report, as
text, and as a picture beside it. With pytest-xdist each worker has pods of its own.
"""

from __future__ import annotations

import re
import shlex
import sys
from collections.abc import Generator, Iterator, Sequence
from pathlib import Path
from typing import Any, Final

import pytest

from . import Pod, SimulatedPod, TalvorError, Trace, simulate
from . import open as open_pod

_DRAWN_TCKS: Final = 120
_PICTURES: Final = "talvor"
_LOCK_PATIENCE_SECONDS: Final = 600.0


def pytest_addoption(parser: pytest.Parser) -> None:
    group = parser.getgroup("talvor", "pods")
    group.addoption(
        "--talvor-board",
        metavar="FILE",
        help="board file of a real pod; else each test has a simulated one",
    )
    group.addoption("--talvor-serial", metavar="N", type=int, help="serial number of the pod")
    group.addoption(
        "--talvor-pictures",
        metavar="FOLDER",
        help="where the waveforms of failed tests go; else into pytest's cache",
    )
    parser.addini(
        "talvor_description",
        "description of the simulated pod, relative to the ini file; else a chain of five devices",
    )


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line(
        "markers",
        "talvor_description(file): description of the simulated pod, relative to the test's file",
    )
    config.addinivalue_line(
        "markers",
        "talvor_fault(command): break the simulated pod before the test begins, as in "
        "talvor_fault('emu0 low'); a real pod's test is skipped",
    )


def _description(request: pytest.FixtureRequest) -> Path | None:
    """The description that the test, its class, its module or the ini file names."""
    marker = request.node.get_closest_marker("talvor_description")
    if marker is not None:
        return Path(request.node.path).parent / Path(marker.args[0])
    named = request.config.getini("talvor_description")
    if not named:
        return None
    ini = request.config.inipath
    return (ini.parent if ini else request.config.rootpath) / str(named)


def _faults(node: pytest.Item) -> list[str]:
    """The commands of the markers, those of the class before those of the test."""
    markers = list(node.iter_markers("talvor_fault"))
    return [str(command) for marker in reversed(markers) for command in marker.args]


@pytest.fixture()
def talvor_pod(request: pytest.FixtureRequest) -> Iterator[Pod]:
    """A fresh simulated pod, or the real one of ``--talvor-board``."""
    board = request.config.getoption("talvor_board")
    serial = request.config.getoption("talvor_serial")
    faults = _faults(request.node)
    if board is not None:
        if faults:
            pytest.skip("a real pod is not broken on demand")
        with open_pod(board, serial=serial, wait=_LOCK_PATIENCE_SECONDS) as pod:
            yield pod
        return
    with simulate(_description(request), serial=serial, trace=True) as simulated:
        for command in faults:
            simulated.command(command)
        yield simulated


def _last_seen(item: pytest.Item) -> Trace | None:
    """What the target of the test's pod has seen last."""
    pod = getattr(item, "funcargs", {}).get("talvor_pod")
    if not isinstance(pod, SimulatedPod) or pod.closed:
        return None
    try:
        return pod.trace(count=_DRAWN_TCKS, last=True, title=item.name)
    except (TalvorError, OSError):
        return None  # a pod that is broken so much has nothing to show


def _picture_file(item: pytest.Item) -> Path | None:
    """Where the picture of the test goes."""
    folder = item.config.getoption("talvor_pictures")
    if folder is None:
        cache = getattr(item.config, "cache", None)
        if cache is None:
            return None
        folder = cache.mkdir(_PICTURES)
    name = re.sub(r"[^\w.-]+", "_", item.nodeid).strip("_")
    return Path(folder) / f"{name}.svg"


def _attach(report: pytest.TestReport, item: pytest.Item, trace: Trace) -> None:
    report.sections.append(("talvor: what the target saw last", trace.to_text(100)))
    svg = trace.to_svg()
    # Reports in HTML draw it where it stands.
    extras = getattr(report, "extras", [])
    extras.append({"name": "waveform", "format_type": "html", "content": svg, "mime_type": None,
                   "extension": "html"})
    report.extras = extras  # type: ignore[attr-defined]
    file = _picture_file(item)
    if file is None:
        return
    try:
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(svg, encoding="utf-8")
    except OSError as error:
        report.sections.append(("talvor: no picture", str(error)))
        return
    report.sections.append(("talvor: picture", str(file)))
    report.user_properties.append(("talvor_waveform", str(file)))
    item.user_properties.append(("talvor_waveform", str(file)))  # for the JUnit report


def _make_report(
    item: pytest.Item, call: pytest.CallInfo[None]
) -> Generator[None, Any, None]:
    outcome = yield
    report: pytest.TestReport = outcome.get_result()
    if report.when == "call" and report.failed:
        trace = _last_seen(item)
        if trace is not None:
            _attach(report, item, trace)


def _set_up_workers(config: pytest.Config, specs: Sequence[Any]) -> None:
    """Each worker begins in a ``/dev/shm`` of its own: later, with threads, it may not be let."""
    if config.getoption("talvor_board") is not None:
        return
    for spec in specs:
        if spec.popen and not spec.via:
            python = spec.python or shlex.quote(sys.executable)
            spec.python = f"{shlex.quote(sys.executable)} -m talvor.private_shm {python}"


pytest_runtest_makereport = pytest.hookimpl(hookwrapper=True)(_make_report)
pytest_xdist_setupnodes = pytest.hookimpl(optionalhook=True)(_set_up_workers)
