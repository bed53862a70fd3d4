#!/usr/bin/env python3
"""The PDB of Clang's build has the library's types, its sources and the natvis file, and the library names it without a folder.

    pdb_check.py FOLDER     with qeCore.dll and qeCore.pdb

Whether Visual Studio shows the views cannot be seen here: that the fields which they use exist is checked.
"""
import re
import subprocess
import sys
from pathlib import Path

NATVIS = Path(__file__).resolve().parents[2] / "packaging/debuggers/qeCore.natvis"


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def main():
    folder = Path(sys.argv[1])
    types = output("llvm-pdbutil-19", "dump", "--types", folder / "qeCore.pdb")
    names = set(re.findall(r"`(yk::[^`]*)`", types)) | set(re.findall(r"\[name = `(\w+)`", types))
    text = NATVIS.read_text(encoding="utf-8")
    wanted = {name for name in re.findall(r'Type Name="([^"&]+)"', text)}
    wanted |= set(re.findall(r"\b(?:block|elements|entries|count|object|unsigned8|signed64|wide|pair|pointer|paletteCount|stride)\b", text))
    faults = [f"not in the PDB: {name}" for name in sorted(wanted - names)]
    if "qecore.natvis" not in output("llvm-pdbutil-19", "dump", "--named-streams", folder / "qeCore.pdb").lower():
        faults.append("the PDB has no natvis")
    if "PDBFileName: qeCore.pdb" not in output("llvm-readobj-19", "--coff-debug-directory", folder / "qeCore.dll"):
        faults.append("the library does not name its PDB, or with a folder")
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
