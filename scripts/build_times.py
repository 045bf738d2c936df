#!/usr/bin/env python3
"""Prints the slowest steps of a build from ninja's log: build_times.py FILE [COUNT]"""
import sys


def steps_of_log(path):
    """The last run of each output, as (seconds, output); outputs of one command count once."""
    last = {}
    with open(path, encoding="utf-8") as log:
        for line in log:
            if line.startswith("#"):
                continue
            start, end, _, output, command = line.rstrip("\n").split("\t")
            last[output] = (int(start), int(end), command)
    commands = {}
    for output, (start, end, command) in last.items():
        commands.setdefault((start, end, command), output)
    return [((end - start) / 1000, output) for (start, end, _), output in commands.items()]


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 15
    try:
        steps = steps_of_log(sys.argv[1])
    except OSError as error:
        sys.exit(f"error: {error}\n       mend it with: scripts/build")
    print(f"{sum(seconds for seconds, _ in steps):8.1f} s in all, {len(steps)} steps; the slowest:")
    for seconds, output in sorted(steps, reverse=True)[:count]:
        print(f"{seconds:8.1f} s  {output}")


if __name__ == "__main__":
    main()
