"""A process and all that it has started, as /proc shows them."""

from __future__ import annotations

import ctypes
import os
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path

from .repeated_look import RepeatedLook

PR_SET_CHILD_SUBREAPER = 36
TICKS = os.sysconf("SC_CLK_TCK")


def adopt_orphans() -> None:
    """Makes what a measured process leaves behind a child of this one, so that it is found."""
    if ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


def children_of(pid: int) -> list[int]:
    children: list[int] = []
    try:
        for task in os.listdir(f"/proc/{pid}/task"):
            children += map(int, Path(f"/proc/{pid}/task/{task}/children").read_text().split())
    except (FileNotFoundError, ProcessLookupError):
        pass
    return children


def name_of(pid: int) -> str:
    """Its first 15 characters, which is what the system keeps."""
    try:
        return Path(f"/proc/{pid}/comm").read_text().strip()
    except (FileNotFoundError, ProcessLookupError):
        return ""


def tree_of(pid: int) -> list[int]:
    found = [pid]
    for known in found:  # grows while it is walked
        found += children_of(known)
    return found


def processor_seconds(pid: int) -> float:
    """Of a tree that runs on, and of all that it has waited for."""
    ticks = 0
    for member in tree_of(pid):
        try:
            fields = Path(f"/proc/{member}/stat").read_text().rpartition(")")[2].split()
        except (FileNotFoundError, ProcessLookupError):
            continue
        ticks += sum(int(value) for value in fields[11:15])
    return ticks / TICKS


def _kilobytes(path: str, key: str) -> int:
    try:
        with open(path, encoding="ascii") as lines:
            for line in lines:
                if line.startswith(key):
                    return int(line.split()[1])
    except (FileNotFoundError, ProcessLookupError, PermissionError):
        pass  # it has ended
    return 0


@dataclass
class MemoryPeaks:
    tree: int = 0  # kB: most that all processes together had at one look, shared pages once (PSS)
    process: int = 0  # kB: most that one process had at any time, its shared pages included (VmHWM)


@dataclass
class MemoryWatch(RepeatedLook):
    """Looks at the memory of processes and their descendants every few milliseconds.

    That takes a processor of its own: what is watched must not be timed. A process that lives for
    less than a look may be missed.
    """

    roots: Callable[[], list[int]]
    peaks: MemoryPeaks = field(default_factory=MemoryPeaks)

    PAUSE = 0.002

    def _look(self) -> None:
        members = {member for root in self.roots() for member in tree_of(root)}
        together = 0
        for member in members:
            together += _kilobytes(f"/proc/{member}/smaps_rollup", "Pss:")
            peak = _kilobytes(f"/proc/{member}/status", "VmHWM:")
            self.peaks.process = max(self.peaks.process, peak)
        self.peaks.tree = max(self.peaks.tree, together)
