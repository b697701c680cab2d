#!/usr/bin/env python3
"""Has a Windows program write image files, and looks at them with ImageMagick.

usage: image_system_test.py FOLDER COMMAND...

FOLDER is made anew. The pictures are made here, and what must stand in the files is worked out here
from the definition of the conversion (ITU-R BT.601, studio range, in units of 1/64).
"""
import os
import random
import shutil
import subprocess
import sys

IDENTIFY = "/usr/bin/identify"
CONVERT = "/usr/bin/convert"
JPEG_MEAN_TOLERANCE = 3.0
JPEG_TOLERANCE = 24


def clamp(value):
    return max(0, min(255, value))


def to_rgb(y, u, v):
    luma = 74 * (y - 16)
    u -= 128
    v -= 128
    return (clamp((luma + 102 * v) >> 6), clamp((luma - 25 * u - 52 * v) >> 6),
            clamp((luma + 129 * u) >> 6))


def smooth(width, height):
    """Rows of colours, top row first: red grows to the left, green to the top."""
    return [[(255 * (width - x) // width, 255 * (height - y) // height, 60) for x in range(width)]
            for y in range(height)]


def noise(width, height):
    generator = random.Random(width * height)
    return [[tuple(generator.randrange(256) for _ in range(3)) for _ in range(width)]
            for _ in range(height)]


def pack(rows, bits, top_down):
    data = bytearray()
    for row in rows if top_down else reversed(rows):
        line = bytearray()
        for r, g, b in row:
            line += bytes((b, g, r)) if bits == 24 else bytes((b, g, r, 0x5A))
        data += line + bytes(-len(line) % 4)
    return bytes(data)


def planar(rows):
    """A planar picture (Y, V, U), and its rows as the conversion makes them."""
    height, width = len(rows), len(rows[0])
    y = [[clamp(round(16 + (65.738 * r + 129.057 * g + 25.064 * b) / 256)) for r, g, b in row]
         for row in rows]
    u, v = [], []
    for top in range(0, height, 2):
        u.append([])
        v.append([])
        for left in range(0, width, 2):
            block = [rows[top][left], rows[top][left + 1], rows[top + 1][left], rows[top + 1][left + 1]]
            r, g, b = (sum(pixel[i] for pixel in block) / 4 for i in range(3))
            u[-1].append(clamp(round(128 + (-37.945 * r - 74.494 * g + 112.439 * b) / 256)))
            v[-1].append(clamp(round(128 + (112.439 * r - 94.154 * g - 18.285 * b) / 256)))
    data = b"".join(bytes(row) for plane in (y, v, u) for row in plane)
    converted = [[to_rgb(y[i][j], u[i // 2][j // 2], v[i // 2][j // 2]) for j in range(width)]
                 for i in range(height)]
    return data, converted


def skewed(rows):
    """What becomes of top-down rows that are not padded when they are read as if they were."""
    data = b"".join(bytes((b, g, r)) for row in rows for r, g, b in row)
    width = len(rows[0])
    stride = (3 * width + 3) // 4 * 4
    data += bytes(stride * len(rows) - len(data))
    return [[(data[i + 2], data[i + 1], data[i])
             for i in range(y * stride, y * stride + 3 * width, 3)] for y in range(len(rows))]


def raw(rows):
    return b"".join(bytes(pixel) for row in rows for pixel in row)


def tool(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


class Test:
    def __init__(self, folder):
        self.folder = folder
        self.jobs = []
        self.expected = []
        self.failures = 0

    def add(self, source, data, height, bits, is_planar, expected, names):
        with open(os.path.join(self.folder, source), "wb") as file:
            file.write(data)
        for name, kind in names:
            self.jobs.append(f"{source} {len(expected[0])} {height} {bits} {int(is_planar)} {name}")
            self.expected.append((name, kind, expected))

    def add_all(self):
        for title, rows in (("smooth", smooth(64, 48)), ("noise", noise(33, 21))):
            for bits in (24, 32):
                for height in (len(rows), -len(rows)):
                    source = f"{title}_{bits}_{'up' if height > 0 else 'down'}"
                    names = [(source + ".bmp", "BMP"), (source + ".png", "PNG")]
                    if title == "smooth":
                        names += [(source + ".jpg", "JPEG"), (source + ".tif", "JPEG")]
                    self.add(source, pack(rows, bits, height < 0), height, bits, False, rows, names)
        for title, rows in (("smooth", smooth(64, 48)), ("noise", noise(48, 20))):
            data, converted = planar(rows)
            names = [".bmp", ".png"] + ([".jpeg", ""] if title == "smooth" else [])
            kinds = ["BMP", "PNG", "JPEG", "JPEG"]
            upright, flipped = f"{title}_planar_upright", f"{title}_planar_flipped"
            self.add(upright + ".raw", data, -len(rows), 12, True, converted,
                     [(upright + n, k) for n, k in zip(names, kinds)])
            self.add(flipped + ".raw", data, len(rows), 12, True, converted[::-1],
                     [(flipped + n, k) for n, k in zip(names, kinds)])
        # Grey, for at such a width the ends of rows run into the next ones: with a chroma that is the
        # same everywhere they leave there what stands there.
        data, converted = planar([[(8 * x + 4 * y,) * 3 for x in range(22)] for y in range(16)])
        self.add("skewed", data, -16, 12, True, skewed(converted),
                 [("skewed.bmp", "BMP"), ("skewed.png", "PNG")])
        os.mkdir(os.path.join(self.folder, "shots.bmp"))
        rows = smooth(20, 10)
        self.add("named", pack(rows, 24, False), 10, 24, False, rows,
                 [("shots.bmp/a.jpg", "BMP"), ("\u0441\u043d\u0438\u043c\u043e\u043a \u5feb.PNG", "PNG"),
                  ("a.png.bmp", "BMP"), ("a.bmp.png", "BMP")])

    def check(self, name, kind, rows):
        path = os.path.join(self.folder, name)
        found = tool(IDENTIFY, "-format", "%m %w %h", path).decode()
        wanted = f"{kind} {len(rows[0])} {len(rows)}"
        # BMP3 is the name of the plain BMP.
        if found.replace("BMP3", "BMP") != wanted:
            return f"is {found}, not {wanted}"
        pixels = tool(CONVERT, path, "-depth", "8", "rgb:-")
        reference = raw(rows)
        if len(pixels) != len(reference):
            return f"has {len(pixels)} bytes, not {len(reference)}"
        differences = [abs(a - b) for a, b in zip(pixels, reference)]
        most, mean = max(differences), sum(differences) / len(differences)
        if kind == "JPEG":
            if most > JPEG_TOLERANCE or mean > JPEG_MEAN_TOLERANCE:
                return f"differs by {most}, {mean:.2f} in the mean"
        elif most > 0:
            return f"differs by {most} in {sum(d > 0 for d in differences)} bytes"
        return None

    def run(self, command):
        with open(os.path.join(self.folder, "jobs.txt"), "w", encoding="utf-8") as file:
            file.write("".join(job + "\n" for job in self.jobs))
        subprocess.run(command + ["Z:" + self.folder], check=True)
        for name, kind, rows in self.expected:
            try:
                failure = self.check(name, kind, rows)
            except subprocess.CalledProcessError as error:
                failure = str(error)
            print(f"{'ok    ' if failure is None else 'FAILED'} {name} {failure or ''}")
            self.failures += failure is not None


def main():
    folder = os.path.abspath(sys.argv[1])
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    test = Test(folder)
    test.add_all()
    test.run(sys.argv[2:])
    print(f"{len(test.expected)} images, {test.failures} of them wrong")
    return 1 if test.failures else 0


sys.exit(main())
