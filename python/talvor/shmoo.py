"""At which test clocks and with which link delays a chain works."""

from __future__ import annotations

import os
from dataclasses import dataclass

__all__ = ["Shmoo", "ShmooClock"]


@dataclass(frozen=True)
class ShmooClock:
    """A test clock of the pod: its frequency in Hz, and the divider settings that give it."""

    hertz: int
    divider: int
    exponent: int
    predivide: bool


@dataclass(frozen=True)
class Shmoo:
    """A chain tried at each test clock with each link delay. A notebook draws it.

    Attributes:
        clocks: The test clocks, the fastest first.
        delays: The link delays, in test clocks, ascending.
        works: A row a clock, a truth value a delay.
        best: The clock and the link delay to work with; None where nothing works.
    """

    clocks: list[ShmooClock]
    delays: list[int]
    works: list[list[bool]]
    best: tuple[ShmooClock, int] | None
    svg: str

    def save(self, path: str | os.PathLike[str]) -> None:
        """Write the picture into a file."""
        with open(path, "w", encoding="utf-8") as file:
            file.write(self.svg)

    def _repr_svg_(self) -> str:
        return self.svg

    def __repr__(self) -> str:
        lines = [
            f"{clock.hertz / 1e6:9.3f} MHz  " + "".join("#" if cell else "." for cell in row)
            for clock, row in zip(self.clocks, self.works)
        ]
        return "\n".join(lines)
