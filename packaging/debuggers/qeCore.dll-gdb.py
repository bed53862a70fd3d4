"""Shows the library's values in GDB.

    (gdb) source PACKAGE/bin/qeCore.dll-gdb.py
    (gdb) print properties
    $1 = Map of 2 = {[1] = L"sunset", [7] = 42}

GDB loads this file by itself, with qeCore.dll from the same folder, if `set auto-load safe-path` permits that.
"""
import gdb
import gdb.printing


class StringPrinter:
    """The text, up to GDB's limit (`set print elements`)."""

    def __init__(self, value):
        self.block = value["block"]

    def to_string(self):
        if not int(self.block):
            return 'L""'
        text = (self.block + 1).cast(gdb.lookup_type("wchar_t").const().pointer())
        return text.lazy_string(length=int(self.block["length"]))


class GuidPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        rest = bytes(int(self.value["fourth"][i]) for i in range(8)).hex().upper()
        first, second, third = (int(self.value[name]) for name in ("first", "second", "third"))
        return f"{{{first:08X}-{second:04X}-{third:04X}-{rest[:4]}-{rest[4:]}}}"


class RefPrinter:
    """The address, and the object there."""

    def __init__(self, value):
        self.object = value["object"]

    def to_string(self):
        return f"Ref {int(self.object):#x}" if int(self.object) else "Ref null"

    def children(self):
        if int(self.object):
            yield "object", self.object.dereference()


class ArrayPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"Array of {int(self.value['count'])}"

    def children(self):
        for i in range(int(self.value["count"])):
            yield f"[{i}]", self.value["elements"][i]

    def display_hint(self):
        return "array"


class MapPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"Map of {int(self.value['count'])}"

    def children(self):
        for i in range(int(self.value["count"])):
            entry = self.value["entries"][i]
            yield f"key {i}", entry["key"]
            yield f"value {i}", entry["value"]

    def display_hint(self):
        return "map"


class VariantPrinter:
    """The value; of payloads without a type of their own, the kind, size and address."""

    FIELDS = {2: "unsigned8", 3: "unsigned16", 4: "unsigned32", 5: "bits", 6: "signed16", 7: "signed32", 8: "signed64",
              11: "single", 12: "wide"}
    TEXTS = {14: "char", 15: "wchar_t"}
    PAYLOADS = {20: "yk::matrix2d", 21: "yk::matrix3d", 23: "yk::point3d", 24: "yk::point3df", 25: "yk::point2d"}

    def __init__(self, value):
        self.value, self.content = value, value["value"]
        self.type = int(value["type"])

    def to_string(self):
        if self.type == 0:
            return "empty"
        if self.type == 1:
            return "true" if int(self.content["unsigned8"]) else "false"
        if self.type in self.FIELDS:
            return self.content[self.FIELDS[self.type]].format_string(format="d" if self.type < 11 else "f")
        if self.type in self.TEXTS:
            return self.text(gdb.lookup_type(self.TEXTS[self.type]))
        if self.type == 26:
            return f"({float(self.content['pair'][0]):g}, {float(self.content['pair'][1]):g})"
        return self.payload()

    def text(self, character):
        length = int(self.value["size"]) // character.sizeof - 1  # without the terminator
        if not int(self.content["pointer"]) or length < 0:
            return 'L""' if character.sizeof == 2 else '""'
        return self.content["pointer"].cast(character.const().pointer()).lazy_string(length=length)

    def payload(self):
        name = self.PAYLOADS.get(self.type, "object" if self.type == 17 else f"{int(self.value['size'])} bytes")
        return f"{name} at {int(self.content['pointer']):#x}"


class ImagePrinter:
    """Size and format, then what is needed to look at the pixels."""

    FIELDS = ("bits", "stride", "palette", "paletteCount", "name", "properties")

    def __init__(self, value):
        self.value = value

    def to_string(self):
        if not int(self.value["bits"]):
            return "Image2d, empty"
        size = f"{int(self.value['width'])} x {int(self.value['height'])}"
        return f"Image2d {size} {str(self.value['format']).rpartition('::')[2]}"

    def children(self):
        for name in self.FIELDS:
            yield name, self.value[name]


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("qeCore")
    for name, printer in (("String", StringPrinter), ("Guid", GuidPrinter), ("Variant", VariantPrinter), ("Map", MapPrinter),
                          ("Array", ArrayPrinter), ("SortedArray", ArrayPrinter), ("Image2d", ImagePrinter)):
        collection.add_printer(name, f"^yk::{name}$", printer)
    collection.add_printer("Ref", "^yk::Ref<.*>$", RefPrinter)
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
