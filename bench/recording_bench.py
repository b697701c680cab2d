#!/usr/bin/env python3
"""Compares recording by CAviConvert with the AVI interface under it, and with ffmpeg writing the
same frames into an AVI file.

usage: recording_bench.py FOLDER COMMAND...

FOLDER is made anew; COMMAND runs the Windows program recording_bench.
"""
import os
import re
import shutil
import statistics
import struct
import subprocess
import sys

FFMPEG = ["ffmpeg", "-nostdin", "-y"]
ROUNDS = 7
RATE = 25
# Title, four-letter code, size, number of frames, how to encode, the bytes that begin a frame.
KINDS = [
    ("H.264 704x576", "H264", (704, 576), 3000,
     ["-c:v", "libx264", "-preset", "ultrafast", "-bf", "0", "-g", str(RATE), "-pix_fmt", "yuv420p",
      "-x264-params", "aud=1:scenecut=0", "-f", "h264"], b"\0\0\0\1\x09"),
    ("JPEG 1280x720", "MJPG", (1280, 720), 750,
     ["-c:v", "mjpeg", "-q:v", "3", "-f", "mjpeg"], b"\xff\xd8\xff"),
]


def encode(size, count, options, mark):
    data = subprocess.run(
        [*FFMPEG, "-v", "error", "-f", "lavfi", "-i", f"testsrc2=size={size[0]}x{size[1]}:rate={RATE}",
         "-frames:v", str(count), *options, "-"], check=True, stdout=subprocess.PIPE).stdout
    return [mark + part for part in data.split(mark)[1:]]


def remux(source, target):
    """The seconds that ffmpeg itself says it took, without its start."""
    text = subprocess.run(
        [*FFMPEG, "-hide_banner", "-v", "info", "-benchmark", "-i", source, "-map", "0:v", "-c", "copy",
         target], check=True, stderr=subprocess.PIPE).stderr.decode()
    return float(re.search(r"rtime=([0-9.]+)s", text).group(1))


def main():
    folder = os.path.abspath(sys.argv[1])
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    print(f"{'':16}{'':14}{'frames/s':>10}{'MB/s':>8}{'time of CAviConvert':>22}")
    for title, code, size, count, options, mark in KINDS:
        frames = encode(size, count, options, mark)
        path = os.path.join(folder, code)
        with open(path + ".frames", "wb") as file:
            for frame in frames:
                file.write(struct.pack("<I", len(frame)) + frame)
        output = subprocess.run(
            [*sys.argv[2:], f"Z:{path}.frames", code, str(size[0]), str(size[1]), str(RATE),
             f"Z:{path}"], check=True, stdout=subprocess.PIPE).stdout
        by_class, by_interface = map(float, output.split())
        by_ffmpeg = statistics.median(remux(path + ".avi", path + "-ffmpeg.avi")
                                      for _ in range(ROUNDS))
        megabytes = sum(map(len, frames)) / 1e6
        for name, seconds in (("CAviConvert", by_class), ("AVIFile", by_interface),
                              ("ffmpeg", by_ffmpeg)):
            print(f"{title:16}{name:14}{len(frames) / seconds:10.0f}{megabytes / seconds:8.0f}"
                  f"{by_class / seconds:18.2f} of it")
    # What was written is large and of no further use.
    shutil.rmtree(folder)


main()
