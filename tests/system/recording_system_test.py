#!/usr/bin/env python3
"""Has a Windows program record what ffmpeg encoded, and reads the recording with ffprobe, ffmpeg
and the module srt.

usage: recording_system_test.py with-sound|without-sound FOLDER COMMAND...

FOLDER is made anew; COMMAND runs the recorder.
"""
import hashlib
import json
import math
import os
import shutil
import struct
import subprocess
import sys
import unittest

import srt

sys.dont_write_bytecode = True  # nothing is to be left beside the sources
from recorder import Recorder, windows

FFMPEG = ["/usr/bin/ffmpeg", "-v", "error", "-nostdin"]
TEXTS = ["Camera 1, front door", "Stra\u00dfe 20 \u20ac, caf\u00e9 \u00a9", "100 % of %s and %d %n",
         "", "<i>not</i> a tag & no entity", "-->", "7", "  blanks  ", "last"]

folder = ""
command = []


def run(*arguments):
    return subprocess.run(arguments, check=True, stdout=subprocess.PIPE).stdout


def encode(rate, seconds, *options):
    """A moving picture, encoded."""
    return run(*FFMPEG, "-f", "lavfi", "-i", f"testsrc2=size=320x240:rate={rate}", "-t", str(seconds),
               *options, "-")


def jpeg_frames(rate, seconds):
    """The pictures of a motion JPEG: each from its start-of-image mark to the next one's."""
    mark = b"\xff\xd8\xff"
    data = encode(rate, seconds, "-c:v", "mjpeg", "-q:v", "5", "-f", "mjpeg")
    return [(mark + part, True) for part in data.split(mark)[1:]]


def h264_frames(rate, seconds):
    """The access units of a stream that marks each with a delimiter, and which are key frames: one
    in every second."""
    delimiter = b"\0\0\0\1\x09"
    data = encode(rate, seconds, "-c:v", "libx264", "-bf", "0", "-g", str(rate), "-pix_fmt", "yuv420p",
                  "-x264-params", "aud=1:scenecut=0", "-f", "h264")
    return [(delimiter + part, b"\0\0\1\x65" in part) for part in data.split(delimiter)[1:]]


def sound(rate, channels, seconds):
    """A rising tone, with another one in every further channel."""
    samples = []
    for i in range(rate * seconds):
        for channel in range(channels):
            phase = 2 * math.pi * (200 + 300 * channel + i / rate * 50) * i / rate
            samples.append(int(12000 * math.sin(phase)))
    return struct.pack(f"<{len(samples)}h", *samples)


def packets(path, *options):
    """The packets of each kind of stream."""
    found = {"video": [], "subtitle": [], "audio": []}
    for packet in json.loads(run("/usr/bin/ffprobe", "-v", "error", *options, "-show_packets",
                                 "-show_data_hash", "MD5", "-of", "json", path))["packets"]:
        found[packet["codec_type"]].append(packet)
    return found


def hashes(found):
    return [packet["data_hash"] for packet in found]


def md5(data):
    return "MD5:" + hashlib.md5(data).hexdigest()


