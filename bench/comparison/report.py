"""The report: bench/report.md."""

from __future__ import annotations

import datetime
import os
import platform
import re
from collections import defaultdict
from pathlib import Path

from .contestants import COLD, INDEXER, OWN, VIPS, WARM
from .limits import Verdict, verdicts
from .plan import Plan
from .results import ALL_SIZES, FIRST, FOLDER, Comparison, Measured, Results
from .workplace import Unavailable, call

NOTHING = "–"
PACKAGES = ("libvips-tools", "graphicsmagick", "imagemagick", "ffmpegthumbnailer", "gifsicle",
            "libgdk-pixbuf2.0-bin", "libheif1", "libjpeg62-turbo", "lighttpd", "nginx-light")  # fmt: skip

HOW = """\
Every contestant does a task once to warm up, then all of them round by round, another one first in each
round; what they read is in the page cache. Times are medians, with the shortest and the longest; a
ratio is one of medians, below 1 where vexathumb is faster. `vexathumb get` and the peers are timed from
the start of the process to its end, `vexathumb-web` from the connection to its socket to the last byte,
in a worker that has answered others but never this source. Each of vexathumb's runs has a source that
nothing is stored for. Processor time is that of all processes, of the worker's as the mean of the
rounds, since the system tells it in hundredths of a second.

Memory is watched in a run of its own, by a look at `/proc` every few milliseconds: *tree* is the most
that all processes had together at one look, shared pages counted once (PSS); *process* the most that one
of them had at any time (VmHWM), pages of libraries included.

Quality is told by SSIM (brightness, windows of 8 by 8) beside a reference of the thumbnail's own pixels:
fully decoded, brought to sRGB by its profile, scaled in linear light by Lanczos' filter, on white. ΔE is
the mean CIEDE2000 to it, told of pictures with a profile. Bytes at the same SSIM are vexathumb's to those
of a JPEG by vipsthumbnail of the quality that has vexathumb's SSIM; of PNG, to its PNG.

Peers write JPEG of quality 85 without metadata, PNG where vexathumb does, and sRGB where they can be told
so; none enlarges that can be told not to. Over folders each takes many files a process where it can, a
call a size and type, and as many calls at once as the indexer has processes.

The floor is the decoder alone, in a process that runs already: of JPEG its entropy decoding, of the others
plain decoding of all pixels.
"""


def _first_line(path: str, pattern: str) -> str:
    try:
        match = re.search(pattern, Path(path).read_text(encoding="utf-8"), re.MULTILINE)
    except FileNotFoundError:
        return "unknown"
    return match[1] if match else "unknown"


def _packages() -> str:
    told = []
    for package in PACKAGES:
        try:
            told.append(f"{package} {call('dpkg-query', '-W', '-f', '${Version}', package)}")
        except Unavailable:
            told.append(f"{package} not installed")
    return ", ".join(told)


def machine() -> list[str]:
    """Told before and after: what else ran while it was measured."""
    load = Path("/proc/loadavg").read_text(encoding="ascii").split()
    return [
        f"- {datetime.datetime.now():%Y-%m-%d %H:%M}, {_first_line('/etc/os-release', '^PRETTY_NAME=.(.*).$')}"
        f", Linux {platform.release()}",
        f"- {os.cpu_count()} × {_first_line('/proc/cpuinfo', '^model name.*: (.*)$')}"
        f", load of the last minute before {load[0]}",
        f"- {_packages()}",
    ]


def milliseconds(seconds: float | None) -> str:
    if seconds is None:
        return NOTHING
    return f"{seconds * 1000:.1f}" if seconds < 0.1 else f"{seconds * 1000:.0f}"


def _number(value: float | None, form: str = ".2f") -> str:
    return NOTHING if value is None else f"{value:{form}}"


def _time(measured: Measured | None) -> str:
    if measured is None or measured.seconds is None:
        return NOTHING
    shortest, longest = (milliseconds(bound) for bound in measured.spread)
    return f"{milliseconds(measured.seconds)} ({shortest} to {longest})"


def _table(head: list[str], rows: list[list[str]]) -> list[str]:
    if not rows:
        return ["Nothing of this was asked for.", ""]
    lines = [head, ["---"] * len(head), *rows]
    return ["| " + " | ".join(cell.replace("|", "\\|") for cell in line) + " |" for line in lines] + [""]


