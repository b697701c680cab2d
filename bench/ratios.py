#!/usr/bin/env python3
"""Prints the speed of the conversions beside the better of their peers, and writes it down in
docs/performance.md with docs/performance.svg.

usage: ratios.py [REPORT.json]    (the report of conversion_bench --benchmark_format=json, or stdin)

A machine is noisy, so only ratios within one run count; the benchmark runs everything several times
in a random order, and the median is taken.
"""
import json
import pathlib
import re
import statistics
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
OURS = "ostrel"
PEERS = ("libyuv", "libswscale")
YARDSTICKS = ("memcpy", "memset")
USUAL = "1920x1080"
SMALLEST = "16x2"

# How many times as fast as the better peer each conversion is meant to be.
AIMS = {
    "Yv12ToRgb24": 2.5,
    "Yv12ToRgb32": 2.0,
    "Yuv420ToArgb8888": 2.0,
    "Yv12ToYuy2": 1.5,
    "Yv12ToUyvy": 1.5,
    "Rgb24ToYv12": 1.5,
    "Rgb32ToYv12": 1.2,
    "Yuy2ToYv12": 1.5,
}

INTRODUCTION = """\
# How fast the conversions are

Written by `./run bench`; do not edit. The colour conversions run beside
[libyuv](https://chromium.googlesource.com/libyuv/libyuv/) and libswscale (`SWS_POINT`) in one
process, on one thread, over the same pictures of random bytes. Buffers are what `std::vector`
returns, aligned to no more than 16 bytes. Every figure is a median, in gigapixels per second, and
only the ratios mean something: they are to the better of the two peers.

Three things to know about the comparison:

- The peers' arithmetic is not ours bit by bit, so this compares speeds, not results.
- `Yv12ToYuy2` and `Yv12ToUyvy` lay packed rows half of their length apart, so half of what is
  converted is written over at once. Ours leaves that half out, with the same bytes as a result. The
  peers write the whole picture, twice as many bytes.
- memset only writes as many bytes as the conversion puts out, memcpy reads as many besides; both in
  pixels of the picture per second. No conversion can pass memset by much. One that reads less than
  it writes can pass memcpy.
"""

# What was found when these were looked into, true whichever of them a run names.
REASONS = """\
Why these are hard to reach:

- A picture larger than the last-level cache is bound by memory. A YV12 picture to 32 bits moves 5.5
  bytes per pixel, to 24 bits 4.5. Such pictures are stored past the caches, so that no line is read
  just to be overwritten, but the peers' arithmetic is not much slower than memory either.
- YUY2 to YV12 has next to no arithmetic: two averages and three permutations for 64 pixels. All
  implementations move the same 3.5 bytes per pixel, and the caches set the pace.
"""


def medians(report):
    """Median pixels per second by size, conversion and implementation."""
    runs = {}
    for run in report["benchmarks"]:
        if run.get("run_type") == "iteration":
            conversion, size, implementation = run["run_name"].split("/")[:3]
            key = (size, conversion, implementation)
            runs.setdefault(key, []).append(run["items_per_second"])
    found = {}
    for (size, conversion, implementation), values in runs.items():
        by_conversion = found.setdefault(size, {})
        by_conversion.setdefault(conversion, {})[implementation] = statistics.median(values)
    return found


def ordered(conversions):
    return [name for name in AIMS if name in conversions]


def area(size):
    width, height = size.split("x")
    return int(width) * int(height)


def ratio(speeds, ours=OURS, peers=PEERS):
    best = max((speeds[name] for name in peers if name in speeds), default=None)
    return speeds[ours] / best if best and ours in speeds else None


def giga(speeds, name):
    if name not in speeds:
        return "-"
    value = speeds[name] / 1e9
    return f"{value:.2f}" if value < 10 else f"{value:.1f}"


def times(value):
    return f"{value:.2f}" if value else "-"


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|---" + "|---:" * (len(header) - 1) + "|"]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def against_peers(conversions):
    rows = []
    for name in ordered(conversions):
        speeds = conversions[name]
        reached = ratio(speeds)
        verdict = "yes" if reached and reached >= AIMS[name] else "**no**"
        rows.append([name, *(giga(speeds, column) for column in (OURS, *PEERS, *YARDSTICKS)),
                     times(reached), f"{AIMS[name]:.1f}", verdict])
    return table(["", OURS, *PEERS, *YARDSTICKS, "ratio", "aim", "reached"], rows)


def missed_aims(found, sizes):
    missed = []
    for size in sizes:
        for name in ordered(found[size]):
            reached = ratio(found[size][name])
            if reached and reached < AIMS[name]:
                missed.append(f"- `{name}` at {size}: {reached:.2f} instead of {AIMS[name]:.1f}")
    return missed


def by_instruction_set(conversions):
    columns = ("ostrel-scalar", "ostrel-sse2", "ostrel-avx2", "ostrel-avx512")
    rows = [[name, *(giga(conversions[name], column) for column in columns)]
            for name in ordered(conversions)]
    return table(["", *columns], rows)


def sse2_alone(conversions):
    columns = ("ostrel-sse2", "libyuv-sse2", "libswscale-sse2")
    rows = [[name, *(giga(conversions[name], column) for column in columns),
             times(ratio(conversions[name], columns[0], columns[1:]))]
            for name in ordered(conversions)]
    return table(["", *columns, "ratio"], rows)


