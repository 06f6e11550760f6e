"""The photographs of a share, of which the settings know by the environment (tests/abi)."""

import os
import pathlib
import shutil
from typing import Iterator

import pytest


@pytest.fixture()
def photos(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[pathlib.Path]:
    folder = tmp_path / "photo"
    shutil.copytree(
        os.environ["PHOTOS"], folder, symlinks=True, ignore=shutil.ignore_patterns(".vexaea")
    )
    settings = tmp_path / "platform.ini"
    settings.write_text(f"[share photo]\npath = {folder}\n[service]\nlock_dir = {tmp_path}/locks\n")
    monkeypatch.setenv("VEXATHUMB_CONFIG", str(settings))
    yield folder
