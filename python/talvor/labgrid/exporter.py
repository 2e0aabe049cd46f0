"""``python3 -m talvor.labgrid.exporter`` is labgrid's exporter, which knows pods, too."""

from __future__ import annotations

from labgrid.remote import exporter

from . import export  # noqa: F401  (which enters the pods)


def main() -> None:
    """Run it with the arguments of this process."""
    exporter.main()


if __name__ == "__main__":
    main()
