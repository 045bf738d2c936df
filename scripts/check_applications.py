#!/usr/bin/env python3
"""Compares real applications on the host's driver with the same as targets: scripts/applications [--quick]

    --build DIR   where the programs are (default: build)
    --quick       a few scenes only
    --keep DIR    leave pictures and outputs in DIR/gles

Each scene of glmark2-es2 has the same verdict and draws the same first frame; es2_info tells the same but for what
is rightly the library's; frames of es2tri, es2gears_x11 and SDL's testgles2 are the same bit for bit; and the windows
of an X server show them. Exit status 1 when one differs, 77 when a program isn't installed.
"""
import argparse
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

import real_applications as real
from x_display import XDisplay

quick_scenes = ["build:use-vbo=false", "texture:texture-filter=mipmap", "bump:bump-render=normals", "shadow",
                "desktop:effect=blur:windows=2", "buffer:update-method=map", "loop:fragment-uniform=true"]
# A host config that both ways find, so that pictures don't differ by the depth buffer's bits.
plain_config = "red=8:green=8:blue=8:alpha=8:depth=24:stencil=8"
# es2tri and es2gears_x11 know no other.
size = (300, 300)
size_text = "300x300"

# Program, its arguments, and how many of its first frames don't depend on the time.
drawing_programs = [
    ("es2tri", [], 1),
    ("es2gears_x11", [], 1),
    (str(real.sdl_tests / "testgles2"), ["--geometry", size_text], 3),
    ("glmark2-es2", ["-s", size_text, "--visual-config", plain_config, "-b", "shading:duration=100"], 1),
]


class Check:
    """One run over everything. `failures` are sentences."""
    subject = "gles"

    def __init__(self, build, folder, quick):
        self.build, self.folder, self.quick = build, folder, quick
        self.failures = []

    def run(self):
        with XDisplay(800, 600) as display:
            self.verdicts(display)
            self.first_frames(display)
            self.information(display)
        for program in drawing_programs:
            self.drawing(*program)

    def expect(self, condition, failure):
        if not condition:
            self.failures.append(failure)
            print(f"FAILED: {failure}", flush=True)

    def scenes(self):
        return [word for scene in quick_scenes for word in ("-b", scene)] if self.quick else []

    def recorder(self, pictures):
        """Environment of a direct run that writes its frames."""
        pictures.mkdir()
        return {**real.host_version, "ZELVAR_FB": size_text, "ZELVAR_RECORD": str(pictures),
                "LD_PRELOAD": str(self.build / "lib" / "libdirect_record.so"), "SDL_OPENGL_ES_DRIVER": "1"}

    def compare(self, ours, hosts):
        """How many pictures of two folders are the same; zelvar-compare's words when not all are."""
        command = [self.build / "bin" / "zelvar-compare", "--differences", f"{ours}-differences", hosts, ours]
        compared = subprocess.run(command, capture_output=True, text=True, check=False)
        same = sum(int(number) for number in re.findall(r"^\S+ +(\d+) +\d+ +\d+$", compared.stdout, re.MULTILINE))
        return same, "" if compared.returncode == 0 else compared.stdout + compared.stderr

    def verdicts(self, display):
        command = ["glmark2-es2", "--validate", *self.scenes()]
        direct, target = (
            real.run(command, {"DISPLAY": display.name}, self.folder / f"validate-{name}.txt", front)
            for name, front in (("direct", ()), ("target", real.simulator(self.build))))
        self.expect(direct[0] == 0 and target[0] == 0, f"glmark2-es2 --validate ended with {direct[0]} and {target[0]}")
        ours = real.glmark2_scenes(target[1])
        hosts = real.glmark2_scenes(direct[1])
        rows = [("scene of glmark2-es2 --validate", "direct", "as a target", "")]
        for i, (scene, verdict) in enumerate(hosts):
            mine = ours[i][1] if i < len(ours) and ours[i][0] == scene else "missing"
            rows.append((real.short(scene), verdict, mine, "same" if mine == verdict else "DIFFERENT"))
        real.print_table(rows)
        self.expect(hosts and all(row[3] == "same" for row in rows[1:]) and len(ours) == len(hosts),
                    "verdicts of glmark2-es2 --validate differ")

    def first_frames(self, display):
        """The first frame of every scene, which no clock has moved yet; also what no verdict is given for."""
        command = ["glmark2-es2", "-s", size_text, "--visual-config", plain_config, "-b", ":nframes=1", *self.scenes()]
        hosts, ours = self.folder / "glmark2-direct", self.folder / "glmark2-target"
        real.run(command, {"DISPLAY": display.name, **self.recorder(hosts)}, self.folder / "frames-direct.txt")
        front = real.simulator(self.build, real.batched, ["--frames", str(ours)])
        _, output = real.run(command, {"DISPLAY": display.name}, self.folder / "frames-target.txt", front)
        same, difference = self.compare(ours, hosts)
        scenes = len(real.glmark2_scenes(output))
        print(f"\nglmark2-es2: the first frames of {same} of {scenes} scenes are identical")
        self.expect(scenes and same == scenes and not difference, f"first frames of glmark2-es2 differ: {difference}")

    def information(self, display):
        """What es2_info tells."""
        environment = {"DISPLAY": display.name, **real.host_version}
        direct, target = (parse_information(real.run(["es2_info"], environment, self.folder / f"info-{name}.txt", front)[1])
                          for name, front in (("direct", ()), ("target", real.simulator(self.build))))
        print("\nes2_info: the same but for")
        self.expect(len(direct) > 6 and direct.keys() == target.keys(), "es2_info has other items")
        for key, hosts in direct.items():
            ours = target.get(key, "")
            if ours == hosts:
                continue
            if key in ("EGL_EXTENSIONS", "GL_EXTENSIONS"):
                gone = set(hosts.split()) - set(ours.split())
                made_up = set(ours.split()) - set(hosts.split())
                print(f"  {key}: {len(gone)} fewer; the library reports those of the host that it knows itself")
                self.expect(ours and not made_up, f"es2_info: {key} are not the host's: {' '.join(made_up)}")
            else:
                self.expect(False, f"es2_info: {key} is '{ours}', the host's is '{hosts}'")

    def drawing(self, program, arguments, frames):
        """Frames of a program, and its window."""
        name = pathlib.Path(program).name
        hosts, ours = self.folder / f"{name}-direct", self.folder / f"{name}-target"
        ours.mkdir()
        command = [program, *arguments]
        with XDisplay(*size) as display:
            environment = {"DISPLAY": display.name, **self.recorder(hosts)}
            with real.running(command, environment, self.folder / f"{name}-direct.txt"):
                wait_for_frames(hosts, frames)
        with XDisplay(*size) as display:
            front = real.simulator(self.build, (), ["--frames", str(ours)])
            environment = {"DISPLAY": display.name}
            with real.running(command, environment, self.folder / f"{name}-target.txt", front):
                shown = wait_for_frames(ours, frames) and self.window_shows_frame(display, ours)
        for folder in (hosts, ours):
            for picture in numbered(folder)[frames:]:
                picture.unlink()
        same, difference = self.compare(ours, hosts)
        print(f"{name}: {same} of {frames} frames identical, the window shows {'a' if shown else 'NO'} frame")
        self.expect(same == frames and not difference, f"frames of {name} differ: {difference}")
        self.expect(shown, f"the window of {name} shows none of its last frames")

    def window_shows_frame(self, display, pictures):
        """Stops the application and looks for what the screen shows among the frames that came last."""
        seen = self.folder / "window"
        for attempt in range(10):
            target = int(re.search(r"_(\d+)_\d+$", numbered(pictures)[-1].stem)[1])
            os.kill(target, signal.SIGSTOP)
            time.sleep(0.5)  # until the X server and the writer of pictures have done what is under way
            last = numbered(pictures)[-4:]
            shutil.rmtree(seen, ignore_errors=True)
            (seen / "screen").mkdir(parents=True)
            display.grab(seen / "screen" / "x_1_0.png")
            os.kill(target, signal.SIGCONT)
            for i, picture in enumerate(last):
                (seen / str(i)).mkdir()
                shutil.copy(picture, seen / str(i) / "x_1_0.png")
                if self.compare(seen / "screen", seen / str(i))[0] == 1:
                    shutil.copy(picture, self.folder / f"{picture.stem.split('_')[0]}-window.png")
                    return True
            time.sleep(0.1 * attempt)  # stopped between two parts of a frame
        return False


