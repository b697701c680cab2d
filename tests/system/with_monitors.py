#!/usr/bin/env python3
"""Runs a command on a desktop of three monitors.

    with_monitors.py FOLDER -- COMMAND...

The desktop is that of an X server of its own, with a driver that shows nothing, and of a Windows
session of its own; FOLDER holds what they need and is kept, for a session is slow to set up. The
command finds in its environment OSTREL_MONITORS, the monitors' rectangles in desktop coordinates, the
primary one first: "left,top,right,bottom;...".
"""
import glob
import os
import signal
import subprocess
import sys
import time

WINE = "/usr/lib/wine/wine64"
SERVER = "/usr/lib/wine/wineserver64"

# Place and size of each monitor on the X server's screen, the primary one first. None of them starts
# where the primary one does, so that places left of it and above it come out negative.
MONITORS = [(640, 100, 800, 600), (0, 0, 640, 480), (1440, 0, 1024, 768)]

DEVICE = """
Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "AutoAddGPU" "false"
EndSection
Section "Device"
    Identifier "card"
    Driver "dummy"
    VideoRam 65536
{outputs}
EndSection
Section "Screen"
    Identifier "screen"
    Device "card"
    Monitor "monitor0"
    DefaultDepth 24
    SubSection "Display"
        Depth 24
        Virtual 3000 1000
    EndSubSection
EndSection
"""

MONITOR = """
Section "Monitor"
    Identifier "monitor{number}"
    HorizSync 5-1000
    VertRefresh 5-200
    Option "Enable" "true"
    Option "PreferredMode" "{width}x{height}"
    Option "Position" "{left} {top}"
    Option "Primary" "{primary}"
EndSection
"""


def configuration():
    outputs = "\n".join(f'    Option "Monitor-DUMMY{i}" "monitor{i}"' for i in range(len(MONITORS)))
    text = DEVICE.format(outputs=outputs)
    for number, (left, top, width, height) in enumerate(MONITORS):
        text += MONITOR.format(number=number, left=left, top=top, width=width, height=height,
                               primary="true" if number == 0 else "false")
    return text


def desktop_rectangles():
    origin_x, origin_y = MONITORS[0][:2]
    return ";".join(
        f"{left - origin_x},{top - origin_y},{left - origin_x + width},{top - origin_y + height}"
        for left, top, width, height in MONITORS)


def start_display(folder):
    """The X server, and the display's number, which it picks itself."""
    os.makedirs(f"{folder}/none", exist_ok=True)
    with open(f"{folder}/monitors.conf", "w") as file:
        file.write(configuration())
    reading, writing = os.pipe()
    with open(f"{folder}/xorg.out", "w") as out:
        display = subprocess.Popen(
            ["/usr/lib/xorg/Xorg", "-displayfd", str(writing), "-config", f"{folder}/monitors.conf",
             "-configdir", f"{folder}/none", "-logfile", f"{folder}/xorg.log", "-noreset",
             "-nolisten", "tcp"], pass_fds=[writing], stdout=out, stderr=out)
    os.close(writing)
    with os.fdopen(reading) as numbers:
        number = numbers.readline().strip()
    if not number:
        display.wait(20)
        raise SystemExit(f"no display: see {folder}/xorg.log")
    return display, f":{number}"


def start_session(folder, environment):
    """The Wine server, with the prefix ready."""
    prefix = f"{folder}/prefix"
    os.makedirs(prefix, exist_ok=True)
    server = subprocess.Popen([SERVER, "--foreground", "--persistent"], env=environment)
    try:
        status = os.stat(prefix)
        socket = f"/tmp/*wine-*/server-{status.st_dev:x}-{status.st_ino:x}/socket"
        deadline = time.monotonic() + 30
        while not glob.glob(socket):
            if time.monotonic() > deadline:
                raise SystemExit("the Wine server does not start")
            time.sleep(0.05)
        if not os.path.exists(f"{prefix}/.ready"):
            with open(f"{folder}/wineboot.log", "w") as log:
                subprocess.run([WINE, "wineboot.exe", "--init"], env=environment, stdout=log, stderr=log,
                               check=True)
            open(f"{prefix}/.ready", "w").close()
    except BaseException:
        server.send_signal(signal.SIGINT)
        server.wait(30)
        raise
    return server


def main():
    folder, separator, *command = sys.argv[1:]
    assert separator == "--" and command, __doc__
    folder = os.path.abspath(folder)
    os.makedirs(folder, exist_ok=True)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    display, name = start_display(folder)
    try:
        environment = dict(os.environ, DISPLAY=name, WINEPREFIX=f"{folder}/prefix", WINEDEBUG="-all",
                           WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d;winemenubuilder.exe=d", LANG="C.UTF-8",
                           OSTREL_MONITORS=desktop_rectangles())
        server = start_session(folder, environment)
        try:
            result = subprocess.run(command, env=environment).returncode
        finally:
            # Interrupted, the server ends all of its programs.
            server.send_signal(signal.SIGINT)
            server.wait(30)
    finally:
        display.terminate()
        display.wait(30)
    sys.exit(result)


main()
