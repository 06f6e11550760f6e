"""The first thumbnail of a source, at each size, and all sizes of it."""

from __future__ import annotations

import shutil

from .contestants import (
    COLD,
    OWN,
    SIDES,
    VIPS,
    BuildAll,
    ColdGet,
    FirstThumbnail,
    Peer,
    PeerOfFolder,
    WarmRequest,
    picture_type,
)
from .fastcgi import Worker
from .inputs import Input, header_of
from .measuring import Contestant, in_turns
from .plan import Plan
from .quality import Judge
from .results import ALL_SIZES, FIRST, SOURCE_SERVES, Comparison, Measured, Task
from .workplace import FreshSource, Unavailable, Workplace, age, call


def _is_within(picture: Input, size: str) -> bool:
    """Whether the source is no larger than the box: it serves as it is, if browsers can show it."""
    try:
        header = header_of(picture.path)
    except Unavailable:
        return False
    return max(int(header["width"]), int(header["height"])) <= SIDES[size]


def floor_of(place: Workplace, picture: Input, rounds: int) -> float | None:
    """Seconds of the decoder alone; nothing where that cannot be measured."""
    try:
        return float(call(place.helper(picture.floor), picture.path, str(rounds))) / 1000
    except Unavailable:
        return None


def _result_type(own: FirstThumbnail) -> str:
    """What peers are to write: what vexathumb does."""
    try:
        own.work(None)
    except Unavailable:
        return "jpg"
    written = picture_type(own.picture)
    return written if written in ("png", "gif") else "jpg"


def _judge(judge: Judge, comparison: Comparison, contestants: list[FirstThumbnail], plan: Plan) -> None:
    for contestant in contestants:
        measured = comparison.measured[contestant.name]
        if measured.why_not or not plan.looks_at(contestant.name):
            continue
        try:
            measured.looks = judge.look(contestant.picture)
            measured.bytes = measured.looks.bytes
        except Unavailable as reason:
            measured.series.why_not = f"its picture cannot be read: {reason}"
    peer = comparison.of(VIPS)
    for contestant in contestants:
        own = comparison.measured[contestant.name]
        if contestant.name in OWN and peer:
            own.bytes_at_same_ssim = _bytes_at_same_ssim(judge, own, peer, contestant, comparison.task)


def _bytes_at_same_ssim(
    judge: Judge, own: Measured, peer: Measured, contestant: FirstThumbnail, task: Task
) -> float | None:
    if not task.tags & {"12mp", "small-png", "own"} or own.looks is None or peer.looks is None:
        return None
    written = picture_type(contestant.picture)
    if written == "png":  # nothing is lost that could be bought back by bytes
        return own.looks.bytes / peer.looks.bytes
    if own.looks.ssim is None or written == "gif":
        return None
    try:
        return own.looks.bytes / judge.bytes_of_peer_at(own.looks.ssim, task.size)
    except Unavailable:
        return None


def _compare_size(
    place: Workplace, plan: Plan, picture: Input, worker: Worker, judge: Judge, size: str
) -> Comparison:
    task = Task(FIRST, picture.name, picture.kind, size, tags=picture.tags)
    comparison = Comparison(task)
    if _is_within(picture, size):
        comparison.why_not = SOURCE_SERVES
        return comparison
    animated = "animated" in picture.tags
    source = FreshSource(place, picture.path)
    try:
        cold = ColdGet(place, source, size, animated)
        file_type = _result_type(cold)
        contestants: list[FirstThumbnail] = [cold, WarmRequest(place, source, size, animated, worker)]
        for maker in plan.animators if animated else plan.makers_of(picture.name):
            contestants.append(Peer(place, maker, picture, size, file_type))
        series = in_turns(list(contestants), plan.rounds, plan.warms_up, plan.watched)
    finally:
        source.remove()
    floor = floor_of(place, picture, plan.rounds)
    for name, of_it in series.items():
        comparison.measured[name] = Measured(of_it, floor_seconds=floor if name in OWN else None)
    _judge(judge, comparison, contestants, plan)
    return comparison


def _compare_all_sizes(place: Workplace, plan: Plan, picture: Input) -> Comparison:
    comparison = Comparison(Task(ALL_SIZES, picture.name, picture.kind, tags=picture.tags))
    folder = place.album / "one"
    folder.mkdir()
    try:
        copy = folder / f"source{picture.path.suffix}"
        shutil.copyfile(picture.path, copy)
        age(copy)
        animated = "animated" in picture.tags
        makers = plan.animators if animated else plan.makers_of_folder("one", 1)
        contestants: list[Contestant] = [BuildAll(place, folder, 1)]
        contestants += [PeerOfFolder(place, maker, folder, 1, animated) for maker in makers]
        for name, series in in_turns(contestants, min(3, plan.rounds), plan.warms_up, plan.watched).items():
            comparison.measured[name] = Measured(series)
        for contestant in contestants:
            measured = comparison.measured[contestant.name]
            if not measured.why_not and isinstance(contestant, (BuildAll, PeerOfFolder)):
                measured.bytes = contestant.bytes_written()
    finally:
        shutil.rmtree(folder)
    return comparison


def compare_input(place: Workplace, plan: Plan, picture: Input, worker: Worker) -> list[Comparison]:
    judge = Judge(place, picture, plan.qualities)
    try:
        judge.prepare()
    except Unavailable:
        pass  # its thumbnails have pixels and bytes then, and no SSIM
    comparisons = []
    try:
        for size in plan.sizes:
            comparisons.append(_compare_size(place, plan, picture, worker, judge, size))
        if plan.takes_all_sizes(picture.name):
            comparisons.append(_compare_all_sizes(place, plan, picture))
    finally:
        judge.dismiss()
    return comparisons
