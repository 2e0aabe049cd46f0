"""``python -m talvor`` is the command ``talvor``."""

from __future__ import annotations

import os
import sys

from ._places import command


def main() -> int:
    """Become the command, with the arguments of this process."""
    program = command()
    try:
        os.execvp(program, [program, *sys.argv[1:]])
    except OSError as error:
        print(f"python -m talvor: {program}: {error.strerror}", file=sys.stderr)
        print("  next: install talvor, or put it into PATH", file=sys.stderr)
    return 127


if __name__ == "__main__":
    sys.exit(main())
