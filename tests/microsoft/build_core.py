#!/usr/bin/env python3
"""The library, compiled for the Microsoft C++ ABI, with exports under the GNU names as well.

    build_core.py FOLDER    makes FOLDER/qeCore.dll, into which programs and plug-ins built by GCC can be loaded

Clang follows the other ABI while it takes itself for GCC, so that GCC's C++ library and MinGW's headers can be used: only
templates and inline functions of that library are needed. The C runtime is the platform's, through MinGW's import libraries.
"""
import os
import re
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
GCC = "x86_64-w64-mingw32-g++-posix"
LIBRARIES = ("msvcrt", "mingwex", "kernel32", "user32", "gdi32", "ole32", "uuid", "gcc")
AS_GCC = """--target=x86_64-pc-windows-msvc -fno-ms-compatibility -fgnuc-version=12.0.0 -fms-extensions -U_MSC_VER
 -D__MINGW32__ -D__MINGW64__ -D__MSVCRT__ -D__declspec=__declspec""".split()
FLAGS = """-std=c++20 -O2 -ffp-contract=off -fno-exceptions -fno-rtti -fno-threadsafe-statics -mno-stack-arg-probe -w
 -DQECORE_BUILD -DQECORE_MICROSOFT_ABI -DWIN32_LEAN_AND_MEAN -DNOMINMAX -D_WIN32_WINNT=0x0601""".split()
BY_NAME = {"_avx2.cpp": ["-mavx2", "-mfma"], "_ssse3.cpp": ["-mssse3"]}  # as cmake/flags.cmake has them


def printed(*options):
    return subprocess.run([GCC, *options], capture_output=True, text=True, check=True).stdout.strip()


def system_headers():
    """GCC's own search path, without the headers of its intrinsics, for which Clang has its own."""
    text = subprocess.run([GCC, "-E", "-v", "-x", "c++", os.devnull], capture_output=True, text=True, check=True).stderr
    folders = text.partition("search starts here:\n")[2].rpartition("End of search list")[0].split()
    own = [folder for folder in folders if not Path(folder, "xmmintrin.h").exists() and not folder.endswith("include-fixed")]
    return [f"-isystem{folder}" for folder in own if Path(folder).is_absolute()]


def compile_one(source, target, options):
    launcher = ["ccache"] if shutil.which("ccache") else []
    extra = [flag for end, flags in BY_NAME.items() if source.name.endswith(end) for flag in flags]
    subprocess.run([*launcher, "clang++-19", *options, *extra, "-c", source, "-o", target], check=True)
    return target


def definitions():
    """Each export's GNU name, which for a destructor is a pair: for whole objects and for bases."""
    lines = ["LIBRARY qeCore.dll", "EXPORTS"]
    for line in (ROOT / "cmake/microsoft_names.txt").read_text(encoding="utf-8").splitlines():
        if line.startswith("#"):
            continue
        name, export, *data = line.split()
        for alias in {export, re.sub(r"D1Ev$", "D2Ev", export)}:
            lines.append(" ".join([f"{alias}={name}", *data]))
    return "\n".join(lines) + "\n"


def main():
    folder = Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    options = [*AS_GCC, *FLAGS, "-nostdinc++", *system_headers(), f"-I{ROOT / 'include'}", f"-I{ROOT / 'src'}"]
    sources = [*sorted((ROOT / "src").rglob("*.cpp")), ROOT / "cmake/operator_new.cpp", ROOT / "tests/microsoft/core_entry.cpp"]
    targets = [folder / f"{number}.obj" for number in range(len(sources))]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        objects = list(pool.map(compile_one, sources, targets, [options] * len(sources)))
    (folder / "qeCore.def").write_text(definitions(), encoding="utf-8")
    libraries = [printed(f"-print-file-name=lib{name}.a") for name in LIBRARIES]
    subprocess.run(["lld-link-19", "/nologo", "/dll", "/nodefaultlib", "/entry:Entry", f"/out:{folder / 'qeCore.dll'}",
                    f"/def:{folder / 'qeCore.def'}", f"/implib:{folder / 'native.lib'}", *objects, *libraries], check=True)


if __name__ == "__main__":
    main()
