#!/usr/bin/env python3
"""Has the recorder write files through the stand-in, and ffprobe and ffmpeg read them.

recording_system_test.py WORK-FOLDER RUN-UNDER-WINE RUN-WITH-STAND-IN RECORDER
"""
import hashlib
import json
import os
import pathlib
import random
import resource
import shutil
import signal
import subprocess
import sys
import unittest

WORK, UNDER_WINE, WITH_STAND_IN, RECORDER = map(pathlib.Path, sys.argv[1:])
PICTURES = 76  # the last one begins the fourth second
LEFT_OUT = (3, 30, 31)
BLOCK = 3200  # bytes of sound in a chunk


def run(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          timeout=120, **options)


def make_material():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    for code, codec in (('MJPG', 'mjpeg'), ('FMP4', 'mpeg4')):
        run('ffmpeg', '-v', 'error', '-f', 'lavfi', '-i', 'testsrc=size=320x240:rate=25',
            '-frames:v', str(PICTURES), '-c:v', codec, '-g', '5', '-sc_threshold', '1000000000',
            '-f', 'image2', '-start_number', '0', WORK / f'%03d.{code}')
        for picture in LEFT_OUT:
            (WORK / f'{picture:03}.{code}').unlink()
    (WORK / 'sound.pcm').write_bytes(random.Random(1).randbytes(40 * BLOCK))


def record(name, code, *options, command=(WITH_STAND_IN, RECORDER), **limits):
    """The file, and what the recorder says of each stream: writes taken and failed."""
    path = WORK / name
    result = run(*command, WORK, path, str(PICTURES), code, *options, **limits)
    told = {}
    for line in result.stdout.decode().splitlines():
        stream, taken, _, failed, _ = line.split()
        told[stream] = (int(taken), int(failed))
    return path, told


def probe(path, *options):
    """What ffprobe tells, which must not complain."""
    result = run('ffprobe', '-v', 'error', '-of', 'json', *options, path)
    if result.stderr:
        raise AssertionError(f'ffprobe complains: {result.stderr.decode()}')
    return json.loads(result.stdout)


def packets(path, stream):
    return probe(path, '-select_streams', str(stream), '-show_packets', '-show_data_hash',
                 'sha256')['packets']


def hash_of(data):
    return 'SHA256:' + hashlib.sha256(data).hexdigest()


def decoded_without_complaint(path):
    result = run('ffmpeg', '-v', 'error', '-xerror', '-i', path, '-map', '0:v', '-map', '0:a', '-f',
                 'null', '-')
    return result.stderr == b''


