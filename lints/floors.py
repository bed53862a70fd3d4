#!/usr/bin/env python3
"""The floors lint: files include only their own floor and lower ones, and define nothing of a lower floor's header.

    floor 0  core ground    1  values    2  io    3  image    4  raster    5  draw, undo    6  core roof

`core` is one folder with two levels: the files named in ROOF may include every floor. Geometry consists of plain values
and may be used by every floor. Private headers (x_p.h) are used in their own folder or on higher floors; sources are
never included. Painting does not use Windows. A function that is declared on one floor and defined on a higher one makes
the lower floor depend on the higher one without an include: the intended cases are listed in CLIMBS.

A source includes its own header first, so that each header is compiled without help of others. Where the platform's types
must come before it, a comment on the line above says so.
"""
import re
import sys
from pathlib import Path

FLOORS = {"core": 0, "values": 1, "io": 2, "image": 3, "raster": 4, "draw": 5, "undo": 5}
ROOF = re.compile(r"core/(system|module|module_scan|module_imports|class_info|cache_record|builtin_classes|kept_names)(_p)?\.(h|cpp)$")
EVERYWHERE = {"draw/geometry.h"}
WITHOUT_WINDOWS = {"raster"}
# (header, source of some of its bodies): why
CLIMBS = {
    ("core/guid.h", "values/guid_text.cpp"): "reads a String",
    ("values/map.h", "io/map_records.cpp"): "saves to an object file and loads from one",
    ("values/string.h", "io/value_records.cpp"): "saves to an object file and loads from one",
    ("values/variant.h", "io/value_records.cpp"): "saves to an object file and loads from one",
    ("core/registry.h", "core/class_info.cpp"): "a class record owns a Map, and is read from the module cache",
    ("core/registry.h", "core/system.cpp"): "every floor gets classes from the System, which it need not know",
    ("core/registry_p.h", "core/system.cpp"): "every floor gets classes from the System, which it need not know",
}
# Sources that implement a header of another name.
OWN = {
    "core/module_scan.cpp": '"module_p.h"',
    "draw/canvas.cpp": '"gdi_p.h"',
    "image/filter_options.cpp": '<qecore/image/filter_option.h>',
    "image/filters.cpp": '<qecore/image/image_file.h>',
    "image/load_save.cpp": '<qecore/image/image_file.h>',
    "image/operations.cpp": '<qecore/image/image.h>',
    "image/read_write.cpp": '<qecore/image/image_file.h>',
    "image/resample.cpp": '<qecore/image/image.h>',
    "io/deserializer.cpp": '<qecore/io/deserializer.h>',
    "io/map_records.cpp": '<qecore/values/map.h>',
    "io/regular_compare.cpp": '<qecore/io/file_find.h>',
    "io/resource_stream.cpp": '<qecore/io/mem_stream.h>',
    "io/value_records.cpp": '"records_p.h"',
    "io/xml_helper.cpp": '<qecore/io/xml.h>',
    "io/xml_writer.cpp": '<qecore/io/xml.h>',
    "values/guid_text.cpp": '<qecore/core/guid.h>',
}
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')

# Both rely on clang-format: locals are indented, and the end of an anonymous namespace has a comment.
NOT_THESE = r"(?!\s|//|#|\}|using|typedef|template|static|inline|constexpr|namespace \w+ =)"
DECLARED = re.compile(rf"{NOT_THESE}(?:class|struct) (\w+)(?: final)?(?: \{{| :|$)"
                      rf"|{NOT_THESE}[\w:<>*&, ]+[ *&](\w+)\(")
DEFINED = re.compile(rf"{NOT_THESE}(?:[\w:<>*&, ]+[ *&])?((?:\w+::)*~?\w+|(?:\w+::)+operator[^(]*)\(")
ANONYMOUS = re.compile(r"^namespace \{.*?^\}  // namespace$", re.DOTALL | re.MULTILINE)


def unit_of(path, base):
    """core/x.h for both a file of the tree and an include line; None for files that are not the library's."""
    text = path.removeprefix("qecore/")
    if "/" not in text:
        text = f"{base}/{text}"
    return text if text.split("/")[0] in FLOORS else None


