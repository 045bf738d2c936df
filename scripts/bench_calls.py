#!/usr/bin/env python3
"""Times single OpenGL ES calls on four roads and prints them side by side: bench_calls.py BUILD_FOLDER [CALL...]

The roads take turns, so that a busy moment of the machine hits them alike, and of each figure the fastest counts.
"""
import os
import pathlib
import re
import subprocess
import sys
import time

TURNS = 3
PATIENCE = 120  # seconds
# Mesa's client knows no other place.
VIRGL_SOCKET = pathlib.Path("/tmp/.virgl_test")
SURFACELESS = {"EGL_PLATFORM": "surfaceless"}
VIRGL_CLIENT = {**SURFACELESS, "GALLIUM_DRIVER": "virpipe", "LIBGL_ALWAYS_SOFTWARE": "1"}
VIRGL_SERVER = ["virgl_test_server", "--use-egl-surfaceless", "--use-gles", "--no-fork"]


def run_direct(application):
    return run(application, SURFACELESS)


def run_as_target(application, folder, batched):
    settings = (f"batchCommands {batched}", "directTargetMemoryReads 1", "directTargetMemoryWrites 1")
    options = [word for setting in settings for word in ("--set", setting)]
    return run([folder / "bin" / "zelvar-sim", *options, "--", *application], {})


def run_over_virgl(application):
    """The server takes one client and ends with it."""
    if VIRGL_SOCKET.exists():
        sys.exit(f"error: {VIRGL_SOCKET} is there: another virgl server runs, or has left it")
    server = subprocess.Popen(VIRGL_SERVER, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        deadline = time.monotonic() + 10
        while not VIRGL_SOCKET.exists():
            if time.monotonic() > deadline or server.poll() is not None:
                sys.exit("error: the virgl server doesn't come up")
            time.sleep(0.05)
        return run(application, VIRGL_CLIENT)
    finally:
        server.kill()
        server.wait()
        VIRGL_SOCKET.unlink(missing_ok=True)


def run(command, environment):
    """{call: nanoseconds} that the application prints."""
    done = subprocess.run(command, env={**os.environ, **environment}, capture_output=True, text=True, check=False,
                          timeout=PATIENCE)
    if done.returncode != 0:
        sys.exit(f"error: {' '.join(map(str, command))} ended with status {done.returncode}:\n{done.stderr}")
    for line in done.stderr.splitlines():
        if "gives error" in line or "isn't built yet" in line:
            print(f"warning: {line}")
    return {name: float(figure) for name, figure in re.findall(r"^(\w+) ([0-9.]+)$", done.stdout, re.MULTILINE)}


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    application = [folder / "bin" / "gles_calls", *sys.argv[2:]]
    roads = {
        "direct": lambda: run_direct(application),
        "batched": lambda: run_as_target(application, folder, 1),
        "unbatched": lambda: run_as_target(application, folder, 0),
        "virgl": lambda: run_over_virgl(application),
    }
    best = {road: {} for road in roads}
    for _ in range(TURNS):
        for road, measure in roads.items():
            for call, figure in measure().items():
                best[road][call] = min(figure, best[road].get(call, figure))
    print(f"{'ns per call':20}{'direct':>10}" + "".join(f"{road:>12}{'ratio':>9}" for road in list(roads)[1:]))
    for call, direct in best["direct"].items():
        cells = [f"{best[road][call]:12.0f}{best[road][call] / max(direct, 1):9.1f}" for road in list(roads)[1:]]
        print(f"{call:20}{direct:10.0f}" + "".join(cells))


if __name__ == "__main__":
    main()