def numbered(folder):
    """The pictures of one process in the order of their frames."""
    return sorted(folder.glob("*.png"), key=lambda path: int(path.stem.rpartition("_")[2]))


def wait_for_frames(folder, count):
    """Whether so many pictures came in time; they are whole then."""
    came = real.wait_until(lambda: len(numbered(folder)) >= count, 30)
    time.sleep(0.5)
    return came


def parse_information(text):
    """The items of es2_info: NAME: words, which may go on in indented lines."""
    items = {}
    for name, words in re.findall(r"^(E?GL_\w+):((?:.*\n?)(?:[ \t]+.*\n?)*)", text, re.MULTILINE):
        items[name] = " ".join(words.replace(",", " ").split())
    return items


def run_check(kind, usage, programs):
    """The exit status of a check of this kind, which needs these programs."""
    parser = argparse.ArgumentParser(usage=usage)
    parser.add_argument("--build", type=pathlib.Path, default=pathlib.Path(__file__).parent.parent / "build")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--keep", type=pathlib.Path)
    options = parser.parse_args()
    if missing := real.missing(programs):
        print("not installed: " + " ".join(missing))
        return 77
    with real.work_folder(options.keep and options.keep / kind.subject) as folder:
        check = kind(options.build.resolve(), folder, options.quick)
        check.run()
    print(f"\n{len(check.failures)} faults" if check.failures else "\nEverything is as on the host")
    return 1 if check.failures else 0


if __name__ == "__main__":
    sys.exit(run_check(Check, __doc__, ["Xvfb", "glmark2-es2", "es2_info", *(program for program, *_ in drawing_programs)]))
