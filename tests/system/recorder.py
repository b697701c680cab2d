"""Drives the Windows program of recorder.cpp."""
import os
import resource
import subprocess


def windows(path):
    return "Z:" + os.path.abspath(path)


class Recorder:
    """A running recorder; as a context, it ends with it, and has to end well."""

    def __init__(self, command, largest_file=None):
        """largest_file: no file of the program's may grow beyond so many bytes."""
        def limit():
            if largest_file is not None:
                resource.setrlimit(resource.RLIMIT_FSIZE, (largest_file, largest_file))
        # Python ignores the signal of a file that is too large; so does then the program, for which
        # the write just fails.
        self.process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, encoding="utf-8",
            preexec_fn=limit, restore_signals=False)

    def __enter__(self):
        return self

    def __exit__(self, kind, value, trace):
        self.process.stdin.close()
        self.process.stdout.read()
        self.process.stdout.close()
        result = self.process.wait(60)
        if kind is None and result != 0:
            raise AssertionError(f"the recorder ended with {result}")

    def do(self, command, *arguments):
        """Has a line done, and returns the answer's words after the first."""
        self.process.stdin.write(" ".join([command, *map(str, arguments)]) + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline().rstrip("\r\n")
        if not answer or answer == "unknown":
            raise AssertionError(f"to {command} {arguments} the recorder answers '{answer}'")
        return answer

    def open(self, path, code="MJPG", width=320, height=240, rate=25):
        """Returns whether it is open, and the name that the recorder tells."""
        answer, _, name = self.do(
            "open", "|".join(map(str, [windows(path), code, width, height, rate]))).partition(" ")
        return answer == "opened", name

    def due(self):
        return [int(word) for word in self.do("due").split()[1:]]

    def state(self):
        words = self.do("state").split()[1:]
        names = ["frames", "texts", "written", "handles", "reports"]
        return dict(zip(names, map(int, words[1:])), open=words[0] == "open")
