#!/usr/bin/env python3
"""Times scenes of glmark2-es2 three ways: scripts/bench --applications [--duration SECONDS] [--size WxH] [--scene SCENE]...

Straight on the host's driver, as a target of zelvar-sim, and through virgl, each scene three ways by turns so that a
machine that slows down slows all of them; the median of each way counts. A scene fails when it is below 0.85 of the direct score, or not ahead of
virgl's. Exit status 1 when one fails.

    --duration S   seconds for each scene, way and turn (default 2)
    --turns N      default 3
    --size WxH     may be repeated (default 320x240 and 800x600)
    --scene S      as glmark2-es2 -b takes it, may be repeated (default: those of glmark2-es2)
    --set SETTING  more settings of the library
    --without-virgl
    --build DIR
"""
import argparse
import contextlib
import pathlib
import statistics
import sys

import real_applications as real
from x_display import XDisplay

least_ratio = 0.85
default_scenes = [
    "build:use-vbo=false", "build:use-vbo=true", "texture:texture-filter=nearest", "texture:texture-filter=linear",
    "texture:texture-filter=mipmap", "shading:shading=gouraud", "shading:shading=blinn-phong-inf",
    "shading:shading=phong", "shading:shading=cel", "bump:bump-render=high-poly", "bump:bump-render=normals",
    "bump:bump-render=height", "effect2d:kernel=0,1,0;1,-4,1;0,1,0;", "effect2d:kernel=1,1,1,1,1;1,1,1,1,1;1,1,1,1,1;",
    "pulsar:light=false:quads=5:texture=false", "desktop:blur-radius=5:effect=blur:passes=1:separable=true:windows=4",
    "desktop:effect=shadow:windows=4",
    "buffer:columns=200:interleave=false:update-dispersion=0.9:update-fraction=0.5:update-method=map",
    "buffer:columns=200:interleave=false:update-dispersion=0.9:update-fraction=0.5:update-method=subdata",
    "buffer:columns=200:interleave=true:update-dispersion=0.9:update-fraction=0.5:update-method=map",
    "ideas:speed=duration", "jellyfish", "terrain", "shadow", "refract", "conditionals:fragment-steps=0:vertex-steps=0",
    "conditionals:fragment-steps=5:vertex-steps=0", "conditionals:fragment-steps=0:vertex-steps=5",
    "function:fragment-complexity=low:fragment-steps=5", "function:fragment-complexity=medium:fragment-steps=5",
    "loop:fragment-loop=false:fragment-steps=5:vertex-steps=5", "loop:fragment-steps=5:fragment-uniform=false:vertex-steps=5",
    "loop:fragment-steps=5:fragment-uniform=true:vertex-steps=5",
]


def score(scene, size, duration, environment, folder, front=()):
    """Frames a second of one scene, 0 when it failed."""
    command = ["glmark2-es2", "-s", size, "-b", f"{scene}:duration={duration}"]
    status, output = real.run(command, environment, folder / "glmark2.txt", front)
    scenes = real.glmark2_scenes(output)
    return scenes[0][1] if status == 0 and len(scenes) == 1 else 0.0


def verdict(direct, ours, virgl):
    """Empty when all is well."""
    faults = ["DIDN'T RUN"] if not direct or not ours or virgl == 0 else []
    if ours < least_ratio * direct:
        faults.append(f"BELOW {least_ratio}")
    if virgl is not None and ours <= virgl:
        faults.append("BEHIND virgl")
    return ", ".join(faults)


def ratio(value, direct):
    return f"{value / direct:.2f}" if direct else "-"


def bench_size(size, options, folder, virgl):
    """Prints the table of one size; returns how many scenes failed."""
    rows = [("scene", "direct", "zelvar-sim", "ratio", "virgl", "ratio", "")]
    front = real.simulator(options.build.resolve(), real.batched + options.set)
    with XDisplay(*map(int, size.split("x"))) as display:
        environment = {"DISPLAY": display.name}
        for scene in options.scene or default_scenes:
            ways = [(environment, ()), (environment, front)] + ([({**environment, **virgl}, ())] if virgl else [])
            turns = [[score(scene, size, options.duration, where, folder, way) for where, way in ways]
                     for _ in range(options.turns)]
            direct, ours, *rest = map(statistics.median, zip(*turns))
            others = rest[0] if rest else None
            rows.append((real.short(scene), f"{direct:.0f}", f"{ours:.0f}", ratio(ours, direct),
                         "-" if others is None else f"{others:.0f}", "-" if others is None else ratio(others, direct),
                         verdict(direct, ours, others)))
            print("  ".join(rows[-1]), file=sys.stderr, flush=True)
    print(f"\nglmark2-es2 at {size}, frames a second")
    real.print_table(rows)
    failed = sum(1 for row in rows[1:] if row[-1])
    print(f"{failed} of {len(rows) - 1} scenes fail their limits: at least {least_ratio} of direct, ahead of virgl")
    return failed


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=pathlib.Path(__file__).parent.parent / "build")
    parser.add_argument("--duration", type=float, default=2)
    parser.add_argument("--turns", type=int, default=3)
    parser.add_argument("--size", action="append")
    parser.add_argument("--scene", action="append")
    parser.add_argument("--set", action="append", default=[])
    parser.add_argument("--without-virgl", action="store_true")
    options = parser.parse_args()
    with real.work_folder(None) as folder, contextlib.ExitStack() as stack:
        virgl = {} if options.without_virgl else stack.enter_context(real.virgl_server(folder))
        failed = [bench_size(size, options, folder, virgl) for size in options.size or ["320x240", "800x600"]]
    return 1 if any(failed) else 0


if __name__ == "__main__":
    sys.exit(main())
