#!/usr/bin/env python3
"""Times what Vulkan applications do, three ways side by side: scripts/bench --vulkan [--frames N] [SUBJECT...]

Straight on the host's driver, as a target with batchCommands 1, and with 0. The ways take turns, so that a busy moment
of the machine hits them alike. Of calls the best of two turns counts, of vkcube the median of five. A ratio says how
much of the direct speed is left.
Exit status 1 when what is bound by its frames or its kernel keeps less than 0.85 of it.

    --frames N   frames of vkcube that are timed (default 1000, 0 for none)
    SUBJECT      one of vk_calls, or vkcube (default: all)

Venus, which carries Vulkan over virgl's socket, would be the peer to stand beside. Of Debian 12's packages only its
server's side is whole: virgl-server has virgl_test_server --venus and the renderer behind it. Its clients want Mesa's
driver for virtio (libvulkan_virtio.so and virtio_icd.*.json), and mesa-vulkan-drivers 22.3.6 is built without: it has
those of Intel, AMD and lavapipe alone.
"""
import argparse
import pathlib
import re
import statistics
import sys
import time

import real_applications as real
from x_display import XDisplay

turns = 2
cube_turns = 5
least_ratio = 0.85
bound_by_work = {"compute_kernel", "vkcube"}
driver = {"VK_DRIVER_FILES": "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"}
warm_up = 30  # frames; what starting takes isn't timed
cube_sizes = [500, 900]
remote_driver = pathlib.Path("/usr/share/vulkan/icd.d/virtio_icd.x86_64.json")


def run(command, environment, folder, front):
    """The output; an application that fails ends the bench."""
    log = folder / "vulkan.txt"
    status, output = real.run(command, {**driver, **environment}, log, front)
    around = log.with_suffix(".sim").read_text(encoding="utf-8", errors="replace")
    if status != 0:
        sys.exit(f"error: {' '.join(map(str, command))} ended with status {status}:\n{output}{around}")
    for line in around.splitlines():
        if "FATAL" in line or "isn't built yet" in line:
            print(f"warning: {line}")
    return output


def calls(build, subjects, folder, front):
    """{subject: nanoseconds}"""
    output = run([build / "bin" / "vk_calls", *subjects], {}, folder, front)
    return {name: float(figure) for name, figure in re.findall(r"^(\w+) (\d+)$", output, re.MULTILINE)}


def cube(frames, size, display, folder, front):
    """Nanoseconds of one frame of vkcube."""
    took = []
    for count in (warm_up, warm_up + frames):
        start = time.monotonic()
        run(["vkcube", "--c", str(count), "--width", str(size), "--height", str(size)], {"DISPLAY": display}, folder,
            front)
        took.append(time.monotonic() - start)
    return (took[1] - took[0]) * 1e9 / frames


def figure(subject, nanoseconds):
    if subject.startswith("vkcube"):
        return f"{1e9 / nanoseconds:.0f} frames/s"
    return f"{nanoseconds:.0f} ns" if nanoseconds < 1e5 else f"{nanoseconds / 1e6:.2f} ms"


def measure(options, ways, folder, display):
    figures = {way: {} for way in ways}
    subjects = [name for name in options.subject if name != "vkcube"]
    for _ in range(turns if subjects or not options.subject else 0):
        for way, front in ways.items():
            found = calls(options.build.resolve(), subjects, folder, front)
            figures[way] |= {name: min(figure, figures[way].get(name, figure)) for name, figure in found.items()}
    if options.frames and (not options.subject or "vkcube" in options.subject):
        for size in cube_sizes:
            took = [[cube(options.frames, size, display, folder, front) for front in ways.values()]
                    for _ in range(cube_turns)]
            for way, each in zip(ways, zip(*took)):
                figures[way][f"vkcube {size}x{size}"] = statistics.median(each)
    return figures


def table(figures):
    """Prints it; returns how many figures are below their limits."""
    direct, batched, unbatched = figures.values()
    rows = [("subject", "direct", "batched", "ratio", "unbatched", "ratio", "least ratio, batched")]
    failed = 0
    for name, plain in direct.items():
        ratios = [plain / ours[name] for ours in (batched, unbatched)]
        limit = ""
        if name.split()[0] in bound_by_work:
            limit = str(least_ratio)
            if ratios[0] < least_ratio:
                limit += " BELOW"
                failed += 1
        rows.append((name, figure(name, plain), figure(name, batched[name]), f"{ratios[0]:.2f}",
                     figure(name, unbatched[name]), f"{ratios[1]:.2f}", limit))
    real.print_table(rows)
    if not remote_driver.exists():
        print("Venus beside it: not available, as mesa-vulkan-drivers has no driver for its clients (virtio)")
    else:
        print("Venus beside it: its driver is installed here, but nothing in this bench runs it yet")
    return failed


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=pathlib.Path(__file__).parent.parent / "build")
    parser.add_argument("--frames", type=int, default=1000)
    parser.add_argument("subject", nargs="*")
    options = parser.parse_args()
    front = {batch: real.simulator(options.build.resolve(), [f"batchCommands {batch}", *real.batched[1:]])
             for batch in (1, 0)}
    ways = {"direct": (), "batched": front[1], "unbatched": front[0]}
    side = max(cube_sizes)
    with real.work_folder(None) as folder, XDisplay(side, side) as display:
        return 1 if table(measure(options, ways, folder, display.name)) else 0


if __name__ == "__main__":
    sys.exit(main())
