"""Where things are: the built programs, the settings they run with, folders to work in."""

from __future__ import annotations

import os
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
AGE_SECONDS = 3600  # of sources: of a file that may still be written no thumbnail is kept
STORE = ".vexaea"


class Unavailable(Exception):
    """Something cannot be measured here; the text says why."""


def find_command(name: str) -> str:
    path = shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
    if path is None:
        raise Unavailable(f"{name} is not installed")
    return path


def call(*argv: str | Path) -> str:
    """Runs a tool whose cost does not count; its standard output."""
    words = [str(word) for word in argv]
    try:
        done = subprocess.run(words, capture_output=True, text=True, check=False, timeout=1800)
    except FileNotFoundError:
        raise Unavailable(f"{words[0]} is not installed") from None
    except subprocess.TimeoutExpired:
        raise Unavailable(f"{words[0]} did not end") from None
    if done.returncode != 0:
        said = (done.stderr or done.stdout).strip().splitlines()
        raise Unavailable(f"{Path(words[0]).name} failed: {said[-1] if said else done.returncode}")
    return done.stdout


@dataclass(frozen=True)
class Workplace:
    build: Path  # the build whose programs are measured
    scratch: Path  # removed at the end

    def program(self, name: str) -> str:
        """A program of the build."""
        path = self.build / "bin" / name
        if not path.exists():
            raise Unavailable(f"{name} is not built in {self.build}")
        return str(path)

    def helper(self, name: str) -> str:
        """A program that is not itself measured: another build of this checkout will do."""
        for folder in [self.build, *sorted((ROOT / "build").glob("*"))]:
            path = folder / "bin" / name
            if path.exists():
                return str(path)
        raise Unavailable(f"{name} is not built: what it compiles against was missing")

    @property
    def album(self) -> Path:
        """A share of the web worker; its store lies beside what is in it."""
        return self.scratch / "album"

    @property
    def settings(self) -> Path:
        return self.scratch / "platform.ini"

    def environment(self) -> dict[str, str]:
        return {
            "PATH": "/usr/local/bin:/usr/bin:/bin",
            "HOME": str(self.scratch),
            "LC_ALL": "C.UTF-8",
            "VEXATHUMB_CONFIG": str(self.settings),
        }

    def furnish(self) -> None:
        self.album.mkdir(parents=True)
        self.settings.write_text(
            "[store]\nlayout = beside\n"
            f"[share album]\npath = {self.album}\n"
            f"[service]\nlock_dir = {self.scratch / 'lock'}\n"
        )


def age(path: Path) -> None:
    status = path.stat()
    changed = status.st_mtime - AGE_SECONDS
    os.utime(path, (changed, changed))


class FreshSource:
    """A copy of an input that nothing is stored for and no running program has met.

    Each `fresh()` gives it another name and removes what was stored: its bytes stay in the page cache,
    and no copying goes on while somebody is measured.
    """

    def __init__(self, workplace: Workplace, original: Path) -> None:
        self._album = workplace.album
        self._extension = original.suffix
        self._count = 0
        self._path = self._name()
        shutil.copyfile(original, self._path)
        age(self._path)
        with open(self._path, "rb") as file:
            os.fsync(file.fileno())

    def _name(self) -> Path:
        return self._album / f"source-{os.getpid()}-{self._count}{self._extension}"

    def fresh(self) -> Path:
        shutil.rmtree(self._album / STORE, ignore_errors=True)
        self._count += 1
        self._path = self._path.rename(self._name())
        return self._path

    def remove(self) -> None:
        shutil.rmtree(self._album / STORE, ignore_errors=True)
        self._path.unlink(missing_ok=True)
