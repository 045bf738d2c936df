#!/usr/bin/env python3
"""A small good tree passes the checks of scripts/check_tree.py; each fault planted in it is found, and only it."""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
HANDLER = "ZelvarLibrary/src/handlers/gles/gles20_clear.cpp"
DECODER = "ZelvarLibrary/src/inbound/decoder.cpp"


def good_tree():
    """{file: text}; the lists hold all ids, everything else is as little as the checks look at."""
    messages = [f"ZELVAR_MESSAGE({i}, gles20_call_{i}, gles20, glCall{i})\n" for i in range(6, 601)]
    services = [f"ZELVAR_SERVICE({i}, service_{i})\n" for i in range(436, 470)]
    shim = ["batch_commands", "get_settings", "report_shim_message"]
    return {
        "wire/messages_gles.inc": "".join(messages),
        "wire/messages_shim.inc": "".join(f"ZELVAR_SHIM_MESSAGE({i}, {n})\n" for i, n in enumerate(shim, 1)),
        "wire/services.inc": "".join(services),
        HANDLER: "void gles20_glClear(pid_t pid, tid_t tid, unsigned mask)\n{\n    clear(pid, tid, mask);\n}\n",
        DECODER: "int taken = 0; // memcpy(&taken, message, 4) is not done here\n",
        "README.md": "`scripts/test` tests; `wire/messages_gles.inc` lists; output in `build/bin`.\n"
                     "3 of 598 are built.\n",
        "ARCHITECTURE.md": "`ZelvarLibrary/src/handlers/` holds handlers.\n",
        "CONTRIBUTING.md": "See [the front page](README.md).\n",
        "scripts/test": "#!/bin/bash\n",
        "tests/CMakeLists.txt": "add_executable(a a_test.cpp)\n",
        "tests/a_test.cpp": "int main()\n{\n    return 0;\n}\n",
        ".clang-format": (PROJECT / ".clang-format").read_text(),
        "LICENSE": "Copy" "right: anyone.\n",
    }