def cost_of_calls(found, sizes):
    rows = []
    for name in ordered(found[SMALLEST]):
        smallest = found[SMALLEST][name]
        call = [f"{area(SMALLEST) / smallest[who] * 1e9:.0f} ns" if who in smallest else "-"
                for who in (OURS, "libyuv")]
        growth = []
        for size in sizes:
            speed = found[size].get(name, {}).get(OURS)
            growth.append(f"{1e12 / speed:.0f} ps" if speed else "-")
        rows.append([name, *call, *growth])
    return table(["", "ostrel, 16x2", "libyuv, 16x2", *(f"per pixel, {size}" for size in sizes)],
                 rows)


def machine(context):
    model = "unknown processor"
    cpuinfo = pathlib.Path("/proc/cpuinfo")
    if cpuinfo.exists():
        text = cpuinfo.read_text()
        found = re.search(r"^model name\s*:\s*(.*)$", text, re.M)
        model = found.group(1) if found else model
        if "avx512_vnni" in text and "avx512_vbmi" in text:
            model += " with AVX-512 (VBMI, VNNI)"
    caches = ", ".join(f"L{cache['level']} {cache['type'].lower()} {cache['size'] // 1024} KiB"
                       for cache in context.get("caches", []))
    return (f"{model}, {context['num_cpus']} processors seen; {caches}; load average at the start "
            f"{context.get('load_avg', ['?'])[0]}; {context['date'][:10]}")


def draw_bars(found, sizes):
    """Ratios as bars, one group for each conversion and one shade for each size."""
    shades = ("#9ec5e8", "#3f7fbf", "#123f6d")
    bar, gap, left, scale = 12, 14, 150, 120
    names = ordered(found[sizes[0]])
    group = bar * len(sizes) + gap
    top, width = 60, left + int(4.6 * scale) + 50
    height = top + group * len(names) + 10
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           'font-family="sans-serif" font-size="11">',
           f'<rect width="{width}" height="{height}" fill="white"/>',
           '<text x="8" y="16" font-size="13">Times as fast as the better of libyuv and libswscale'
           '</text>']
    for i, size in enumerate(sizes):
        x = left + 110 * i
        out.append(f'<rect x="{x}" y="24" width="10" height="10" fill="{shades[i]}"/>'
                   f'<text x="{x + 15}" y="33">{size}</text>')
    out.append(f'<path d="M{left + 335} 22v14" stroke="#c03" stroke-width="2"/>'
               f'<text x="{left + 342}" y="33">aim</text>')
    for times_as_fast in range(5):
        x = left + times_as_fast * scale
        out.append(f'<path d="M{x} {top - 4}V{height - 8}" '
                   f'stroke="{"#555" if times_as_fast == 1 else "#ddd"}"/>'
                   f'<text x="{x}" y="{top - 6}" text-anchor="middle" fill="#777">'
                   f'{times_as_fast}</text>')
    for row, name in enumerate(names):
        y = top + row * group
        out.append(f'<text x="{left - 8}" y="{y + bar * len(sizes) / 2 + 4:.0f}" '
                   f'text-anchor="end">{name}</text>')
        for i, size in enumerate(sizes):
            value = ratio(found[size].get(name, {})) or 0
            length = min(value, 4.6) * scale
            out.append(f'<rect x="{left}" y="{y + bar * i}" width="{length:.0f}" '
                       f'height="{bar - 1}" fill="{shades[i % len(shades)]}"/>'
                       f'<text x="{left + length + 4:.0f}" y="{y + bar * i + 10}">{value:.2f}'
                       '</text>')
        x = left + AIMS[name] * scale
        out.append(f'<path d="M{x:.0f} {y - 2}v{bar * len(sizes) + 3}" stroke="#c03" '
                   'stroke-width="2"/>')
    return "\n".join([*out, "</svg>"]) + "\n"


def describe(report, found, sizes):
    parts = [INTRODUCTION, f"Machine: {machine(report['context'])}.\n",
             "![Ratios to the better peer](performance.svg)\n"]
    for size in sizes:
        parts += [f"## {size}\n", against_peers(found[size])]
    missed = missed_aims(found, sizes)
    parts += ["## Aims that are not reached\n",
              "\n".join(missed) + "\n" if missed else "In this run: none.\n"]
    if missed:
        parts.append(REASONS)
    if any("ostrel-sse2" in speeds for speeds in found.get(USUAL, {}).values()):
        parts += [f"## SSE2 alone, {USUAL}\n",
                  "All are kept from using anything newer.\n", sse2_alone(found[USUAL]),
                  f"## By instruction set, {USUAL}\n", by_instruction_set(found[USUAL])]
    if SMALLEST in found:
        parts += ["## The cost of a call, and growth with size\n",
                  f"{SMALLEST} is the least that is converted. The time per pixel stays within a "
                  "small factor over the sizes, so the time of a call grows in proportion to the "
                  "pixels; it rises where a picture outgrows a cache.\n",
                  cost_of_calls(found, sizes)]
    return "\n".join(parts)


def main():
    with open(sys.argv[1]) if len(sys.argv) > 1 else sys.stdin as source:
        report = json.load(source)
    found = medians(report)
    sizes = sorted((size for size in found if size != SMALLEST), key=area)
    text = describe(report, found, sizes)
    (DOCS / "performance.md").write_text(text)
    (DOCS / "performance.svg").write_text(draw_bars(found, sizes))
    print(text[text.index("## "):])
    print(f"Written to {DOCS / 'performance.md'}")


if __name__ == "__main__":
    main()
