#!/usr/bin/env python3
"""Has a Windows program convert times of real zones, beside the zone database of this machine.

usage: time_zone_system_test.py FOLDER COMMAND...

FOLDER is made anew. For each zone and year, the two changes are looked up in the database and
written down as rules; then what every hour, every local time and every day of that year comes to.
The command finds the file in its environment as OSTREL_ZONES, and runs in the zone of Berlin.
"""
import os
import shutil
import struct
import subprocess
import sys
from datetime import datetime, timedelta, timezone
from zoneinfo import ZoneInfo

UTC = timezone.utc
HOUR = timedelta(hours=1)
NEAR_MINUTES = [15, 29, 30, 45, 59]

# Each with what is special about it.
ZONES = [
    ("Europe/Berlin", (2021, 2022, 2023)),
    ("Europe/London", (2021, 2022, 2023)),
    ("Atlantic/Azores", (2021, 2022, 2023)),      # from 0:00, and back at 1:00 to 0:00
    ("America/New_York", (2021, 2022, 2023)),
    ("America/St_Johns", (2021, 2022, 2023)),     # 3:30 behind
    ("America/Havana", (2021, 2022, 2023)),       # from 0:00
    ("America/Asuncion", (2020, 2021, 2022)),     # south, both at 0:00
    ("America/Santiago", (2019, 2020, 2021)),     # south, both at 24:00
    ("Australia/Sydney", (2021, 2022, 2023)),     # south
    ("Australia/Adelaide", (2021, 2022, 2023)),   # south, 9:30 ahead
    ("Australia/Lord_Howe", (2021, 2022, 2023)),  # south, by half an hour
    ("Pacific/Auckland", (2021, 2022, 2023)),     # south
    ("Pacific/Chatham", (2021, 2022, 2023)),      # south, 12:45 ahead, at 2:45
    ("Asia/Tehran", (2019, 2020, 2021)),          # 3:30 ahead, both at 24:00
    ("Africa/Cairo", (2023, 2024, 2025)),         # on Fridays, from 0:00, and back at 24:00
    ("Antarctica/Troll", (2021, 2022, 2023)),     # by two hours
    ("Asia/Kolkata", (2021, 2022, 2023)),         # never, 5:30 ahead
    ("Asia/Kathmandu", (2021, 2022, 2023)),       # never, 5:45 ahead
    ("Asia/Tokyo", (2021, 2022, 2023)),           # never
    ("Pacific/Kiritimati", (2021, 2022, 2023)),   # never, 14 hours ahead
    ("Pacific/Pago_Pago", (2021, 2022, 2023)),    # never, 11 hours behind
]


def offset(zone, utc):
    return utc.astimezone(zone).utcoffset()


def changes(zone, year):
    """(UTC, offset before, offset after) of the changes in a local year."""
    found = []
    time = datetime(year, 1, 1, tzinfo=zone).astimezone(UTC)
    end = datetime(year + 1, 1, 1, tzinfo=zone).astimezone(UTC)
    while time < end:
        low, high = time, time + HOUR * 6
        if offset(zone, low) != offset(zone, high):
            while high - low > timedelta(seconds=1):
                middle = low + (high - low) // 2
                middle = middle.replace(microsecond=0)
                if offset(zone, middle) == offset(zone, low):
                    low = middle
                else:
                    high = middle
            found.append((high, offset(zone, low), offset(zone, high)))
        time += HOUR * 6
    return found


def system_time(time):
    return struct.pack("<8H", time.year, time.month, (time.weekday() + 1) % 7, time.day, time.hour,
                       time.minute, time.second, 0)


def rule(change, is_early):
    """The rule of a change, in the local time that ends with it; midnight may also be said to be
    the last millisecond of the day before."""
    utc, before, _ = change
    local = (utc + before).replace(tzinfo=None)
    milliseconds = 0
    if is_early and (local.hour, local.minute) == (0, 0):
        local -= timedelta(seconds=1)
        milliseconds = 999
    week = (local.day - 1) // 7 + 1
    return struct.pack("<8H", 0, local.month, (local.weekday() + 1) % 7, week, local.hour,
                       local.minute, local.second, milliseconds)


def value(utc):
    return int(utc.timestamp()) * 1000


def later(zone, utc, local):
    """What the flag makes of a conversion: one hour on, if the hour number is the same."""
    candidate = utc + HOUR
    return candidate if candidate.astimezone(zone).hour == local.hour else utc


