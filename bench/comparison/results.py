"""What was measured: rows, and the figures that are read from them."""

from __future__ import annotations

import statistics
from dataclasses import dataclass, field

from .measuring import Series
from .quality import Looks

# What is made: a first thumbnail, all sizes of one source, those of a folder by so many jobs.
FIRST = "first thumbnail"
ALL_SIZES = "all sizes of one"
FOLDER = "all sizes of a folder"
SOURCE_SERVES = "the source is no larger than the box"


@dataclass(frozen=True)
class Task:
    scenario: str
    subject: str  # the input's or the folder's name
    kind: str
    size: str = ""
    jobs: int = 1
    tags: frozenset[str] = frozenset()

    @property
    def title(self) -> str:
        jobs = f", {self.jobs} jobs" if self.jobs > 1 else ""
        return f"{self.subject} {self.size}".strip() + jobs


@dataclass
class Measured:
    """One contestant at one task."""

    series: Series
    looks: Looks | None = None
    bytes: int | None = None  # of all that it has written
    bytes_at_same_ssim: float | None = None  # to vipsthumbnail's
    floor_seconds: float | None = None  # the decoder alone

    @property
    def why_not(self) -> str:
        return self.series.why_not

    @property
    def seconds(self) -> float | None:
        costs = self.series.costs
        return statistics.median(cost.seconds for cost in costs) if costs and not self.why_not else None

    @property
    def spread(self) -> tuple[float, float]:
        seconds = [cost.seconds for cost in self.series.costs]
        return min(seconds), max(seconds)

    @property
    def cpu_seconds(self) -> float | None:
        """The mean: of a worker it is told in steps too coarse for one round."""
        costs = self.series.costs
        return statistics.fmean(cost.cpu_seconds for cost in costs) if costs and not self.why_not else None


@dataclass
class Comparison:
    """All contestants at one task."""

    task: Task
    measured: dict[str, Measured] = field(default_factory=dict)
    why_not: str = ""  # of the whole: the input cannot be made, the source serves as it is

    def of(self, name: str) -> Measured | None:
        return self.measured.get(name)

    def ratio(self, name: str, other: str) -> float | None:
        """Median time to median time."""
        one, two = self.of(name), self.of(other)
        if one is None or two is None or one.seconds is None or not two.seconds:
            return None
        return one.seconds / two.seconds


@dataclass(frozen=True)
class Count:
    """A figure that is no contestants' time."""

    name: str
    value: float | None
    why_not: str = ""


@dataclass
class Results:
    comparisons: list[Comparison] = field(default_factory=list)
    counts: list[Count] = field(default_factory=list)
