"""Playing files: how far it is, and what came of it."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass, field
from typing import Any, TypeAlias

from . import _core, errors

__all__ = ["Mismatch", "Note", "PlayReport", "ProgramReport", "Progress", "ProgressCallback"]


@dataclass(frozen=True)
class Progress:
    """How far the playing of a file has come.

    Attributes:
        phase: ``"check"``, before anything is shifted, or ``"play"``.
        done: Bytes of the file so far.
        total: Bytes of the file.
        line: Line of the statement at hand.
        bits: Bits shifted so far.
        mismatches: Wrong answers so far.
    """

    phase: str
    done: int
    total: int
    line: int
    bits: int
    mismatches: int


# Called about twenty times a second; False ends the playing.
ProgressCallback: TypeAlias = Callable[[Progress], object]


@dataclass(frozen=True)
class Mismatch:
    """A scan that was answered otherwise than the file expects.

    Attributes:
        line: Of the statement.
        expected, got, mask: The values; bit 0 was shifted first.
        bits: Length of the scan.
        differing_bits: How many bits differ where the mask is one.
        first_bits: The lowest of them.
        text: A sentence about it.
    """

    line: int
    expected: int
    got: int
    mask: int
    bits: int
    differing_bits: int
    first_bits: list[int]
    text: str


@dataclass(frozen=True)
class Note:
    """A statement that the pod plays otherwise than it is written, to the same effect."""

    line: int
    statement: str
    text: str


@dataclass(frozen=True)
class ProgramReport:
    """What came of a STAPL program.

    Attributes:
        action: What was run of it.
        exit_code: How it ended, 0 for success; None where it was not played to its end.
        exit_meaning: The code in words.
        printed: The first ten thousand texts that it printed.
        exports: The first ten thousand values that it gave out, each with its key: a number, or a
            pair of bits as a number (bit 0 is the lowest) and how many they are.
        check_open_ended: The check saw only the part that does not depend on the target's answers.
    """

    action: str
    exit_code: int | None
    exit_meaning: str
    printed: list[str] = field(repr=False)
    exports: list[tuple[str, int | tuple[int, int]]] = field(repr=False)
    check_open_ended: bool


@dataclass(frozen=True)
class PlayReport:
    """What came of playing a file.

    Attributes:
        file: As messages call it.
        format: ``"SVF"`` and the like.
        complete: It was played to its end.
        size: Bytes of the file that were taken.
        lines, statements: How many of them.
        ir_scans, dr_scans, ir_bits, dr_bits: What was shifted.
        compared_scans: Scans whose answer the file tells.
        run_clocks: Test clocks in Run-Test/Idle that the file asked for.
        seconds: How long it took.
        mismatch_count: Wrong answers.
        mismatches: The first thousand of them.
        notes: What was played otherwise than it is written.
        refusals: What cannot be played.
        program: Of a STAPL file, what came of its program; else None.
    """

    file: str
    format: str
    complete: bool
    size: int
    lines: int
    statements: int
    ir_scans: int
    dr_scans: int
    ir_bits: int
    dr_bits: int
    compared_scans: int
    run_clocks: int
    seconds: float
    mismatch_count: int
    mismatches: list[Mismatch] = field(repr=False)
    notes: list[Note] = field(repr=False)
    refusals: list[errors.TalvorError] = field(repr=False)
    program: ProgramReport | None = None

    @property
    def playable(self) -> bool:
        """Whether the pod can play all of it."""
        return not self.refusals

    @property
    def passed(self) -> bool:
        """Played to the end, and each answer as expected; of a program, its exit code is 0."""
        succeeded = self.program is None or self.program.exit_code == 0
        return self.complete and self.mismatch_count == 0 and succeeded


def _exported(value: int | tuple[str, int]) -> int | tuple[int, int]:
    return value if isinstance(value, int) else (int(value[0] or "0", 16), value[1])


def _program_of(said: dict[str, Any] | None) -> ProgramReport | None:
    if said is None:
        return None
    exports = [(key, _exported(value)) for key, value in said.pop("exports")]
    return ProgramReport(exports=exports, **said)


def report_of(outcome: _core.PlayOutcome) -> PlayReport:
    """The report that the host library's outcome is."""
    return PlayReport(
        file=outcome.file,
        format=outcome.format,
        mismatches=[
            Mismatch(
                line,
                int(expected or "0", 16),
                int(got or "0", 16),
                int(mask or "0", 16),
                bits,
                differing,
                first,
                text,
            )
            for line, expected, got, mask, bits, differing, first, text in outcome.mismatches()
        ],
        notes=[Note(*note) for note in outcome.notes()],
        refusals=[errors._made(*refusal) for refusal in outcome.refusals()],
        program=_program_of(outcome.program()),
        **outcome.counts(),
    )
