#!/usr/bin/env python3
"""Makes the frames that the codec is measured with: scripts/bench_pictures.py BUILD FOLDER

Scenes of glmark2-es2 at 1280x720 and 1920x1080, as zelvar-sim writes them. What is there already stays.
"""
import pathlib
import sys

import real_applications as real
from x_display import XDisplay

sizes = ["1280x720", "1920x1080"]
scenes = ["build", "texture", "shading:shading=phong", "bump:bump-render=height", "effect2d", "pulsar",
          "desktop:effect=blur:windows=4", "desktop:effect=shadow:windows=4", "ideas", "jellyfish", "terrain", "refract"]
frames = 4  # the first ones are of a scene that fades in


def picture(scene, size, display, build, target):
    """Keeps the last frame of a short run."""
    with real.work_folder(None) as folder:
        front = real.simulator(build, real.batched, ["--frames", str(folder), "--max-frames", str(frames)])
        command = ["glmark2-es2", "-s", size, "-b", f"{scene}:duration=60"]
        real.run(command, {"DISPLAY": display.name}, folder / "glmark2.txt", front)
        found = sorted(folder.glob("*.png"))
        if not found:
            return False
        target.write_bytes(found[-1].read_bytes())
        return True


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    build, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    folder.mkdir(parents=True, exist_ok=True)
    failed = []
    for size in sizes:
        wanted = {scene: folder / f"{scene.split(':')[0]}_{i}_{size}.png" for i, scene in enumerate(scenes)}
        missing = {scene: path for scene, path in wanted.items() if not path.exists()}
        if not missing:
            continue
        with XDisplay(*map(int, size.split("x"))) as display:
            failed += [f"{scene} {size}" for scene, path in missing.items()
                       if not picture(scene, size, display, build, path)]
    if failed:
        sys.exit("error: these scenes gave no frame: " + ", ".join(failed))


if __name__ == "__main__":
    main()
