#!/usr/bin/env python3
"""Saves a part of a virtual screen's picture as PNG, with the standard library only.

    screen_picture.py FRAMEBUFFER X Y WIDTH HEIGHT FILE.png

FRAMEBUFFER is what Xvfb -fbdir keeps: an X window dump of 32 bits per pixel.
"""

import struct
import sys
import zlib

HEADER_WORDS = 25
COLOUR_BYTES = 12


def read_rows(path, x, y, width, height):
    """The pixels as bytes of red, green and blue, row by row."""
    with open(path, "rb") as file:
        data = file.read()
    header = struct.unpack(f">{HEADER_WORDS}I", data[: HEADER_WORDS * 4])
    pixels_at = header[0] + header[19] * COLOUR_BYTES
    screen_width, screen_height, row_bytes = header[4], header[5], header[12]
    if header[11] != 32 or not (0 <= x <= screen_width - width and 0 <= y <= screen_height - height):
        raise SystemExit(f"{path}: no such part of a picture of 32 bits per pixel")
    for row in range(y, y + height):
        at = pixels_at + row * row_bytes + x * 4
        bgrx = data[at : at + width * 4]
        rgb = bytearray(width * 3)
        rgb[0::3], rgb[1::3], rgb[2::3] = bgrx[2::4], bgrx[1::4], bgrx[0::4]
        yield bytes(rgb)


def filtered(row, above):
    """The row as it is, or as difference to its left or upper neighbours: what has most zeros."""
    left = bytes(3) + row[:-3]
    choices = [bytes([0]) + row]
    for kind, neighbours in ((1, left), (2, above)):
        if row == neighbours:
            return bytes([kind]) + bytes(len(row))
        choices.append(bytes([kind]) + bytes((a - b) & 255 for a, b in zip(row, neighbours)))
    return max(choices, key=lambda choice: choice.count(0))


def write_png(path, width, height, rows):
    lines = []
    above = bytes(width * 3)
    for row in rows:
        lines.append(filtered(row, above))
        above = row

    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n")
        file.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)))
        file.write(chunk(b"IDAT", zlib.compress(b"".join(lines), 9)))
        file.write(chunk(b"IEND", b""))


def main(arguments):
    if len(arguments) != 6:
        print(__doc__, file=sys.stderr)
        return 2
    x, y, width, height = map(int, arguments[1:5])
    write_png(arguments[5], width, height, read_rows(arguments[0], x, y, width, height))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
