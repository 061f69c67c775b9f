#!/usr/bin/env python3
"""Made examples/data/terrain.png from matplotlib's sample terrain (see the README there).

Usage: pack_terrain.py <jacksboro_fault_dem.npz> <terrain.png>
"""
import array
import ast
import struct
import sys
import zipfile
import zlib

OFFSET = 1000  # gray = height in metres + OFFSET, so that 0 is left for "no height"


def read_npy(data):
    length = struct.unpack_from("<H", data, 8)[0]
    header = ast.literal_eval(data[10:10 + length].decode())
    if header["descr"] != "<i2" or header["fortran_order"]:
        raise SystemExit("not a plane of 16-bit integers")
    return header["shape"], array.array("h", data[10 + length:])


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def main(source, target):
    (rows, columns), heights = read_npy(zipfile.ZipFile(source).read("elevation.npy"))
    lines = bytearray()
    for row in range(rows):
        grays = [height + OFFSET for height in heights[row * columns:(row + 1) * columns]]
        line = struct.pack(">%dH" % columns, *grays)
        lines.append(1)  # each byte less the byte of the pixel before it
        lines += bytes((b - a) & 255 for a, b in zip(b"\0\0" + line, line))
    size = struct.pack(">IIBBBBB", columns, rows, 16, 0, 0, 0, 0)
    with open(target, "wb") as picture:
        picture.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", size) + chunk(b"IDAT", zlib.compress(bytes(lines), 9)))
        picture.write(chunk(b"IEND", b""))
    print("%d x %d, %d to %d m" % (columns, rows, min(heights), max(heights)))


main(*sys.argv[1:])
