#!/usr/bin/env python3
"""Rules of this tree that a compiler can't see: check_tree.py [--root DIR] [--bin DIR]

--root  the tree (default: the one this file is in)
--bin   programs of a build; with zelvar-sim in it, its list of messages is compared with the lists in wire/

Prints one line a fault, "FILE:LINE: what is wrong", and exits with 1 when there is any.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys

SOURCE_SUFFIXES = {".h", ".c", ".cpp"}
TEXT_SUFFIXES = SOURCE_SUFFIXES | {".inc", ".md", ".txt", ".cmake", ".in", ".py", ".sh", ".json", ".ini", ".supp", ""}
LONGEST_FILE = 800
DOCUMENTS = ("README.md", "ARCHITECTURE.md", "CONTRIBUTING.md")

# The engine reads message bytes, and so do the steps before it, which have only a header to go by; the worker's
# queue copies messages whole.
READS_MESSAGE_BYTES = {
    "ZelvarLibrary/src/inbound/batch_commands.cpp",
    "ZelvarLibrary/src/inbound/cursor.h",
    "ZelvarLibrary/src/inbound/inbound_traffic.cpp",
    "ZelvarLibrary/src/inbound/vk_reader.h",
    "ZelvarLibrary/src/workers/zelvar_context_worker.cpp",
}
MESSAGE_READ = re.compile(
    r"wire::offset_|load_header\s*\(|\bmemcpy\s*\([^;]*\bmessage\b"
    r"|_cast<\s*(?:const\s+)?\w+\s*\*\s*>\s*\(\s*message\b"
)

# A reader has this tree and nothing else: no word sends him to papers, machines or folders that he lacks.
OUTSIDE_WORDS = re.compile(
    r"\bPart\s\d+\.\d+|\b[s]pec(?:ification)?s?\b(?!\.)|\b[s]pec\.md\b|\b[r]uling\b|\b(?:the|this)\s[i]ssue\b"
    r"|/[w]ork/|\bdeb\.[d]ebian\b|\b[C]opyright\b|\b[S]PDX\b",
    re.IGNORECASE,
)
OUTSIDE_WORDS_ALLOWED = {"LICENSE"}


class Tree:
    """The files that git knows or would add, and the faults found in them."""

    def __init__(self, root):
        self.root = pathlib.Path(root).resolve()
        listed = subprocess.run(
            ["git", "-C", str(self.root), "ls-files", "-co", "--exclude-standard"],
            capture_output=True, text=True, check=True).stdout.split("\n")
        self.files = sorted(name for name in listed if name and (self.root / name).is_file())
        self.faults = []

    def text(self, name):
        return (self.root / name).read_text(encoding="utf-8", errors="replace")

    def fault(self, name, line, what):
        self.faults.append(f"{name}:{line}: {what}" if line else f"{name}: {what}")

    def below(self, folder, suffixes):
        return [n for n in self.files if n.startswith(folder) and pathlib.PurePath(n).suffix in suffixes]


def line_of(text, offset):
    return text.count("\n", 0, offset) + 1


def without_comments(text):
    """The text with comments and string contents blanked, line ends kept."""
    def blank(match):
        token = match.group(0)
        return re.sub(r"[^\n]", " ", token) if token.startswith("/") else token[0] + token[-1]
    return re.sub(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', blank, text, flags=re.S)


def messages_of_lists(tree):
    """{id: (name, file, line)} over the lists in wire/, with a fault for whatever is out of order in them."""
    row = re.compile(r"^ZELVAR_(MESSAGE|SHIM_MESSAGE)\((\d+), (\w+)(?:, (\w+), (\w+))?\)", re.M)
    known, names = {}, {}
    for name in tree.below("wire/", {".inc"}):
        text = tree.text(name)
        rows = list(row.finditer(text))
        if len(rows) != len(re.findall(r"^ZELVAR_(?:SHIM_)?MESSAGE\(", text, re.M)):
            tree.fault(name, 0, "a row of the list can't be read")
        for match in rows:
            number, message = int(match.group(2)), match.group(3)
            line = line_of(text, match.start())
            if number in known:
                tree.fault(name, line, f"id {number} stands twice")
            if message in names:
                tree.fault(name, line, f"name {message} stands twice")
            known[number] = (message, name, line)
            names[message] = number
            if match.group(4) and not is_snake_of(message, match.group(4), match.group(5)):
                tree.fault(name, line, f"{message} is not the snake name of {match.group(5)}")
    return known


def is_snake_of(message, group, function):
    squeezed = message.replace("_", "").lower()
    bare = re.sub(r"^(egl|gl|vk|ubm_)(?=[A-Z_a-z])", "", function)
    return squeezed in {(group + part).replace("_", "").lower() for part in (bare, function)}


def check_message_ids(tree):
    known = messages_of_lists(tree)
    for number in range(1, 601):
        if number not in (4, 5) and number not in known:
            tree.fault("wire", 0, f"id {number} is in no list")
    for number, (message, name, line) in known.items():
        if number in (4, 5) or not 1 <= number <= 600:
            tree.fault(name, line, f"id {number} of {message} has no row")


def check_service_ids(tree):
    numbers = []
    for name in tree.below("wire/", {".inc"}):
        numbers += [int(n) for n in re.findall(r"^ZELVAR_SERVICE\((\d+), \w+\)", tree.text(name), re.M)]
    if sorted(numbers) != list(range(436, 470)):
        odd = {n for n in numbers if numbers.count(n) > 1} | set(numbers) ^ set(range(436, 470))
        tree.fault("wire", 0, f"services are not 436 to 469, once each: {sorted(odd)}")


def check_listed_messages(tree, programs):
    """The library's own account, as zelvar-sim prints it: id, name, built or not."""
    simulator = pathlib.Path(programs) / "zelvar-sim"
    if not simulator.exists():
        tree.fault("--bin", 0, f"{simulator} is missing; mend it with: scripts/build")
        return
    run = subprocess.run([str(simulator), "--list-messages"], capture_output=True, text=True, timeout=60)
    rows = re.findall(r"^\s*(\d+)\s+(\w+)\s+(built|not built yet)$", run.stdout, re.M)
    listed = {number: name for number, name, _ in rows}
    expected = {str(number): row[0] for number, row in messages_of_lists(tree).items()}
    if run.returncode != 0 or not listed:
        tree.fault("zelvar-sim --list-messages", 0, f"ended with {run.returncode} and {len(listed)} rows")
    for number in sorted(set(expected) | set(listed), key=int):
        if expected.get(number) != listed.get(number):
            tree.fault("zelvar-sim --list-messages", 0,
                       f"id {number}: prints {listed.get(number)}, the lists in wire/ say {expected.get(number)}")


    check_count_in_front_page(tree, sum(state == "built" for _, _, state in rows))


