"""A control group with little memory and no swap, of either version of control groups."""

from __future__ import annotations

import os
import time
from pathlib import Path

from .repeated_look import RepeatedLook
from .workplace import Unavailable

ROOT = Path("/sys/fs/cgroup")
MEBIBYTE = 1 << 20
LONGEST_WAIT = 10  # seconds for the last process of the group to be gone


class _Second:
    folder = ROOT

    def set_limit(self, group: Path, limit: int) -> None:
        (group / "memory.max").write_text(str(limit))
        swap = group / "memory.swap.max"
        if swap.exists():  # where the kernel counts it
            swap.write_text("0")

    def kills(self, group: Path) -> int:
        return _field(group / "memory.events", "oom_kill")

    def taken(self, group: Path) -> int:
        return _field(group / "memory.stat", "anon") + _field(group / "memory.stat", "shmem")


class _First:
    folder = ROOT / "memory"

    def set_limit(self, group: Path, limit: int) -> None:
        (group / "memory.limit_in_bytes").write_text(str(limit))
        with_swap = group / "memory.memsw.limit_in_bytes"
        if with_swap.exists():
            with_swap.write_text(str(limit))

    def kills(self, group: Path) -> int:
        return _field(group / "memory.oom_control", "oom_kill")

    def taken(self, group: Path) -> int:
        return _field(group / "memory.stat", "total_rss") + _field(group / "memory.stat", "total_shmem")


def _field(path: Path, key: str) -> int:
    for line in path.read_text().splitlines():
        name, _, value = line.partition(" ")
        if name == key:
            return int(value)
    return 0


class MemoryGroup(RepeatedLook):
    """What is run in it has `limit` bytes together, the files that it reads and writes included: the
    system gives those up first. Throws Unavailable where nobody lets us have one."""

    PAUSE = 0.005

    def __init__(self, limit: int) -> None:
        self._version = _Second() if (ROOT / "cgroup.controllers").exists() else _First()
        self._group = self._version.folder / f"vexathumb-{os.getpid()}"
        self.peak = 0  # bytes that cannot be given up, most at one look: of no file, or of a file in memory
        if not self._version.folder.is_dir():
            raise Unavailable("there are no control groups for memory here")
        try:
            self._group.mkdir()
        except OSError as error:
            raise Unavailable(f"no control group can be made here: {error.strerror}") from None
        try:
            self._version.set_limit(self._group, limit)
        except OSError as error:
            self._group.rmdir()
            raise Unavailable(f"the memory of a control group cannot be limited here: {error.strerror}") from None

    def __exit__(self, *_: object) -> None:
        super().__exit__()
        last = time.monotonic() + LONGEST_WAIT
        while (self._group / "cgroup.procs").read_text() and time.monotonic() < last:
            time.sleep(0.01)
        self._group.rmdir()

    def command(self, argv: list[str]) -> list[str]:
        """That runs `argv` in the group."""
        enter = 'echo 0 >"$0" && exec "$@"'
        return ["/bin/sh", "-c", enter, str(self._group / "cgroup.procs"), *argv]

    def kills(self) -> int:
        """Processes that were ended for want of memory."""
        return self._version.kills(self._group)

    def _look(self) -> None:
        self.peak = max(self.peak, self._version.taken(self._group))