class CheckTree(unittest.TestCase):
    def check(self, changes=None, listed=None):
        """Faults of the good tree with `changes` made to it, those of the format only where nothing else is wrong;
        `listed` is what zelvar-sim prints."""
        with tempfile.TemporaryDirectory() as folder:
            for name, text in {**good_tree(), **(changes or {})}.items():
                if text is not None:
                    path = pathlib.Path(folder, "tree", name)
                    path.parent.mkdir(parents=True, exist_ok=True)
                    path.write_text(text)
            tree = str(pathlib.Path(folder, "tree"))
            subprocess.run(["git", "init", "-q", tree], check=True)
            command = [sys.executable, str(PROJECT / "scripts/check_tree.py"), "--root", tree]
            if listed is not None:
                simulator = pathlib.Path(folder, "zelvar-sim")
                simulator.write_text(f"#!/bin/sh\ncat <<'END'\n{listed}END\n")
                simulator.chmod(0o755)
                command += ["--bin", folder]
            run = subprocess.run(command, capture_output=True, text=True)
        faults = [line for line in run.stdout.splitlines()[:-1] if line]
        self.assertEqual(run.returncode, 1 if faults else 0, run.stderr)
        return [fault for fault in faults if "is not formatted" not in fault] or faults

    def finds(self, changes, *expected, listed=None):
        faults = self.check(changes, listed)
        self.assertEqual(len(faults), len(expected), faults)
        for fault, words in zip(faults, expected):
            self.assertIn(words, fault)

    def test_good_tree(self):
        self.assertEqual(self.check(), [])

    def test_message_lists(self):
        rows = good_tree()["wire/messages_gles.inc"]
        self.finds({"wire/messages_gles.inc": rows.replace("(77, gles20_call_77, gles20, glCall77)",
                                                           "(76, gles20_call_77, gles20, glCall77)")},
                   "id 76 stands twice", "id 77 is in no list")
        self.finds({"wire/messages_gles.inc": rows.replace("glCall99)", "glCall98)")}, "not the snake name")
        self.finds({"wire/messages_gles.inc": rows.replace("gles20_call_99, gles20, glCall99",
                                                           "gles20_call_98, gles20, glCall98")},
                   "name gles20_call_98 stands twice")
        self.finds({"wire/messages_gles.inc": rows + "ZELVAR_MESSAGE(5, gles20_a, gles20, glA)\n"},
                   "id 5 of gles20_a has no row")
        services = good_tree()["wire/services.inc"]
        self.finds({"wire/services.inc": services.replace("(440,", "(441,")}, "[440, 441]")

    def test_listed_messages(self):
        rows = [f"{i:3} gles20_call_{i}   not built yet\n" for i in range(6, 601)]
        own = ["batch_commands", "get_settings", "report_shim_message"]
        rows = [f"  {i} {name} built\n" for i, name in enumerate(own, 1)] + rows
        self.assertEqual(self.check(listed="".join(rows) + "3 of 598 messages are built\n"), [])
        self.finds({}, "id 11: prints None", listed="".join(r for r in rows if not r.startswith(" 11 ")))
        self.finds({}, "id 12: prints gles20_call_13",
                   listed="".join(rows).replace("12 gles20_call_12", "12 gles20_call_13"))
        self.finds({}, "must say that 4 of 598", listed="".join(rows).replace("call_8   not built yet", "call_8 built"))

    def test_code_rules(self):
        text = good_tree()[DECODER]
        self.finds({DECODER: text + "void f() { memcpy(&taken, message, 4); }\n"}, f"{DECODER}:2: reads message bytes")
        self.finds({DECODER: text + "auto h = wire::load_header(bytes);\n"}, "reads message bytes")
        self.finds({DECODER: text + "auto h = *static_cast<const int*>(message);\n"}, "reads message bytes")
        self.finds({HANDLER: "void gles20_glClear(pid_t pid, tid_t tid,\n                    const void* data)\n{\n}\n"},
                   "gles20_glClear takes a raw pointer")

    def test_documents(self):
        self.finds({"README.md": None, "CONTRIBUTING.md": "\n"}, "README.md: is missing")
        self.finds({"README.md": "`scripts/tets`\n"}, "README.md:1: names scripts/tets")
        self.finds({"README.md": "\n    scripts/tets --fast\n"}, "README.md:2: names scripts/tets")
        self.finds({"CONTRIBUTING.md": "[front](docs/front.md)\n"}, "names docs/front.md")
        self.finds({"ARCHITECTURE.md": "`wire/messages_{gles,egl}.inc`\n"}, "messages_{gles,egl}.inc")

    def test_embedding_example(self):
        example = "int main()\n{\n    return 7;\n}\n"
        front = good_tree()["README.md"]
        self.assertEqual(self.check({"examples/embedding/embedding.cpp": example, "README.md": front + example}), [])
        self.finds({"examples/embedding/embedding.cpp": example, "README.md": front + example.replace("7", "8")},
                   "doesn't show examples/embedding/embedding.cpp")

    def test_words(self):
        for words in ("Pa" "rt 5.1", "the sp" "ec says", "Sp" "ecification", "see the is" "sue", "/wo" "rk/main",
                      "copy" "right me"):
            self.finds({HANDLER: f"// {words}\n"}, f"{HANDLER}:1: says")

    def test_files(self):
        self.finds({"shim/a.h": "int a;\n"}, "shim/a.h:1: lacks")
        self.finds({"shim/a.cpp": "int a;\n" * 801}, "has 801 lines")
        self.finds({"tests/b_test.cpp": "int b;\n"}, "nothing builds it")

    @unittest.skipUnless(shutil.which("clang-format"), "clang-format is not installed")
    def test_format(self):
        self.finds({HANDLER: "int   a;\n"}, f"{HANDLER}: is not formatted")


if __name__ == "__main__":
    unittest.main()
