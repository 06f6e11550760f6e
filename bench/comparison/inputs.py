"""What is measured: pictures made here once and kept in a cache folder, or a folder of one's own."""

from __future__ import annotations

import os
import shutil
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path

from .colour_profiles import ADOBE_RGB, DISPLAY_P3, ColourSpace, embed_in_jpeg, profile_of
from .workplace import Unavailable, Workplace, age, call, find_command

VERSION = "1"  # of what is made: another one is made anew

KIND_OF_EXTENSION = {
    "jpg": "jpeg", "jpeg": "jpeg", "png": "png", "tif": "tiff", "tiff": "tiff", "webp": "webp",
    "heic": "heic", "heif": "heic", "avif": "avif", "jxl": "jxl", "gif": "gif", "dng": "dng",
    "nef": "dng", "cr2": "dng", "arw": "dng", "bmp": "bmp", "jp2": "jp2",
}  # fmt: skip
FLOOR_OF_KIND = {"heic": "heif", "avif": "heif", "wide-gamut": "jpeg"}  # the others are named as their kind


def header_of(path: Path) -> dict[str, str]:
    """What libvips reads of a picture before its pixels."""
    fields = {}
    for line in call(find_command("vipsheader"), "-a", path).splitlines():
        name, _, value = line.partition(": ")
        fields[name] = value
    return fields


@dataclass(frozen=True)
class Input:
    name: str
    kind: str
    path: Path
    tags: frozenset[str] = field(default_factory=frozenset)

    @property
    def floor(self) -> str:
        return "floor_" + FLOOR_OF_KIND.get(self.kind, self.kind)


@dataclass(frozen=True)
class Recipe:
    name: str
    kind: str
    extension: str
    tags: str
    make: Callable[[Studio, Path], None]