class Recording:
    """What went into a recording."""

    def __init__(self, name, code, frames, rate, audio=None):
        self.path = os.path.join(folder, name)
        self.code, self.frames, self.rate, self.audio = code, frames, rate, audio
        self.seconds = len(frames) // rate
        self.texts = [TEXTS[i % len(TEXTS)] for i in range(self.seconds)]
        self.paths = []
        os.makedirs(self.path + ".frames")
        for number, (frame, _) in enumerate(frames):
            self.paths.append(os.path.join(self.path + ".frames", f"{number:05}"))
            with open(self.paths[-1], "wb") as file:
                file.write(frame or b"")
        if audio:
            with open(self.path + ".pcm", "wb") as file:
                file.write(audio[0])

    def write(self):
        """Writes what is due, the earliest first, as a client does that keeps to the times."""
        end = 1_000_000 + self.seconds * 1000
        frame, text, offset = 0, 0, 0
        with Recorder(command) as recorder:
            assert recorder.open(self.path, self.code, 320, 240, self.rate)[0]
            if self.audio:
                data, rate, channels = self.audio
                assert recorder.do("sound", channels, rate, 16) == "sound"
                block = rate // 25 * channels * 2
            recorder.do("start", 1_000_000)
            while True:
                video_due, audio_due, text_due = recorder.due()
                if not self.audio:
                    audio_due = end
                if min(video_due, audio_due, text_due) >= end:
                    break
                if video_due <= min(audio_due, text_due):
                    content, is_key = self.frames[frame]
                    if content is None:
                        recorder.do("drop")
                    else:
                        recorder.do("frame", int(is_key), windows(self.paths[frame]))
                    frame += 1
                elif audio_due <= text_due:
                    recorder.do("audio", offset, block, windows(self.path + ".pcm"))
                    offset += block
                else:
                    recorder.do("text", self.texts[text])
                    text += 1
            self.due = recorder.due()
            self.state = recorder.state()
            recorder.do("close")
        self.left = (len(self.frames) - frame, self.seconds - text,
                     len(self.audio[0]) - offset if self.audio else 0)


class RecordingTest(unittest.TestCase):
    """Of any recording."""

    def check(self, recording):
        recording.write()
        self.assertEqual(recording.left, (0, 0, 0), "all was due, and nothing more")
        self.assertEqual(recording.due[0], 1_000_000 + recording.seconds * 1000)
        self.assertEqual(recording.due[2], 1_000_000 + recording.seconds * 1000)
        self.assertEqual(recording.state["reports"], 0)
        path = recording.path + ".avi"
        self.check_streams(recording, path)
        found = packets(path)
        self.check_frames(recording, path, found["video"])
        self.check_index(recording, path, found)
        self.check_texts(recording, found["subtitle"])
        self.check_subtitles(recording)
        if recording.audio:
            self.check_audio(recording, path, found["audio"])

    def check_streams(self, recording, path):
        found = json.loads(run("/usr/bin/ffprobe", "-v", "error", "-show_streams", "-show_format",
                               "-of", "json", path))
        self.assertEqual(found["format"]["format_name"], "avi")
        self.assertAlmostEqual(float(found["format"]["duration"]), recording.seconds, delta=0.05)
        video, text, *audio = found["streams"]
        self.assertEqual(video["codec_name"], {"MJPG": "mjpeg", "H264": "h264"}[recording.code])
        self.assertEqual(video["codec_tag_string"], recording.code)
        self.assertEqual((video["width"], video["height"]), (320, 240))
        self.assertEqual(video["r_frame_rate"], f"{recording.rate}/1")
        self.assertEqual(int(video["nb_frames"]), len(recording.frames))
        self.assertAlmostEqual(float(video["duration"]), recording.seconds, delta=0.001)
        self.assertEqual(text["codec_type"], "subtitle")
        self.assertEqual(int(text["nb_frames"]), recording.seconds)
        self.assertEqual(len(audio), 1 if recording.audio else 0)
        if recording.audio:
            data, rate, channels = recording.audio
            self.assertEqual(audio[0]["codec_name"], "pcm_s16le")
            self.assertEqual(int(audio[0]["sample_rate"]), rate)
            self.assertEqual(audio[0]["channels"], channels)

    def check_frames(self, recording, path, found):
        whole = [(number, frame, is_key)
                 for number, (frame, is_key) in enumerate(recording.frames) if frame is not None]
        self.assertEqual(hashes(found), [md5(frame) for _, frame, _ in whole])
        self.assertEqual(["K" in packet["flags"] for packet in found],
                         [is_key for _, _, is_key in whole])
        for packet, (number, _, _) in zip(found, whole):
            self.assertAlmostEqual(float(packet["dts_time"]), number / recording.rate, places=4)
        # It can be decoded: the same pictures as those that went in.
        decoded = run(*FFMPEG, "-i", path, "-map", "0:v", "-fps_mode", "passthrough", "-f", "rawvideo",
                      "-")
        joined = recording.path + {"MJPG": ".mjpeg", "H264": ".264"}[recording.code]
        with open(joined, "wb") as file:
            file.write(b"".join(frame for _, frame, _ in whole))
        direct = run(*FFMPEG, "-i", joined, "-fps_mode", "passthrough", "-f", "rawvideo", "-")
        self.assertTrue(decoded == direct, "the pictures are the same")
        size = len(decoded) // len(whole)
        self.assertEqual(len(decoded), size * len(whole))

    def check_index(self, recording, path, by_index):
        # Reading by the index finds what reading the chunks in turn finds.
        in_turn = packets(path, "-fflags", "+ignidx")
        for kind in ("video", "subtitle"):
            self.assertEqual(hashes(by_index[kind]), hashes(in_turn[kind]), kind)
        # Sound need not come in the same pieces.
        for kind in by_index:
            self.assertEqual(sum(int(packet["size"]) for packet in by_index[kind]),
                             sum(int(packet["size"]) for packet in in_turn[kind]), kind)
        # And it leads to the middle of the recording.
        second = recording.seconds // 2
        found = packets(path, "-select_streams", "v:0", "-read_intervals", f"{second}%+#1")["video"]
        self.assertAlmostEqual(float(found[0]["dts_time"]), second, places=4)
        self.assertEqual(found[0]["data_hash"], md5(recording.frames[second * recording.rate][0]))

    def check_texts(self, recording, found):
        # A reader takes an empty text for no packet.
        self.assertEqual(hashes(found),
                         [md5(text.encode("cp1252")) for text in recording.texts if text])

    def check_subtitles(self, recording):
        with open(recording.path + ".srt", "rb") as file:
            data = file.read()
        self.assertEqual(data[:2], b"\xff\xfe")
        found = list(srt.parse(data.decode("utf-16")))
        self.assertEqual([line.index for line in found], list(range(1, recording.seconds + 1)))
        for line, text in zip(found, recording.texts):
            self.assertEqual(line.content, text)
            self.assertEqual(line.start.total_seconds(), line.index - 1)
            self.assertEqual(line.end.total_seconds(), line.index - 1 + 0.999)

    def check_audio(self, recording, path, blocks):
        found = run(*FFMPEG, "-i", path, "-map", "0:a", "-c", "copy", "-f", "s16le", "-")
        self.assertTrue(found == recording.audio[0], "the samples are the same")
        self.assertEqual(float(blocks[0]["pts_time"]), 0)
        end = float(blocks[-1]["pts_time"]) + float(blocks[-1]["duration_time"])
        self.assertAlmostEqual(end, recording.seconds, places=4)


