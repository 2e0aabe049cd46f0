"""Where the programs and the driver are that belong to this module."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Final

from . import _core

_PROGRAM: Final = "talvor"
_SIMULATOR: Final = "talvor-podsim"
# A wheel has them in the package itself; a build folder and an installation above it.
_LEVELS: Final = 6


def program_folder() -> str:
    """The folder with ``talvor`` and ``talvor-podsim``; empty where only PATH can tell."""
    # The binding, for in a build folder the rest of the package is links.
    package = Path(_core.__file__).resolve().parent
    for folder in (package, *package.parents[:_LEVELS]):
        programs = folder / "bin"
        if (programs / _SIMULATOR).is_file() or (programs / _PROGRAM).is_file():
            return str(programs)
    return ""


def command(name: str = _PROGRAM) -> str:
    """The program ``name``: a path, or the name, where PATH has to tell."""
    program = os.path.join(program_folder(), name)
    return program if os.path.isfile(program) else name
