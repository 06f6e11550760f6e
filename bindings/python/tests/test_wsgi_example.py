import pathlib
import runpy
import threading
import urllib.error
import urllib.request
from typing import Iterator, Tuple
from wsgiref.simple_server import WSGIRequestHandler, make_server
from wsgiref.validate import validator

import pytest

EXAMPLE = pathlib.Path(__file__).parents[3] / "examples" / "wsgi_thumbnails.py"


class SilentHandler(WSGIRequestHandler):
    def log_message(self, format: str, *arguments: object) -> None:
        pass


@pytest.fixture()
def address(photos: pathlib.Path) -> Iterator[str]:
    if not EXAMPLE.exists():
        pytest.skip("the examples lie elsewhere")
    example = runpy.run_path(str(EXAMPLE))
    application = validator(example["application"])
    server = make_server("127.0.0.1", 0, application, example["ThreadingServer"], SilentHandler)
    thread = threading.Thread(target=server.serve_forever, args=(0.05,))
    thread.start()
    yield f"http://127.0.0.1:{server.server_port}"
    server.shutdown()
    thread.join()
    server.server_close()


def get(address: str) -> Tuple[int, str, bytes]:
    try:
        with urllib.request.urlopen(address, timeout=60) as answer:
            return answer.status, answer.headers["Content-Type"], answer.read()
    except urllib.error.HTTPError as error:
        with error:
            return error.code, error.headers["Content-Type"], error.read()


def test_it_serves_a_thumbnail(address: str) -> None:
    status, mime, body = get(address + "/photo/large.jpg?size=small")
    assert (status, mime) == (200, "image/jpeg")
    assert body.startswith(b"\xff\xd8\xff")


@pytest.mark.parametrize(
    "path, status",
    [
        ("/photo/missing.jpg", 404),
        ("/other/large.jpg", 404),
        ("/photo/..%2Fplatform.ini", 404),
        ("/photo/%00", 400),
        ("/photo/f%c3%bcr%ff.jpg", 404),
        ("/photo/", 400),
        ("/", 400),
        ("/photo/text.jpg", 415),
        ("/photo/large.jpg?size=huge", 400),
    ],
)
def test_what_is_not_there_is_told(address: str, path: str, status: int) -> None:
    assert get(address + path)[0] == status
