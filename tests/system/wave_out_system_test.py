#!/usr/bin/python3
"""Listens to what a Windows program plays.

usage: wave_out_system_test.py FOLDER COMMAND...

COMMAND is the program of wave_out_system_test.cpp. Each tone is played into a sink of its own, whose
monitor is recorded, so that nobody else's sound is in it; the recordings are left in FOLDER.
"""
import os
import subprocess
import sys
import threading
import time
import wave

import numpy

RATE = 44100
SECONDS = 3
FREQUENCY = 1000.0
LEVEL = 8192 / 2 ** 0.5
BLOCK = RATE // 10
SILENCE = RATE // 500
# What a machine that is too busy spoils is tried again.
ATTEMPTS = 3


class Sink:
    def __init__(self, name):
        self.name = name
        self.module = subprocess.check_output(
            ["pactl", "load-module", "module-null-sink", f"sink_name={name}", f"rate={RATE}",
             "channels=2", "format=s16le"], encoding="ascii").strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        subprocess.run(["pactl", "unload-module", self.module], check=False)


def record(sink, path, command):
    """What the sink plays while the command runs, as two columns of samples."""
    recorder = subprocess.Popen(
        ["parec", "-d", f"{sink}.monitor", "--file-format=wav", f"--rate={RATE}", "--channels=2",
         "--format=s16le", "--latency-msec=50", path])
    try:
        deadline = time.monotonic() + 20
        while not (os.path.exists(path) and os.path.getsize(path) > 20000):
            if time.monotonic() > deadline:
                raise AssertionError("nothing is recorded")
            time.sleep(0.02)
        result = subprocess.run(command, env=dict(os.environ, PULSE_SINK=sink), timeout=120)
        time.sleep(0.3)
    finally:
        recorder.terminate()
        recorder.wait(20)
    assert result.returncode == 0, f"the program ended with {result.returncode}"
    with wave.open(path) as file:
        samples = numpy.frombuffer(file.readframes(file.getnframes()), "<i2")
    return samples.reshape(-1, 2).astype(float)


def heard_parts(samples):
    """The parts between the first and the last sound that are no silence."""
    is_loud = numpy.abs(samples).max(axis=1) > LEVEL / 50
    loud = numpy.flatnonzero(is_loud)
    assert len(loud), "nothing is heard"
    # The tone itself is near zero for a sample or two.
    ends = numpy.flatnonzero(numpy.diff(loud) > SILENCE)
    starts = [loud[0], *loud[ends + 1]]
    return [samples[start:end + 1] for start, end in zip(starts, [*loud[ends], loud[-1]])]


def peak_frequency(channel):
    spectrum = numpy.abs(numpy.fft.rfft(channel * numpy.hanning(len(channel))))
    return numpy.argmax(spectrum) * RATE / len(channel)


def check_tone(samples, ratio):
    """ratio: the level of the second channel beside the first.

    Returns how often the tone is interrupted. A busy machine interrupts any sound, anywhere, and the
    tone goes on where it was; a player that does so leaves its gaps at the seams of its blocks.
    """
    parts = heard_parts(samples)
    gaps = numpy.cumsum([len(part) for part in parts])[:-1]
    from_seam = numpy.abs((gaps + BLOCK / 2) % BLOCK - BLOCK / 2)
    at_seams = numpy.count_nonzero(from_seam < RATE / 200)
    seams = SECONDS * RATE / BLOCK - 1
    assert at_seams < seams / 3, f"there are {at_seams} gaps at the seams of the blocks"
    tone = numpy.concatenate(parts)
    seconds = len(tone) / RATE
    assert abs(seconds - SECONDS) < 0.05, f"{seconds} s of the tone are heard"
    for number, level in ((0, LEVEL), (1, LEVEL * ratio)):
        channel = tone[:, number]
        effective = (channel ** 2).mean() ** 0.5
        assert abs(effective / level - 1) < 0.03, f"channel {number} has the level {effective}"
        frequency = peak_frequency(channel)
        assert abs(frequency - FREQUENCY) < 2, f"channel {number} has {frequency} Hz"
        # Nothing is missing or doubled: every period is there.
        rising = numpy.count_nonzero((channel[:-1] < 0) & (channel[1:] >= 0))
        expected = seconds * FREQUENCY
        assert abs(rising - expected) <= 3 + 2 * len(gaps), \
            f"channel {number}: {rising} periods, not {expected}"
    return len(gaps)


def listen(folder, command, rate, channels):
    name = f"tone_{rate}_{channels}"
    for attempt in range(1, ATTEMPTS + 1):
        path = os.path.join(folder, f"{name}_{attempt}.wav")
        if os.path.exists(path):
            os.remove(path)
        with Sink(f"{name}.{os.getpid()}") as sink:
            samples = record(sink.name, path,
                             command + ["tone", str(rate), str(channels), str(SECONDS)])
        try:
            gaps = check_tone(samples, 1.0 if channels == 1 else 0.5)
            print(f"{rate} Hz, {channels} channel(s): as it was given to the player; the machine "
                  f"interrupted it {gaps} times")
            return
        except AssertionError as error:
            print(f"{rate} Hz, {channels} channel(s), attempt {attempt}: {error}")
            if attempt == ATTEMPTS:
                raise


def main():
    folder, command = sys.argv[1], sys.argv[2:]
    os.makedirs(folder, exist_ok=True)
    failures = []

    def run(rate, channels):
        try:
            listen(folder, command, rate, channels)
        except Exception as error:  # whatever it was, the test has failed
            failures.append(f"{rate} Hz, {channels} channel(s): {error!r}")

    threads = [threading.Thread(target=run, args=tone)
               for tone in ((8000, 1), (16000, 2), (44100, 2))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for failure in failures:
        print(failure, file=sys.stderr)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
