"""Whether the pins of a board are connected as its netlist says."""

from __future__ import annotations

import os
from typing import NamedTuple

__all__ = ["Finding", "InterconnectReport", "CheckedNet"]


class CheckedNet(NamedTuple):
    """A net that is tested, with the pin that drives it and those that see it."""

    name: str
    driver: str
    receivers: list[str]


class Finding(NamedTuple):
    """Something that is wrong.

    Attributes:
        nets: Names of the nets that it is about.
        lines: What may be the matter, the most likely first.
    """

    nets: list[str]
    lines: list[str]


class InterconnectReport:
    """What :meth:`talvor.Pod.interconnect` has found. A notebook draws it.

    Attributes:
        nets: The nets that are tested.
        untested: Names of nets that cannot be tested, with the reason.
        also_driving: Outputs that drive their safe levels meanwhile.
        tested: False after a dry run, and where no net can be tested.
        findings: What is wrong.
        silent: Devices nearly all of whose pins stand still: likelier than each finding.
        vectors: How many test vectors went out.
    """

    def __init__(
        self,
        nets: list[tuple[str, str, list[str]]],
        untested: list[tuple[str, str]],
        also_driving: list[str],
        tested: bool,
        findings: list[tuple[list[str], list[str]]],
        silent: list[str],
        vectors: int,
        svg: str,
    ) -> None:
        self.nets = [CheckedNet(*net) for net in nets]
        self.untested = dict(untested)
        self.also_driving = also_driving
        self.tested = tested
        self.findings = [Finding(*finding) for finding in findings]
        self.silent = silent
        self.vectors = vectors
        self._svg = svg

    @property
    def good(self) -> bool:
        """Whether it was tested, and nothing is wrong with what was."""
        return self.tested and not self.findings

    def __repr__(self) -> str:
        lines = [*self.silent]
        for finding in self.findings:
            lines += [f"{', '.join(finding.nets)}: {line}" for line in finding.lines]
        if not self.tested:
            lines.append("not tested")
        elif not lines:
            lines.append("no fault")
        lines.append(f"{len(self.nets)} nets; {len(self.untested)} cannot be tested")
        return "\n".join(lines)

    def _repr_svg_(self) -> str:
        """A row for each net, for notebooks."""
        return self._svg

    def save(self, path: str | os.PathLike[str]) -> None:
        """Write the picture into a file."""
        with open(path, "w", encoding="utf-8") as file:
            file.write(self._svg)
