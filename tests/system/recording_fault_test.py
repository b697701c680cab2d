#!/usr/bin/env python3
"""Takes away from a recorder what it needs, and looks at what it says, keeps and leaves.

usage: recording_fault_test.py with-sound|without-sound FOLDER COMMAND...

FOLDER is made anew; COMMAND runs the recorder.
"""
import os
import shutil
import sys
import unittest

import srt

sys.dont_write_bytecode = True  # nothing is to be left beside the sources
from recorder import Recorder, windows

LIMIT = 256 * 1024
# Of the kernel's own: nobody may make a file there, whoever he is.
# Where not even root makes a file.
READ_ONLY = next(filter(os.path.isdir, ["/sys/kernel", "/proc/sys"]))

folder = ""
command = []
sound = False


def path(name):
    return os.path.join(folder, name)


def lines(name):
    with open(path(name), encoding="utf-16") as file:
        return [line.content for line in srt.parse(file.read())]


def starts_like_a_recording(name):
    with open(path(name), "rb") as file:
        return file.read(12)[8:] == b"AVI "


class RecordingFault(unittest.TestCase):
    def assert_leaves_no_handle(self, recorder, record):
        """What is needed once comes with the first times; after them the number stays."""
        record()
        record()
        before = recorder.state()["handles"]
        for _ in range(5):
            record()
        self.assertEqual(recorder.state()["handles"], before)

    def test_a_full_disk(self):
        with Recorder(command, LIMIT) as recorder:
            def record():
                self.assertTrue(recorder.open(path("full"))[0])
                if sound:
                    self.assertEqual(recorder.do("sound", 2, 8000, 16), "sound")
                for second in range(10):
                    recorder.do("frames", 25, 4000)
                    if sound:
                        recorder.do("audio", 0, 32000, windows(path("sound.pcm")))
                    recorder.do("text", f"second {second}")
                state = recorder.state()
                self.assertTrue(state["open"], "what cannot be written does not end a recording")
                self.assertEqual((state["frames"], state["texts"]), (250, 10))
                recorder.do("close")
                self.assertFalse(recorder.state()["open"])

            self.assert_leaves_no_handle(recorder, record)
            if sound:
                self.assertGreater(recorder.state()["reports"], 0, "of lost sound it tells")
            else:
                self.assertEqual(recorder.state()["reports"], 0)
            self.assertLessEqual(os.path.getsize(path("full.avi")), LIMIT)
            self.assertEqual(lines("full.srt"), [f"second {second}" for second in range(10)])
            # The recorder itself is as good as before.
            self.assertTrue(recorder.open(path("small"))[0])
            recorder.do("frames", 5, 1000)
            recorder.do("text", "all")
            recorder.do("close")
        self.assertTrue(starts_like_a_recording("small.avi"))
        self.assertEqual(lines("small.srt"), ["all"])

    def test_a_full_disk_for_the_subtitles_alone(self):
        os.symlink("/dev/full", path("no_room.srt"))
        with Recorder(command) as recorder:
            def record():
                self.assertTrue(recorder.open(path("no_room"))[0])
                recorder.do("frames", 5, 1000)
                recorder.do("text", "lost")
                recorder.do("text", "lost, too")
                state = recorder.state()
                self.assertTrue(state["open"])
                self.assertEqual((state["frames"], state["texts"]), (5, 2))
                recorder.do("close")

            self.assert_leaves_no_handle(recorder, record)
        self.assertTrue(starts_like_a_recording("no_room.avi"))

    def test_a_full_disk_from_the_first_byte_on(self):
        os.symlink("/dev/full", path("none.avi"))
        with Recorder(command) as recorder:
            def record():
                # Whether that can be opened is the platform's to say.
                is_open, _ = recorder.open(path("none"))
                recorder.do("frames", 5, 1000)
                recorder.do("text", "lost")
                self.assertEqual(recorder.state()["open"], is_open)
                recorder.do("close")
                self.assertFalse(recorder.state()["open"])

            self.assert_leaves_no_handle(recorder, record)

    def test_a_folder_that_nobody_may_write_in(self):
        with Recorder(command) as recorder:
            def record():
                self.assertEqual(recorder.open(os.path.join(READ_ONLY, "rec")), (False, ""))
                self.assertFalse(recorder.state()["open"])

            self.assert_leaves_no_handle(recorder, record)
        self.assertFalse(os.path.exists(os.path.join(READ_ONLY, "rec.avi")))
        self.assertFalse(os.path.exists(os.path.join(READ_ONLY, "rec.srt")))

    def test_a_name_that_a_folder_has(self):
        os.mkdir(path("taken.avi"))
        with Recorder(command) as recorder:
            self.assertEqual(recorder.open(path("taken")), (False, ""))
        self.assertFalse(os.path.exists(path("taken.srt")))

    def test_subtitles_whose_name_a_folder_has(self):
        os.mkdir(path("subtitles.srt"))
        with Recorder(command) as recorder:
            self.assertTrue(recorder.open(path("subtitles"))[0])
            recorder.do("frames", 5, 1000)
            recorder.do("text", "in the recording alone")
            recorder.do("close")
        self.assertTrue(starts_like_a_recording("subtitles.avi"))
        with open(path("subtitles.avi"), "rb") as file:
            self.assertIn(b"in the recording alone", file.read())

    def test_files_that_are_removed_meanwhile(self):
        with Recorder(command) as recorder:
            def record():
                self.assertTrue(recorder.open(path("removed"))[0])
                recorder.do("frames", 5, 1000)
                recorder.do("text", "before")
                os.unlink(path("removed.avi"))
                os.unlink(path("removed.srt"))
                recorder.do("frames", 5, 1000)
                recorder.do("text", "after")
                state = recorder.state()
                self.assertTrue(state["open"])
                self.assertEqual((state["frames"], state["texts"]), (10, 2))
                recorder.do("close")

            self.assert_leaves_no_handle(recorder, record)
        self.assertFalse(os.path.exists(path("removed.avi")))
        self.assertFalse(os.path.exists(path("removed.srt")))

    def test_a_folder_that_is_removed_meanwhile(self):
        with Recorder(command) as recorder:
            def record():
                os.mkdir(path("gone"))
                self.assertTrue(recorder.open(path("gone/rec"))[0])
                recorder.do("frames", 5, 1000)
                shutil.rmtree(path("gone"))
                recorder.do("frames", 5, 1000)
                recorder.do("text", "after")
                recorder.do("close")
                self.assertEqual(recorder.open(path("gone/rec")), (False, ""))

            self.assert_leaves_no_handle(recorder, record)
        self.assertFalse(os.path.exists(path("gone")))

    def test_a_recorder_that_is_not_closed(self):
        # The program ends with a recording open; its destructor completes the file.
        with Recorder(command) as recorder:
            self.assertTrue(recorder.open(path("unclosed"))[0])
            recorder.do("frames", 5, 1000)
            recorder.do("text", "last")
        with open(path("unclosed.avi"), "rb") as file:
            self.assertIn(b"idx1", file.read())
        self.assertEqual(lines("unclosed.srt"), ["last"])


if __name__ == "__main__":
    sound = {"with-sound": True, "without-sound": False}[sys.argv[1]]
    folder = os.path.abspath(sys.argv[2])
    command = sys.argv[3:]
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    with open(path("sound.pcm"), "wb") as pcm:
        pcm.write(bytes(range(250)) * 128)
    unittest.main(argv=sys.argv[:1], verbosity=2)