def _value(value: float) -> str:
    return f"{value:.2f}" if value < 10 else f"{value:.0f}"


def _marks(told: list[Verdict]) -> dict[tuple[str, str], bool]:
    """Of a task and a contestant: whether a limit of its time is missed."""
    marks: dict[tuple[str, str], bool] = {}
    for verdict in told:
        if verdict.limit.figure.startswith("time"):
            key = (f"{verdict.limit.scenario} {verdict.what}", verdict.limit.contestant)
            marks[key] = marks.get(key, False) or verdict.is_missed
    return marks


def _limits(told: list[Verdict]) -> list[str]:
    rows = []
    by_limit: dict[int, list[Verdict]] = defaultdict(list)
    for verdict in told:
        by_limit[id(verdict.limit)].append(verdict)
    for group in by_limit.values():
        limit = group[0].limit
        known = [verdict for verdict in group if verdict.value is not None]
        missed = [verdict for verdict in known if verdict.is_missed]
        values = [verdict.value for verdict in known if verdict.value is not None]
        worst = NOTHING
        if values:
            worst = _value(max(values) if limit.at_most is not None else min(values))
        state = "not measured" if not known else f"**missed** by {len(missed)}" if missed else "kept"
        rows.append([limit.title, limit.figure, limit.bound, worst, f"{len(known)} of {len(group)}", state])
    head = ["limit", "figure", "bound", "worst", "measured", "state"]
    lines = ["## Limits", "", *_table(head, rows)]
    missed_all = [verdict for verdict in told if verdict.is_missed]
    if missed_all:
        lines += ["Missed:", ""]
        lines += [
            f"- {verdict.what}: {_value(verdict.value or 0)}, {verdict.limit.bound} ({verdict.limit.title})"
            for verdict in missed_all
        ]
        lines.append("")
    unknown = [verdict for verdict in told if verdict.value is None]
    if unknown:
        lines += ["Not measured:", ""]
        lines += [f"- {verdict.what} ({verdict.limit.title}): {verdict.why_not}" for verdict in unknown]
        lines.append("")
    return lines


def _ratio(comparison: Comparison, name: str, marks: dict[tuple[str, str], bool]) -> str:
    ratio = comparison.ratio(name, VIPS)
    if ratio is None:
        return NOTHING
    missed = marks.get((f"{comparison.task.scenario} {comparison.task.title}", name), False)
    return f"**{ratio:.2f} missed**" if missed else f"{ratio:.2f}"


def _cpu_ratio(comparison: Comparison, name: str) -> float | None:
    one, two = comparison.of(name), comparison.of(VIPS)
    if one is None or two is None or one.cpu_seconds is None or not two.cpu_seconds:
        return None
    return one.cpu_seconds / two.cpu_seconds


def _over_floor(measured: Measured | None) -> str:
    if measured is None or measured.seconds is None or not measured.floor_seconds:
        return NOTHING
    return f"{measured.seconds / measured.floor_seconds:.1f}"


def _times_of_firsts(comparisons: list[Comparison], marks: dict[tuple[str, str], bool]) -> list[str]:
    head = ["source, size", "get, ms", "web, ms", "vipsthumbnail, ms", "get to it", "web to it", "CPU: get", "web",
            "floor, ms", "get to floor", "web to floor"]  # fmt: skip
    rows = []
    for comparison in comparisons:
        cold, warm, peer = (comparison.of(name) for name in (COLD, WARM, VIPS))
        why_not = comparison.why_not or (cold.why_not if cold else "")
        floor = cold.floor_seconds if cold else None
        rows.append([
            comparison.task.title,
            why_not or _time(cold),
            _time(warm),
            _time(peer),
            _ratio(comparison, COLD, marks),
            _ratio(comparison, WARM, marks),
            _number(_cpu_ratio(comparison, COLD)),
            _number(_cpu_ratio(comparison, WARM)),
            milliseconds(floor),
            _over_floor(cold),
            _over_floor(warm),
        ])  # fmt: skip
    return _table(head, rows)


def _memory(measured: Measured | None) -> str:
    if measured is None or not measured.series.peaks.tree:
        return NOTHING
    peaks = measured.series.peaks
    return f"{peaks.tree / 1000:.0f}, {peaks.process / 1000:.0f}"


