#!/usr/bin/env python3
"""Every exported function and variable of the headers under both of its names.

cmake/microsoft_names.txt maps the decorated name by which a program of the Microsoft C++ ABI imports something to the name
that the library exports; the build makes qeCore.lib from it. Clang prints both names of each declaration that YK_API marks.

    names_check.py            prints what is missing, stale or cannot be called from both ABIs; exit code 1 if there is any
    names_check.py --update   writes the list
"""
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import NamedTuple

from abi_check import ROOT, TARGETS, include_all

LIST = ROOT / "cmake/microsoft_names.txt"
EXPORTS = ROOT / "tests/abi/exports.txt"
HEAD = """# The imports of programs of the Microsoft C++ ABI: decorated name, the library's export, DATA for a variable.
# Written by `tests/abi/names_check.py --update`; the build makes qeCore.lib from it.
"""
# A class by value, whose parameter, result or object pointer the two ABIs pass differently; and a constructor, which returns
# its object in only one of them.
BY_VALUE = re.compile(r"^(?:(?:public|protected|private): )?(?:static |virtual )*(?:class|struct|union) [\w:]+ __cdecl"
                      r"|[(,] ?(?:class|struct|union) [\w:]+[,)]")


# ---- Clang's declarations ----------------------------------------------------------------------------------------------


class Import(NamedTuple):
    """What the mark on a declaration, or on its class, imports."""

    place: tuple
    name: str
    kind: str
    by_class: bool
    is_slot: bool
    export: str = ""


class Tree:
    """Walks Clang's JSON, which states a file name only where it differs from the previous one."""

    def __init__(self, root):
        self.file = None
        self.imports = []
        self.names = {}  # (place, kind): name
        self.visit(root)

    def place(self, location):
        parts = [location[key] for key in ("spellingLoc", "expansionLoc") if key in location] or [location]
        found = []
        for part in parts:
            self.file = part.get("file", self.file)
            found.append((self.file, part.get("offset")))
        return tuple(found)

    def visit(self, node):
        place = self.place(node.get("loc", {}))
        for end in ("begin", "end"):
            self.place(node.get("range", {}).get(end, {}))
        children = node.get("inner", [])
        if "mangledName" in node:
            self.names.setdefault((place, node["kind"]), node["mangledName"])
            self.visit_named(node, place, {child.get("kind"): child for child in children})
        for child in children:
            self.visit(child)

    def visit_named(self, node, place, children):
        mark = children.get("DLLImportAttr")
        if mark and node["mangledName"].startswith("?"):  # not the C runtime's
            is_slot = node.get("virtual", False) or "OverrideAttr" in children
            name = decorated(node["mangledName"], node["kind"])
            self.imports.append(Import(place, name, node["kind"], mark.get("inherited", False), is_slot))


def tree(target):
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "all.cpp"
        source.write_text(include_all(), encoding="utf-8")
        command = ["clang++-19", f"--target={target}", "-std=c++20", "-fsyntax-only", "-Xclang", "-ast-dump=json", "-w",
                   f"-I{ROOT / 'include'}", "-isystem", "/usr/share/mingw-w64/include", source]
        return Tree(json.loads(subprocess.run(command, capture_output=True, check=True).stdout))


def decorated(name, kind):
    """Clang names the function that destroys a whole object; the destructor itself is what programs import."""
    return re.sub(r"^\?\?_D(.*)XXZ$", r"??1\1@XZ", name) if kind == "CXXDestructorDecl" else name


def imports():
    """Those of the headers, each with the library's export."""
    gnu = tree(TARGETS["GNU"]).names
    return [found._replace(export=gnu[found.place, found.kind]) for found in tree(TARGETS["Microsoft"]).imports]


# ---- the list ----------------------------------------------------------------------------------------------------------


def plain(tool, names):
    """The names as C++, in the same order."""
    text = subprocess.run([tool], input="\n".join(names), capture_output=True, text=True, check=True).stdout
    return text.splitlines()


def lines(found):
    return sorted(f"{each.name} {each.export}{' DATA' if each.kind == 'VarDecl' else ''}" for each in found)


def read_list():
    return [line for line in LIST.read_text(encoding="utf-8").splitlines() if line and not line.startswith("#")]


def faults(found):
    current, wanted = set(read_list()), set(lines(found))
    yield from (f"not in {LIST.name}, see names_check.py --update: {line}" for line in sorted(wanted - current))
    yield from (f"stale in {LIST.name}: {line}" for line in sorted(current - wanted))
    promised = set(EXPORTS.read_text(encoding="utf-8").splitlines())
    for name in plain("x86_64-w64-mingw32-c++filt", sorted({each.export for each in found})):
        if name not in promised:
            yield f"not in {EXPORTS.name}: {name}"
    for each in found:
        if each.by_class:
            yield f"its class is marked with YK_API instead of the function: {each.export}"
        if each.kind == "CXXConstructorDecl":
            yield f"a constructor cannot be called from both ABIs; make it inline over a function: {each.export}"
    for text in plain("llvm-undname-19", [each.name for each in found])[1::3]:
        if BY_VALUE.search(text):
            yield f"a class by value cannot be passed in both ABIs; pass its address: {text}"


def main():
    found = imports()
    if "--update" in sys.argv:
        LIST.write_text(HEAD + "\n".join(lines(found)) + "\n", encoding="utf-8")
        return 0
    wrong = list(faults(found))
    print("\n".join(wrong), end="\n" if wrong else "")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
