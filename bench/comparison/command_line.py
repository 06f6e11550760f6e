"""bench/compare: reads its options, measures, and writes what it has as it goes on."""

from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from .counts import second_run, serving
from .fastcgi import Worker
from .first_thumbnails import compare_input
from .folders import compare_folder, folders_of
from .inputs import RECIPES, Input, Studio, pictures_in
from .plan import CLASSES, Plan
from .plot import write_plot
from .process_tree import adopt_orphans
from .report import machine, write_report
from .results import FIRST, Comparison, Results, Task
from .workplace import ROOT, Unavailable, Workplace

PEERS = ("vipsthumbnail", "gm", "convert", "ffmpegthumbnailer", "gdk-pixbuf-thumbnailer", "gifsicle")


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="bench/compare",
        description="Measures vexathumb beside other makers of thumbnails, in turns, and writes report.md "
        "and report.svg.",
    )
    parser.add_argument("folder", nargs="?", type=Path, help="pictures to measure in the place of made ones")
    parser.add_argument("--quick", action="store_true", help="tiny pictures, once each: whether it works at all")
    parser.add_argument("--build", type=Path, help="a build folder; default: build/system, which is brought up to date")
    parser.add_argument("--only", default="", metavar="CLASS,...", help="of " + ", ".join(CLASSES))
    parser.add_argument("--rounds", type=int, default=0, help="default 5")
    parser.add_argument("--output", type=Path, default=ROOT / "bench", help="where the report goes; default bench")
    parser.add_argument("--no-install", action="store_true", help="install no packages that are missing")
    parser.add_argument(
        "--cache",
        type=Path,
        default=Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "vexathumb-compare",
        help="where made pictures are kept; default %(default)s",
    )
    arguments = parser.parse_args()
    unknown = [name for name in arguments.only.split(",") if name and name not in CLASSES]
    if unknown:
        parser.error(f"no class is named {', '.join(unknown)}; there are {', '.join(CLASSES)}")
    if arguments.rounds < 0:
        parser.error("--rounds is at least 1")
    if arguments.folder and not arguments.folder.is_dir():
        parser.error(f"{arguments.folder} is no folder")
    return arguments


def tell(words: str) -> None:
    print(f"compare: {words}", file=sys.stderr, flush=True)


def _install() -> None:
    """Debian's packages, where a peer lacks. What cannot be installed is told in the report."""
    path = os.environ.get("PATH", "") + ":/usr/sbin"
    if not all(shutil.which(peer, path=path) for peer in (*PEERS, "wrk", "strace", "nginx", "lighttpd")):
        subprocess.run([ROOT / "scripts" / "setup", "compare"], check=False)


def _build() -> Path:
    tell("building build/system")
    for argv in (
        ["cmake", "--preset", "system"],
        ["cmake", "--build", "--preset", "system", "--target", "compare_helpers"],
    ):
        done = subprocess.run(argv, cwd=ROOT, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"compare: {' '.join(argv)} failed:\n{done.stdout[-4000:]}{done.stderr[-4000:]}")
    return ROOT / "build" / "system"


class Session:
    """One run of the command: what it has measured so far."""

    def __init__(self, place: Workplace, plan: Plan, output: Path) -> None:
        self._place = place
        self._plan = plan
        self._output = output
        self._about = machine()
        self.results = Results()

    def write(self) -> None:
        write_report(self._output / "report.md", self.results, self._plan, self._about)
        write_plot(self._output / "report.svg", self.results)

    def _add(self, comparisons: list[Comparison]) -> None:
        self.results.comparisons += comparisons
        self.write()

    def _made(self, studio: Studio) -> list[Input]:
        pictures = []
        for recipe in RECIPES:
            if not self._plan.makes(recipe.name, recipe.kind):
                continue
            try:
                pictures.append(studio.make(recipe))
            except Unavailable as reason:
                tags = frozenset(recipe.tags.split())
                why_not = f"cannot be made here: {reason}"
                self._add([
                    Comparison(Task(FIRST, recipe.name, recipe.kind, size, tags=tags), why_not=why_not)
                    for size in self._plan.sizes
                ])  # fmt: skip
        return pictures

    def pictures(self, folder: Path | None, cache: Path) -> list[Input]:
        if folder is None:
            tell(f"making pictures in {cache}, or taking those that are there")
            return self._made(Studio(self._place, cache, self._plan.quick))
        return [picture for picture in pictures_in(folder) if self._plan.makes(picture.name, picture.kind)]

    def measure(self, pictures: list[Input]) -> None:
        worker = Worker(self._place)
        try:
            for picture in [picture for picture in pictures if self._plan.wants(picture.kind)]:
                tell(picture.name)
                self._add(compare_input(self._place, self._plan, picture, worker))
            for name, members in folders_of(self._plan, pictures).items():
                tell(f"a folder: {name}")
                self._add(compare_folder(self._place, self._plan, name, members))
        finally:
            worker.stop()
        if self._plan.wants("second-run"):
            tell("a second run")
            self.results.counts += second_run(self._place, self._plan)
        if self._plan.wants("serving"):
            tell("a stored thumbnail over FastCGI")
            self.results.counts += serving(self._place, self._plan)
        self.write()


def main() -> int:
    arguments = _arguments()
    if not arguments.no_install:
        _install()
    build = arguments.build.resolve() if arguments.build else _build()
    classes = tuple(name for name in arguments.only.split(",") if name) or CLASSES
    plan = Plan(arguments.quick, classes, arguments.rounds or (1 if arguments.quick else 5))
    adopt_orphans()
    arguments.output.mkdir(parents=True, exist_ok=True)
    scratch = Path(tempfile.mkdtemp(prefix="vexathumb-compare-", dir="/var/tmp"))
    place = Workplace(build, scratch)
    try:
        place.furnish()
        session = Session(place, plan, arguments.output)
        session.measure(session.pictures(arguments.folder, arguments.cache))
    except Unavailable as reason:
        tell(str(reason))
        return 1
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    tell(f"written: {arguments.output / 'report.md'}, {arguments.output / 'report.svg'}")
    return 0
