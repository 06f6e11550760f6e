import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
from typing import Any, Callable, Dict, Type

import pytest

import vexathumb
from vexathumb import _errors, _library


def test_three_lines_obtain_the_bytes(photos: pathlib.Path) -> None:
    with vexathumb.obtain(photos / "large.jpg", size="small") as picture:
        body, mime = picture.read(), picture.mime
    assert mime == "image/jpeg"
    assert body.startswith(b"\xff\xd8\xff")


def test_a_thumbnail_is_made_once_and_then_found(photos: pathlib.Path) -> None:
    source = os.fspath(photos / "large.jpg")
    assert vexathumb.choose(source, size="big") is vexathumb.Origin.TO_BE_MADE
    with vexathumb.obtain(source, size="big") as made:
        assert made.origin is vexathumb.Origin.DOCDECK
        assert not made.is_temporary
        status = os.stat(made.path)
    assert vexathumb.choose(source, size="big") is vexathumb.Origin.DOCDECK
    with vexathumb.obtain(os.fsencode(source), size="big") as found:
        assert os.path.samestat(os.stat(found.path), status)
        assert os.path.samestat(os.fstat(found.fileno()), status)
        assert len(found) == status.st_size


def test_parts_of_it_are_read(photos: pathlib.Path) -> None:
    with vexathumb.obtain(photos / "large.jpg", size="small") as picture:
        whole = picture.read()
        assert len(whole) == len(picture)
        assert picture.read(2, 10) == whole[2:12]
        assert picture.read(len(whole) - 1, 10) == whole[-1:]
        assert picture.read(len(whole) + 1) == b""
        with pytest.raises(ValueError):
            picture.read(-1)


@pytest.mark.parametrize("fill, size", [(False, (200, 150)), (True, (200, 200))])
def test_a_box_is_fitted_or_filled(photos: pathlib.Path, fill: bool, size: Any) -> None:
    with vexathumb.obtain(photos / "large.jpg", box=(200, 200), fill=fill) as picture:
        assert picture.size[0] * size[1] == picture.size[1] * size[0]


def test_it_is_turned(photos: pathlib.Path) -> None:
    with vexathumb.obtain(photos / "large.jpg", size="small", turns=-1) as picture:
        assert picture.size[0] < picture.size[1]


def test_it_is_saved(photos: pathlib.Path, tmp_path: pathlib.Path) -> None:
    with vexathumb.obtain(photos / "large.jpg", size="small") as picture:
        picture.save(tmp_path / "saved.jpg")
        assert (tmp_path / "saved.jpg").read_bytes() == picture.read()
        with pytest.raises(vexathumb.SystemFailure):
            picture.save("/nonexistent/saved.jpg")


@pytest.mark.parametrize(
    "name, options, error",
    [
        ("missing.jpg", {"size": "big"}, vexathumb.Missing),
        ("large.jpg", {"size": "big", "may_build": False}, vexathumb.NotStored),
        ("text.jpg", {"size": "big"}, vexathumb.Unusable),
        ("large.jpg", {"size": "huge"}, vexathumb.InvalidRequest),
        ("large.jpg", {"box": (0, 5)}, vexathumb.InvalidRequest),
        ("large.jpg", {"box": (2**32 + 5, 5)}, vexathumb.InvalidRequest),
        ("large.jpg", {"size": "big\0ger"}, vexathumb.InvalidRequest),
        ("large.jpg", {"size": "b\udc80g"}, vexathumb.InvalidRequest),
        ("large.jpg", {"size": "big", "stores": 8}, vexathumb.InvalidRequest),
        ("large.jpg", {"size": "big", "stores": 2**32 + 1}, vexathumb.InvalidRequest),
        ("large.jpg", {"size": "big", "stores": -1}, vexathumb.InvalidRequest),
        ("large.jpg", {"size": "big", "box": (5, 5)}, vexathumb.InvalidRequest),
        ("large.jpg", {}, vexathumb.InvalidRequest),
        ("", {"size": "big"}, vexathumb.InvalidRequest),
        ("a\0b", {"size": "big"}, vexathumb.InvalidRequest),
        ("large.jpg", {"size": "big", "share": "photo\0"}, vexathumb.InvalidRequest),
        ("../platform.ini", {"size": "big", "share": "photo"}, vexathumb.Missing),
        ("link.jpg", {"size": "big", "share": "photo"}, vexathumb.Missing),
        ("large.jpg", {"size": "big", "share": "other"}, vexathumb.Missing),
        ("large.jpg", {"size": "big", "colour": "red"}, TypeError),
    ],
)
def test_errors_have_classes_of_their_own(
    photos: pathlib.Path,
    monkeypatch: pytest.MonkeyPatch,
    name: str,
    options: Dict[str, Any],
    error: Type[Exception],
) -> None:
    monkeypatch.chdir(photos)
    with pytest.raises(error) as raised:
        vexathumb.obtain(name, **options)
    assert str(raised.value)
    if isinstance(raised.value, vexathumb.Error):
        assert str(photos) not in str(raised.value)


def test_a_share_is_known_by_its_name(photos: pathlib.Path) -> None:
    with vexathumb.obtain("large.jpg", share="photo", size="small") as picture:
        assert picture.path.startswith(str(photos))