def floor_of(unit):
    return 6 if ROOF.search(unit) else FLOORS[unit.split("/")[0]]


def faults_of(file, unit, root):
    for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        folder = unit.split("/")[0]
        where = f"{file.relative_to(root)}:{number}"
        if match and match[1] == "windows.h" and folder in WITHOUT_WINDOWS:
            yield f"{where}: {folder} includes <windows.h>"
        target = match and unit_of(match[1], folder)
        if not target:
            continue
        if target.endswith(".cpp"):
            yield f"{where}: includes a source: {target}"
        elif file.suffix == ".h" and "include" in file.parts and target.endswith("_p.h"):
            yield f"{where}: a public header includes a private one: {target}"
        elif target not in EVERYWHERE and floor_of(target) > floor_of(unit):
            yield f"{where}: floor {floor_of(unit)} includes floor {floor_of(target)}: {target}"


def own_headers(unit):
    """The headers that may be a source's own, best first: x_y.cpp has x_y.h, x_y_p.h, x.h or x_p.h of its folder."""
    if unit in OWN:
        yield OWN[unit]
        return
    folder, words = unit.split("/")[0], Path(unit).stem.split("_")
    for count in range(len(words), 0, -1):
        name = "_".join(words[:count])
        yield f"<qecore/{folder}/{name}.h>"
        yield f'"{name}_p.h"'


def order_faults(file, unit, root):
    lines = file.read_text(encoding="utf-8").splitlines()
    includes = [number for number, line in enumerate(lines) if INCLUDE.match(line)]
    wanted = (f"#include {header}" for header in own_headers(unit))
    own = next((line for line in wanted if line in lines), None)
    if own and lines[includes[0]] != own and not lines[includes[0] - 1].startswith("// first"):
        yield f"{file.relative_to(root)}:{includes[0] + 1}: the first include is not the source's own header"


def declarations(files):
    """Each class and function with the highest header that declares it."""
    header_of = {}
    for unit, file in files:
        if file.suffix != ".h":
            continue
        for match in filter(None, map(DECLARED.match, file.read_text(encoding="utf-8").splitlines())):
            name = match[1] or match[2]
            header_of[name] = max(header_of.get(name, unit), unit, key=floor_of)
    return header_of


def definitions(unit, file, header_of):
    """Each definition in the source of something that a header declares: its line and the header."""
    text = ANONYMOUS.sub(lambda hidden: "\n" * hidden[0].count("\n"), file.read_text(encoding="utf-8"))
    for number, match in enumerate(map(DEFINED.match, text.splitlines()), 1):
        header = match and next((header_of[part] for part in match[1].split("::") if part in header_of), None)
        if header:
            yield number, header


def climbs(files, root):
    """The definitions on higher floors than their headers that are not intended, and the rows of CLIMBS without one."""
    header_of, met = declarations(files), set()
    for unit, file in files:
        for number, header in definitions(unit, file, header_of) if file.suffix == ".cpp" else ():
            if floor_of(unit) <= floor_of(header):
                continue
            met.add((header, unit))
            if (header, unit) not in CLIMBS:
                yield (f"{file.relative_to(root)}:{number}: floor {floor_of(unit)} defines what {header} declares "
                       f"on floor {floor_of(header)}")
    for header, unit in CLIMBS.keys() - met:
        yield f"lints: {unit} no longer defines anything of {header}"


def main():
    root = Path(__file__).resolve().parent.parent
    faults = []
    files = []
    for top in (root / "include/qecore", root / "src"):
        for file in sorted(p for p in top.rglob("*") if p.suffix in (".h", ".cpp")):
            unit = file.relative_to(top).as_posix()
            if unit.split("/")[0] not in FLOORS:
                faults.append(f"{file.relative_to(root)}: belongs to no floor")
            else:
                files.append((unit, file))
                faults += faults_of(file, unit, root)
                faults += order_faults(file, unit, root) if file.suffix == ".cpp" else ()
    faults += climbs(files, root)
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