class Recording(unittest.TestCase):
    name = 'recording.avi'
    code = 'MJPG'
    codec = 'mjpeg'
    options = ()

    @classmethod
    def setUpClass(cls):
        cls.path, cls.told = record(cls.name, cls.code, *cls.options)

    def test_every_write_is_taken(self):
        self.assertEqual(self.told, {'video': (PICTURES - len(LEFT_OUT), 0), 'text': (4, 0),
                                     'audio': (30, 0)})

    def test_the_streams_have_their_kinds_rates_and_lengths(self):
        found = probe(self.path, '-show_streams', '-show_format', '-count_packets')
        video, text, audio = found['streams']
        self.assertEqual(found['format']['format_name'], 'avi')
        self.assertEqual((video['codec_type'], video['codec_name']), ('video', self.codec))
        self.assertEqual((video['width'], video['height']), (320, 240))
        self.assertEqual(video['r_frame_rate'], '25/1')
        self.assertEqual(int(video['nb_frames']), PICTURES)
        self.assertAlmostEqual(float(video['duration']), PICTURES / 25, places=4)
        self.assertEqual((audio['codec_type'], audio['codec_name']), ('audio', 'pcm_s16le'))
        self.assertEqual((int(audio['sample_rate']), audio['channels']), (8000, 2))
        self.assertEqual(int(audio['nb_frames']), 24000)
        self.assertEqual(int(audio['nb_read_packets']), 30)
        self.assertEqual(int(text['nb_read_packets']), 4)
        self.assertAlmostEqual(float(found['format']['duration']), 4.0, places=4,
                               msg='that of the text, the longest')

    def key_frames(self, taken):
        """Every picture of this codec can be decoded by itself, whatever the file says."""
        return taken

    def test_pictures_come_back_at_their_times_with_their_key_frames(self):
        taken = [i for i in range(PICTURES) if i not in LEFT_OUT]
        found = [p for p in packets(self.path, 0) if int(p['size']) != 0]
        self.assertEqual([round(float(p['dts_time']) * 25) for p in found], taken)
        self.assertEqual([p['data_hash'] for p in found],
                         [hash_of((WORK / f'{i:03}.{self.code}').read_bytes()) for i in taken])
        self.assertEqual([i for p, i in zip(found, taken) if 'K' in p['flags']],
                         self.key_frames(taken))

    def test_sound_comes_back_at_its_times(self):
        found = packets(self.path, 2)
        sound = (WORK / 'sound.pcm').read_bytes()
        self.assertEqual([round(float(p['pts_time']), 4) for p in found],
                         [round(i / 10, 4) for i in range(30)])
        self.assertAlmostEqual(float(found[-1]['pts_time']) + float(found[-1]['duration_time']), 3,
                               places=4)
        self.assertEqual([p['data_hash'] for p in found],
                         [hash_of(sound[i * BLOCK:(i + 1) * BLOCK]) for i in range(30)])

    def test_text_comes_back_at_its_times(self):
        found = packets(self.path, 1)
        self.assertEqual([float(p['dts_time']) for p in found], [0, 1, 2, 3])
        self.assertEqual([p['data_hash'] for p in found],
                         [hash_of(f'second {i}'.encode()) for i in range(4)])

    def test_copied_streams_are_identical(self):
        pictures = b''.join(p.read_bytes() for p in sorted(WORK.glob(f'*.{self.code}')))
        sound = (WORK / 'sound.pcm').read_bytes()[:30 * BLOCK]
        for stream, kind, expected in (('0:v', 'data', pictures), ('0:a', 's16le', sound)):
            copy = run('ffmpeg', '-v', 'error', '-i', self.path, '-map', stream, '-c', 'copy', '-f',
                       kind, '-')
            self.assertEqual(copy.stderr, b'')
            self.assertEqual(copy.stdout, expected)

    def test_seeking_finds_the_picture(self):
        found = probe(self.path, '-select_streams', '0', '-show_packets', '-read_intervals',
                      '2.0%+#1')['packets']
        self.assertEqual(round(float(found[0]['dts_time']) * 25), 50)

    def test_everything_is_decoded(self):
        self.assertTrue(decoded_without_complaint(self.path))


class RecordingThatBeginsWithText(Recording):
    name = 'text-first.avi'
    options = ('text-first',)


class RecordingOfPicturesThatNeedOthers(Recording):
    name = 'mpeg4.avi'
    code = 'FMP4'
    codec = 'mpeg4'

    def key_frames(self, taken):
        return [i for i in taken if i % 5 == 0]


class FullDisk(unittest.TestCase):
    """No file may grow further than so many bytes: further writes fail."""

    @classmethod
    def setUpClass(cls):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (cls.room, cls.room))
        cls.room = 200000
        cls.path, cls.told = record('full.avi', 'MJPG', preexec_fn=limit)

    def test_writes_are_reported_as_failed(self):
        for stream in ('video', 'audio'):
            taken, failed = self.told[stream]
            self.assertGreater(taken, 0)
            self.assertGreater(failed, 0)

    def test_what_was_taken_is_read(self):
        self.assertLessEqual(self.path.stat().st_size, self.room)
        found = [p for p in packets(self.path, 0) if int(p['size']) != 0]
        self.assertEqual(len(found), self.told['video'][0])
        self.assertEqual(len(packets(self.path, 2)), self.told['audio'][0])
        self.assertTrue(decoded_without_complaint(self.path))


class WithoutTheStandIn(unittest.TestCase):
    """Wine loads its own avifil32.dll unless it is told otherwise, even where the other lies."""

    def test_wine_takes_no_more_than_the_first_sound(self):
        record('with.avi', 'MJPG')
        beside = RECORDER.parent.parent / 'wine' / RECORDER.name
        self.assertTrue((beside.parent / 'avifil32.dll').exists())
        for program in (RECORDER, beside):
            with self.subTest(program=program):
                environment = dict(os.environ, WINEPATH=f'Z:{RECORDER.parent}')
                _, told = record('without.avi', 'MJPG', command=(UNDER_WINE, program),
                                 env=environment)
                self.assertEqual(told['audio'], (1, 29))


if __name__ == '__main__':
    make_material()
    unittest.main(argv=sys.argv[:1], verbosity=2)
