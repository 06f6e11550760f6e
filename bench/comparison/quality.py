"""How good a thumbnail is: beside one made with all care, of the same pixels."""

from __future__ import annotations

import math
import shutil
import tempfile
from dataclasses import dataclass, replace
from pathlib import Path

from .contestants import SIDES, profile_option
from .inputs import Input, header_of
from .workplace import Unavailable, Workplace, call, find_command

INTENT = "relative"  # when colours do not fit into sRGB


@dataclass(frozen=True)
class Looks:
    width: int
    height: int
    bytes: int
    ssim: float | None = None  # 1: the same picture
    delta_e: float | None = None  # mean CIEDE2000; told of wide-gamut pictures
    why_not: str = ""  # there is no SSIM


class Judge:
    """Compares pictures of one input with references of it.

    A reference is the input fully decoded, brought to sRGB by its profile, scaled in linear light by
    Lanczos' filter, and on white where it is clear.
    """

    def __init__(self, place: Workplace, picture: Input, qualities: tuple[int, ...]) -> None:
        self._qualities = qualities
        self._place = place
        self._input = picture
        self._folder = Path(tempfile.mkdtemp(dir=place.scratch))
        self._vips = find_command("vips")
        self._decoded = self._folder / "decoded.tif"
        self._references: dict[tuple[int, int], Path] = {}
        self._peer: dict[int, list[tuple[float, int]]] = {}
        self._wide = False

    def prepare(self) -> None:
        """Throws Unavailable where libvips cannot decode the input."""
        if self._input.kind == "dng":
            raise Unavailable("what a raw file should look like is its developer's choice")
        upright = self._call("autorot", self._input.path, "upright.v")
        self._wide = "icc-profile-data" in header_of(upright)
        if self._wide:
            # From profile to profile in one step, and then without one: what is imported to scale it in
            # linear light comes out of libvips in other dark colours than by the formula.
            call(self._vips, "icc_transform", upright, f"{self._decoded}[strip]", "srgb", "--embedded",
                 "--intent", INTENT)  # fmt: skip
            upright.unlink()
        else:
            self._decoded = upright

    def dismiss(self) -> None:
        shutil.rmtree(self._folder)

    def _call(self, operation: str, source: Path | str, target: str, *rest: str) -> Path:
        path = self._folder / target
        call(self._vips, operation, source, path, *rest)
        return path

    def _reference(self, width: int, height: int) -> Path:
        size = (width, height)
        if size not in self._references:
            scaled = self._call(
                "thumbnail", self._decoded, "scaled.v", str(width), "--height", str(height), "--size",
                "force", "--linear", "--no-rotate",
            )  # fmt: skip
            self._references[size] = self._on_white(scaled, f"reference-{width}x{height}.png")
        return self._references[size]

    def _on_white(self, picture: Path, target: str) -> Path:
        path = self._folder / target
        srgb = self._call("colourspace", picture, "srgb.v", "srgb")
        if header_of(srgb)["bands"] == "4":  # of three it would take the last for alpha
            call(self._vips, "flatten", srgb, f"{path}[strip]", "--background", "255")
        else:
            call(self._vips, "copy", srgb, f"{path}[strip]")
        return path

    def _as_shown(self, picture: Path, header: dict[str, str]) -> Path:
        """What a viewer shows that heeds profiles."""
        if "icc-profile-data" in header:
            picture = self._call("icc_transform", picture, "shown.v", "srgb", "--embedded", "--intent", INTENT)
        return self._on_white(picture, "shown.png")

    def _ssim(self, one: Path, other: Path) -> float:
        return float(call(self._place.helper("picture_ssim"), one, other))

    def _delta_e(self, one: Path, other: Path) -> float:
        labs = [self._call("colourspace", path, f"lab-{number}.v", "lab")
                for number, path in enumerate((one, other))]  # fmt: skip
        difference = self._folder / "difference.v"
        call(self._vips, "dE00", labs[0], labs[1], difference)
        return float(call(self._vips, "avg", difference))

    def look(self, picture: Path) -> Looks:
        """Throws Unavailable where it is no picture."""
        header = header_of(picture)
        looks = Looks(int(header["width"]), int(header["height"]), picture.stat().st_size)
        if not self._decoded.exists():
            return replace(looks, why_not="there is no reference")
        try:
            reference = self._reference(looks.width, looks.height)
            shown = self._as_shown(picture, header)
            ssim = self._ssim(shown, reference)
            return replace(looks, ssim=ssim, delta_e=self._delta_e(shown, reference) if self._wide else None)
        except Unavailable as reason:
            return replace(looks, why_not=str(reason))

    def _peer_at_qualities(self, side: int) -> list[tuple[float, int]]:
        """SSIM and bytes of vipsthumbnail's JPEGs of rising quality."""
        if side not in self._peer:
            points = []
            for quality in self._qualities:
                target = self._folder / "peer.jpg"
                profile = [profile_option(), "srgb"] if self._wide else []
                call(find_command("vipsthumbnail"), "--size", f"{side}x{side}>", *profile,
                     "-o", f"{target}[Q={quality},strip]", self._input.path)  # fmt: skip
                looks = self.look(target)
                if looks.ssim is not None:
                    points.append((looks.ssim, looks.bytes))
            self._peer[side] = sorted(points)
        return self._peer[side]

    def bytes_of_peer_at(self, ssim: float, size: str) -> float:
        """How many bytes vipsthumbnail takes for this SSIM, between the qualities that were tried;
        the nearest one's where none is as low or as high."""
        points = self._peer_at_qualities(SIDES[size])
        if not points:
            raise Unavailable("vipsthumbnail's pictures have no SSIM")
        if ssim <= points[0][0]:
            return points[0][1]
        for (low, few), (high, many) in zip(points, points[1:]):
            if low <= ssim <= high and high > low:
                share = (ssim - low) / (high - low)
                return math.exp(math.log(few) + share * (math.log(many) - math.log(few)))
        return points[-1][1]
