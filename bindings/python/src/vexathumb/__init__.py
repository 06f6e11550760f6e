"""Thumbnails of photos and videos: found where they are stored, or made.

    with vexathumb.obtain("/volume1/photo/a.jpg", size="big") as picture:
        body, mime = picture.read(), picture.mime

Everything may be called from any thread, and a call lets other threads of Python run meanwhile. A
picture is used by one thread at a time. A server that runs for long calls maintain() now and then,
and prepare() before it starts threads.
"""

import ctypes
import enum
import os
from types import TracebackType
from typing import TYPE_CHECKING, Any, Optional, Tuple, Type, TypedDict, Union

from . import _library
from ._errors import (
    Error,
    InvalidRequest,
    Missing,
    NotStored,
    Overload,
    Postponed,
    SourceChanged,
    SystemFailure,
    TryLater,
    Unusable,
    error_of,
)
from ._library import library as _lib

if TYPE_CHECKING:
    from typing_extensions import Unpack

__all__ = [
    "Error",
    "InvalidRequest",
    "Missing",
    "NotStored",
    "Options",
    "Origin",
    "Overload",
    "Picture",
    "Postponed",
    "SourceChanged",
    "Stores",
    "SystemFailure",
    "TryLater",
    "Unusable",
    "choose",
    "maintain",
    "obtain",
    "prepare",
    "version",
]

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


class Origin(enum.IntEnum):
    """Where a picture comes from."""

    PIXDECK = 0  #: stored by the photo-album application
    DOCDECK = 1  #: stored by the file-manager application, or just now by this
    REELDECK = 2  #: a video's screenshot, stored by the video application
    SOURCE = 3  #: the source itself, which needs no conversion
    UNSTORED = 4  #: made for this request alone
    TO_BE_MADE = 5  #: of a choice: nothing serves yet


class Stores(enum.IntFlag):
    """The applications in whose stores is looked."""

    PIXDECK = 1
    DOCDECK = 2


class Options(TypedDict, total=False):
    """What obtain() and choose() take besides a path."""

    size: str
    box: Tuple[int, int]
    share: str
    fill: bool
    turns: int
    stores: Stores
    any_share: bool
    may_build: bool
    allow_smaller: bool
    animated: bool
    try_again: bool
    patience: int


class Picture:
    """An open picture; to be closed, at best by ``with``.

    Its file is removed when it is closed if it was made for this request alone.
    """

    def __init__(self, handle: Any) -> None:
        """For this package: users call obtain()."""
        self._handle = handle

    def __enter__(self) -> "Picture":
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def close(self) -> None:
        """Closes it. It cannot be used afterwards, but be closed again."""
        handle, self._handle = getattr(self, "_handle", None), None
        if handle is not None:
            _lib.vexathumb_picture_free(handle)

    def _open(self) -> Any:
        if self._handle is None:
            raise ValueError("the picture is closed")
        return self._handle

    @property
    def path(self) -> str:
        """Its absolute path."""
        return os.fsdecode(_lib.vexathumb_picture_path(self._open()))

    @property
    def mime(self) -> str:
        """Its type, such as "image/jpeg"."""
        return str(_lib.vexathumb_picture_mime(self._open()), "ascii")

    @property
    def origin(self) -> Origin:
        """Where it comes from."""
        return Origin(_lib.vexathumb_picture_origin(self._open()))

    @property
    def is_temporary(self) -> bool:
        """Whether its file is gone when it is closed."""
        return bool(_lib.vexathumb_picture_is_temporary(self._open()))

    @property
    def is_damaged(self) -> bool:
        """Whether it shows only what could be read of a source that is cut short."""
        return bool(_lib.vexathumb_picture_is_damaged(self._open()))

    @property
    def size(self) -> Tuple[int, int]:
        """Its width and height as displayed, in pixels. Raises Unusable where they are not known."""
        width, height = ctypes.c_uint32(), ctypes.c_uint32()
        _check(
            _lib.vexathumb_picture_size(self._open(), ctypes.byref(width), ctypes.byref(height))
        )
        return width.value, height.value

    def __len__(self) -> int:
        """Its length in bytes."""
        return int(_lib.vexathumb_picture_bytes(self._open()))

    def __bool__(self) -> bool:
        return True

    def fileno(self) -> int:
        """Its open file, which stays the picture's."""
        return int(_lib.vexathumb_picture_descriptor(self._open()))

    def read(self, offset: int = 0, count: Optional[int] = None) -> bytes:
        """Its bytes, up to so many from an offset on."""
        if offset < 0 or (count is not None and count < 0):
            raise ValueError("negative")
        left = max(len(self) - offset, 0)
        buffer = ctypes.create_string_buffer(left if count is None else min(count, left))
        got = ctypes.c_size_t()
        _check(
            _lib.vexathumb_picture_read(
                self._open(), offset, buffer, len(buffer), ctypes.byref(got)
            )
        )
        return buffer.raw[: got.value]

    def save(self, path: Path) -> None:
        """Writes it to a file, which has the picture when it is whole, or stays as it was."""
        _check(_lib.vexathumb_picture_save(self._open(), os.fsencode(path)))


