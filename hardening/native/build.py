#!/usr/bin/env python3
"""The native build: the library under Clang's sanitizers, as Linux programs, into build/native.

    build.py PROGRAM...     builds programs from PROGRAMS below
    build.py --list         lists them

There are two kinds of programs. A *Wine* program is a Winelib one: the library's sources are compiled against Wine's headers and
run on Wine's libraries, but as Linux code, which the address sanitizer supports. A *plain* program runs without Wine, with
replacements for the few system calls it needs, so that the thread sanitizer sees every lock. objcopy redirects the library's calls
to the C runtime and the system to the harness (redirect.txt), which provides every block, file and message box.

With Wine's headers `long` has Linux's 64 bits, while the sources mean Windows' 32: the sources are compiled from a copy with `int`
instead. Line numbers are preserved, and reports name the real files. Files in `instead` replace those that only work in a Windows
library, such as a helper that patches its import table.
"""
import os
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build/native"
COPY = BUILD / "source"
HERE = Path("hardening/native")  # in the repository, and in the copy
GOOGLETEST = Path("/usr/src/googletest")
CLANG = "clang++-19"

COPIED = ("src", "include", "plugins/qewic", "tests", "tools/qetool", "hardening")
FLOORS = ("values", "undo", "io", "core", "image", "draw")

# ---- what is built ----------------------------------------------------------------------------------------------------

# Sanitizers of a variant. vptr needs type information; function does not support Windows' calling convention.
UNDEFINED = "-fsanitize=undefined -fno-sanitize=vptr,function -fno-sanitize-recover=undefined"
VARIANTS = {
    "asan": f"-fsanitize=address {UNDEFINED}",
    "fuzz": f"-fsanitize=address,fuzzer-no-link {UNDEFINED}",
    "tsan": "-fsanitize=thread",
}
# The groups of redirect.txt applied to the library's objects: with real files and screens (the project's own tests), with files
# in memory, and without Wine. Where files are real, bitmaps are, too.
LIBRARY_ON = {
    "system": "wide heap global boxes",
    "memory": "wide heap global boxes debugger bitmaps threads files",
    "linux": "wide boxes debugger files",
}
EXTRA_GROUPS = {
    ("system", "src/image/image.cpp"): " bitmaps",
    ("memory", "plugins/qewic/read_picture.cpp"): " imaging",
    ("memory", "plugins/qewic/write_picture.cpp"): " imaging",
}
EXTRA_FLAGS = [
    (re.compile(r"_avx2\.cpp$"), "-mavx2 -mfma"),
    (re.compile(r"_ssse3\.cpp$"), "-mssse3"),
    (re.compile(r"^src/"), "-fno-exceptions"),  # tests derive from its classes, and have type information
    (re.compile(r"^plugins/"), "-isystem /usr/include/stb -D_FORCENAMELESSUNION"),
]

RUNTIME = [str(HERE / f"{name}.cpp") for name in ("wide", "formatters", "plan", "heap", "bitmaps", "boxes", "workers", "children")]
FILES = [str(HERE / f"{name}.cpp") for name in ("files", "names", "modules")]
ON_LINUX = [str(HERE / f"{name}.cpp") for name in ("wide", "plan", "boxes", "locks", "linux", "linux_formatters")] + FILES


class Program:
    """Sources, the variant of the library they are linked with, and that library's environment."""

    def __init__(self, variant, on, sources, runtime=(), plugin=False, gtest=False):
        self.variant, self.on, self.sources, self.plugin, self.gtest = variant, on, list(sources), plugin, gtest
        self.runtime = list(runtime)


def found(pattern):
    return sorted(path.relative_to(ROOT).as_posix() for path in ROOT.glob(pattern))


def left_out():
    """The sources of tests listed in left_out.txt."""
    lines = (ROOT / HERE / "left_out.txt").read_text(encoding="utf-8").splitlines()
    pairs = [line.split()[:2] for line in lines if line and not line.startswith("#")]
    return {f"tests/{folder}/{name}" for folder, name in pairs if name.endswith(".cpp")}


