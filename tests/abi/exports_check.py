#!/usr/bin/env python3
"""The library must export the names in exports.txt, and none from outside of yk and qe.

    exports_check.py DLL            exit code 1 if a listed name is missing or a foreign one is exported
    exports_check.py DLL --print    prints all names, as candidates for the list

Removing a name breaks existing programs. Private members of exported classes are exported, too, but not guaranteed.
"""
import re
import subprocess
import sys
from pathlib import Path

LIST = Path(__file__).resolve().parent / "exports.txt"
OWN = re.compile(r"(vtable for |typeinfo for |typeinfo name for )?(yk|qe)::")


def exported_names(dll):
    dump = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", dll], capture_output=True, text=True, check=True).stdout
    table = dump.partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    mangled = re.findall(r"^\s*\[ *\d+\].* (\S+)$", table, re.MULTILINE)
    plain = subprocess.run(["x86_64-w64-mingw32-c++filt"], input="\n".join(mangled), capture_output=True, text=True,
                           check=True).stdout
    return set(plain.splitlines())


def main():
    names = exported_names(sys.argv[1])
    if "--print" in sys.argv:
        print("\n".join(sorted(names)))
        return 0
    promised = {line for line in LIST.read_text(encoding="utf-8").splitlines() if line and not line.startswith("#")}
    faults = [f"not exported: {name}" for name in sorted(promised - names)]
    faults += [f"exported, but not of yk or qe: {name}" for name in sorted(names) if not OWN.match(name)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