def check_count_in_front_page(tree, built):
    said = re.search(r"(\d+) of 598 are", tree.text("README.md")) if "README.md" in tree.files else None
    if not said or int(said.group(1)) != built:
        tree.fault("README.md", 0, f"must say that {built} of 598 are built, as zelvar-sim --list-messages does")


def check_message_reads(tree):
    for name in tree.below("ZelvarLibrary/src/", SOURCE_SUFFIXES):
        if name in READS_MESSAGE_BYTES:
            continue
        text = without_comments(tree.text(name))
        for match in MESSAGE_READ.finditer(text):
            tree.fault(name, line_of(text, match.start()), "reads message bytes; that is for inbound/cursor.h")


def check_handler_parameters(tree):
    """What a target sends is a number, a target_ptr or an inline_array, never a pointer of this process."""
    handler = re.compile(r"^void ((?:egl|gles\d\d|vk|ubm)_\w+)\(\s*pid_t\b([^)]*)\)", re.M)
    for name in tree.below("ZelvarLibrary/src/handlers/", SOURCE_SUFFIXES):
        text = without_comments(tree.text(name))
        for match in handler.finditer(text):
            if "*" in match.group(2):
                tree.fault(name, line_of(text, match.start()), f"{match.group(1)} takes a raw pointer")


def check_documents(tree):
    """Every path that a document names in backticks or links to exists, or is made by the build."""
    span = re.compile(r"`([^`\n]+)`|\]\(([^)#]+)[^)]*\)")
    command = re.compile(r"^\s*(?:\$ )?((?:\./)?(?:scripts|\.ci)/[\w./-]+)", re.M)
    for name in DOCUMENTS:
        if name not in tree.files:
            tree.fault(name, 0, "is missing")
            continue
        text = tree.text(name)
        found = [(m.start(), m.group(1) or m.group(2)) for m in span.finditer(text)]
        found += [(m.start(1), m.group(1)) for m in command.finditer(text)]
        for offset, quoted in found:
            for path in paths_in(quoted):
                if not exists(tree, path):
                    tree.fault(name, line_of(text, offset), f"names {path}, which doesn't exist")


