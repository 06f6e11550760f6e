#!/usr/bin/env python3
"""Thumbnails over HTTP for any WSGI server: GET /SHARE/PATH?size=LABEL

    VEXATHUMB_CONFIG=platform.ini python3 wsgi_thumbnails.py 8000

serves them on 127.0.0.1 with the server of Python's standard library. Who may see which share is the
server's to decide: this shows all that are in the settings.
"""

import sys
from http import HTTPStatus
from socketserver import ThreadingMixIn
from typing import TYPE_CHECKING, Iterable
from urllib.parse import parse_qs
from wsgiref.simple_server import WSGIServer, make_server

import vexathumb

if TYPE_CHECKING:
    from _typeshed.wsgi import StartResponse, WSGIEnvironment


def application(environ: "WSGIEnvironment", start_response: "StartResponse") -> Iterable[bytes]:
    def refuse(status: HTTPStatus, text: str, *headers: "tuple[str, str]") -> Iterable[bytes]:
        start_response(
            f"{status.value} {status.phrase}",
            [("Content-Type", "text/plain; charset=utf-8"), *headers],
        )
        return [text.encode() + b"\n"]

    if environ["REQUEST_METHOD"] not in ("GET", "HEAD"):
        return refuse(HTTPStatus.METHOD_NOT_ALLOWED, "only read", ("Allow", "GET, HEAD"))
    # The standard has it that a path comes as one character a byte.
    share, _, path = environ["PATH_INFO"].lstrip("/").encode("latin-1").partition(b"/")
    size = parse_qs(environ.get("QUERY_STRING", "")).get("size", ["medium"])[0]
    try:
        with vexathumb.obtain(
            path, share=share.decode(errors="surrogateescape"), size=size
        ) as picture:
            body, mime = picture.read(), picture.mime
    except vexathumb.InvalidRequest as error:
        return refuse(HTTPStatus.BAD_REQUEST, str(error))
    except (vexathumb.Missing, vexathumb.NotStored):
        return refuse(HTTPStatus.NOT_FOUND, "there is no such file")
    except vexathumb.Unusable as error:
        return refuse(HTTPStatus.UNSUPPORTED_MEDIA_TYPE, str(error))
    except vexathumb.Error as error:
        pause = str(min(max(error.retry_after, 1), 3600))
        return refuse(HTTPStatus.SERVICE_UNAVAILABLE, str(error), ("Retry-After", pause))
    start_response(
        "200 OK",
        [
            ("Content-Type", mime),
            ("Content-Length", str(len(body))),
            ("Cache-Control", "max-age=300, must-revalidate"),
            ("X-Content-Type-Options", "nosniff"),
        ],
    )
    return [body] if environ["REQUEST_METHOD"] == "GET" else []


class ThreadingServer(ThreadingMixIn, WSGIServer):
    """A request a thread: one that makes a thumbnail does not keep the others waiting."""

    daemon_threads = True

    def service_actions(self) -> None:
        vexathumb.maintain()


def main() -> None:
    vexathumb.prepare()
    port = int(sys.argv[1]) if len(sys.argv) > 1 else 8000
    with make_server("127.0.0.1", port, application, ThreadingServer) as server:
        server.serve_forever(poll_interval=60)


if __name__ == "__main__":
    main()
