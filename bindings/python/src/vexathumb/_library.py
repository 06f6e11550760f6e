"""The functions of libvexathumb-c.so.1, as vexathumb.h declares them."""

import ctypes
from ctypes import POINTER, c_bool, c_char_p, c_int, c_int64, c_size_t, c_uint, c_uint32, c_uint64
from ctypes import c_void_p
from typing import Any, List


class Request(ctypes.Structure):
    """What is behind a VexathumbRequest *."""


class Picture(ctypes.Structure):
    """What is behind a VexathumbPicture *."""


_REQUEST = POINTER(Request)
_PICTURE = POINTER(Picture)

library = ctypes.CDLL("libvexathumb-c.so.1", use_errno=True)


def _declare(name: str, result: Any, *arguments: Any) -> None:
    function = getattr(library, "vexathumb_" + name)
    function.restype = result
    function.argtypes = arguments


_declare("version", c_char_p)
_declare("status_name", c_char_p, c_int)
_declare("prepare", c_int)
_declare("maintain", None)
_declare("free", None, c_void_p)
_declare("request_new", _REQUEST, c_char_p)
_declare("request_new_in_share", _REQUEST, c_char_p, c_char_p)
_declare("request_free", None, _REQUEST)
_declare("request_set_size", c_int, _REQUEST, c_char_p)
_declare("request_set_box", c_int, _REQUEST, c_uint32, c_uint32)
_declare("request_set_fill", None, _REQUEST, c_bool)
_declare("request_set_turns", None, _REQUEST, c_int)
_declare("request_set_stores", c_int, _REQUEST, c_uint)
_declare("request_set_any_share", None, _REQUEST, c_bool)
_declare("request_set_may_build", None, _REQUEST, c_bool)
_declare("request_set_allow_smaller", None, _REQUEST, c_bool)
_declare("request_set_animated", None, _REQUEST, c_bool)
_declare("request_set_try_again", None, _REQUEST, c_bool)
_declare("request_set_patience", None, _REQUEST, c_int)
_declare("request_choose", c_int, _REQUEST, POINTER(c_int))
_declare("request_obtain", c_int, _REQUEST, POINTER(_PICTURE))
_declare("request_error_message", c_char_p, _REQUEST)
_declare("request_error_advice", c_char_p, _REQUEST)
_declare("request_retry_after", c_int64, _REQUEST)
_declare("picture_free", None, _PICTURE)
_declare("picture_path", c_char_p, _PICTURE)
_declare("picture_is_temporary", c_bool, _PICTURE)
_declare("picture_mime", c_char_p, _PICTURE)
_declare("picture_origin", c_int, _PICTURE)
_declare("picture_is_damaged", c_bool, _PICTURE)
_declare("picture_bytes", c_uint64, _PICTURE)
_declare("picture_size", c_int, _PICTURE, POINTER(c_uint32), POINTER(c_uint32))
_declare("picture_descriptor", c_int, _PICTURE)
_declare("picture_read", c_int, _PICTURE, c_uint64, c_void_p, c_size_t, POINTER(c_size_t))
_declare("picture_save", c_int, _PICTURE, c_char_p)


def new_picture() -> Any:
    """A pointer for request_obtain() to set."""
    return _PICTURE()


def declared() -> List[str]:
    """The names of the functions that are declared here."""
    return sorted(name for name in vars(library) if name.startswith("vexathumb_"))
