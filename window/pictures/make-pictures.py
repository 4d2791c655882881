#!/usr/bin/env python3
"""Remakes the embedded sample pictures with the project's own renderer.

Each is one finished shape at twice its size, cut to the size its holder
expects, with its background colour all round the shape.
Usage: window/pictures/make-pictures.py path/to/tavrel-render
"""
import os
import struct
import subprocess
import sys
import tempfile

# name, seed, colours, width, height, left, top, background
PICTURES = [
    ("picture9", 21, "true", 203, 201, 0, 1, 1),
    ("picture2", 22, "true", 201, 203, 1, 0, 0),
    ("picture4", 23, "basic", 198, 202, 3, 1, 1),
    ("picture5", 24, "true", 201, 203, 1, 0, 0),
    ("picture6", 25, "true", 201, 203, 1, 0, 0),
    ("picture7", 26, "basic", 201, 203, 1, 0, 0),
    ("picture8", 27, "true", 201, 203, 1, 0, 0),
]


def read_bmp(path):
    data = open(path, "rb").read()
    offset, = struct.unpack_from("<I", data, 10)
    width, height = struct.unpack_from("<ii", data, 18)
    stride = (width * 3 + 3) & ~3
    rows = []
    for y in range(height):
        base = offset + (height - 1 - y) * stride
        rows.append([data[base + 3 * x: base + 3 * x + 3] for x in range(width)])
    return rows


def write_bmp(path, rows):
    height, width = len(rows), len(rows[0])
    stride = (width * 3 + 3) & ~3
    pixels = b"".join(b"".join(row) + b"\0" * (stride - width * 3) for row in reversed(rows))
    header = struct.pack("<2sIHHI", b"BM", 54 + len(pixels), 0, 0, 54)
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(pixels), 3780, 3780, 0, 0)
    open(path, "wb").write(header + info + pixels)


def main():
    render = sys.argv[1]
    here = os.path.dirname(os.path.abspath(__file__))
    with tempfile.TemporaryDirectory() as tmp:
        for name, seed, colours, width, height, left, top, background in PICTURES:
            subprocess.run([render, "--seed", str(seed), "--colors", colours, "--zoom", "2",
                            "--bmp", "--out", tmp], check=True, stdout=subprocess.DEVNULL)
            rows = read_bmp(os.path.join(tmp, "shape-%d-1.bmp" % seed))
            outline = bytes([0, 0, 1])  # blue, green, red of the boundary colour
            black = bytes(3)
            fill = outline if background else black
            cut = [[fill if px in (outline, black) else px for px in row[left:left + width]]
                   for row in rows[top:top + height]]
            write_bmp(os.path.join(here, name + ".bmp"), cut)


if __name__ == "__main__":
    main()
