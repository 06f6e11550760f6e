"""Who makes thumbnails here: vexathumb in its several ways, and its peers, each in its best form."""

from __future__ import annotations

import functools
import re
import shlex
import shutil
from dataclasses import dataclass
from pathlib import Path

from .fastcgi import Worker
from .inputs import Input
from .measuring import Command, Contestant, Cost, run
from .process_tree import MemoryPeaks
from .workplace import STORE, FreshSource, Unavailable, Workplace, call, find_command

SIDES = {"small": 120, "medium": 360, "big": 640, "xlarge": 1280}
QUALITY = 85  # of JPEG, everybody's

COLD = "vexathumb get"
WARM = "vexathumb-web"
INDEXER = "vexathumb build"
VIPS = "vipsthumbnail"
OWN = (COLD, WARM, INDEXER)


class FirstThumbnail(Contestant):
    """Makes one thumbnail, which `picture` keeps for a look at its quality."""

    picture: Path


class ColdGet(FirstThumbnail):
    """`vexathumb get`, from its start to its end."""

    name = COLD

    def __init__(self, place: Workplace, source: FreshSource, size: str, animated: bool) -> None:
        self._place = place
        self._source = source
        self._options = ["--size", size] + (["--gif"] if animated else [])
        self.picture = place.scratch / "cold"

    def work(self, peaks: MemoryPeaks | None) -> Cost:
        program = self._place.program("vexathumb")
        path = self._source.fresh()
        command = Command([program, "get", str(path), *self._options], self._place.environment())
        done = run(command, self._place.scratch, peaks)
        shutil.copyfile(done.said.rstrip("\n").rpartition("\t")[0], self.picture)
        return done.cost


class WarmRequest(FirstThumbnail):
    """A request to a web worker that has answered others."""

    name = WARM

    def __init__(self, place: Workplace, source: FreshSource, size: str, animated: bool,
                 worker: Worker) -> None:  # fmt: skip
        self._source = source
        self._query = f"size={size}" + ("&gif=1" if animated else "")
        self._worker = worker
        self.picture = place.scratch / "warm"

    def work(self, peaks: MemoryPeaks | None) -> Cost:
        path = self._source.fresh()
        cost, body = self._worker.request(f"/thumb/album/{path.name}?{self._query}", peaks)
        self.picture.write_bytes(body)
        return cost


@functools.cache
def profile_option() -> str:
    """By which vipsthumbnail converts colours: releases name it differently."""
    helped = call(find_command("vipsthumbnail"), "--help")
    return "--output-profile" if "--output-profile" in helped else "--export-profile"


@dataclass(frozen=True)
class Maker:
    """How another program makes a thumbnail of a file, or of many in one process.

    In the words {from}, {to}, {folder} and {side} are replaced; {from} alone is a word for each file
    where many are taken.
    """

    name: str
    program: str
    one: str
    many: str = ""  # nothing: a process for each file
    writes: tuple[str, ...] = ("jpg", "png")
    rounds_at_most: int = 3

    def path(self) -> str:
        return find_command(self.program)

    def words(self, template: str, *, has_profile: bool = False, **replaced: str) -> list[str]:
        """Colours are converted where there is a profile: of others that takes time and moves them."""
        template = template.replace("{profile}", f"{profile_option()} srgb" if has_profile else "")
        return [self.path(), *(word.format(**replaced) for word in template.split())]


# None enlarges that can be told not to. What each writes is JPEG of the same quality without metadata,
# PNG where vexathumb does, and in sRGB where the program can convert to it.
MAKERS = [
    Maker(
        VIPS,
        "vipsthumbnail",
        "--size {side}x{side}> {profile} -o {to}{options} {from}",
        many="--size {side}x{side}> {profile} -o {folder}/%s.{type}{options}",
        writes=("jpg", "png", "gif"),
        rounds_at_most=1000,
    ),
    Maker(
        "GraphicsMagick",
        "gm",
        "convert -size {side}x{side} {from} -auto-orient -thumbnail {side}x{side}> +profile * -quality 85 {to}",
        many="mogrify -output-directory {folder} -create-directories -size {side}x{side} -auto-orient "
        "-thumbnail {side}x{side}> +profile * -quality 85 -format {type}",
    ),
    Maker(
        "ImageMagick",
        "convert",
        "-define jpeg:size={twice}x{twice} {from}[0] -auto-orient -thumbnail {side}x{side}> "
        "-strip -quality 85 {to}",
    ),
    Maker(
        "ffmpegthumbnailer",
        "ffmpegthumbnailer",
        "-i {from} -o {to} -s {side} -q 8",
    ),
    Maker(
        "gdk-pixbuf-thumbnailer",
        "gdk-pixbuf-thumbnailer",
        "-s {side} {from} {to}",
        writes=("png",),
    ),
]
# Of animations that stay so.
ANIMATORS = [
    Maker(
        VIPS,
        "vipsthumbnail",
        "--size {side}x{side}> -o {to} {from}[n=-1]",
        writes=("gif",),
        rounds_at_most=3,
    ),
    Maker(
        "gifsicle",
        "gifsicle",
        "--resize-fit {side}x{side} --resize-method mix --colors 256 -o {to} {from}",
        writes=("gif",),
    ),
    Maker(
        "ImageMagick",
        "convert",
        "{from} -coalesce -thumbnail {side}x{side}> -layers optimize {to}",
        writes=("gif",),
        rounds_at_most=1,
    ),
]


