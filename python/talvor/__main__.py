"""``python -m talvor`` is the command ``talvor``."""

from __future__ import annotations

import os
import sys

from ._places import command


def _become(name: str) -> int:
    program = command(name)
    try:
        os.execvp(program, [program, *sys.argv[1:]])
    except OSError as error:
        print(f"python -m talvor: {program}: {error.strerror}", file=sys.stderr)
        print(f"  next: install {name}, or put it into PATH", file=sys.stderr)
    return 127


def main() -> int:
    """Become the command, with the arguments of this process."""
    return _become("talvor")


def simulator() -> int:
    """Become ``talvor-podsim``, with the arguments of this process."""
    return _become("talvor-podsim")


if __name__ == "__main__":
    sys.exit(main())
