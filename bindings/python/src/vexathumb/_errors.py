"""An exception for each way in which there is no picture."""

from typing import Dict, Type

from ._library import library


class Error(Exception):
    """There is no picture. ``str()`` says why, in words that name no path."""

    #: What a person can do about it; may be empty.
    advice: str = ""
    #: After how many seconds another try is worth its while; 0 where that is not known.
    retry_after: int = 0

    def __init__(self, message: str, advice: str = "", retry_after: int = 0) -> None:
        super().__init__(message)
        self.advice = advice
        self.retry_after = retry_after


class InvalidRequest(Error, ValueError):
    """An argument is wrong."""


class Missing(Error):
    """There is no such source, or it may not be read."""


class NotStored(Error):
    """Only stored thumbnails were asked for."""


class Unusable(Error):
    """No thumbnail can be made of the source, which is its own fault."""


class TryLater(Error):
    """The same may succeed later."""


class SourceChanged(TryLater):
    """The source was written while its thumbnail was made."""


class Overload(TryLater):
    """Too many thumbnails are being made."""


class Postponed(TryLater):
    """The machine's fault, or it is not known whose."""


class SystemFailure(Error):
    """The library's locks, or its files, cannot be used."""


_ERRORS: Dict[int, Type[Error]] = {
    1: InvalidRequest,
    2: Missing,
    3: NotStored,
    4: Unusable,
    5: SourceChanged,
    6: Overload,
    7: Postponed,
    8: SystemFailure,
}
_NO_MEMORY = 9


def error_of(
    status: int, message: str = "", advice: str = "", retry_after: int = 0
) -> Exception:
    """The exception for a VexathumbStatus that is not VEXATHUMB_OK."""
    if status == _NO_MEMORY:
        return MemoryError()
    message = message or library.vexathumb_status_name(status).decode()
    return _ERRORS.get(status, Error)(message, advice, retry_after)
