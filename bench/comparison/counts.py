"""Figures of the other benchmarks: what a second run costs a photo, and a stored thumbnail a server."""

from __future__ import annotations

import re

from .plan import Plan
from .results import Count
from .workplace import Unavailable, Workplace, call, find_command


def second_run(place: Workplace, plan: Plan) -> list[Count]:
    """By strace's count of all processes of the run."""
    names = ("second run, system calls", "second run, µs")
    try:
        find_command("strace")
        said = call(place.helper("indexer_benchmark"), place.program("vexathumb"), "--photos", "0",
                    "--others", "0", "--unchanged", "50" if plan.quick else "2000")  # fmt: skip
        match = re.search(r"second run +\d+ files +(\d+) us a file, ([\d.]+) system calls", said)
        if match is None:
            raise Unavailable("indexer_benchmark tells no system calls")
    except Unavailable as reason:
        return [Count(name, None, str(reason)) for name in names]
    return [Count(names[0], float(match[2])), Count(names[1], float(match[1]))]


def serving(place: Workplace, plan: Plan) -> list[Count]:
    """Requests a second for a stored thumbnail to those for the same file sent statically, over one
    connection. The benchmark drives the worker that it was built with."""
    servers = ("lighttpd", "nginx")
    try:
        for tool in ("wrk", *servers):
            find_command(tool)
        rounds, seconds = ("1", "1") if plan.quick else ("9", "1")
        said = call(place.program("serving_benchmark"), "--rounds", rounds, "--seconds", seconds,
                    *(("--photo", "1600x1200") if plan.quick else ()))  # fmt: skip
    except Unavailable as reason:
        return [Count(server, None, str(reason)) for server in servers]
    counts = []
    for server in servers:
        match = re.search(rf"^{server} +1 +\d+ +\d+ +([\d.]+)", said, re.MULTILINE)
        counts.append(Count(server, float(match[1]) if match else None, "" if match else "not told"))
    return counts