class WithoutSound(RecordingTest):
    def test_motion_jpeg(self):
        self.check(Recording("jpeg", "MJPG", jpeg_frames(25, 9), 25))

    def test_h264(self):
        self.check(Recording("h264", "H264", h264_frames(25, 9), 25))

    def test_a_rate_that_does_not_divide_a_second(self):
        self.check(Recording("rate", "H264", h264_frames(30, 4), 30))

    def test_dropped_frames(self):
        frames = [(None, False) if number % 10 in (3, 4) else frame
                  for number, frame in enumerate(jpeg_frames(25, 4))]
        self.check(Recording("dropped", "MJPG", frames, 25))

    def test_a_name_with_letters_of_the_code_page(self):
        self.check(Recording("T\u00fcr 2 \u00a9", "MJPG", jpeg_frames(25, 1), 25))


class WithSound(RecordingTest):
    def test_motion_jpeg(self):
        self.check(Recording("jpeg_sound", "MJPG", jpeg_frames(25, 4), 25,
                             (sound(8000, 2, 4), 8000, 2)))

    def test_h264(self):
        self.check(Recording("h264_sound", "H264", h264_frames(25, 4), 25,
                             (sound(44100, 1, 4), 44100, 1)))


if __name__ == "__main__":
    kinds = {"with-sound": ["WithoutSound", "WithSound"], "without-sound": ["WithoutSound"]}
    chosen = kinds[sys.argv[1]]
    folder = os.path.abspath(sys.argv[2])
    command = sys.argv[3:]
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    unittest.main(argv=sys.argv[:1], defaultTest=chosen, verbosity=2)