def is_told(local, is_early):
    """Wine 8 compares a time with a rule by whole minutes: what is to change in the last millisecond
    before midnight changes at 23:59:00 there. So that minute is left out; the program compares it
    with the platform itself."""
    return not is_early or local.minute != 59


def samples(year, near):
    """Local times of a year: every hour, and some minutes near a change."""
    time = datetime(year, 1, 1)
    while time.year == year:
        yield time
        if any(abs(time - other) < timedelta(days=1) for other in near):
            for minute in NEAR_MINUTES:
                yield time.replace(minute=minute)
        time += HOUR


def local_times(zone, year, near, saves, is_early):
    records = []
    for local in samples(year, near):
        if not is_told(local, is_early):
            continue
        first = local.replace(tzinfo=zone, fold=0).astimezone(UTC)
        second = local.replace(tzinfo=zone, fold=1).astimezone(UTC)
        is_missing = first.astimezone(zone).replace(tzinfo=None) != local
        flagged = later(zone, first, local) if saves else first
        if saves == HOUR and not is_missing:
            assert flagged == second, local
        if is_missing:
            flagged = second
        records.append(system_time(local) +
                       struct.pack("<QQQ", is_missing, value(first), value(flagged)))
    return records


def utc_times(zone, year, near, is_early):
    records = []
    time = datetime(year, 1, 1, tzinfo=zone).astimezone(UTC).replace(minute=0)
    end = datetime(year + 1, 1, 1, tzinfo=zone).astimezone(UTC)
    while time < end:
        minutes = [0]
        if any(abs(time - other) < timedelta(days=1) for other in near):
            minutes += NEAR_MINUTES
        for minute in minutes:
            utc = time.replace(minute=minute)
            local = utc.astimezone(zone)
            if local.year == year and is_told(local, is_early):
                records.append(struct.pack("<Q", value(utc)) + system_time(local))
        time += HOUR
    return records


def days(zone, year):
    records = []
    date = datetime(year, 1, 1)
    # The last day of the year ends by the rules of the next.
    while date < datetime(year, 12, 31):
        midnight = date.replace(tzinfo=zone).astimezone(UTC)
        hours, start, end = [], 0, 0
        time = midnight - HOUR
        for _ in range(26):
            local = time.astimezone(zone)
            # The first day begins by the rules of the year before.
            if local.date() == date.date():
                start = start or value(time)
                hours.append(local.hour)
            elif start:
                end = value(time)
                break
            time += HOUR
        records.append(system_time(date) + struct.pack("<QQQ", start, end, len(hours)) +
                       bytes(hours).ljust(32, b"\0"))
        date += timedelta(days=1)
    return records


def year_of(name, year, is_early):
    zone = ZoneInfo(name)
    found = changes(zone, year)
    assert len(found) in (0, 2), (name, year, found)
    if found:
        to_standard, to_daylight = sorted(found, key=lambda change: change[2] - change[1])
        standard, daylight = to_standard[2], to_daylight[2]
        assert to_standard[1] == daylight and to_daylight[1] == standard
        saves = daylight - standard
        rules = rule(to_daylight, is_early) + rule(to_standard, is_early)
    else:
        standard, saves = offset(zone, datetime(year, 1, 1, tzinfo=UTC)), timedelta(0)
        rules = bytes(32)
    near = [change[0] for change in found]
    near_local = [(utc + before).replace(tzinfo=None) for utc, before, _ in found]
    parts = (utc_times(zone, year, near, is_early),
             local_times(zone, year, near_local, saves, is_early), days(zone, year))
    bias = -int(standard.total_seconds()) // 60
    label = f"{name} {year}" + (" (changes before midnight)" if is_early else "")
    return (label.encode().ljust(64, b"\0") +
            struct.pack("<ii", bias, -int(saves.total_seconds()) // 60) + rules +
            struct.pack("<III", *(len(part) for part in parts)) + b"".join(map(b"".join, parts)))


def main():
    folder, command = sys.argv[1], sys.argv[2:]
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    path = os.path.join(folder, "zones.bin")
    with open(path, "wb") as file:
        for name, years in ZONES:
            for year in years:
                file.write(year_of(name, year, False))
        for name in ("America/Santiago", "America/Asuncion", "America/Havana", "Asia/Tehran"):
            file.write(year_of(name, 2020, True))
    environment = dict(os.environ, OSTREL_ZONES="Z:" + os.path.abspath(path), TZ="Europe/Berlin")
    return subprocess.run(command, env=environment).returncode


if __name__ == "__main__":
    sys.exit(main())
