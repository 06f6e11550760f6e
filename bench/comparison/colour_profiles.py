"""ICC profiles of colour spaces that are wider than sRGB, and their way into a JPEG."""

from __future__ import annotations

import struct
from dataclasses import dataclass

Matrix = list[list[float]]
Vector = list[float]


@dataclass(frozen=True)
class ColourSpace:
    name: str
    red: tuple[float, float]  # chromaticities
    green: tuple[float, float]
    blue: tuple[float, float]
    gamma: float | None  # None: sRGB's curve


DISPLAY_P3 = ColourSpace("Display P3", (0.680, 0.320), (0.265, 0.690), (0.150, 0.060), None)
ADOBE_RGB = ColourSpace("Adobe RGB (1998)", (0.64, 0.33), (0.21, 0.71), (0.15, 0.06), 563 / 256)

D65 = [0.95047, 1.0, 1.08883]
D50 = [0.96420, 1.0, 0.82491]
BRADFORD: Matrix = [
    [0.8951, 0.2664, -0.1614],
    [-0.7502, 1.7135, 0.0367],
    [0.0389, -0.0685, 1.0296],
]


def _times(matrix: Matrix, vector: Vector) -> Vector:
    return [sum(a * b for a, b in zip(row, vector)) for row in matrix]


def _solve(matrix: Matrix, wanted: Vector) -> Vector:
    """By Cramer's rule."""

    def determinant(m: Matrix) -> float:
        return (
            m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1])
            - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0])
            + m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0])
        )

    solution = []
    for column in range(3):
        replaced = [row[:column] + [value] + row[column + 1 :] for row, value in zip(matrix, wanted)]
        solution.append(determinant(replaced) / determinant(matrix))
    return solution


def _to_d50(colour: Vector) -> Vector:
    cone = _times(BRADFORD, colour)
    adapted = [c * b / a for c, a, b in zip(cone, _times(BRADFORD, D65), _times(BRADFORD, D50))]
    return _solve(BRADFORD, adapted)


def _colorants(space: ColourSpace) -> list[Vector]:
    """The primaries as the profile's white, D50, sees them."""
    primaries = [[x / y, 1.0, (1 - x - y) / y] for x, y in (space.red, space.green, space.blue)]
    columns = [list(row) for row in zip(*primaries)]
    amounts = _solve(columns, D65)
    return [_to_d50([amount * c for c in primary]) for primary, amount in zip(primaries, amounts)]


def _xyz(colour: Vector) -> bytes:
    return b"XYZ \0\0\0\0" + struct.pack(">3i", *(round(value * 65536) for value in colour))


def _curve(gamma: float | None) -> bytes:
    if gamma is not None:
        return b"curv\0\0\0\0" + struct.pack(">IH", 1, round(gamma * 256))
    entries = []
    for i in range(1024):
        value = i / 1023
        linear = value / 12.92 if value <= 0.04045 else ((value + 0.055) / 1.055) ** 2.4
        entries.append(round(linear * 65535))
    return b"curv\0\0\0\0" + struct.pack(">I1024H", 1024, *entries)


def _description(text: str) -> bytes:
    ascii_text = text.encode("ascii") + b"\0"
    return b"desc\0\0\0\0" + struct.pack(">I", len(ascii_text)) + ascii_text + bytes(4 + 4 + 2 + 1 + 67)


def profile_of(space: ColourSpace) -> bytes:
    """A version 2 display profile of three primaries and a curve."""
    red, green, blue = _colorants(space)
    curve = _curve(space.gamma)
    tags = {
        b"desc": _description(space.name),
        b"cprt": b"text\0\0\0\0No rights reserved\0",
        b"wtpt": _xyz(D50),
        b"rXYZ": _xyz(red),
        b"gXYZ": _xyz(green),
        b"bXYZ": _xyz(blue),
        b"rTRC": curve,
        b"gTRC": curve,
        b"bTRC": curve,
    }
    table, data = b"", b""
    begin = 128 + 4 + 12 * len(tags)
    for name, content in tags.items():
        table += name + struct.pack(">II", begin + len(data), len(content))
        data += content + bytes(-len(content) % 4)
    size = begin + len(data)
    header = struct.pack(
        ">I4sI4s4s4s6H4sIIIIQI12s48x",
        size, b"\0\0\0\0", 0x02400000, b"mntr", b"RGB ", b"XYZ ",
        2026, 1, 1, 0, 0, 0, b"acsp", 0, 0, 0, 0, 0, 0, _xyz(D50)[8:],
    )  # fmt: skip
    return header + struct.pack(">I", len(tags)) + table + data


def embed_in_jpeg(jpeg: bytes, profile: bytes) -> bytes:
    """Behind the JFIF header, which wants to be first."""
    content = b"ICC_PROFILE\0\1\1" + profile
    end_of_jfif = 4 + struct.unpack(">H", jpeg[4:6])[0] if jpeg[2:4] == b"\xff\xe0" else 2
    segment = b"\xff\xe2" + struct.pack(">H", len(content) + 2) + content
    return jpeg[:end_of_jfif] + segment + jpeg[end_of_jfif:]
