"""Tables for notebooks."""

from __future__ import annotations

import html
from collections.abc import Iterable, Sequence


def table(heads: Sequence[str], rows: Iterable[Sequence[str]]) -> str:
    def line(tag: str, cells: Sequence[str]) -> str:
        return "<tr>" + "".join(f"<{tag}>{html.escape(cell)}</{tag}>" for cell in cells) + "</tr>"

    body = "".join(line("td", row) for row in rows)
    return f"<table><thead>{line('th', heads)}</thead><tbody>{body}</tbody></table>"
