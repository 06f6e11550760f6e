"""What is aimed at: each limit in a row, and which of them what was measured keeps."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass

from .contestants import COLD, INDEXER, SIDES, VIPS, WARM
from .results import ALL_SIZES, FIRST, FOLDER, SOURCE_SERVES, Comparison, Results

TIME = "time to vipsthumbnail's"
BYTES = "bytes to vipsthumbnail's at the same SSIM"
MEMORY = "MB of the largest process"
COLOURS = "mean ΔE2000"
COUNT = "count"

SMALLER = ("small", "medium", "big")
EVERY = tuple(SIDES)


@dataclass(frozen=True)
class Limit:
    title: str
    figure: str
    at_most: float | None = None
    at_least: float | None = None
    scenario: str = FIRST
    contestant: str = COLD
    kinds: tuple[str, ...] = ()  # any of these; nothing: all
    tags: tuple[str, ...] = ()  # all of these; "preview-SIZE" means that of the task
    tags_any: tuple[str, ...] = ()
    tags_not: tuple[str, ...] = ()
    sizes: tuple[str, ...] = ()
    jobs: int | None = None
    count: str = ""

    @property
    def bound(self) -> str:
        return f"at most {self.at_most:g}" if self.at_most is not None else f"at least {self.at_least:g}"

    def admits(self, value: float) -> bool:
        if self.at_most is not None:
            return value <= self.at_most
        return self.at_least is None or value >= self.at_least


LIMITS = [
    Limit("first, warm, JPEG upright or turned, small to big", TIME, 0.7, contestant=WARM, kinds=("jpeg",),
          tags_any=("upright", "turned"), sizes=SMALLER),
    Limit("first, warm, JPEG upright or turned, xlarge", TIME, 0.95, contestant=WARM, kinds=("jpeg",),
          tags_any=("upright", "turned"), sizes=("xlarge",)),
    Limit("first, warm, TIFF, WebP, HEIC, AVIF", TIME, 0.9, contestant=WARM,
          kinds=("tiff", "webp", "heic", "avif")),
    Limit("first, warm, PNG of 12 MP", TIME, 1.0, contestant=WARM, kinds=("png",), tags=("large-png",)),
    Limit("first, warm, PNG under 2 MP", TIME, 0.8, contestant=WARM, kinds=("png",), tags=("small-png",)),
    Limit("first, cold, every class but animations", TIME, 1.0, tags_not=("animated",)),
    Limit("first, cold, JPEG upright", TIME, 0.75, kinds=("jpeg",), tags=("upright",)),
    Limit("embedded preview serves the size, cold", TIME, 0.15, tags=("preview-SIZE",)),
    Limit("embedded preview serves the size, warm", TIME, 0.15, contestant=WARM, tags=("preview-SIZE",)),
    Limit("all sizes of 30 JPEGs, 2 jobs", TIME, 0.5, scenario=FOLDER, contestant=INDEXER, kinds=("jpeg",),
          jobs=2),
    Limit("all sizes of PNG, TIFF, WebP, HEIC, AVIF, 2 jobs", TIME, 0.4, scenario=FOLDER,
          contestant=INDEXER, kinds=("png", "tiff", "webp", "heic", "avif"), jobs=2),
    Limit("animated GIF, all sizes", TIME, 0.4, scenario=ALL_SIZES, contestant=INDEXER,
          tags=("animated",)),
    Limit("bytes at the same SSIM, warm", BYTES, 1.1, contestant=WARM, tags_any=("12mp", "small-png", "own"),
          tags_not=("animated",)),
    Limit("bytes at the same SSIM, cold, but JPEG upright (the fast decode's nearest scale)", BYTES, 1.1,
          tags_any=("12mp", "small-png", "own"), tags_not=("animated", "upright", "progressive")),
    Limit("peak memory, 12 MP", MEMORY, 64, contestant=WARM, tags=("12mp",), tags_not=("progressive", "heavy")),
    Limit("peak memory, 12 MP, HEIC, AVIF, progressive JPEG", MEMORY, 110, contestant=WARM, tags=("12mp",),
          tags_any=("progressive", "heavy")),
    Limit("colours of wide-gamut photographs, cold", COLOURS, 1.5, kinds=("wide-gamut",)),
    Limit("colours of wide-gamut photographs, warm", COLOURS, 1.5, contestant=WARM, kinds=("wide-gamut",)),
    Limit("second run, system calls a photo", COUNT, 50, count="second run, system calls"),
    Limit("stored thumbnail to static file, lighttpd", COUNT, at_least=0.4, count="lighttpd"),
    Limit("stored thumbnail to static file, nginx", COUNT, at_least=0.35, count="nginx"),
]  # fmt: skip


@dataclass(frozen=True)
class Verdict:
    limit: Limit
    what: str
    value: float | None
    why_not: str = ""

    @property
    def is_missed(self) -> bool:
        return self.value is not None and not self.limit.admits(self.value)


def _concerns(limit: Limit, comparison: Comparison) -> bool:
    task = comparison.task
    tags = {tag.replace("preview-SIZE", f"preview-{task.size}") for tag in limit.tags}
    return (
        limit.figure != COUNT
        and comparison.why_not != SOURCE_SERVES
        and limit.scenario == task.scenario
        and (not limit.kinds or task.kind in limit.kinds)
        and tags <= task.tags
        and (not limit.tags_any or bool(task.tags & set(limit.tags_any)))
        and not task.tags & set(limit.tags_not)
        and (not limit.sizes or task.size in limit.sizes)
        and (limit.jobs is None or limit.jobs == task.jobs)
    )


def _value(limit: Limit, comparison: Comparison) -> tuple[float | None, str]:
    """The figure, or why there is none."""
    measured = comparison.of(limit.contestant)
    if comparison.why_not or measured is None:
        return None, comparison.why_not or "not measured"
    if measured.why_not:
        return None, measured.why_not
    if limit.figure == TIME:
        peer = comparison.of(VIPS)
        ratio = comparison.ratio(limit.contestant, VIPS)
        return ratio, "" if ratio is not None else f"{VIPS}: {peer.why_not if peer else 'not measured'}"
    if limit.figure == BYTES:
        return measured.bytes_at_same_ssim, "no JPEG with an SSIM"
    if limit.figure == MEMORY:
        return measured.series.peaks.process / 1000 or None, "not watched"
    looks = measured.looks
    return (looks.delta_e if looks else None), "no reference"


def verdicts(results: Results) -> Iterator[Verdict]:
    counts = {count.name: count for count in results.counts}
    for limit in LIMITS:
        if limit.figure == COUNT:
            count = counts.get(limit.count)
            yield Verdict(limit, limit.count, count.value if count else None,
                          count.why_not if count else "not asked for")  # fmt: skip
            continue
        for comparison in results.comparisons:
            if _concerns(limit, comparison):
                value, why_not = _value(limit, comparison)
                yield Verdict(limit, comparison.task.title, value, why_not)
