#!/usr/bin/env python3
"""The include-floors lint: a file includes only its own floor and lower ones.

    floor 0  core ground    1  values    2  io    3  image    4  raster    5  draw, undo    6  core roof

`core` is one folder with two heights: the files named in ROOF may look up at everything. Geometry is plain values and
serves every floor. Private headers (x_p.h) stay in their own folder or serve higher floors; nobody includes a source.
Painting knows no Windows.
"""
import re
import sys
from pathlib import Path

FLOORS = {"core": 0, "values": 1, "io": 2, "image": 3, "raster": 4, "draw": 5, "undo": 5}
ROOF = re.compile(r"core/(system|module|module_scan|class_info|cache_record|builtin_classes)(_p)?\.(h|cpp)$")
EVERYWHERE = {"draw/geometry.h"}
WITHOUT_WINDOWS = {"raster"}
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')


def unit_of(path, base):
    """core/x.h for both a file of the tree and an include line; None for what is not the library's."""
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


def main():
    root = Path(__file__).resolve().parent.parent
    faults = []
    for top in (root / "include/qecore", root / "src"):
        for file in sorted(p for p in top.rglob("*") if p.suffix in (".h", ".cpp")):
            unit = file.relative_to(top).as_posix()
            if unit.split("/")[0] not in FLOORS:
                faults.append(f"{file.relative_to(root)}: lies on no floor")
            else:
                faults += faults_of(file, unit, root)
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