def check_embedding_example(tree):
    """The front page shows the example as it is built."""
    example = "examples/embedding/embedding.cpp"
    if example in tree.files and "README.md" in tree.files and tree.text(example).strip() not in tree.text("README.md"):
        tree.fault("README.md", 0, f"doesn't show {example} as it is")


def paths_in(quoted):
    """The words of a quoted text that are paths of this tree."""
    for word in quoted.split():
        word = word.removeprefix("./").rstrip(".,:;")
        folder_like = re.fullmatch(r"[\w.-]+(/[\w.{},*-]+)+/?", word) or re.fullmatch(r"[\w.-]+/", word)
        if folder_like or re.fullmatch(r"[\w-]+\.(md|cpp|h|inc|cmake|txt|py|sh|json|supp|ini|in)", word):
            yield word


def exists(tree, path):
    if re.match(r"build(-\w+)?/|frames/|include/zelvar/$", path):
        return True
    options = [path]
    braces = re.search(r"\{([^}]*)\}", path)
    if braces:
        options = [path[:braces.start()] + part + path[braces.end():] for part in braces.group(1).split(",")]
    for option in options:
        wanted = re.compile("(?:^|.*/)" + re.escape(option.rstrip("/")).replace(r"\*", "[^/]*") + "(?:/.*)?$")
        if not any(wanted.match(name) for name in tree.files):
            return False
    return True


def check_words(tree):
    for name in tree.files:
        if name in OUTSIDE_WORDS_ALLOWED or pathlib.PurePath(name).suffix not in TEXT_SUFFIXES or \
                name.startswith("fuzz/corpus/"):
            continue
        text = tree.text(name)
        for match in OUTSIDE_WORDS.finditer(text):
            tree.fault(name, line_of(text, match.start()), f"says \"{match.group(0)}\", which leads out of the tree")


def check_files(tree):
    """Length, include guards, and that each test and benchmark is part of the build."""
    lists = "\n".join(tree.text(n) for n in tree.files if n.endswith("CMakeLists.txt"))
    for name in tree.below("", SOURCE_SUFFIXES):
        text = tree.text(name)
        if text.count("\n") > LONGEST_FILE:
            tree.fault(name, 0, f"has {text.count(chr(10))} lines; {LONGEST_FILE} are the most")
        if name.endswith(".h") and not re.search(r"^#pragma once|^#ifndef \w+_H\n#define ", text, re.M):
            tree.fault(name, 1, "lacks #pragma once")
        base = pathlib.PurePath(name).name
        if name.startswith(("tests/", "bench/", "fuzz/")) and not name.endswith(".h") and base not in lists:
            tree.fault(name, 0, "is in no CMakeLists.txt, so nothing builds it")


def check_format(tree):
    if not shutil.which("clang-format"):
        tree.fault("clang-format", 0, "is missing; mend it with: apt-get install clang-format")
        return
    sources = tree.below("", SOURCE_SUFFIXES)
    if sources:
        run = subprocess.run(["clang-format", "--dry-run", *sources], cwd=tree.root, capture_output=True, text=True)
        for name in sorted(set(re.findall(r"^([^\s:]+):\d+:\d+: warning: code should be", run.stderr, re.M))):
            tree.fault(name, 0, f"is not formatted; mend it with: clang-format -i {name}")
        if run.returncode != 0:
            tree.fault("clang-format", 0, f"ended with {run.returncode}: {run.stderr.strip()[:200]}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", default=pathlib.Path(__file__).resolve().parent.parent)
    parser.add_argument("--bin")
    arguments = parser.parse_args()
    tree = Tree(arguments.root)
    for check in (check_message_ids, check_service_ids, check_message_reads, check_handler_parameters,
                  check_documents, check_embedding_example, check_words, check_files, check_format):
        check(tree)
    if arguments.bin:
        check_listed_messages(tree, arguments.bin)
    print("\n".join(tree.faults))
    print(f"{len(tree.files)} files, {len(tree.faults)} faults")
    return 1 if tree.faults else 0


if __name__ == "__main__":
    sys.exit(main())