def options_of(maker: Maker, file_type: str) -> str:
    if maker.name != VIPS:
        return ""
    return {"jpg": f"[Q={QUALITY},strip]", "png": "[strip]"}.get(file_type, "")


class Peer(FirstThumbnail):
    """Another program that makes one thumbnail of one file."""

    def __init__(self, place: Workplace, maker: Maker, picture: Input, size: str, file_type: str):
        self.name = maker.name
        self.rounds_at_most = maker.rounds_at_most
        self._place = place
        self._maker = maker
        self._input = picture
        self._side = SIDES[size]
        self._type = file_type if file_type in maker.writes else maker.writes[0]
        self.picture = place.scratch / f"{maker.program}.{self._type}"

    def work(self, peaks: MemoryPeaks | None) -> Cost:
        words = self._maker.words(
            self._maker.one,
            has_profile=self._input.kind == "wide-gamut",
            **{"from": str(self._input.path), "to": str(self.picture), "side": str(self._side)},
            twice=str(2 * self._side),
            options=options_of(self._maker, self._type),
        )
        self.picture.unlink(missing_ok=True)
        cost = run(Command(words, self._place.environment()), self._place.scratch, peaks).cost
        if not self.picture.exists():
            raise Unavailable(f"{self.name} ended well and has written nothing")
        return cost


class BuildAll(Contestant):
    """`vexathumb build` of all sizes of what lies in a folder, in so many processes."""

    def __init__(self, place: Workplace, folder: Path, jobs: int) -> None:
        self.name = INDEXER
        self._place = place
        self._folder = folder
        self._jobs = jobs

    def work(self, peaks: MemoryPeaks | None) -> Cost:
        shutil.rmtree(self._folder / STORE, ignore_errors=True)
        program = self._place.program("vexathumb")
        argv = [program, "build", str(self._folder), "--jobs", str(self._jobs)]
        return run(Command(argv, self._place.environment()), self._place.scratch, peaks).cost

    def bytes_written(self) -> int:
        files = (self._folder / STORE).rglob("VEXAFILE_THUMB_*")
        return sum(file.stat().st_size for file in files)


class PeerOfFolder(Contestant):
    """All sizes of what lies in a folder by another program.

    A call takes all files of one type to one size where the program takes many, else one file; so many
    calls run at once as the indexer has processes.
    """

    def __init__(self, place: Workplace, maker: Maker, folder: Path, jobs: int, animated: bool):
        self.name = maker.name
        self.rounds_at_most = 3 if maker.name == VIPS else 1
        self._place = place
        self._maker = maker
        self._target = place.scratch / f"folder-of-{maker.program}"
        self._jobs = jobs
        files = sorted(path for path in folder.iterdir() if path.is_file())
        self._calls = [call for side in reversed(SIDES.values()) for call in self._of(side, files, animated)]

    def _of(self, side: int, files: list[Path], animated: bool) -> list[list[str]]:
        by_type: dict[str, list[Path]] = {}
        for path in files:
            by_type.setdefault(path.suffix, []).append(path)
        calls = []
        for suffix, members in by_type.items():
            wanted = "gif" if animated else "png" if suffix == ".png" else "jpg"
            file_type = wanted if wanted in self._maker.writes else self._maker.writes[0]
            common = {
                "side": str(side),
                "twice": str(2 * side),
                "type": file_type,
                "folder": str(self._target / str(side)),
                "options": options_of(self._maker, file_type),
            }
            if self._maker.many:
                calls.append(self._maker.words(self._maker.many, **common) + [str(m) for m in members])
                continue
            for member in members:
                to = self._target / str(side) / f"{member.stem}.{file_type}"
                calls.append(
                    self._maker.words(self._maker.one, **{"from": str(member), "to": str(to)}, **common)
                )
        return calls

    def work(self, peaks: MemoryPeaks | None) -> Cost:
        shutil.rmtree(self._target, ignore_errors=True)
        for side in SIDES.values():
            (self._target / str(side)).mkdir(parents=True)
        script = self._place.scratch / "calls"
        script.write_text("".join(shlex.join(call) + "\0" for call in self._calls))
        argv = [find_command("xargs"), "-0", "-a", str(script), "-P", str(self._jobs), "-I", "{}",
                "/bin/sh", "-c", "exec {}"]  # fmt: skip
        environment = self._place.environment()
        if self._jobs > 1:
            environment["VIPS_CONCURRENCY"] = "1"  # as many threads as jobs are faster than more
        try:
            return run(Command(argv, environment), self._place.scratch, peaks).cost
        except Unavailable as reason:
            raise Unavailable(str(reason).replace("xargs", self.name, 1)) from None

    def bytes_written(self) -> int:
        return sum(file.stat().st_size for file in self._target.rglob("*") if file.is_file())


def picture_type(path: Path) -> str:
    """By its first bytes, as an extension."""
    begin = path.read_bytes()[:16]
    for pattern, extension in ((rb"\xff\xd8", "jpg"), (rb"\x89PNG", "png"), (rb"GIF8", "gif"),
                               (rb"BM", "bmp"), (rb"RIFF....WEBP", "webp")):  # fmt: skip
        if re.match(pattern, begin, re.DOTALL):
            return extension
    return "other"
