#!/usr/bin/env python3
"""Saves a part of a virtual screen's picture as PNG, with the standard library only.

    screen_picture.py FRAMEBUFFER X Y WIDTH HEIGHT FILE.png [FRAMES]

FRAMEBUFFER is what Xvfb -fbdir keeps: an X window dump of 32 bits per pixel. With FRAMES the picture
moves: that many are taken, 12 a second. Programs that know no moving PNG show the first one.
"""

import struct
import sys
import time
import zlib

HEADER_WORDS = 25
COLOUR_BYTES = 12
FRAME_RATE = 12  # pictures a second


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


def compressed(width, rows):
    lines = []
    above = bytes(width * 3)
    for row in rows:
        lines.append(filtered(row, above))
        above = row
    return zlib.compress(b"".join(lines), 9)


def changed_part(before, now):
    """The smallest rectangle outside of which two pictures are the same: x, y, and its rows."""
    different = [i for i, (a, b) in enumerate(zip(before, now)) if a != b] or [0]
    first, last = different[0], different[-1] + 1
    width = len(now[0]) // 3
    columns = [
        x
        for x in range(width)
        if any(before[y][3 * x : 3 * x + 3] != now[y][3 * x : 3 * x + 3] for y in range(first, last))
    ] or [0]
    left, right = columns[0], columns[-1] + 1
    return left, first, [row[3 * left : 3 * right] for row in now[first:last]]


def write_png(path, frames):
    """One picture, or several that follow one another without end."""
    width, height = len(frames[0][0]) // 3, len(frames[0])
    sequence = 0

    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

    def control(x, y, w, h):
        nonlocal sequence
        sequence += 1
        return chunk(b"fcTL", struct.pack(">IIIIIHHBB", sequence - 1, w, h, x, y, 1, FRAME_RATE, 0, 0))

    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n")
        file.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)))
        if len(frames) > 1:
            file.write(chunk(b"acTL", struct.pack(">II", len(frames), 0)))
            file.write(control(0, 0, width, height))
        file.write(chunk(b"IDAT", compressed(width, frames[0])))
        for before, now in zip(frames, frames[1:]):
            x, y, rows = changed_part(before, now)
            part_width = len(rows[0]) // 3
            file.write(control(x, y, part_width, len(rows)))
            sequence += 1
            file.write(chunk(b"fdAT", struct.pack(">I", sequence - 1) + compressed(part_width, rows)))
        file.write(chunk(b"IEND", b""))


def main(arguments):
    if len(arguments) not in (6, 7):
        print(__doc__, file=sys.stderr)
        return 2
    place = tuple(map(int, arguments[1:5]))
    began = time.monotonic()
    frames = [list(read_rows(arguments[0], *place))]
    for number in range(1, int(arguments[6]) if len(arguments) == 7 else 1):
        time.sleep(max(0, began + number / FRAME_RATE - time.monotonic()))
        frames.append(list(read_rows(arguments[0], *place)))
    write_png(arguments[5], frames)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