def floor_tests(floor):
    sources = [source for source in found(f"tests/{floor}/*.cpp") if source not in left_out()] + [str(HERE / "test_support.cpp")]
    return Program("asan", "system", sources, RUNTIME, gtest=True)


PROGRAMS = {f"{floor}_test": floor_tests(floor) for floor in FLOORS}
PROGRAMS["threads"] = Program("tsan", "linux", [str(HERE / "threads.cpp")], ON_LINUX, gtest=True)

# The plug-in's requests for an Imaging Component go to the fuzzer's, which passes on those that it does not handle.
TOOL_PARTS = ["tools/qetool/chunk_tree.cpp", "tools/qetool/text.cpp"]
PROGRAMS["fuzz"] = Program("fuzz", "memory", found("hardening/fuzz/*.cpp") + TOOL_PARTS, RUNTIME + FILES, plugin=True)
PROGRAMS["faults"] = Program("asan", "memory", found("hardening/faults/*.cpp") + ["hardening/fuzz/imaging.cpp"], RUNTIME + FILES,
                             plugin=True)

# ---- flags ------------------------------------------------------------------------------------------------------------

DEFINED = ["QECORE_BUILD", "WIN32_LEAN_AND_MEAN", "NOMINMAX", "_WIN32_WINNT=0x0601"]

# Templates of wide strings must be instantiated here: those in libstdc++.so have characters of 32 bits.
COMMON = f"""-std=c++20 -fshort-wchar -fPIC -O1 -gline-tables-only -fno-omit-frame-pointer -fno-builtin -ffp-contract=off
 -D_GLIBCXX_EXTERN_TEMPLATE=0 -ffile-prefix-map={COPY}=."""
TEST_FLAGS = f"-isystem {GOOGLETEST}/googletest/include -D_GLIBCXX_ASSERTIONS"


def winelib_flags():
    defines = " ".join(f"-D{name}" for name in DEFINED)
    headers = "-isystem /usr/include/wine/wine/windows -idirafter /usr/include/wine"
    own = f"-Iinclude -Isrc -Itests -Ihardening -I. -I{HERE} -include {HERE}/winelib.h"
    return f"{COMMON} {defines} {headers} {own}".replace("\n", "")


# ---- the copy of the sources ------------------------------------------------------------------------------------------

LONG = re.compile(r"\b(?:LONG_(MAX|MIN)|(?<!long )long(?! long| double))\b")


def without_long(text):
    """The text with Windows' 32-bit `long` as `int`; comment lines are unchanged."""
    lines = text.split("\n")
    return "\n".join(line if line.lstrip().startswith("//") else LONG.sub(narrow, line) for line in lines)


def narrow(match):
    return f"INT_{match[1]}" if match[1] else "int"


def copied_text(path):
    """The copy's content for a file: that of its replacement, or its own with a narrow `long`."""
    instead = ROOT / HERE / "instead" / path.relative_to(ROOT)
    text = (instead if instead.exists() else path).read_text(encoding="utf-8")
    # The harness is written for this build, so its `long` is correct.
    return text if "hardening" in path.relative_to(ROOT).parts else without_long(text)


def copy_sources():
    """Updates the copy; an unchanged file keeps its time."""
    wanted = {path for top in COPIED for path in (ROOT / top).rglob("*") if path.suffix in (".h", ".cpp")}
    for path in sorted(wanted):
        write_if_changed(COPY / path.relative_to(ROOT), copied_text(path))
    for path in COPY.rglob("*"):
        if path.is_file() and ROOT / path.relative_to(COPY) not in wanted:
            path.unlink()


def write_if_changed(path, text):
    if path.exists() and path.read_text(encoding="utf-8") == text:
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")


# ---- redirections -----------------------------------------------------------------------------------------------------