def _check(status: int) -> None:
    if status != 0:
        raise error_of(status)


class _Request:
    """A request that goes with its ``with``."""

    def __init__(self, path: Path, options: Options) -> None:
        unknown = set(options) - set(Options.__annotations__)
        if unknown:
            raise TypeError("unknown options: " + ", ".join(sorted(unknown)))
        if ("size" in options) == ("box" in options):
            raise InvalidRequest("either size or box is to be given")
        name = os.fsencode(path)
        if not name or b"\0" in name:
            raise InvalidRequest("a path is not empty, and has no null byte")
        if "share" in options:
            share = os.fsencode(options["share"])
            if b"\0" in share:
                raise InvalidRequest("a share's name has no null byte")
            self._handle = _lib.vexathumb_request_new_in_share(share, name)
        else:
            self._handle = _lib.vexathumb_request_new(name)
        if not self._handle:
            raise MemoryError()
        try:
            self._apply(options)
        except BaseException:
            self.__exit__()
            raise

    def _apply(self, options: Options) -> None:
        for option, value in options.items():
            if option == "size":
                self._set_size(str(value))
            elif option == "box":
                self._set_box(*options["box"])
            elif option == "turns":
                self._set("turns", options["turns"] % 4)
            elif option == "stores":
                self._set_stores(options["stores"])
            elif option == "patience":
                self._set("patience", max(-1, min(options["patience"], 2**31 - 1)))
            elif option != "share":
                self._set(option, value)

    # Of larger numbers the library would see a part, of a text what precedes a null byte.

    def _set_size(self, size: str) -> None:
        if "\0" in size:
            raise InvalidRequest("there is no such size")
        self._set("size", size.encode(errors="replace"))

    def _set_stores(self, stores: int) -> None:
        if not 0 <= stores < 2**32:
            raise InvalidRequest("there are no such stores")
        self._set("stores", stores)

    def _set_box(self, width: int, height: int) -> None:
        if not (0 < width < 2**32 and 0 < height < 2**32):
            raise InvalidRequest("there is no such box")
        self._set("box", width, height)

    def _set(self, option: str, *values: Any) -> None:
        set_option = getattr(_lib, "vexathumb_request_set_" + option)
        if set_option(self._handle, *values):
            raise InvalidRequest(f"there is no such {option}")

    def __enter__(self) -> "_Request":
        return self

    def __exit__(self, *_: Any) -> None:
        _lib.vexathumb_request_free(self._handle)
        self._handle = None

    def ask(self, function: Any, answer: Any) -> Any:
        """Calls a function that answers through a pointer."""
        status = function(self._handle, ctypes.byref(answer))
        if status != 0:
            raise error_of(
                status,
                _lib.vexathumb_request_error_message(self._handle).decode(errors="replace"),
                _lib.vexathumb_request_error_advice(self._handle).decode(errors="replace"),
                _lib.vexathumb_request_retry_after(self._handle),
            )
        return answer


def obtain(path: Path, **options: "Unpack[Options]") -> Picture:
    """Finds the thumbnail of the file at ``path``, or has it made, and opens it.

    One of these says how large:

    :param size: "small", "medium", "big", "large", "xlarge", or "original", the source itself
    :param box: (width, height) in pixels, each from 1 to 4096, into which it fits; what the camera
        has embedded, or a fast decoder gives, may be larger

    The others may be left out:

    :param share: a share of the settings beneath which ``path`` lies, which is named by somebody
        who is not trusted: it is not left, and no link is followed
    :param fill: fill the box and cut the picture to it
    :param turns: further clockwise quarter turns
    :param stores: the Stores to look in
    :param any_share: look in the photo album's store on shares that it does not index too
    :param may_build: make what is not stored
    :param allow_smaller: a smaller stored size may take the place
    :param animated: an animated GIF stays animated
    :param try_again: try what is known to have failed
    :param patience: seconds to wait for the builds of others, negative for any time

    Raises a subclass of Error.
    """
    with _Request(path, options) as request:
        return Picture(request.ask(_lib.vexathumb_request_obtain, _library.new_picture()))


def choose(path: Path, **options: "Unpack[Options]") -> Origin:
    """What would serve obtain() with the same arguments now, told without making anything."""
    with _Request(path, options) as request:
        return Origin(request.ask(_lib.vexathumb_request_choose, ctypes.c_int()).value)


def prepare() -> None:
    """Starts the helping processes now: best before there are threads."""
    _check(_lib.vexathumb_prepare())


def maintain() -> None:
    """For a server to call now and then: keeps limits of space, and removes leftovers."""
    _lib.vexathumb_maintain()


def version() -> str:
    """The library's version."""
    return str(_lib.vexathumb_version(), "ascii")
