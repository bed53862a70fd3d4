#!/usr/bin/env python3
"""The programs of this folder call every exported function of the headers.

    calls_check.py PROGRAM...    prints the exports that none of the programs imports

Functions in slots are called through virtual tables, whose layout tests/abi/ compares, and are not imported by name.
"""
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "abi"))
import names_check  # noqa: E402

def imported(program):
    """The names that a program imports from any library."""
    text = subprocess.run(["llvm-readobj-19", "--coff-imports", program], capture_output=True, text=True, check=True).stdout
    return {line.split()[1] for line in text.splitlines() if line.strip().startswith("Symbol:")}


def main():
    used = set().union(*map(imported, sys.argv[1:]))
    wanted = {each.export for each in names_check.imports() if not each.is_slot}
    faults = [f"called by no program: {name}" for name in sorted(wanted - used)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
