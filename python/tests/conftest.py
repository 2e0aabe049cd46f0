"""What the tests share."""

from __future__ import annotations

import os
from collections.abc import Iterator
from pathlib import Path

import pytest

import talvor

SOURCE = Path(os.environ["TALVOR_SOURCE"])
BUILD = Path(os.environ["TALVOR_BUILD"])


@pytest.fixture()
def pod() -> Iterator[talvor.SimulatedPod]:
    """The simulated chain of five."""
    with talvor.simulate() as simulated:
        yield simulated


@pytest.fixture(scope="session")
def source() -> Path:
    """The source tree."""
    return SOURCE


@pytest.fixture(scope="session")
def build() -> Path:
    """The build folder."""
    return BUILD
