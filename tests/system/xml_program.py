"""Runs scripts through xml_system_test.exe, and gives back what came out."""
import os
import shutil
import subprocess

ESCAPES = str.maketrans({"\\": "\\\\", "\t": "\\t", "\n": "\\n", "\r": "\\r"})
LETTERS = {"t": "\t", "n": "\n", "r": "\r", "\\": "\\"}


def unescape(text):
    pieces = text.split("\\")
    result, i = pieces[0], 1
    while i < len(pieces):
        if pieces[i]:
            result += LETTERS[pieces[i][0]] + pieces[i][1:]
            i += 1
        else:
            # An escaped backslash splits into an empty piece and what follows it.
            result += "\\" + (pieces[i + 1] if i + 1 < len(pieces) else "")
            i += 2
    return result


def windows(path):
    return "Z:" + path.replace("/", "\\")


class Program:
    def __init__(self, folder, command):
        self.folder = os.path.abspath(folder)
        self.command = command
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def start(self, name, script, results, environment):
        with open(self.path(name + ".messages"), "w", encoding="utf-8") as messages:
            return subprocess.run([*self.command, "Z:" + script, "Z:" + results], check=False,
                                  env=environment, stdout=subprocess.DEVNULL,
                                  stderr=messages).returncode

    def run(self, name, operations):
        """Each operation is a tuple of texts; so is each result. Fewer results: it ended early."""
        script, results = self.path(name + ".script"), self.path(name + ".results")
        with open(script, "w", encoding="utf-8", newline="") as file:
            for operation in operations:
                file.write("\t".join(field.translate(ESCAPES) for field in operation) + "\n")
        with open(results, "w", encoding="utf-8"):
            pass
        # Wine's msxml counts an expression's errors in the argument of a message: where that message
        # is turned off, or all are because they go to /dev/null, it follows a null pointer instead
        # of refusing the expression.
        environment = {**os.environ, "WINEDEBUG": "-all,fixme+msxml"}
        status = self.start(name, script, results, environment)
        if status == 0 and os.path.getsize(results) == 0:
            # Its main returns 1 when it has done nothing, and a crash has a status of its own: so
            # Wine ended the process before its main. Seen once in a session that had just begun.
            print(f"{name} did not get to its main; it is started again")
            status = self.start(name, script, results, environment)
        with open(results, encoding="utf-8", newline="") as file:
            lines = file.read().split("\n")[:-1]
        if len(lines) < len(operations):
            with open(self.path(name + ".messages"), encoding="utf-8", errors="replace") as file:
                print(*file.readlines()[-5:], f"{name} ended with {status}")
        return [tuple(unescape(field) for field in line.split("\t")) for line in lines]
