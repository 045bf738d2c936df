#!/usr/bin/env python3
"""Prints the results of benchmark programs beside their limits: bench_table.py RESULT.json...

A benchmark that is held to a limit has a counter `limit_X` (the most) or `least_X` (the least) for its counter `X`.
Exits with 1 when a figure is on the wrong side, or when a program or a benchmark failed.
"""
import json
import pathlib
import sys


def rows_of_benchmark(program, entry):
    """(name, figure, limit, share of the limit, verdict) for each limit, or one row of time without limits."""
    name = f"{program}/{entry['name']}"
    if entry.get("error_occurred"):
        return [(name, "-", "-", "-", "FAILED: " + entry.get("error_message", ""))]
    rows = []
    for counter, limit in entry.items():
        kind, _, key = counter.partition("_")
        if kind not in ("limit", "least") or not isinstance(limit, (int, float)):
            continue
        if not isinstance(entry.get(key), (int, float)):
            rows.append((name, "-", f"{limit:.6g}", "-", f"FAILED: there is no counter {key}"))
            continue
        figure = entry[key]
        good = figure <= limit if kind == "limit" else figure >= limit
        bound = ("<= " if kind == "limit" else ">= ") + f"{limit:.6g}"
        share = f"{figure / limit:.2f}" if limit else "-"
        rows.append((name, f"{figure:.6g} {key}", bound, share, "ok" if good else "OVER THE LIMIT"))
    if entry.get("label"):
        rows.append((name, entry["label"], "", "", ""))
    if not rows:
        rows.append((name, f"{entry['real_time']:.6g} {entry['time_unit']}", "", "", ""))
    return rows


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    rows = [("benchmark", "figure", "limit", "ratio", "verdict")]
    for path in map(pathlib.Path, sys.argv[1:]):
        text = path.read_text(encoding="utf-8")
        # A program whose benchmarks are all filtered out leaves an empty file.
        for entry in json.loads(text)["benchmarks"] if text.strip() else []:
            if entry.get("run_type") != "aggregate":
                rows += rows_of_benchmark(path.stem.removeprefix("bench_"), entry)
    if len(rows) == 1:
        sys.exit("error: no benchmark ran")
    widths = [max(len(row[i]) for row in rows) for i in range(5)]
    for row in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    return 1 if any(row[4] not in ("ok", "", "verdict") for row in rows) else 0


if __name__ == "__main__":
    sys.exit(main())
