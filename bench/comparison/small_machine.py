"""bench/small-machine: builds and serves thumbnails in a control group with little memory."""

from __future__ import annotations

import argparse
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from urllib.parse import quote

from .fastcgi import ask
from .inputs import RECIPES, Studio
from .memory_group import MEBIBYTE, MemoryGroup
from .workplace import ROOT, STORE, Unavailable, Workplace, age, call

LARGE = ("jpeg-12mp", "jpeg-12mp-turned", "jpeg-12mp-progressive", "png-12mp", "tiff-12mp", "webp-12mp", "heic-12mp")
NO_PICTURES = {"notes.jpg"}  # of the sample album
WORKERS = 2
LONGEST_SERVICE = 240  # seconds for all requests; then what is answered with 503 stays so
CANNOT = 77


@dataclass(frozen=True)
class Row:
    what: str
    files: int
    seconds: float
    peak: int  # bytes
    faults: list[str]

    def __str__(self) -> str:
        verdict = "all there" if not self.faults else "; ".join(self.faults)
        return f"| {self.what} | {self.files} | {self.seconds:.1f} s | {self.peak / MEBIBYTE:.0f} MiB | {verdict} |"


class Machine:
    """So much memory, and the settings of the page."""

    def __init__(self, place: Workplace, memory: int, settings: str) -> None:
        self._place = place
        self._memory = memory
        self._settings = settings

    def _furnish(self, pictures: list[Path], changes: dict[str, str]) -> None:
        """An album that nothing is stored for, its share and locks of its own."""
        album = self._place.album
        shutil.rmtree(album, ignore_errors=True)
        album.mkdir()
        for number, picture in enumerate(pictures):
            copy = album / f"{number:02} {picture.name}"
            shutil.copyfile(picture, copy)
            age(copy)
        settings = self._settings
        for key, value in {"lock_dir": str(self._place.scratch / "lock"), **changes}.items():
            settings = re.sub(rf"(?m)^{key} = .*\n", "", settings)
            settings = settings.replace("[service]\n", f"[service]\n{key} = {value}\n")
        self._place.settings.write_text(f"{settings}\n[share album]\npath = {album}\n")

    def _sources(self) -> list[Path]:
        return sorted(path for path in self._place.album.iterdir() if path.is_file())

    def rows(self, pictures: list[Path], quick: bool) -> Iterator[Row]:
        if not quick:
            yield self.build(pictures, 1)
        yield self.build(pictures, 2)
        yield self.serve(pictures)

    def build(self, pictures: list[Path], jobs: int) -> Row:
        self._furnish(pictures, {"builders": str(jobs)})
        program = self._place.program("vexathumb")
        argv = [program, "build", "--json", "--jobs", str(jobs), str(self._place.album)]
        with MemoryGroup(self._memory) as group:
            begun = time.perf_counter()
            done = subprocess.run(group.command(argv), env=self._place.environment(), capture_output=True,
                                  text=True, check=False)  # fmt: skip
            seconds = time.perf_counter() - begun
            faults = _of_kills(group.kills())
            peak = group.peak
        told = [json.loads(line) for line in done.stdout.splitlines()]
        if not told or "summary" not in told[-1]:
            raise Unavailable(f"vexathumb build ended with {done.returncode}: {done.stderr.strip()[-300:]}")
        for source in told[:-1]:
            if source["state"] != "built" and not _is_no_picture(Path(source["file"])):
                faults.append(f"{Path(source['file']).name} {source['state']}: {source['error']}")
        if len(told) - 1 != len(pictures):
            faults.append(f"{len(told) - 1} of {len(pictures)} files were looked at")
        return Row(f"`vexathumb build --jobs {jobs}`", len(pictures), seconds, peak, faults)

    def serve(self, pictures: list[Path]) -> Row:
        """Asks for two sizes of each, by as many clients as there are workers and one more."""
        self._furnish(pictures, {})
        addresses = [
            (path, f"/thumb/album/{quote(path.name)}?size={size}")
            for size in ("xlarge", "small")
            for path in self._sources()
        ]
        with MemoryGroup(self._memory) as group:
            begun = time.perf_counter()
            with self._workers(group) as worker, ThreadPoolExecutor(WORKERS + 1) as clients:
                last = time.monotonic() + LONGEST_SERVICE
                answers = list(clients.map(lambda wanted: _status(worker, wanted[1], last), addresses))
            seconds = time.perf_counter() - begun
            faults = _of_kills(group.kills())
            peak = group.peak
        for (path, _), status in zip(addresses, answers):
            if status != (415 if _is_no_picture(path) else 200):
                faults.append(f"{path.name} answered with {status}")
        return Row(f"`vexathumb-web`, {WORKERS} workers", len(pictures), seconds, peak, faults)

    @contextmanager
    def _workers(self, group: MemoryGroup) -> Iterator[str]:
        """The address of a socket that they listen on."""
        address = str(self._place.scratch / "workers.sock")
        with socket.socket(socket.AF_UNIX) as listening:
            listening.bind(address)
            listening.listen(16)
            argv = group.command([self._place.program("vexathumb-web")])
            workers = [
                subprocess.Popen(argv, env=self._place.environment(), stdin=listening)  # noqa: S603
                for _ in range(WORKERS)
            ]
        try:
            yield address
        finally:
            for worker in workers:
                worker.send_signal(signal.SIGTERM)
            for worker in workers:
                worker.wait()
            os.unlink(address)


