#!/usr/bin/env python3
"""Compares the descriptions of Vulkan structures with the registry: names of fields, their order, kinds and lengths;
and the 32-bit layout with a compiler for 32-bit ARM, where there is one."""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

HEADERS = ["wire/vk_structures_devices.h", "wire/vk_structures_pipelines.h", "wire/vk_structures_resources.h"]
NAMES = "wire/vk_structure_names.inc"
# Lengths that the registry tells in formulas.
FORMULAS = {
    ("VkShaderModuleCreateInfo", "pCode"): ("bytes", "codeSize"),
    ("VkPipelineMultisampleStateCreateInfo", "pSampleMask"): ("sample_mask", "rasterizationSamples"),
}
# The registry's structure is a later one than targets send.
LATER_FIELDS = {"VkNativeBufferANDROID": ["usage2"]}


def arguments_of(text):
    """Parts of `a<b, c>, d` between the commas outside angle brackets."""
    parts, depth, start = [], 0, 0
    for at, char in enumerate(text):
        depth += {"<": 1, ">": -1}.get(char, 0)
        if char == "," and depth == 0:
            parts.append(text[start:at].strip())
            start = at + 1
    return parts + [text[start:].strip()]


def described_field(text):
    """Fields of one part of a list: (kind, field, count)."""
    kind, inner = re.fullmatch(r"(\w+)<(.*)>", text, re.S).groups()
    parts = arguments_of(inner)
    if kind in ("when", "optional"):
        return described_field(parts[-1])
    names = [part[4:] for part in parts if part.startswith("&S::")]
    if kind == "plain":
        return [(kind, name, None) for name in names]
    return [(kind, names[0], names[1] if len(names) > 1 else None)]


def descriptions(root):
    found = {}
    for header in HEADERS:
        with open(os.path.join(root, header), encoding="utf-8") as file:
            text = re.sub(r"//[^\n]*", "", file.read())
        for name, body in re.findall(r"struct description<(\w+)>\n\{(.*?)\n\};", text, re.S):
            fields = re.search(r"using fields =\s*list<(.*?)>;", body, re.S).group(1)
            found[name] = [field for part in arguments_of(fields) for field in described_field(part)]
    return found


def expected_kind(registry, structure, member):
    """What the registry says of a member: the kinds that fit, and the member that counts."""
    kind = member.find("type").text
    name = member.find("name").text
    stars = "".join(member.itertext()).count("*")
    category = registry["categories"].get(kind)
    length = member.get("len")
    if (structure, name) in FORMULAS:
        wanted, count = FORMULAS[structure, name]
        return [wanted], count
    if name == "pNext":
        return ["next", "next_or"], None
    if stars == 0 and (category == "funcpointer" or kind == "buffer_handle_t"):
        return ["address"], None
    if stars == 0:
        fits = {"handle": "handle", "struct": "nested"}.get(category, "size" if kind == "size_t" else "plain")
        return [fits], None
    count = length.split(",")[0] if length and not length.startswith("null-terminated") else None
    if stars == 2:
        return ["strings"], count
    if kind == "char":
        return ["string"], None
    if kind == "void":
        return (["bytes"], count) if count else (["address"], None)
    if count is None:
        return ["pointer"], None
    return ["handles" if category == "handle" else "array"], count


def read_registry(path):
    types = xml.etree.ElementTree.parse(path).getroot().find("types")
    registry = {"categories": {}, "members": {}}
    for entry in types.findall("type"):
        name = entry.get("name") or getattr(entry.find("name"), "text", None)
        registry["categories"].setdefault(name, entry.get("category"))
        if entry.get("category") == "struct":
            registry["members"][name] = [member for member in entry.findall("member")
                                         if member.get("api", "vulkan") == "vulkan"]
    return registry


