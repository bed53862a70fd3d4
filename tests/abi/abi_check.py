#!/usr/bin/env python3
"""The binary contract under both C++ ABIs, from the headers that users compile against.

slots.txt lists the functions in the slots of each class's virtual table, layouts.txt the offsets of each record's fields.
Clang prints the actual layout of the headers, once for the GNU and once for the Microsoft C++ ABI. Any difference is a fault
in the headers or in a list.

    abi_check.py            compares and prints each difference; exit code 1 if there is one
    abi_check.py --print    prints Clang's layout in the format of the two files
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
TARGETS = {"GNU": "x86_64-w64-mingw32", "Microsoft": "x86_64-pc-windows-msvc"}


# ---- the expectations -------------------------------------------------------------------------------------------------


def read_table(name):
    """{class: (words after the class name, [(number, text), ...])} of slots.txt or layouts.txt."""
    table, entries = {}, None
    for number, line in enumerate((HERE / name).read_text(encoding="utf-8").splitlines(), 1):
        line = line.split("#")[0].strip()
        if not line:
            continue
        head, _, rest = line.partition(" ")
        if head == "class":
            name_of_class, _, rest = rest.partition(" ")
            entries = []
            table[name_of_class] = (rest, entries)
        elif head.isdigit() and entries is not None:
            entries.append((int(head), rest.strip()))
        else:
            sys.exit(f"{name}:{number}: not understood: {line}")
    return table


def expected_slots(table, name):
    """All slots of a class, those of its base first: `class yk::B : yk::A` lists only what B adds."""
    base, own = table[name]
    slots = expected_slots(table, base.removeprefix(":").strip()) if base else []
    for number, text in own:
        if number != len(slots):
            sys.exit(f"slots.txt: {name}: slot {number} where {len(slots)} is next")
        slots.append(text)
    return slots


# ---- Clang's layout ----------------------------------------------------------------------------------------------------


def include_all():
    headers = sorted(path.relative_to(ROOT / "include").as_posix() for path in (ROOT / "include").rglob("*.h"))
    return "".join(f"#include <{header}>\n" for header in headers)


def driver(slot_table):
    """A source that takes the address of virtual functions of each class, so that Clang lays out its table."""
    lines = [include_all(), "template <class Pointer> void Take(Pointer);"]
    for index, (name, (_, own)) in enumerate(slot_table.items()):
        lines.append(f"template <class C> void Use{index}() {{")
        for method in {re.sub(r"\(.*", "", text).split()[-1].lstrip("*&") for _, text in own}:
            # The address of an overloaded name is ambiguous; each class has a function that is not overloaded.
            lines.append(f"  if constexpr (requires {{ Take(&C::{method}); }}) Take(&C::{method});")
        lines.append(f"}}\ntemplate void Use{index}<{name}>();")
    return "\n".join(lines) + "\n"


def dump(target, source, *options):
    command = ["clang++-19", f"--target={target}", "-std=c++20", "-fno-rtti", "-fno-access-control", "-S", "-emit-llvm",
               "-o", "/dev/null", f"-I{ROOT / 'include'}", "-isystem", "/usr/share/mingw-w64/include", "-w"]
    result = subprocess.run([*command, *options, source], capture_output=True, text=True)
    if result.returncode:
        sys.exit(f"abi_check: {target}:\n{result.stderr}")
    return result.stdout + result.stderr


def plain(signature):
    """`HRESULT yk::Answers<...>::QueryInterface(const Guid &, void **) [Self = ...]` without the class."""
    signature = re.sub(r"\s\[.*", "", signature.strip())
    head, _, parameters = signature.partition("(")
    depth, start = 0, 0
    for i, char in enumerate(head):  # the name starts after the last blank, * or & outside of <>
        depth += (char == "<") - (char == ">")
        if depth == 0 and char in " *&":
            start = i + 1
    returns, name = head[:start], head[start:]
    return f"{returns}{name.rsplit('::', 1)[-1]}({parameters}"


def actual_slots(text):
    tables, slots = {}, None
    for line in text.splitlines():
        head = re.match(r"V(?:FT|t)able for (.*) \(\d+ entr", line)
        entry = re.match(r"\s+\d+ \| (.*)", line)
        if head:
            slots = tables[head[1].split("' in '")[-1].strip("'")] = []
        elif not entry or slots is None:
            slots = slots if line.startswith("       --") else None
        elif not re.match(r"offset_to_top|.* RTTI$", entry[1]):
            slots.append(plain(entry[1]))
    return tables


def actual_layouts(text):
    """{class: (size, [(offset, field), ...])}: the fields of the class itself, not those of its bases."""
    records, name = {}, None
    for line in text.splitlines():
        entry = re.match(r"\s+(\d+)(?::\d+-\d+)? \| ( *)(.*)", line)  # 12:0-1 for a field of bits
        size = re.match(r"\s+\| \[sizeof=(\d+)", line)
        if size and name:
            records[name] = (int(size[1]), fields)
        elif entry and not entry[2]:
            name, fields = re.sub(r"^(class|struct|union) ", "", entry[3]), []
        elif entry and len(entry[2]) == 2 and not re.search(r"\(.*(base|pointer)\)", entry[3]):
            fields.append((int(entry[1]), entry[3].split()[-1]))
    return records


# ---- comparison --------------------------------------------------------------------------------------------------------


def compare_slots(abi, table, actual):
    for name, (_, own) in table.items():
        if not own:
            continue
        expected, found = expected_slots(table, name), actual.get(name)
        if found is None:
            yield f"{abi}: {name} has no virtual table"
            continue
        for slot in range(max(len(expected), len(found))):
            pair = [side[slot] if slot < len(side) else "nothing" for side in (expected, found)]
            if pair[0] != pair[1]:
                yield f"{abi}: {name} slot {slot}: {pair[1]} instead of {pair[0]}"


def compare_layouts(abi, table, actual):
    for name, (size, fields) in table.items():
        expected = (int(size.split()[-1]), [(offset, text.split()[-1]) for offset, text in fields])
        if name not in actual:
            yield f"{abi}: {name} is not declared"
        elif actual[name] != expected:
            yield f"{abi}: {name} is laid out as {actual[name]} instead of {expected}"


def show(slots, layouts):
    for name, entries in slots.items():
        print(f"\nclass {name}", *(f"{i:4} {text}" for i, text in enumerate(entries)), sep="\n")
    for name, (size, fields) in layouts.items():
        if re.match(r"(yk|qe)::\w+$", name):
            print(f"\nclass {name} size {size}", *(f"{offset:4} {field}" for offset, field in fields), sep="\n")


def main():
    slot_table, layout_table = read_table("slots.txt"), read_table("layouts.txt")
    faults = []
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "driver.cpp"
        source.write_text(driver(slot_table), encoding="utf-8")
        for abi, target in TARGETS.items():
            slots = actual_slots(dump(target, source, "-Xclang", "-fdump-vtable-layouts"))
            layouts = actual_layouts(dump(target, source, "-Xclang", "-fdump-record-layouts-complete"))
            if "--print" in sys.argv:
                print(f"\n# {abi}")
                show(slots, layouts)
            faults += compare_slots(abi, slot_table, slots)
            faults += compare_layouts(abi, layout_table, layouts)
    if "--print" not in sys.argv:
        print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
