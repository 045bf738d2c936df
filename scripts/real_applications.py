"""How real applications are run: straight on the host's driver, as targets of zelvar-sim, and through virgl."""
import contextlib
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

sdl_tests = pathlib.Path("/usr/libexec/installed-tests/SDL2")
# What zelvar-sim tells its host driver; a direct run to compare with has the same.
host_version = {"MESA_GLES_VERSION_OVERRIDE": "3.1"}
batched = ["batchCommands 1", "directTargetMemoryReads 1", "directTargetMemoryWrites 1"]
patience = 1200  # seconds for any one run


def missing(programs):
    """Names of what isn't installed."""
    return [program for program in programs if not shutil.which(program)]


def simulator(build, settings=(), options=()):
    """The front of a command line that makes the application behind it a target."""
    each = [word for setting in settings for word in ("--set", setting)]
    return [str(build / "bin" / "zelvar-sim"), *each, *options, "--"]


def with_output(command, path):
    """The command with its output in a file, apart from what a simulator in front of it prints."""
    return ["sh", "-c", 'exec "$@" >"$0" 2>&1', str(path), *map(str, command)]


@contextlib.contextmanager
def running(command, environment, log, front=()):
    """A process that is ended with the block. Its output is in `log`, that of a simulator beside it."""
    with open(log.with_suffix(".sim"), "w", encoding="utf-8") as around:
        process = subprocess.Popen([*front, *with_output(command, log)], env={**os.environ, **environment},
                                   stdout=around, stderr=subprocess.STDOUT)
        try:
            yield process
        finally:
            end(process)


def end(process):
    """Politely, then by force."""
    for number in (signal.SIGTERM, signal.SIGKILL):
        if process.poll() is None:
            process.send_signal(number)
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(15)
            return


def run(command, environment, log, front=()):
    """Runs to the end. Returns (exit status, output); the status is None for one that had to be ended."""
    with running(command, environment, log, front) as process:
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(patience)
        status = process.poll()
    return status, log.read_text(encoding="utf-8", errors="replace")


def glmark2_scenes(output):
    """(scene with its options, result) in the order of the run: a verdict, or frames a second."""
    line = re.compile(r"^\[(.*?)\] (.*): (?:Validation: (\w+)|FPS: \d+ FrameTime: ([\d.]+) ms)", re.MULTILINE)
    scenes = []
    for name, options, verdict, frame_time in line.findall(output):
        scenes.append((f"{name} {options}", verdict or 1000 / max(float(frame_time), 1e-3)))
    return scenes


@contextlib.contextmanager
def virgl_server(folder):
    """virgl's server, whose clients render with the host's driver behind a socket. Gives their environment."""
    # Mesa's client knows no other place.
    address = pathlib.Path("/tmp/.virgl_test")
    with contextlib.suppress(OSError), socket.socket(socket.AF_UNIX) as trial:
        trial.connect(str(address))
        raise RuntimeError(f"a server of somebody else listens at {address}")
    address.unlink(missing_ok=True)
    with open(folder / "virgl.log", "w", encoding="utf-8") as log:
        server = subprocess.Popen(["virgl_test_server", "--use-egl-surfaceless", "--use-gles"], stdout=log,
                                  stderr=subprocess.STDOUT)
    try:
        wait_until(address.exists, 10)
        yield {"GALLIUM_DRIVER": "virpipe"}
    finally:
        end(server)
        address.unlink(missing_ok=True)


def wait_until(condition, seconds):
    """Whether the condition has become true in time."""
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.05)
    return True


@contextlib.contextmanager
def work_folder(wish):
    """A folder for pictures and outputs: the one wished for, which stays, or one that goes with the block."""
    if wish:
        shutil.rmtree(wish, ignore_errors=True)
        wish.mkdir(parents=True)
        yield wish
    else:
        with tempfile.TemporaryDirectory(prefix="zelvar-applications-") as folder:
            yield pathlib.Path(folder)


def short(scene):
    """A scene's name without the options that all scenes of its kind share."""
    for common in (":columns=200", ":update-dispersion=0.9:update-fraction=0.5", "columns=200:", "blur-radius=5:"):
        scene = scene.replace(common, "")
    return scene[:70]


def print_table(rows):
    """Columns as wide as they need; the first row is the head."""
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    for row in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    sys.stdout.flush()