def test_a_name_that_is_no_text_is_found(photos: pathlib.Path) -> None:
    name = os.fsencode(photos) + b"/\xff b.jpg"
    os.link(photos / "large.jpg", name)
    for path in (name, os.fsdecode(name), pathlib.Path(os.fsdecode(name))):
        with vexathumb.obtain(path, size="small") as picture:
            assert os.fsencode(picture.path).startswith(os.fsencode(photos))
            assert b"\xff b.jpg" in os.fsencode(picture.path)


@pytest.mark.parametrize("patience", [0, -1, 2**31, 2**40, -(2**40)])
def test_patience_is_any_number(photos: pathlib.Path, patience: int) -> None:
    vexathumb.obtain(photos / "large.jpg", size="small", patience=patience).close()


@pytest.mark.parametrize(
    "use",
    [
        lambda picture: picture.read(),
        lambda picture: picture.save("/dev/null"),
        lambda picture: picture.size,
        lambda picture: picture.path,
        lambda picture: picture.mime,
        lambda picture: picture.origin,
        lambda picture: picture.is_temporary,
        lambda picture: picture.is_damaged,
        lambda picture: picture.fileno(),
        len,
    ],
)
def test_a_closed_picture_is_of_no_use(
    photos: pathlib.Path, use: Callable[[vexathumb.Picture], Any]
) -> None:
    with vexathumb.obtain(photos / "large.jpg", size="small") as picture:
        use(picture)
        picture.close()
        picture.close()
    with pytest.raises(ValueError):
        use(picture)


def test_pictures_outlive_no_interpreter(photos: pathlib.Path) -> None:
    # Module globals, a cycle, and one that is never closed: each goes at the end, in any order.
    script = """
import sys, vexathumb
kept = vexathumb.obtain(sys.argv[1], box=(50, 50))
assert kept.is_temporary
class Node: pass
node = Node()
node.own, node.picture = node, vexathumb.obtain(sys.argv[1], box=(51, 51))
print(kept.path, node.picture.path, sep="\\n")
"""
    settings = pathlib.Path(os.environ["VEXATHUMB_CONFIG"])
    settings.write_text(settings.read_text() + "free_boxes = 0\n")
    ended = subprocess.run(
        [sys.executable, "-c", script, photos / "large.jpg"],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
    )
    assert (ended.returncode, ended.stderr) == (0, "")
    assert not any(os.path.exists(path) for path in ended.stdout.split())


def test_a_forked_process_leaves_pictures_alone(photos: pathlib.Path) -> None:
    settings = pathlib.Path(os.environ["VEXATHUMB_CONFIG"])
    settings.write_text(settings.read_text() + "free_boxes = 0\n")
    with vexathumb.obtain(photos / "large.jpg", box=(50, 50)) as picture:
        child = os.fork()
        if child == 0:
            picture.close()
            os._exit(0)
        os.waitpid(child, 0)
        assert os.path.exists(picture.path)


def test_what_was_made_for_one_request_goes_with_it(photos: pathlib.Path) -> None:
    settings = pathlib.Path(os.environ["VEXATHUMB_CONFIG"])
    settings.write_text(settings.read_text() + "free_boxes = 0\n")
    with vexathumb.obtain(photos / "large.jpg", box=(50, 50)) as picture:
        assert picture.origin is vexathumb.Origin.UNSTORED
        assert picture.is_temporary and os.path.exists(picture.path)
        path = picture.path
    assert not os.path.exists(path)


def test_threads_ask_side_by_side(photos: pathlib.Path) -> None:
    vexathumb.prepare()

    def ask(size: str) -> int:
        with vexathumb.obtain(photos / "threads.jpg", size=size) as picture:
            return len(picture.read())

    with concurrent.futures.ThreadPoolExecutor(6) as pool:
        lengths = list(pool.map(ask, ["small", "medium"] * 6))
    assert len(set(lengths)) == 2
    vexathumb.maintain()


def test_all_that_the_header_declares_is_known_here() -> None:
    header = os.environ.get("VEXATHUMB_HEADER")
    if header is None:
        pytest.skip("there is no header to compare with")
    text = re.sub(r"/\*.*?\*/", "", pathlib.Path(header).read_text(), flags=re.S)
    declared = set(re.findall(r"\b(vexathumb_\w+)\(", text))
    assert declared - set(_library.declared()) == {"vexathumb_picture_load"}  # read() serves


def test_the_enumerations_are_those_of_the_header() -> None:
    header = os.environ.get("VEXATHUMB_HEADER")
    if header is None:
        pytest.skip("there is no header to compare with")
    text = pathlib.Path(header).read_text()
    values = dict(re.findall(r"\bVEXATHUMB_(\w+) = (\d+)", text))
    for origin in vexathumb.Origin:
        assert values.pop("ORIGIN_" + origin.name) == str(origin.value)
    for store in (vexathumb.Stores.PIXDECK, vexathumb.Stores.DOCDECK):
        assert values.pop(f"STORE_{store.name}") == str(store.value)
    # What is left are statuses: each has an exception of its own.
    statuses = {int(value) for value in values.values()} - {0}
    errors = {type(_errors.error_of(status)) for status in statuses}
    assert len(errors) == len(statuses)
    assert vexathumb.Error not in errors


def test_the_version_is_that_of_the_package() -> None:
    project = pathlib.Path(__file__).parent.parent / "pyproject.toml"
    assert f'version = "{vexathumb.version()}"' in project.read_text()
