"""``python -m talvor.private_shm COMMAND ...`` runs a command in a ``/dev/shm`` of its own.

A process that has threads may not be allowed to move into one; a command that is started so stands
in it from its beginning, and :func:`talvor.simulate` stays there.
"""

from __future__ import annotations

import os
import sys

from . import _core
from .errors import TalvorError


def main(command: list[str]) -> int:
    """Become ``command``, in a ``/dev/shm`` of its own where there is one to be had."""
    if not command:
        print("usage: python -m talvor.private_shm COMMAND ARGUMENTS...", file=sys.stderr)
        return 2
    try:
        _core.enter_own_shm()
        os.environ[_core.PRIVATE_SHM_VARIABLE] = str(os.stat("/proc/self/ns/mnt").st_ino)
    except TalvorError:
        pass  # simulate() says so, if it matters
    try:
        os.execvp(command[0], command)
    except OSError as error:
        print(f"talvor.private_shm: {command[0]}: {error.strerror}", file=sys.stderr)
    return 127


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
