#!/usr/bin/env python3
"""Runs glmark2-es2 as a target for minutes and watches zelvar-sim's memory: scripts/applications --minutes N

    --build DIR   where the programs are (default: build)
    --scene S     as glmark2-es2 -b takes it, may be repeated (default: all of its scenes)
    --set SETTING more settings of the library

Samples the resident memory every 5 seconds until the application has had its scenes over and over, for so many minutes
at least, and ends by itself: only so does it take its contexts down. Exit status 1 when memory grew by more than a twentieth after the first minute, when frames didn't come,
or when the library still holds objects of the target.
"""
import argparse
import math
import pathlib
import re
import statistics
import sys
import time

import real_applications as real
from bench_applications import default_scenes
from x_display import XDisplay

interval = 5  # seconds
settling = 60
scene_seconds = 2  # short, so that contexts, programs and textures come and go often
most_growth = 1.05
# glmark2-es2 ends its display without destroying its last context and window, and the library keeps such for good.
left_by_application = {"contexts": 1, "surfaces": 1}


def resident_kilobytes(process):
    """Null when the process has gone."""
    try:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
    except OSError:
        return None
    found = re.search(r"^VmRSS:\s+(\d+) kB", status, re.MULTILINE)
    return int(found[1]) if found else None


def watch(process, limit):
    """(seconds, kilobytes) until the process has gone or the limit is over; prints every minute."""
    begin = time.monotonic()
    samples = []
    while (seconds := time.monotonic() - begin) < limit:
        resident = resident_kilobytes(process)
        if process.poll() is not None or resident is None:
            break
        samples.append((seconds, resident))
        if len(samples) % (60 // interval) == 1:
            print(f"{seconds:6.0f} s  {resident / 1024:8.1f} MB", flush=True)
        real.wait_until(lambda: process.poll() is not None, interval)
    return samples


def growth(samples):
    """Memory of the last quarter over that of the first quarter behind the settling time; None with too few."""
    settled = [resident for seconds, resident in samples if seconds >= settling]
    quarter = len(settled) // 4
    if quarter < 2:
        return None
    return statistics.median(settled[-quarter:]) / statistics.median(settled[:quarter])


def judge(samples, summary, status):
    """Sentences about what is wrong."""
    faults = []
    grown = growth(samples)
    if grown is None:
        faults.append("there are too few samples after the first minute")
    else:
        print(f"memory grew to {grown:.3f} of what it was after the first minute")
        if grown > most_growth:
            faults.append(f"memory grew to {grown:.3f}")
    frames = re.search(r"(\d+) frames \(", summary)
    if not frames or int(frames[1]) < 100:
        faults.append("hardly a frame came")
    left = re.search(r"left in the library: (.*)", summary)
    if not left:
        faults.append("zelvar-sim doesn't tell what is left in the library")
    elif any(int(count) > left_by_application.get(name, 0) for count, name in re.findall(r"(\d+) ([a-z ]+)", left[1])):
        faults.append(f"left in the library: {left[1]}")
    if status != 0:
        faults.append(f"zelvar-sim ended with {status}")
    return faults


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=pathlib.Path(__file__).parent.parent / "build")
    parser.add_argument("--minutes", type=float, default=20)
    parser.add_argument("--scene", action="append", default=[])
    parser.add_argument("--set", action="append", default=[])
    options = parser.parse_args()
    seconds = options.minutes * 60
    scenes = options.scene or default_scenes
    front = real.simulator(options.build.resolve(), real.batched + options.set, ["--stats"])
    with real.work_folder(None) as folder, XDisplay(320, 240) as display:
        rounds = math.ceil(seconds / scene_seconds / len(scenes))
        (folder / "scenes").write_text("\n".join(scenes * rounds) + "\n", encoding="utf-8")
        command = ["glmark2-es2", "-s", "320x240", "-b", f":duration={scene_seconds}", "-f", folder / "scenes"]
        log = folder / "glmark2.txt"
        with real.running(command, {"DISPLAY": display.name}, log, front) as process:
            samples = watch(process, 3 * seconds + 60)
            status = process.poll()
        summary = log.with_suffix(".sim").read_text(encoding="utf-8", errors="replace")
    print("\n".join(re.findall(r"^zelvar-sim: (?!\d+\.\d s,).*", summary, re.MULTILINE)))
    faults = judge(samples, summary, status)
    for fault in faults:
        print(f"FAILED: {fault}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