def compare(described, names, registry):
    faults = [f"{name} is listed and not described" for name in names if name not in described]
    faults += [f"{name} is described and not listed" for name in described if name not in names]
    for name, fields in described.items():
        members = registry["members"].get(name)
        if members is None:
            faults.append(f"{name} isn't in the registry")
            continue
        members = [member for member in members
                   if member.find("name").text not in LATER_FIELDS.get(name, [])]
        wanted = [member.find("name").text for member in members]
        if wanted != [field[1] for field in fields]:
            faults.append(f"{name} has other fields: {wanted}")
            continue
        for (kind, field, count), member in zip(fields, members):
            kinds, counted_by = expected_kind(registry, name, member)
            if kind not in kinds or count != counted_by:
                faults.append(f"{name}::{field} is {kind} counted by {count}, by the registry "
                              f"{' or '.join(kinds)} counted by {counted_by}")
    return faults


def arm_compilers(scratch):
    """Commands that check a file for 32-bit ARM, best first. Debian's own can't stand beside the 32-bit x86 libraries;
    clang knows the layout with the host's headers."""
    found = shutil.which("arm-linux-gnueabihf-g++")
    if found:
        headers = os.path.join(scratch, "include")
        os.makedirs(headers)
        for folder in ("vulkan", "vk_video"):
            if os.path.isdir("/usr/include/" + folder):
                os.symlink("/usr/include/" + folder, os.path.join(headers, folder))
        yield [found, "-isystem", headers]
    clang = shutil.which("clang++")
    if clang:
        version = subprocess.run(["g++", "-dumpversion"], capture_output=True, text=True, check=True).stdout.strip()
        folders = [f"/usr/include/c++/{version}", f"/usr/include/x86_64-linux-gnu/c++/{version}",
                   "/usr/include/x86_64-linux-gnu", "/usr/include"]
        yield [clang, "--target=armv7-linux-gnueabihf", *[word for folder in folders for word in ("-isystem", folder)]]


def check_arm(root, described):
    """Every offset of the 32-bit layout; None when no compiler can tell."""
    lines = ['#include "wire/vk_structures.h"']
    for name, fields in described.items():
        for index, (_, field, _) in enumerate(fields):
            lines.append(f"static_assert(vk_wire::layout<{name}, 32>::offset({index}) == offsetof({name}, {field}), "
                         f'"{name}::{field} stands elsewhere");')
    with tempfile.TemporaryDirectory() as scratch:
        source = os.path.join(scratch, "offsets.cpp")
        with open(source, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
        probe = os.path.join(scratch, "probe.cpp")
        with open(probe, "w", encoding="utf-8") as file:
            file.write("#include <array>\n#include <cstring>\n#include <vulkan/vulkan.h>\n")
        for compiler in arm_compilers(scratch):
            options = ["-std=c++20", "-fsyntax-only", "-Wno-invalid-offsetof", "-I", root]
            if subprocess.run([*compiler, *options, probe], capture_output=True, check=False).returncode:
                continue
            run = subprocess.run([*compiler, *options, source], capture_output=True, text=True, check=False)
            return [line for line in run.stderr.splitlines() if "error:" in line]
    return None


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--root", default=os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    options.add_argument("--registry", default="/usr/share/vulkan/registry/vk.xml")
    chosen = options.parse_args()
    if not os.path.exists(chosen.registry):
        print("No registry (Debian package libvulkan-dev), so the structures' descriptions are not compared")
        return 0
    described = descriptions(chosen.root)
    with open(os.path.join(chosen.root, NAMES), encoding="utf-8") as file:
        names = re.findall(r"VK_STRUCTURE\((\w+),", file.read())
    faults = compare(described, names, read_registry(chosen.registry))
    on_arm = check_arm(chosen.root, described)
    if on_arm is None:
        print("No compiler for 32-bit ARM, so offsets of the 32-bit layout are not compared")
    for fault in faults + (on_arm or []):
        print(fault)
    fields = sum(len(fields) for fields in described.values())
    print(f"{len(described)} structures, {fields} fields, {len(faults) + len(on_arm or [])} faults")
    return 1 if faults or on_arm else 0


if __name__ == "__main__":
    sys.exit(main())
