"""Running a command to its end, and what that cost; several of them in turns."""

from __future__ import annotations

import os
import re
import signal
import threading
import time
from collections.abc import Collection
from dataclasses import dataclass, field
from pathlib import Path

from .process_tree import MemoryPeaks, MemoryWatch, children_of
from .workplace import Unavailable

LONGEST_RUN = 900  # seconds, then it is ended and has failed
LONGEST_WAIT = 10  # seconds for what a command has left behind to end


@dataclass(frozen=True)
class Command:
    argv: list[str]
    environment: dict[str, str]


@dataclass(frozen=True)
class Cost:
    seconds: float  # from the start to the end, by the clock
    cpu_seconds: float  # of the process and of all that it started


@dataclass
class Run:
    cost: Cost
    said: str  # on standard output


def _reap(pid: int) -> tuple[int, float]:
    _, status, usage = os.wait4(pid, 0)
    return status, usage.ru_utime + usage.ru_stime


def _reap_left_behind(known: set[int]) -> float:
    """Waits for processes that have outlived the one that started them; their processor time."""
    cpu_seconds = 0.0
    last = time.monotonic() + LONGEST_WAIT
    while left := [pid for pid in children_of(os.getpid()) if pid not in known]:
        for pid in left:
            ended, _, usage = os.wait4(pid, os.WNOHANG)
            if ended:
                cpu_seconds += usage.ru_utime + usage.ru_stime
            elif time.monotonic() > last:
                os.kill(pid, signal.SIGKILL)
        time.sleep(0.001)
    return cpu_seconds


def _complaint(command: Command, scratch: Path, status: int) -> str:
    """What a failed command has said last, without the folders that nobody will find again."""
    lines = (scratch / "stderr").read_text(errors="replace").strip().splitlines()
    said = lines[-1] if lines else f"status {status}"
    said = re.sub(r"/[^ '`]*/", "", said)
    return f"{Path(command.argv[0]).name} failed: {said[:120]}"


def start(command: Command, scratch: Path) -> int:
    said = os.O_WRONLY | os.O_CREAT | os.O_TRUNC
    return os.posix_spawn(
        command.argv[0],
        command.argv,
        command.environment,
        file_actions=[
            (os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
            (os.POSIX_SPAWN_OPEN, 1, str(scratch / "stdout"), said, 0o600),
            (os.POSIX_SPAWN_OPEN, 2, str(scratch / "stderr"), said, 0o600),
        ],
        setpgroup=0,
    )


def run(command: Command, scratch: Path, peaks: MemoryPeaks | None = None) -> Run:
    """Runs it. With `peaks` its memory is watched, and its times mean nothing."""
    known = set(children_of(os.getpid()))

    def started() -> list[int]:
        return [child for child in children_of(os.getpid()) if child not in known]

    begun = time.perf_counter()
    pid = start(command, scratch)
    too_long = threading.Timer(LONGEST_RUN, os.killpg, (pid, signal.SIGKILL))
    too_long.start()
    try:
        if peaks is None:
            status, cpu_seconds = _reap(pid)
        else:
            with MemoryWatch(started, peaks):
                status, cpu_seconds = _reap(pid)
        seconds = time.perf_counter() - begun
    finally:
        too_long.cancel()
    cpu_seconds += _reap_left_behind(known)
    if status != 0:
        raise Unavailable(_complaint(command, scratch, status))
    said = (scratch / "stdout").read_text(errors="replace")
    return Run(Cost(seconds, cpu_seconds), said)


@dataclass
class Series:
    """What one contestant cost, round by round."""

    costs: list[Cost] = field(default_factory=list)
    peaks: MemoryPeaks = field(default_factory=MemoryPeaks)
    why_not: str = ""  # it cannot do this, or not here


class Contestant:
    """Something that is measured beside others at one task."""

    name: str
    # Of slow ones fewer rounds are measured; one that has a single round neither warms up nor is watched.
    rounds_at_most: int = 1000

    def work(self, peaks: MemoryPeaks | None) -> Cost:
        """Does the task once. Throws Unavailable."""
        raise NotImplementedError


def in_turns(
    contestants: list[Contestant], rounds: int, warm_up: bool, watched: Collection[str] | None
) -> dict[str, Series]:
    """Each once to warm up if that is wanted, then all of them round by round, another one first in each.

    Memory is watched in a run of its own, at the end, of all contestants or of some.
    """
    series = {contestant.name: Series() for contestant in contestants}

    def attempt(contestant: Contestant, peaks: MemoryPeaks | None = None) -> Cost | None:
        of_it = series[contestant.name]
        if of_it.why_not:
            return None
        try:
            return contestant.work(peaks)
        except Unavailable as reason:
            of_it.why_not = str(reason)
            return None

    for contestant in contestants:
        if warm_up and contestant.rounds_at_most > 1:
            attempt(contestant)
    for number in range(rounds):
        first = number % len(contestants)
        for contestant in contestants[first:] + contestants[:first]:
            if number < contestant.rounds_at_most and (cost := attempt(contestant)):
                series[contestant.name].costs.append(cost)
    for contestant in contestants:
        if contestant.rounds_at_most > 1 and (watched is None or contestant.name in watched):
            attempt(contestant, series[contestant.name].peaks)
    return series
