# PNG files: one picture, or several that follow one another without end. Programs that know no moving PNG
# show the first one. Pictures are rows x columns x (red, green, blue).
import struct
import zlib

from lab.sound import np

FRAME_RATE = 12  # pictures a second


# Each row as it is, or as difference to its left or upper neighbours: what has most zeros.
def compressed(picture):
    height, width, _ = picture.shape
    rows = picture.reshape(height, width * 3)
    left = np.concatenate([np.zeros((height, 3), np.uint8), rows[:, :-3]], axis=1)
    above = np.concatenate([np.zeros((1, width * 3), np.uint8), rows[:-1]])
    choices = np.stack([rows, rows - left, rows - above])  # bytes wrap around
    best = (choices == 0).sum(axis=2).argmax(axis=0)
    lines = np.concatenate([best[:, None].astype(np.uint8), choices[best, np.arange(height)]], axis=1)
    return zlib.compress(lines.tobytes(), 9)


def write_png(path, pictures):
    height, width, _ = pictures[0].shape
    sequence = iter(range(2 * len(pictures)))

    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

    def control(x, y, part):
        return chunk(b"fcTL", struct.pack(">IIIIIHHBB", next(sequence), part.shape[1], part.shape[0], x, y, 1, FRAME_RATE, 0, 0))
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)))
        if len(pictures) > 1:
            file.write(chunk(b"acTL", struct.pack(">II", len(pictures), 0)) + control(0, 0, pictures[0]))
        file.write(chunk(b"IDAT", compressed(pictures[0])))
        for before, now in zip(pictures, pictures[1:]):
            # Only the smallest rectangle outside of which the two are the same.
            y, x = np.nonzero((before != now).any(axis=2))
            top, bottom, first, last = (y.min(), y.max() + 1, x.min(), x.max() + 1) if len(y) else (0, 1, 0, 1)
            part = now[top:bottom, first:last]
            file.write(control(first, top, part))
            file.write(chunk(b"fdAT", struct.pack(">I", next(sequence)) + compressed(part)))
        file.write(chunk(b"IEND", b""))
