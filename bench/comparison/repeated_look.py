"""Looking at something again and again while something else goes on."""

from __future__ import annotations

import threading
import time
from typing import TypeVar

Self = TypeVar("Self", bound="RepeatedLook")


class RepeatedLook:
    """Calls `_look` every `PAUSE` seconds, from a thread of its own, until it is left."""

    PAUSE: float

    def __enter__(self: Self) -> Self:
        self._ended = threading.Event()
        self._thread = threading.Thread(target=self._watch, daemon=True)
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._ended.set()
        self._thread.join()

    def _watch(self) -> None:
        while not self._ended.is_set():
            self._look()
            time.sleep(self.PAUSE)

    def _look(self) -> None:
        raise NotImplementedError
