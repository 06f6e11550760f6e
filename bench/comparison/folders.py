"""All sizes of what lies in a folder, by one process and by two."""

from __future__ import annotations

import shutil
from pathlib import Path

from .contestants import BuildAll, PeerOfFolder
from .inputs import Input
from .measuring import Contestant, in_turns
from .plan import MIXED, Plan
from .results import FOLDER, Comparison, Measured, Task
from .workplace import Workplace, age

ROUNDS_AT_MOST = 3


def _fill(folder: Path, pictures: list[Input], count: int) -> None:
    folder.mkdir()
    for number in range(count):
        original = pictures[number % len(pictures)].path
        copy = folder / f"picture-{number:02}{original.suffix}"
        shutil.copyfile(original, copy)
        age(copy)


def _compare(place: Workplace, plan: Plan, folder: Path, task: Task) -> Comparison:
    comparison = Comparison(task)
    contestants: list[Contestant] = [BuildAll(place, folder, task.jobs)]
    contestants += [
        PeerOfFolder(place, maker, folder, task.jobs, animated=False)
        for maker in plan.makers_of_folder(task.kind, task.jobs)
    ]
    rounds = min(ROUNDS_AT_MOST, plan.rounds)
    for name, series in in_turns(contestants, rounds, plan.warms_up, plan.watched).items():
        comparison.measured[name] = Measured(series)
    for contestant in contestants:
        measured = comparison.measured[contestant.name]
        if not measured.why_not and isinstance(contestant, (BuildAll, PeerOfFolder)):
            measured.bytes = contestant.bytes_written()
    return comparison


def folders_of(plan: Plan, pictures: list[Input]) -> dict[str, list[Input]]:
    """For each folder the pictures that it is filled with, in turns: the first of their kind."""
    first: dict[str, Input] = {}
    for picture in pictures:
        first.setdefault(picture.kind, picture)
    wanted = {kind: [first[kind]] for kind in plan.files if kind in first and plan.wants(kind)}
    if plan.wants("mixed"):
        wanted["mixed"] = [first[kind] for kind in MIXED if kind in first]
    return {name: members for name, members in wanted.items() if members}


def compare_folder(place: Workplace, plan: Plan, name: str, pictures: list[Input]) -> list[Comparison]:
    folder = place.album / "folder"
    count = plan.files[name]
    _fill(folder, pictures, count)
    try:
        return [
            _compare(place, plan, folder, Task(FOLDER, f"{count} {name}", name, jobs=jobs))
            for jobs in plan.jobs
        ]
    finally:
        shutil.rmtree(folder)
