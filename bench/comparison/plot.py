"""The plot: each first thumbnail's and each folder's time to vipsthumbnail's."""

from __future__ import annotations

import math
from dataclasses import dataclass
from pathlib import Path
from xml.sax.saxutils import escape

from .contestants import COLD, INDEXER, VIPS, WARM
from .limits import TIME, verdicts
from .results import Results

LEFT, RIGHT, TOP, ROW, WIDTH = 250, 30, 70, 16, 900
LOWEST, HIGHEST = 0.02, 10.0
TICKS = (0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10)
COLOURS = {COLD: "#1f6feb", WARM: "#d9822b", INDEXER: "#2e8b57"}
MISSED = "#c62828"


@dataclass(frozen=True)
class _Dot:
    contestant: str
    ratio: float
    limit: float | None


def _x(ratio: float) -> float:
    clipped = min(max(ratio, LOWEST), HIGHEST)
    share = math.log(clipped / LOWEST) / math.log(HIGHEST / LOWEST)
    return LEFT + share * (WIDTH - LEFT - RIGHT)


def _rows(results: Results) -> list[tuple[str, list[_Dot]]]:
    bounds: dict[tuple[str, str], float] = {}
    for verdict in verdicts(results):
        if verdict.limit.figure == TIME and verdict.limit.at_most is not None:
            key = (f"{verdict.limit.scenario} {verdict.what}", verdict.limit.contestant)
            bounds[key] = min(verdict.limit.at_most, bounds.get(key, HIGHEST))
    rows = []
    for comparison in results.comparisons:
        task = comparison.task
        dots = []
        for contestant in COLOURS:
            ratio = comparison.ratio(contestant, VIPS)
            if ratio is not None:
                bound = bounds.get((f"{task.scenario} {task.title}", contestant))
                dots.append(_Dot(contestant, ratio, bound))
        if dots:
            name = task.title if task.size else f"{task.title}, all sizes"
            rows.append((name, dots))
    return rows


def _text(x: float, y: float, words: str, anchor: str = "start", colour: str = "#333") -> str:
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">{escape(words)}</text>'


def _line(x: float, top: float, bottom: float, colour: str, width: float) -> str:
    return (
        f'<line x1="{x:.1f}" y1="{top:.1f}" x2="{x:.1f}" y2="{bottom:.1f}" stroke="{colour}" '
        f'stroke-width="{width}"/>'
    )


def _legend() -> list[str]:
    parts, x = [], float(LEFT)
    for contestant, colour in COLOURS.items():
        parts.append(f'<circle cx="{x:.1f}" cy="38" r="4" fill="{colour}"/>')
        parts.append(_text(x + 8, 42, contestant))
        x += 140
    parts += [_line(x, 33, 43, "#777", 2), _text(x + 8, 42, "its limit; missed: red ring")]
    return parts


def _drawn(dot: _Dot, y: float) -> list[str]:
    parts = []
    if dot.limit is not None:
        parts.append(_line(_x(dot.limit), y - 6, y + 6, COLOURS[dot.contestant], 2))
    missed = dot.limit is not None and dot.ratio > dot.limit
    ring = f' stroke="{MISSED}" stroke-width="2.5"' if missed else ""
    label = f"{dot.contestant}: {dot.ratio:.2f}" + (f", limit {dot.limit:g}" if dot.limit is not None else "")
    parts.append(
        f'<circle cx="{_x(dot.ratio):.1f}" cy="{y:.1f}" r="4" fill="{COLOURS[dot.contestant]}"{ring}>'
        f"<title>{escape(label)}</title></circle>"
    )
    return parts


def write_plot(path: Path, results: Results) -> None:
    rows = _rows(results)
    bottom = TOP + ROW * len(rows)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {bottom + 30}" '
        'font-family="sans-serif" font-size="11">',
        f'<rect width="{WIDTH}" height="{bottom + 30}" fill="#fff"/>',
        _text(LEFT, 20, "Time to vipsthumbnail's: left of 1 is faster"),
        *_legend(),
    ]
    for tick in TICKS:
        parts.append(_line(_x(tick), TOP - 10, bottom, "#333" if tick == 1 else "#ddd", 1))
        parts.append(_text(_x(tick), bottom + 16, f"{tick:g}", "middle"))
    for number, (name, dots) in enumerate(rows):
        y = TOP + ROW * (number + 0.5)
        parts.append(_text(LEFT - 10, y + 4, name, "end"))
        for dot in dots:
            parts += _drawn(dot, y)
    parts.append("</svg>")
    path.write_text("\n".join(parts) + "\n", encoding="utf-8")
