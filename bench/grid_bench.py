#!/usr/bin/env python3
"""Four cameras in one window: live_view beside ffplay.

    grid_bench.py FOLDER SECONDS COMMAND...

FOLDER is made anew. COMMAND starts live_view; nginx serves its cameras' picture (see with_nginx.py).
ffplay shows four Motion JPEG files of 25 pictures a second in a window of the same size. Told are the
pictures that live_view drew and dropped, and what each program, the display server and the Wine server
took of the processor, in percent of one core.
"""
import os
import re
import shutil
import subprocess
import sys
import time

PANES = 4
SIZE = "640x480"


def processor_seconds(name):
    """Of all processes of this name on this machine."""
    total = 0
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
                stat = file.read()
        except OSError:
            continue
        if stat[stat.index("(") + 1:stat.rindex(")")] == name:
            fields = stat[stat.rindex(")") + 2:].split()
            total += int(fields[11]) + int(fields[12])
    return total / os.sysconf("SC_CLK_TCK")


def measure(command, environment=None):
    """Runs the command; tells percents of one core: its own, the display's, the Wine server's."""
    servers = ["Xvfb", "wineserver64"]
    before = [processor_seconds(name) for name in servers]
    start = time.monotonic()
    program = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    try:
        _, status, usage = os.wait4(program.pid, 0)
        program.returncode = os.waitstatus_to_exitcode(status)
    except BaseException:
        program.kill()
        raise
    elapsed = time.monotonic() - start
    if program.returncode != 0:
        sys.exit(f"{command[0]} ended with {program.returncode}")
    own = usage.ru_utime + usage.ru_stime
    used = [own] + [processor_seconds(name) - old for name, old in zip(servers, before)]
    return [100 * part / elapsed for part in used]


def report(name, shares):
    own, display, wine = shares
    print(f"{name}: {own:.0f} % of one core, {own / PANES:.1f} % per pane; display server "
          f"{display:.0f} %, Wine server {wine:.0f} %")


def live_view(folder, seconds, command):
    cameras = "".join(
        f'<Camera{i} name="Camera {i}" host="127.0.0.1" port="{os.environ["OSTREL_HTTP_PORT"]}" '
        f'path="open/{SIZE}.jpg"/>' for i in range(1, PANES + 1))
    with open(f"{folder}/cameras.xml", "w", encoding="utf-8") as file:
        file.write(f"<live_view><Cameras>{cameras}</Cameras></live_view>")
    for path in ("DirectDraw", "GDI"):
        shares = measure(
            [*command, "--grid", "2x2", "--seconds", str(seconds), "--sound",
             "--cameras", f"Z:{folder}/cameras.xml", "--summary", f"Z:{folder}/{path}.txt",
             *(["--gdi"] if path == "GDI" else [])])
        with open(f"{folder}/{path}.txt", encoding="utf-8") as file:
            summary = file.read()
        drawn = re.findall(r"frames drawn: (\d+)", summary)
        dropped = re.findall(r"pictures dropped: (\d+)", summary)
        print(f"live_view, {path}, {seconds} s at 25 pictures/s: drawn {', '.join(drawn)}; "
              f"dropped {', '.join(dropped)}")
        report(f"live_view, {path}", shares)


def ffplay(folder, seconds):
    video = f"{folder}/camera.avi"
    subprocess.run(["ffmpeg", "-v", "error", "-loop", "1", "-framerate", "25", "-i",
                    f"{os.environ['OSTREL_HTTP_ROOT']}/{SIZE}.jpg", "-t", str(seconds),
                    "-c:v", "copy", video], check=True)
    # Cells of 480x300, as in live_view's window of 960x600.
    graph = "".join(f"movie={video},scale=400:300,pad=480:300:40:0[c{i}];" for i in range(PANES))
    graph += "".join(f"[c{i}]" for i in range(PANES))
    graph += f"xstack=inputs={PANES}:layout=0_0|w0_0|0_h0|w0_h0"
    environment = dict(os.environ, SDL_AUDIODRIVER="dummy")
    report("ffplay", measure(["ffplay", "-v", "error", "-autoexit", "-f", "lavfi", "-i", graph],
                             environment))


def main():
    folder, seconds, command = os.path.abspath(sys.argv[1]), int(sys.argv[2]), sys.argv[3:]
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    live_view(folder, seconds, command)
    ffplay(folder, seconds)


if __name__ == "__main__":
    main()