def _of_kills(kills: int) -> list[str]:
    return [f"{kills} processes were ended for want of memory"] if kills else []


def _is_no_picture(path: Path) -> bool:
    return path.name.partition(" ")[2] in NO_PICTURES


def _status(worker: str, address: str, last: float) -> int:
    """The status of the answer, when those that ask for patience have been heeded, until `last`."""
    while True:
        head, _, _ = ask(worker, address).partition(b"\r\n\r\n")
        said = re.search(rb"(?im)^Status: (\d+)", head)
        status = int(said[1]) if said else 200
        if status != 503 or time.monotonic() > last:
            return status
        time.sleep(0.2)


def _sample_album(place: Workplace) -> list[Path]:
    folder = place.scratch / "sample-album"
    call(place.helper("make-sample-album"), folder)
    return sorted(path for path in folder.rglob("*") if path.is_file())


def _large(place: Workplace, cache: Path) -> list[Path]:
    studio = Studio(place, cache, quick=False)
    made = []
    for recipe in RECIPES:
        if recipe.name in LARGE:
            try:
                made.append(studio.make(recipe).path)
            except Unavailable as reason:
                print(f"small-machine: {recipe.name} cannot be made here: {reason}", file=sys.stderr)
    return made


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="bench/small-machine",
        description="Builds and serves all thumbnails in a control group with little memory and no swap, "
        f"and ends with 1 when one is missing or a process was ended for want of memory, with {CANNOT} where "
        "no such group can be made. The peak is of what the system cannot give up: not the files' cache.",
    )
    parser.add_argument("folder", nargs="?", type=Path, help="pictures in the place of made ones")
    parser.add_argument("--memory", type=int, default=256, metavar="MIB", help="default %(default)s")
    parser.add_argument("--quick", action="store_true", help="the sample album alone, and not by one job")
    parser.add_argument("--only", choices=("album", "large"), help="the sample album, or 12 megapixels of each type")
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release", help="default build/release")
    parser.add_argument("--settings", type=Path, default=ROOT / "deploy" / "small-machine.ini",
                        help="default deploy/small-machine.ini")  # fmt: skip
    parser.add_argument("--cache", type=Path, help="where large pictures are kept; default that of bench/compare",
                        default=Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "vexathumb-compare")  # fmt: skip
    arguments = parser.parse_args()
    if arguments.quick:
        arguments.only = "album"
    return arguments


def _sets(arguments: argparse.Namespace, place: Workplace) -> Iterator[tuple[str, list[Path]]]:
    if arguments.folder:
        yield str(arguments.folder), sorted(
            path for path in arguments.folder.rglob("*") if path.is_file() and STORE not in path.parts
        )
        return
    if arguments.only != "large":
        yield "the sample album", _sample_album(place)
    if arguments.only != "album":
        yield "12 megapixels", _large(place, arguments.cache)


def main() -> int:
    arguments = _arguments()
    scratch = Path(tempfile.mkdtemp(prefix="vexathumb-small-", dir="/var/tmp"))
    place = Workplace(arguments.build.resolve(), scratch)
    machine = Machine(place, arguments.memory * MEBIBYTE, arguments.settings.read_text())
    is_well = True
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # the group goes, and the folder
    try:
        with MemoryGroup(arguments.memory * MEBIBYTE):
            pass
        for title, pictures in _sets(arguments, place):
            print(f"\n{title}, in {arguments.memory} MiB without swap\n")
            print("| | files | time | peak | |\n|---|---|---|---|---|")
            for row in machine.rows(pictures, arguments.quick):
                print(row, flush=True)
                is_well = is_well and not row.faults
    except Unavailable as reason:
        print(f"skipped: {reason}")
        return CANNOT
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    return 0 if is_well else 1
