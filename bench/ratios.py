#!/usr/bin/env python3
"""Prints the speed of the conversions beside the better of their peers.

usage: conversion_bench --benchmark_format=json | ratios.py

A machine is noisy, so only ratios within one run count: use repetitions and random interleaving
(--benchmark_repetitions=9 --benchmark_enable_random_interleaving=true); the median is taken.
"""
import json
import statistics
import sys

OURS = "ostrel"
PEERS = ("libyuv", "libswscale")


def speeds(report):
    """Pixels per second of every run, by conversion and implementation."""
    found = {}
    for run in report["benchmarks"]:
        if run.get("run_type") == "iteration":
            conversion, implementation = run["run_name"].split("/")[:2]
            by_implementation = found.setdefault(conversion, {})
            by_implementation.setdefault(implementation, []).append(run["items_per_second"])
    return found


def main():
    columns = (OURS, *PEERS, "ostrel-avx2", "ostrel-sse2", "ostrel-scalar")
    print("Gigapixels per second, 1920x1080, one thread; the ratio is to the better peer")
    print(f"{'':12}" + "".join(f"{name:>15}" for name in columns) + f"{'ratio':>9}")
    for conversion, runs in speeds(json.load(sys.stdin)).items():
        medians = {name: statistics.median(values) for name, values in runs.items()}
        cells = "".join(
            f"{medians[name] / 1e9:15.2f}" if name in medians else f"{'-':>15}" for name in columns)
        best_peer = max((medians[name] for name in PEERS if name in medians), default=None)
        ratio = f"{medians[OURS] / best_peer:9.2f}" if best_peer and OURS in medians else f"{'-':>9}"
        print(f"{conversion:12}{cells}{ratio}")


if __name__ == "__main__":
    main()