def read_groups():
    """{group: lines for objcopy} of redirect.txt."""
    groups, lines = {}, None
    for line in (ROOT / HERE / "redirect.txt").read_text(encoding="utf-8").splitlines():
        words = line.split("#")[0].split()
        if not words:
            continue
        if words[0].startswith("["):
            lines = groups.setdefault(words[0].strip("[]"), [])
        else:
            lines.append(f"{words[0]} {words[-1] if len(words) > 1 else 'harness_' + words[0]}\n")
    return groups


def redirections(groups):
    """The file for objcopy with these groups."""
    path = BUILD / "redirect" / (groups.replace(" ", "-") + ".txt")
    known = read_groups()
    write_if_changed(path, "".join(line for group in groups.split() for line in known[group]))
    return path


# ---- the ninja file ---------------------------------------------------------------------------------------------------

# A precompiled header contains absolute paths: one from the cache may belong to another checkout.
RULES = """
rule compile
  command = $launcher {clang} $flags -MMD -MF $out.d -c $source -o $out && objcopy $redirect $out
  depfile = $out.d
  deps = gcc
  description = compile $source ($variant)
rule precompile
  command = {clang} $flags -x c++-header -fpch-instantiate-templates -MMD -MF $out.d $source -o $out
  depfile = $out.d
  deps = gcc
  description = precompile $source ($variant)
rule link-wine
  command = cd {build} && wineg++ -o $program.exe $in $libraries
  description = link $program
rule link-plain
  command = {clang} $flags -o $out $in $libraries
  description = link $program
"""


class Ninja:
    """Collects the edges; an object shared by several programs is written once."""

    def __init__(self):
        self.text, self.seen = [], set()

    def build(self, output, rule, inputs, implicit=(), **variables):
        if output in self.seen:
            return output
        self.seen.add(output)
        waits = f" | {' '.join(map(str, implicit))}" if implicit else ""
        self.text.append(f"build {output}: {rule} {' '.join(map(str, inputs))}{waits}")
        self.text += [f"  {name} = {value}" for name, value in variables.items()]
        return output


def extra_flags(source):
    return " ".join(flags for pattern, flags in EXTRA_FLAGS if pattern.search(source))


def compile_edge(ninja, source, folder, flags, groups, variant, waits=()):
    output = f"{BUILD}/{folder}/{source.lstrip('/')}.o"
    path = source if source.startswith("/") else f"{COPY}/{source}"
    redirect = redirections(groups) if groups else None
    return ninja.build(output, "compile", [path], [*waits, *([redirect] if redirect else ())], source=source, variant=variant, flags=flags,
                       redirect=f"--redefine-syms={redirect}" if redirect else "")


def library_objects(ninja, program):
    sources = found("src/**/*.cpp") + (found("plugins/qewic/*.cpp") if program.plugin else [])
    for source in sources:
        groups = LIBRARY_ON[program.on] + EXTRA_GROUPS.get((program.on, source), "")
        flags = f"{winelib_flags()} {VARIANTS[program.variant]} {extra_flags(source)} -w"
        yield compile_edge(ninja, source, f"{program.variant}-{program.on}", flags, groups, program.variant)


def own_objects(ninja, program):
    """The program's own sources: like a host, they use the real heap, but the library's global memory."""
    groups = {"system": "wide global", "memory": "wide global files", "linux": "wide"}[program.on]
    for source in program.sources:
        flags = f"{winelib_flags()} {VARIANTS[program.variant]} {extra_flags(source)} -w"
        headers = [gtest_headers(ninja, program.variant)] if program.gtest else []
        if headers:
            flags += f" {TEST_FLAGS} -include-pch {headers[0]}"
        folder = f"{program.variant}-{program.on}-own"
        yield compile_edge(ninja, source, folder, flags, groups, program.variant, headers)


def runtime_objects(ninja, program):
    """The harness itself calls the real system. It is checked for memory accesses but not for undefined behaviour."""
    sanitizer = "-fsanitize=thread" if program.on == "linux" else "-fsanitize=address"
    for source in program.runtime:
        flags = f"{winelib_flags()} {sanitizer} -Wall -Wextra -Wno-ignored-attributes -Wno-cast-function-type-mismatch"
        yield compile_edge(ninja, source, f"runtime-{sanitizer.split('=')[1]}", flags, "", "harness")


