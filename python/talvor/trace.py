"""What a simulated pod's target has seen: a stretch of a waveform."""

from __future__ import annotations

import os
from dataclasses import dataclass

from . import _core

__all__ = ["Shift", "Trace", "read_vcd"]


@dataclass(frozen=True)
class Shift:
    """The bits of one stay in a Shift state, or of one part of it.

    Attributes:
        path: ``"ir"`` or ``"dr"``.
        tdi: What went in, bit 0 first.
        tdo: What came out; None where nobody looked at it.
        bits: How many.
        tck: The first of its test clocks, counted from the trace's beginning.
        purpose: Empty for the caller's own bits, else what the pod needed them for.
        cut: The stretch begins or ends in the middle of it.
    """

    path: str
    tdi: int
    tdo: int | None
    bits: int
    tck: int
    purpose: str
    cut: bool


class Trace:
    """A stretch of a waveform. A notebook draws it."""

    def __init__(self, core: _core.Waveform, title: str = "") -> None:
        self._core = core
        self.title = title

    @property
    def first_tck(self) -> int:
        """How many test clocks the trace has before this stretch."""
        return self._core.first_tck

    @property
    def total_tcks(self) -> int:
        """Test clocks of the whole trace so far."""
        return self._core.total_tcks

    def __len__(self) -> int:
        """Test clocks of this stretch."""
        return len(self._core)

    @property
    def shifts(self) -> list[Shift]:
        """The shifts in it, in their order."""
        return [
            Shift(
                path,
                int(tdi or "0", 16),
                None if tdo is None else int(tdo or "0", 16),
                bits,
                tck,
                purpose,
                cut,
            )
            for path, tdi, tdo, bits, tck, purpose, cut in self._core.shifts()
        ]

    @property
    def states(self) -> list[tuple[str, int]]:
        """The TAP's states one after the other, each with its test clocks."""
        return self._core.states()

    def to_svg(self, title: str | None = None) -> str:
        """A whole SVG file."""
        return self._core.to_svg(self.title if title is None else title)

    def to_text(self, width: int = 80, *, unicode: bool = True) -> str:
        """Lines of ``width`` columns for a terminal."""
        return self._core.to_text(width, unicode)

    def save(self, path: str | os.PathLike[str]) -> None:
        """Write the picture into a file."""
        with open(path, "w", encoding="utf-8") as file:
            file.write(self.to_svg())

    def _repr_svg_(self) -> str:
        return self.to_svg()

    def __repr__(self) -> str:
        end = self.first_tck + len(self)
        return f"<Trace of TCKs {self.first_tck} to {end} of {self.total_tcks}>"


def read_vcd(
    path: str | os.PathLike[str],
    *,
    first: int = 0,
    count: int = 200,
    last: bool = False,
    title: str = "",
) -> Trace:
    """A stretch of a value change dump that a simulated pod has written.

    Args:
        path: The file.
        first: First test clock of the stretch.
        count: Test clocks, at most.
        last: The last ``count`` test clocks instead.
        title: For the picture.
    """
    return Trace(_core.read_vcd(os.fspath(path), first, count, last, None), title)
