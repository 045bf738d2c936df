#!/usr/bin/env python3
"""Compiles the library's files with clang's lock analysis: thread_safety.py COMPILE_COMMANDS.json [JOBS]"""
import concurrent.futures
import json
import shlex
import subprocess
import sys

ROOMS = ("/SideChannelZelvar/src/", "/ZelvarLibrary/src/", "/Combiner/src/")


def analyse(entry):
    """clang's findings on one file; empty when there are none."""
    words = shlex.split(entry["command"])
    while not words[0].endswith(("++", "g++-12", "clang++-14")):
        words.pop(0)  # ccache
    kept = [w for w in words[1:] if w.startswith(("-I", "-D", "-std", "-isystem", "-include"))]
    command = ["clang++", "-fsyntax-only", "-Wthread-safety", "-Werror=thread-safety", *kept, entry["file"]]
    run = subprocess.run(command, cwd=entry["directory"], capture_output=True, text=True)
    return run.stderr if run.returncode else ""


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8") as file:
        entries = [e for e in json.load(file) if any(room in e["file"] for room in ROOMS)]
    if not entries:
        sys.exit("error: the build compiles no file of the library")
    jobs = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        findings = [found for found in pool.map(analyse, entries) if found]
    print("".join(findings), end="")
    print(f"{len(entries)} files, {len(findings)} with findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