class Studio:
    """Makes inputs of one landscape."""

    def __init__(self, workplace: Workplace, cache: Path, quick: bool) -> None:
        self._workplace = workplace
        self._quick = quick
        self._folder = cache / (f"inputs-{VERSION}" + ("-quick" if quick else ""))

    def make(self, recipe: Recipe) -> Input:
        """Throws Unavailable where an encoder is missing."""
        self._folder.mkdir(parents=True, exist_ok=True)
        path = self._folder / f"{recipe.name}.{recipe.extension}"
        if not path.exists():
            part = self._folder / f".part-{os.getpid()}.{recipe.extension}"
            try:
                recipe.make(self, part)
                age(part)
                part.rename(path)
            finally:
                part.unlink(missing_ok=True)
        return Input(recipe.name, recipe.kind, path, frozenset(recipe.tags.split()))

    def _size(self, megapixels: int) -> tuple[int, int]:
        width, height = {12: (4032, 3024), 24: (6000, 4000), 48: (8064, 6048), 1: (1440, 960)}[
            megapixels
        ]
        return (width // 4, height // 4) if self._quick else (width, height)

    def scene(self, megapixels: int, *options: str) -> Path:
        """The landscape in so many megapixels, as a PPM file; kept."""
        width, height = self._size(megapixels)
        path = self._folder / f"scene-{width}x{height}{''.join(options)}.ppm"
        if not path.exists():
            part = path.with_suffix(".part")
            call(self._workplace.helper("make_input"), "scene", part, "--photo", f"{width}x{height}",
                 *options)  # fmt: skip
            part.rename(path)
        return path

    def jpeg(self, path: Path, megapixels: int, *options: str) -> None:
        call(find_command("cjpeg"), "-quality", "90", *options, "-outfile", path,
             self.scene(megapixels))  # fmt: skip

    def turn(self, path: Path) -> None:
        call(self._workplace.helper("make_input"), "turn", path, "6")

    def with_preview(self, path: Path) -> None:
        """A telephone's photograph: a turned one with a small preview."""
        self.jpeg(path, 12)
        preview = path.with_name(path.name + ".preview.jpg")
        try:
            self.small(preview, 160, 80)
            call(self._workplace.helper("make_input"), "preview", path, preview)
        finally:
            preview.unlink(missing_ok=True)
        self.turn(path)

    def small(self, path: Path, side: int, quality: int) -> None:
        call(find_command("vipsthumbnail"), self.scene(12), "--size", str(side), "-o",
             f"{path}[Q={quality},strip]")  # fmt: skip

    def vips(self, path: Path, megapixels: int, options: str = "") -> None:
        call(find_command("vips"), "copy", self.scene(megapixels), f"{path}{options}")

    def with_alpha(self, path: Path, megapixels: int) -> None:
        """Clear where the landscape is dark."""
        vips, scene = find_command("vips"), self.scene(megapixels)
        alpha = path.with_name(path.name + ".alpha.v")
        try:
            call(vips, "extract_band", scene, alpha, "2")
            call(vips, "bandjoin", f"{scene} {alpha}", path)
        finally:
            alpha.unlink(missing_ok=True)

    def heif(self, path: Path, *options: str) -> None:
        """By way of a PNG, which every release of the encoder reads."""
        png = path.with_name(path.name + ".png")
        try:
            self.vips(png, 12, "[compression=1]")
            call(find_command("heif-enc"), *options, "-o", path, png)
        finally:
            png.unlink(missing_ok=True)

    def animation(self, path: Path) -> None:
        """A camera that moves over the landscape."""
        width, height, count = (160, 120, 10) if self._quick else (800, 600, 60)
        frames_folder = path.with_name(path.name + ".frames")
        frames_folder.mkdir()
        try:
            frames = [frames_folder / f"{number:03}.png" for number in range(count)]
            for number, frame in enumerate(frames):
                call(find_command("vips"), "crop", self.scene(12), frame,
                     str(4 * number), str(2 * number), str(width), str(height))  # fmt: skip
            call(find_command("convert"), "-delay", "5", "-loop", "0", *frames, path)
        finally:
            shutil.rmtree(frames_folder)

    def raw(self, path: Path) -> None:
        preview = path.with_name(path.name + ".preview.jpg")
        try:
            self.small(preview, 400 if self._quick else 1600, 85)
            call(self._workplace.helper("make_input"), "dng", path, self.scene(12), preview)
        finally:
            preview.unlink(missing_ok=True)

    def wide_gamut(self, path: Path, space: ColourSpace) -> None:
        """Numbers that the profile makes more vivid colours than sRGB's."""
        call(find_command("cjpeg"), "-quality", "90", "-outfile", path, self.scene(12, "--vivid"))
        path.write_bytes(embed_in_jpeg(path.read_bytes(), profile_of(space)))


RECIPES = [
    Recipe("jpeg-12mp", "jpeg", "jpg", "12mp upright", lambda s, p: s.jpeg(p, 12)),
    Recipe("jpeg-24mp", "jpeg", "jpg", "24mp upright", lambda s, p: s.jpeg(p, 24)),
    Recipe("jpeg-48mp", "jpeg", "jpg", "48mp upright", lambda s, p: s.jpeg(p, 48)),
    Recipe("jpeg-12mp-turned", "jpeg", "jpg", "12mp turned", lambda s, p: (s.jpeg(p, 12), s.turn(p))),
    Recipe("jpeg-24mp-turned", "jpeg", "jpg", "24mp turned", lambda s, p: (s.jpeg(p, 24), s.turn(p))),
    Recipe("jpeg-48mp-turned", "jpeg", "jpg", "48mp turned", lambda s, p: (s.jpeg(p, 48), s.turn(p))),
    Recipe("jpeg-12mp-progressive", "jpeg", "jpg", "12mp progressive",
           lambda s, p: s.jpeg(p, 12, "-progressive")),
    Recipe("jpeg-12mp-preview", "jpeg", "jpg", "12mp preview-small", lambda s, p: s.with_preview(p)),
    Recipe("png-12mp", "png", "png", "12mp large-png", lambda s, p: s.vips(p, 12)),
    Recipe("png-12mp-alpha", "png", "png", "12mp large-png", lambda s, p: s.with_alpha(p, 12)),
    Recipe("png-1mp", "png", "png", "small-png", lambda s, p: s.vips(p, 1)),
    Recipe("png-1mp-alpha", "png", "png", "small-png", lambda s, p: s.with_alpha(p, 1)),
    Recipe("tiff-12mp", "tiff", "tif", "12mp", lambda s, p: s.vips(p, 12)),
    Recipe("webp-12mp", "webp", "webp", "12mp", lambda s, p: s.vips(p, 12, "[Q=85]")),
    Recipe("heic-12mp", "heic", "heic", "12mp heavy",
           lambda s, p: s.heif(p, "-q", "60", "-p", "preset=ultrafast")),
    Recipe("avif-12mp", "avif", "avif", "12mp heavy", lambda s, p: s.heif(p, "-A", "-q", "60", "-p", "speed=9")),
    Recipe("jxl-12mp", "jxl", "jxl", "12mp", lambda s, p: s.vips(p, 12, "[Q=85,effort=3]")),
    Recipe("gif-60-frames", "gif", "gif", "animated", lambda s, p: s.animation(p)),
    Recipe("dng-preview", "dng", "dng", "preview-big preview-xlarge", lambda s, p: s.raw(p)),
    Recipe("jpeg-12mp-p3", "wide-gamut", "jpg", "12mp", lambda s, p: s.wide_gamut(p, DISPLAY_P3)),
    Recipe("jpeg-12mp-adobe", "wide-gamut", "jpg", "12mp", lambda s, p: s.wide_gamut(p, ADOBE_RGB)),
]  # fmt: skip


def _tags_of(path: Path, kind: str) -> frozenset[str]:
    """What the limits go by, of a picture that was not made here."""
    try:
        header = header_of(path)
    except Unavailable:
        return frozenset({"own"})
    tags = {"own"}
    if kind == "jpeg":
        tags.add("upright" if header.get("orientation", "1") == "1" else "turned")
    if kind == "png":
        is_small = int(header["width"]) * int(header["height"]) < 2_000_000
        tags.add("small-png" if is_small else "large-png")
    if kind == "gif" and header.get("n-pages", "1") != "1":
        tags.add("animated")
    return frozenset(tags)


def pictures_in(folder: Path) -> list[Input]:
    """What somebody wants measured, by its extension; nothing of it is changed."""
    found = []
    for path in sorted(folder.rglob("*")):
        kind = KIND_OF_EXTENSION.get(path.suffix[1:].lower())
        hidden = any(part.startswith(".") for part in path.relative_to(folder).parts)
        if kind and not hidden and path.is_file():
            found.append(Input(str(path.relative_to(folder)), kind, path, _tags_of(path, kind)))
    if not found:
        raise Unavailable(f"{folder} holds no pictures")
    return found
