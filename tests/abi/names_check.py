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


class Tree:
    """Walks Clang's JSON, which states a file name only where it differs from the previous one."""

    def __init__(self, root):
        self.file = None
        self.imported = []  # (place, decorated name, kind, whether its class is marked instead)
        self.names = {}  # place: names
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
            for mark in children:
                if mark.get("kind") == "DLLImportAttr" and node["mangledName"].startswith("?"):  # not the C runtime's
                    self.imported.append((place, node["mangledName"], node["kind"], mark.get("inherited", False)))
        for child in children:
            self.visit(child)


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


def both_names():
    """{decorated name: (exported name, kind, whether its class is marked)}."""
    gnu = tree(TARGETS["GNU"]).names
    return {decorated(name, kind): (gnu[place, kind], kind, inherited)
            for place, name, kind, inherited in tree(TARGETS["Microsoft"]).imported}


# ---- the list ----------------------------------------------------------------------------------------------------------


def plain(tool, names):
    """The names as C++, in the same order."""
    text = subprocess.run([tool], input="\n".join(names), capture_output=True, text=True, check=True).stdout
    return text.splitlines()


def lines(names):
    return [f"{name} {export}{' DATA' if kind == 'VarDecl' else ''}" for name, (export, kind, _) in sorted(names.items())]


def read_list():
    return [line for line in LIST.read_text(encoding="utf-8").splitlines() if line and not line.startswith("#")]


def faults(names):
    current, wanted = set(read_list()), set(lines(names))
    yield from (f"not in {LIST.name}, see names_check.py --update: {line}" for line in sorted(wanted - current))
    yield from (f"stale in {LIST.name}: {line}" for line in sorted(current - wanted))
    promised = set(EXPORTS.read_text(encoding="utf-8").splitlines())
    exports = sorted({export for export, _, _ in names.values()})
    for name in plain("x86_64-w64-mingw32-c++filt", exports):
        if name not in promised:
            yield f"not in {EXPORTS.name}: {name}"
    for name, (export, kind, inherited) in names.items():
        if inherited:
            yield f"its class is marked with YK_API instead of the function: {export}"
        if kind == "CXXConstructorDecl":
            yield f"a constructor cannot be called from both ABIs; make it inline over a function: {export}"
    for text in plain("llvm-undname-19", names)[1::3]:
        if BY_VALUE.search(text):
            yield f"a class by value cannot be passed in both ABIs; pass its address: {text}"


def main():
    names = both_names()
    if "--update" in sys.argv:
        LIST.write_text(HEAD + "\n".join(lines(names)) + "\n", encoding="utf-8")
        return 0
    found = list(faults(names))
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
