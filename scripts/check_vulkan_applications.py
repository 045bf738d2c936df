#!/usr/bin/env python3
"""Compares Vulkan applications on the host's driver with the same as targets; a part of scripts/applications.

    --build DIR   where the programs are (default: build)
    --quick       fewer frames
    --keep DIR    leave pictures and outputs in DIR/vulkan

vulkaninfo tells the same of the device but for what is rightly the library's; the last frame of vkcube, which turns by
the same angle with each frame, is the same bit for bit, in its window and in its frame buffer; and the host's
validation has no message for it that a direct run doesn't have. SDL's testvulkan, whose windows are Xlib's, shows its
frames. Exit status 1 when one differs, 77 when a program isn't installed.
"""
import re
import sys

import real_applications as real
from check_applications import Check, numbered, run_check, size, size_text, wait_for_frames
from x_display import XDisplay

driver = {"VK_DRIVER_FILES": "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"}
validation = "VK_LAYER_KHRONOS_validation"
sdl_program = str(real.sdl_tests / "testvulkan")
cube_place = 100  # pixels from the left and the top of the screen, where vkcube wants its window
cube = ["vkcube", "--width", str(size[0]), "--height", str(size[1]), "--c"]
# What the library decides: the version that it has messages for, and that it decodes ASTC itself.
library_decides = {"apiVersion", "textureCompressionASTC_LDR"}
sections = ["VkPhysicalDeviceProperties", "VkPhysicalDeviceLimits", "VkPhysicalDeviceSparseProperties",
            "VkQueueFamilyProperties", "VkPhysicalDeviceMemoryProperties", "VkPhysicalDeviceFeatures"]


class VulkanCheck(Check):
    subject = "vulkan"

    def run(self):
        self.vulkan_information()
        self.last_frames(30 if self.quick else 300)
        self.validated()
        self.xlib_window()

    def vulkan_information(self):
        with XDisplay(*size) as display:
            direct, target = (real.run(["vulkaninfo"], {**driver, "DISPLAY": display.name},
                                       self.folder / f"vulkaninfo-{name}.txt", front)
                              for name, front in (("direct", ()), ("target", real.simulator(self.build))))
        self.expect(direct[0] == 0 and target[0] == 0, f"vulkaninfo ended with {direct[0]} and {target[0]}")
        print("\nvulkaninfo tells the same of the device but for")
        for section in sections:
            hosts, ours = section_of(direct[1], section), section_of(target[1], section)
            self.expect(hosts, f"vulkaninfo tells no {section}")
            for theirs, mine in zip(hosts, ours):
                if theirs != mine:
                    print(f"  {section}: {mine.strip()}; the host: {theirs.strip()}")
                    self.expect(mine.split()[0] in library_decides, f"vulkaninfo: {section} is not the host's")
            self.expect(len(hosts) == len(ours), f"vulkaninfo: {section} has {len(ours)} lines, not {len(hosts)}")

    def last_frames(self, count):
        """The last frame of vkcube in both windows, and in the frame buffer."""
        # Where the X server is slow, vkcube now and then ends without its last picture on the screen, most of all
        # straight on the driver; the frame buffer has always got it.
        for attempt in range(4):
            folders = {name: self.folder / f"vkcube-{name}-{attempt}" for name in ("direct", "window", "target")}
            for folder in folders.values():
                folder.mkdir()
            options = ["--fb", size_text, "--frames", str(folders["target"])]
            self.last_in_window(folders["direct"], count)
            self.last_in_window(folders["window"], count, real.simulator(self.build, real.batched, options))
            frames = numbered(folders["target"])
            self.expect(len(frames) == count, f"vkcube showed {len(frames)} frames instead of {count}")
            for frame in frames[:-1]:
                frame.unlink()
            if frames:
                frames[-1].rename(folders["target"] / "vkcube_1_0.png")
            results = {name: self.compare(folders[name], folders["direct"]) for name in ("window", "target")}
            if all(result == (1, "") for result in results.values()):
                break
        for name, what in (("window", "the window's last frame"), ("target", "the last frame")):
            same, difference = results[name]
            print(f"vkcube: {what} of {count} is {'identical' if same == 1 else 'DIFFERENT'}")
            self.expect(same == 1 and not difference, f"vkcube: {what} differs: {difference}")

    def last_in_window(self, folder, count, front=()):
        """What vkcube's window shows in the end, as a picture in `folder`."""
        # Nothing is painted where the window was, so the screen still shows it.
        with XDisplay(*(side + cube_place for side in size)) as display:
            status, _ = real.run([*cube, str(count)], {**driver, "DISPLAY": display.name},
                                 folder.with_suffix(".txt"), front)
            display.wait_for_the_last_pictures()
            display.grab(folder / "vkcube_1_0.png", cube_place, cube_place)
        self.expect(status == 0, f"vkcube ended with {status}")

    def validated(self):
        """What the host's validation says of vkcube, alone and as a target."""
        with XDisplay(*size) as display:
            environment = {"DISPLAY": display.name, "VK_KHRONOS_VALIDATION_REPORT_FLAGS": "error,warn,perf",
                           "VK_LAYER_REPORT_FLAGS": "error,warn,perf"}
            command = [*cube, "10"]
            direct = real.run(command, {**driver, **environment, "VK_INSTANCE_LAYERS": validation},
                              self.folder / "validated-direct.txt")
            target = real.run(command, {**driver, **environment}, self.folder / "validated-target.txt",
                              real.simulator(self.build, (), ["--host-vk-layers", validation]))
        said = (self.folder / "validated-target.sim").read_text(encoding="utf-8", errors="replace") + target[1]
        new = messages(said) - messages(direct[1])
        print(f"vkcube: validation has {len(messages(direct[1]))} kinds of messages, and {len(new)} more as a target")
        self.expect(direct[0] == 0 and target[0] == 0, "vkcube fails when it is validated")
        self.expect(not new, f"the host's validation has messages for vkcube as a target: {' '.join(sorted(new))}")

    def xlib_window(self):
        frames = self.folder / "testvulkan-target"
        frames.mkdir()
        with XDisplay(*size) as display:
            front = real.simulator(self.build, (), ["--frames", str(frames)])
            with real.running([sdl_program, "--geometry", size_text], {**driver, "DISPLAY": display.name},
                              self.folder / "testvulkan-target.txt", front):
                shown = wait_for_frames(frames, 3) and self.window_shows_frame(display, frames)
        print(f"testvulkan: the window shows {'a' if shown else 'NO'} frame")
        self.expect(shown, "the window of testvulkan shows none of its last frames")


def section_of(text, name):
    """Lines of a section of vulkaninfo's output, without its name."""
    found = re.search(rf"^{name}:\n[-=]+\n(.*?)(?:\n\n|\Z)", text, re.MULTILINE | re.DOTALL)
    return found[1].rstrip().split("\n") if found else []


def messages(text):
    """Names of validation's messages."""
    return set(re.findall(r"\b(?:VUID|UNASSIGNED|BestPractices)-[\w-]+", text))


if __name__ == "__main__":
    sys.exit(run_check(VulkanCheck, __doc__, ["Xvfb", "vulkaninfo", "vkcube", sdl_program]))
