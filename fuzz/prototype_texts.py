#!/usr/bin/env python3
"""prototype_texts.py OUTPUT HEADER...: what C++ can't tell of a prototype, taken from the text of the API headers.

Writes an include file: for each entry point the types and names of its parameters, and the values of all
enumerants. A GLenum and a GLuint are the same type to a compiler, and a parameter's name is nothing to it.
"""
import re
import sys


def parameters(text):
    """[(type, name)] of a parameter list; `void` is an empty one."""
    found = []
    for part in text.split(","):
        match = re.match(r"(.*?)(\w+)$", " ".join(part.split()))
        if match and match.group(1):
            found.append((match.group(1).strip(), match.group(2)))
    return found


def main():
    output, headers = sys.argv[1], sys.argv[2:]
    text = "\n".join(open(header, encoding="utf-8").read() for header in headers)
    prototypes = dict(re.findall(r"\bGL_APIENTRY\s+(gl\w+)\s*\(([^;]*)\);", text))
    values = sorted({int(value, 16) for value in re.findall(r"#define GL_\w+\s+(0x[0-9A-Fa-f]{1,8})\b", text)})
    lines = []
    for function in sorted(prototypes):
        pairs = "".join(f'{{"{kind}", "{name}"}}, ' for kind, name in parameters(prototypes[function]))
        lines.append(f"inline constexpr parameter_text texts_of_{function}[] = {{{pairs}{{nullptr, nullptr}}}};")
    lines.append("inline constexpr uint32_t all_enumerants[] = {" + ", ".join(map(hex, values)) + "};")
    with open(output, "w", encoding="utf-8") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
