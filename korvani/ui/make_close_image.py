#!/usr/bin/python3
"""Draws the default close image of the pop-ups: a white disc with a transparent cross cut out.

Writes default_button_close_image.png and default_button_close_image.h beside this script. Every
pixel is white and alpha alone draws, so that scaling never brings a dark edge in. Another run gives
the same pixels, and with the same zlib the same bytes.
"""

import base64
import pathlib
import struct
import zlib

SIZE = 75  # pixels a side
RADIUS = SIZE / 2  # the disc reaches the canvas's edges
ARM = 16.5  # from the centre to the middle of the cross's round ends, along a diagonal
HALF_WIDTH = 3.25  # of the cross's strokes
SAMPLES = 8  # a side, within one pixel

HEADER = """\
// The default close image of the pop-ups: the base64 text of default_button_close_image.png, 75 by
// 75 pixels. Made by make_close_image.py; change that instead.
#pragma once

#include <string_view>

namespace korvani::ui {{

// clang-format off
inline constexpr std::string_view kDefaultButtonCloseImage =
{lines};
// clang-format on

}}  // namespace korvani::ui
"""


def is_drawn(x, y):
    """Whether the point, in pixels from the centre, lies on the disc and not on the cross."""
    if x * x + y * y > RADIUS * RADIUS:
        return False
    along, across = abs(x + y) / 2**0.5, abs(x - y) / 2**0.5  # in the frame of the diagonals
    for along_arm, across_arm in ((along, across), (across, along)):
        beyond = max(along_arm - ARM, 0.0)  # past the arm's end, where it is round
        if beyond * beyond + across_arm * across_arm <= HALF_WIDTH * HALF_WIDTH:
            return False
    return True


def alpha(column, row):
    """The share of the pixel that is drawn, from 0 to 255."""
    offsets = [(i + 0.5) / SAMPLES - RADIUS for i in range(SAMPLES)]
    drawn = sum(is_drawn(column + dx, row + dy) for dy in offsets for dx in offsets)
    return (255 * drawn + SAMPLES**2 // 2) // SAMPLES**2


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png():
    rows = b"".join(
        b"\0" + b"".join(bytes((255, 255, 255, alpha(column, row))) for column in range(SIZE))
        for row in range(SIZE)
    )
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", struct.pack(">IIBBBBB", SIZE, SIZE, 8, 6, 0, 0, 0))
        + chunk(b"sRGB", b"\0")
        + chunk(b"IDAT", zlib.compress(rows, 9))
        + chunk(b"IEND", b"")
    )


def main():
    folder = pathlib.Path(__file__).resolve().parent
    image = png()
    (folder / "default_button_close_image.png").write_bytes(image)
    text = base64.b64encode(image).decode()
    lines = "\n".join(f'    "{text[at:at + 92]}"' for at in range(0, len(text), 92))
    (folder / "default_button_close_image.h").write_text(HEADER.format(lines=lines))


if __name__ == "__main__":
    main()