def _results_of_firsts(comparisons: list[Comparison]) -> list[str]:
    head = ["source, size", "memory, MB (tree, process): get", "web", "vipsthumbnail", "pixels: get", "web", "bytes: get",
            "web", "vipsthumbnail's", "bytes at the same SSIM: get", "web", "SSIM: get", "web", "vipsthumbnail's",
            "ΔE: get", "web", "vipsthumbnail's"]  # fmt: skip
    rows = []
    for comparison in comparisons:
        cold, warm, peer = (comparison.of(name) for name in (COLD, WARM, VIPS))
        if comparison.why_not or cold is None:
            continue
        own = (cold, warm)
        everybody = [measured.looks if measured else None for measured in (*own, peer)]
        rows.append([
            comparison.task.title,
            *map(_memory, (*own, peer)),
            *(f"{looks.width} × {looks.height}" if looks else NOTHING for looks in everybody[:2]),
            *(f"{looks.bytes}" if looks else NOTHING for looks in everybody),
            *(_number(measured.bytes_at_same_ssim if measured else None) for measured in own),
            *(_number(looks.ssim if looks else None, ".4f") for looks in everybody),
            *(_number(looks.delta_e if looks else None) for looks in everybody),
        ])  # fmt: skip
    return _table(head, rows)


def _others(comparisons: list[Comparison]) -> list[str]:
    """Other peers: time, processor time, memory, bytes and likeness."""
    head = ["task", "by", "ms", "CPU, ms", "memory, MB (tree, process)", "bytes", "SSIM"]
    rows = []
    for comparison in comparisons:
        for name, measured in comparison.measured.items():
            if name in OWN or name == VIPS:
                continue
            looks = measured.looks
            rows.append([
                comparison.task.title,
                name,
                measured.why_not or _time(measured),
                milliseconds(measured.cpu_seconds),
                _memory(measured),
                NOTHING if measured.bytes is None else str(measured.bytes),
                _number(looks.ssim if looks else None, ".4f"),
            ])  # fmt: skip
    return _table(head, rows)


def _sets(comparisons: list[Comparison], marks: dict[tuple[str, str], bool]) -> list[str]:
    head = ["task", "vexathumb build, ms", "vipsthumbnail, ms", "time to it", "CPU to it", "memory, MB (tree, process)",
            "vipsthumbnail's", "bytes to it"]  # fmt: skip
    rows = []
    for comparison in comparisons:
        own, peer = comparison.of(INDEXER), comparison.of(VIPS)
        why_not = comparison.why_not or (own.why_not if own else "")
        ratio = own.bytes / peer.bytes if own and peer and own.bytes and peer.bytes else None
        rows.append([
            comparison.task.title,
            why_not or _time(own),
            _time(peer),
            _ratio(comparison, INDEXER, marks),
            _number(_cpu_ratio(comparison, INDEXER)),
            _memory(own),
            _memory(peer),
            _number(ratio),
        ])  # fmt: skip
    return _table(head, rows)


def write_report(path: Path, results: Results, plan: Plan, about: list[str]) -> None:
    told = list(verdicts(results))
    marks = _marks(told)

    def of(scenario: str) -> list[Comparison]:
        return [comparison for comparison in results.comparisons if comparison.task.scenario == scenario]

    rounds = f"- {plan.rounds} rounds" + (", on tiny pictures: these figures mean nothing" if plan.quick else "")
    counts = [[count.name, count.why_not or _number(count.value)] for count in results.counts]
    lines = [
        "# Side by side",
        "",
        "Written by `bench/compare`; [docs/performance.md](../docs/performance.md) says what bounds the rows.",
        "",
        *about,
        rounds,
        "",
        "![Times to vipsthumbnail's](report.svg)",
        "",
        *_limits(told),
        "## A first thumbnail",
        "",
        *_times_of_firsts(of(FIRST), marks),
        "### What it takes and gives",
        "",
        *_results_of_firsts(of(FIRST)),
        "## All sizes of one source",
        "",
        *_sets(of(ALL_SIZES), marks),
        "## All sizes of a folder",
        "",
        *_sets(of(FOLDER), marks),
        "## A second run, and what is stored",
        "",
        "System calls and microseconds of a second run of the indexer for each photo; and requests a second",
        "for a stored thumbnail by its photograph's address, to those for the same file sent statically.",
        "",
        *_table(["figure", "measured"], counts),
        "## The other peers",
        "",
        *_others(results.comparisons),
        "## How it was measured",
        "",
        HOW,
    ]
    path.write_text("\n".join(lines), encoding="utf-8")
