#!/usr/bin/env python3
"""Every public header compiles alone, in any order and with every supported compiler.

Each header is compiled by itself, after <windows.h> and before it, with and without run-time type information, by GCC and
by Clang for both C++ ABIs, with warnings as errors. No public header may include <windows.h>. The programs in README.md
compile as well, also after the whole of <windows.h>.
"""
import itertools
import os
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
COMMON = ["-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-Werror", f"-I{ROOT / 'include'}"]
COMPILERS = {
    "gcc": ["x86_64-w64-mingw32-g++-posix"],
    "clang, GNU ABI": ["clang++-19", "--target=x86_64-w64-mingw32"],
    # MinGW's platform headers replace Microsoft's; since they do not support _MSC_VER, windows.h is left out.
    "clang, Microsoft ABI": ["clang++-19", "--target=x86_64-pc-windows-msvc", "-isystem",
                             "/usr/share/mingw-w64/include", "-Wno-ignored-attributes"],
}
COMPANY = {
    "alone": "{}\n#ifdef _WINDOWS_\n#error this header includes windows.h\n#endif",
    "after windows.h": "#include <windows.h>\n{}",
    "before windows.h": "{}\n#include <windows.h>",
}


def compile_one(job):
    name, text, compiler, company, rtti = job
    with tempfile.NamedTemporaryFile("w", suffix=".cpp", delete=False) as source:
        source.write(COMPANY[company].replace("{}", text) + "\n")
    try:
        command = COMPILERS[compiler] + COMMON + [rtti, source.name]
        result = subprocess.run(command, capture_output=True, text=True)
    finally:
        os.unlink(source.name)
    return None if result.returncode == 0 else f"{name}, {compiler}, {company}, {rtti}:\n{result.stderr.strip()}"


def jobs():
    yield from header_jobs()
    programs = re.findall(r"^```cpp\n(.*?)^```", (ROOT / "README.md").read_text(encoding="utf-8"), re.M | re.S)
    for number, compiler, company in itertools.product(range(len(programs)), COMPILERS, ("alone", "after windows.h")):
        if compiler != "clang, Microsoft ABI":  # would need the C++ library's headers, too
            yield f"README.md, program {number + 1}", programs[number], compiler, company, "-frtti"


def header_jobs():
    include = ROOT / "include"
    headers = sorted(p.relative_to(include).as_posix() for p in include.rglob("*.h"))
    for header, compiler, company in itertools.product(headers, COMPILERS, COMPANY):
        if compiler == "clang, Microsoft ABI" and company in ("after windows.h", "before windows.h"):
            continue
        for rtti in ("-frtti", "-fno-rtti") if company == "alone" else ("-frtti",):
            yield header, f"#include <{header}>\n#include <{header}>", compiler, company, rtti


def main():
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        faults = [fault for fault in pool.map(compile_one, jobs()) if fault]
    print("\n\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