def gtest_headers(ninja, variant):
    """GoogleTest's headers, precompiled: they take longer to compile than a test itself."""
    source = f"{HERE}/googletest.h"
    flags = f"{winelib_flags()} {VARIANTS[variant]} {TEST_FLAGS} -Xclang -fno-pch-timestamp -w"
    return ninja.build(f"{BUILD}/{variant}-headers/googletest.pch", "precompile", [COPY / source], source=source, variant=variant,
                       flags=flags)


def gtest_object(ninja):
    """Compiled once, for Linux and without a sanitizer."""
    flags = f"{COMMON} {TEST_FLAGS} -I{GOOGLETEST}/googletest -w".replace("\n", "")
    return compile_edge(ninja, f"{GOOGLETEST}/googletest/src/gtest-all.cc", "gtest", flags, "wide", "googletest")


def sanitizer_library(name):
    folder = subprocess.run([CLANG, "-print-resource-dir"], capture_output=True, text=True, check=True).stdout.strip()
    return Path(folder) / "lib/linux" / f"libclang_rt.{name}"


WINE_LIBRARIES = "-lgdi32 -luser32 -lole32 -loleaut32 -lwindowscodecs -luuid -lkernel32 -lz"


def program_edge(ninja, name, program):
    objects = [*own_objects(ninja, program), *([gtest_object(ninja)] if program.gtest else []), *runtime_objects(ninja, program),
               *library_objects(ninja, program)]
    if program.on == "linux":
        # Windows functions without a replacement stay unresolved: they must not be called; if one is, the loader reports it.
        libraries = "-fuse-ld=lld -pthread -Wl,--unresolved-symbols=ignore-all -Wl,-z,lazy"
        return ninja.build(f"{BUILD}/bin/{name}", "link-plain", objects, program=name, flags=VARIANTS[program.variant],
                           libraries=libraries)
    libraries = [f"-Wl,-rpath,{sanitizer_library('').parent}", "-Wl,-Bsymbolic", WINE_LIBRARIES]
    if program.variant == "fuzz":
        objects.append(sanitizer_library("fuzzer_no_main-x86_64.a"))
    objects.append(sanitizer_library("asan-x86_64.so"))
    return ninja.build(f"{BUILD}/bin/{name}.exe.so", "link-wine", objects, program=f"bin/{name}", libraries=" ".join(libraries))


def write_ninja():
    ninja = Ninja()
    for name, program in PROGRAMS.items():
        output = program_edge(ninja, name, program)
        ninja.build(name, "phony", [output])
    launcher = "ccache" if subprocess.run(["which", "ccache"], capture_output=True, check=False).returncode == 0 else ""
    rules = RULES.format(clang=CLANG, build=BUILD)
    write_if_changed(BUILD / "build.ninja", f"builddir = {BUILD}\nlauncher = {launcher}\n{rules}\n" + "\n".join(ninja.text) + "\n")


def main():
    if sys.argv[1:] == ["--list"]:
        print("\n".join(PROGRAMS))
        return 0
    unknown = [name for name in sys.argv[1:] if name not in PROGRAMS]
    if unknown or len(sys.argv) < 2:
        sys.exit(f"build.py: no such program: {' '.join(unknown)}" if unknown else __doc__)
    (BUILD / "bin").mkdir(parents=True, exist_ok=True)
    copy_sources()
    write_ninja()
    # Ninja runs in the source folder, so that messages and depfiles use the repository's names. Without these settings ccache
    # recompiles everything that uses a precompiled header.
    environment = {"CCACHE_SLOPPINESS": "pch_defines,time_macros", "CCACHE_BASEDIR": str(ROOT), **os.environ}
    return subprocess.run(["ninja", "-C", COPY, "-f", BUILD / "build.ninja", *sys.argv[1:]], env=environment, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
