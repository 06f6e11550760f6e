"""How much is measured."""

from __future__ import annotations

from dataclasses import dataclass

from .contestants import ANIMATORS, COLD, INDEXER, MAKERS, SIDES, VIPS, WARM, Maker

KINDS = ("jpeg", "png", "tiff", "webp", "heic", "avif", "jxl", "gif", "dng", "wide-gamut")
FOLDERS = ("mixed",)
COUNTS = ("second-run", "serving")
# Of what the folder of mixed files is made.
MIXED = ("png", "tiff", "heic", "webp")
LEFT_OUT_BY_QUICK = (
    "jpeg-24mp", "jpeg-48mp", "jpeg-12mp-turned", "jpeg-24mp-turned", "jpeg-48mp-turned",
    "jpeg-12mp-progressive",
)  # fmt: skip
# Pictures that differ from others little in what the peers that no limit goes by would take.
VARIANTS = (
    "jpeg-24mp", "jpeg-48mp", "jpeg-24mp-turned", "jpeg-48mp-turned", "png-12mp-alpha", "png-1mp",
    "jpeg-12mp-adobe",
)  # fmt: skip
CLASSES = KINDS + FOLDERS + COUNTS


@dataclass(frozen=True)
class Plan:
    quick: bool
    classes: tuple[str, ...]
    rounds: int

    def wants(self, name: str) -> bool:
        return name in self.classes

    def makes(self, name: str, kind: str) -> bool:
        """Whether a picture is made."""
        if self.quick and name in LEFT_OUT_BY_QUICK:
            return False
        return self.wants(kind) or (self.wants("mixed") and kind in MIXED)

    @property
    def sizes(self) -> tuple[str, ...]:
        return ("small",) if self.quick else tuple(SIDES)

    def makers_of(self, name: str) -> list[Maker]:
        """Slow peers make a thumbnail of one picture of a kind."""
        return [maker for maker in MAKERS if maker.name == VIPS] if name in VARIANTS else MAKERS

    def makers_of_folder(self, name: str, jobs: int) -> list[Maker]:
        """The peers but the one that limits go by take minutes for a folder: they have one of each."""
        if not self.quick and name in ("jpeg", "mixed") and jobs == max(self.jobs):
            return MAKERS
        return [maker for maker in MAKERS if maker.name == VIPS]

    @property
    def animators(self) -> list[Maker]:
        return ANIMATORS

    @property
    def qualities(self) -> tuple[int, ...]:
        """Of vipsthumbnail's JPEGs that are tried for bytes at the same SSIM."""
        return (60, 90) if self.quick else (50, 60, 70, 75, 80, 85, 90, 95)

    @property
    def warms_up(self) -> bool:
        return not self.quick

    @property
    def watched(self) -> tuple[str, ...] | None:
        """Whose memory is watched; None: everybody's."""
        return (COLD, WARM, INDEXER, VIPS) if self.quick else None

    def takes_all_sizes(self, name: str) -> bool:
        """Whether all sizes of this picture are made besides each."""
        return not self.quick or name in ("jpeg-12mp", "gif-60-frames")

    def looks_at(self, contestant: str) -> bool:
        """Whether its pictures are compared with references."""
        return not self.quick or contestant in (COLD, WARM, VIPS)

    @property
    def jobs(self) -> tuple[int, ...]:
        return (2,) if self.quick else (1, 2)

    @property
    def files(self) -> dict[str, int]:
        """How many lie in the folder of a class."""
        jpegs, others, mixed = (3, 2, 4) if self.quick else (30, 8, 12)
        return {"jpeg": jpegs, "mixed": mixed} | dict.fromkeys(("png", "tiff", "webp", "heic", "avif"), others)
