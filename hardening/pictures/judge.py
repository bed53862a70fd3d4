#!/usr/bin/python3
"""Makes pictures of all kinds, reads them with the library and with other decoders, and counts where they differ.

  judge.py FOLDER WINE_RUN PICTURES_EXE [--damaged N] [--real N] [--only TEXT] [--again]

A sound picture must be read as what it shows, or be refused as not supported. A damaged one must be refused, or be read as Pillow
or ImageMagick read it, or as it was before it was damaged; where they refuse it, it is counted apart. No pixel may come from memory
instead of the file, nothing may crash or take long. What the library writes, with each value of each option, must be read by others
as what it shows. The exit code is 1 otherwise.
"""

import argparse
import collections
import functools
import io
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import warnings

import numpy as np
from PIL import Image

import cases

GRAY8, PAL8, BGR24, BGRA32, GRAY16, BGR48, BGRA64, GRAYF, BGRF, BGRAF, PAL1, PAL4, RGB555 = 1, 2, 3, 4, 7, 8, 9, 12, 13, 14, 16, 17, 18
NAMES = {1: "gray8", 2: "pal8", 3: "bgr24", 4: "bgra32", 7: "gray16", 8: "bgr48", 9: "bgra64", 12: "grayf", 13: "bgrf", 14: "bgraf",
         16: "pal1", 17: "pal4", 18: "rgb555"}
PLAIN = {GRAY8: ("u1", 1, 255), BGR24: ("u1", 3, 255), BGRA32: ("u1", 4, 255), GRAY16: ("<u2", 1, 65535), BGR48: ("<u2", 3, 65535),
         BGRA64: ("<u2", 4, 65535), GRAYF: ("<f4", 1, 1), BGRF: ("<f4", 3, 1), BGRAF: ("<f4", 4, 1)}
BITS = {PAL1: 1, PAL4: 4, PAL8: 8, RGB555: 16}
SLOW = 3000  # milliseconds
MOST_OF_JPEG, MOST_MEAN = 64 / 255, 1.5 / 255  # decoders differ in how they smooth colours, at edges


def row_bytes(kind, width):
    if kind in PLAIN:
        code, channels, _ = PLAIN[kind]
        return width * channels * np.dtype(code).itemsize
    return (width * BITS[kind] + 7) // 8


def colours_of(kind, width, height, palette, rows):
    """The library's pixels as (height, width, 4), 0 to 1."""
    data = np.frombuffer(rows, np.uint8).reshape(height, row_bytes(kind, width))
    if kind in PLAIN:
        code, channels, top = PLAIN[kind]
        values = np.frombuffer(data.tobytes(), code).reshape(height, width, channels).astype(float) / top
        if channels == 1:
            return cases.rgba(values)
        return cases.rgba(values[:, :, 2::-1], values[:, :, 3] if channels == 4 else None)
    if kind == RGB555:
        words = np.frombuffer(data.tobytes(), "<u2").reshape(height, width)
        return cases.rgba(np.stack([(words >> s & 31) * 8 / 255 for s in (10, 5, 0)], axis=2))
    bits = np.unpackbits(data, axis=1)[:, :width * BITS[kind]].reshape(height, width, BITS[kind])
    indices = bits.dot(1 << np.arange(BITS[kind])[::-1])
    return np.frombuffer(palette, np.uint8).reshape(-1, 4)[indices] / 255


@functools.lru_cache(maxsize=4000)
def by_pillow(data, frame=0):
    """Its pixels as (height, width, 4), or None where it refuses."""
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            image = Image.open(io.BytesIO(data))
            if image.width * image.height > 1 << 26:
                return None
            if frame:
                image.seek(frame)
            image.load()
            clear = image.info.get("transparency")
            if image.mode in ("I;16", "I;16B", "I"):
                grey = np.asarray(image).astype(float) / 65535
                shown = cases.rgba(grey[:, :, None])
                if image.format == "PNG" and isinstance(clear, int):
                    shown[:, :, 3] = np.asarray(image) != clear
                return shown
            if image.mode == "F":
                return cases.rgba(np.asarray(image).astype(float)[:, :, None])
            if image.mode == "CMYK":
                ink = 1 - np.asarray(image) / 255
                return cases.rgba(ink[:, :, :3] * ink[:, :, 3:])
            return np.asarray(image.convert("RGBA")) / 255
    except Exception:  # noqa: BLE001  # whatever a decoder of others thinks of damaged files
        return None


@functools.lru_cache(maxsize=4000)
def by_magick(data, frame=0):
    """The same of ImageMagick, which takes longer."""
    kinds = {b"BM": "bmp", b"GI": "gif", b"II": "tiff", b"MM": "tiff", b"\x89P": "png", b"\xff\xd8": "jpeg"}
    kind = kinds.get(data[:2], "bmp")
    whole = ["-background", "none", "-coalesce"] if kind == "gif" else []
    whole += ["-delete", "0--2"] if whole and frame else []
    pages = f"[0-{frame}]" if whole else f"[{frame}]"
    command = ["convert", "-limit", "memory", "1GiB", "-limit", "disk", "0", kind + ":-" + pages, *whole, "-colorspace", "sRGB", "-type",
               "TrueColorAlpha", "-depth", "16", "pam:-"]
    done = subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    if done.returncode != 0 or not done.stdout.startswith(b"P7"):
        return None
    head, _, pixels = done.stdout.partition(b"ENDHDR\n")
    facts = dict(line.split(b" ", 1) for line in head.splitlines() if b" " in line)
    shape = int(facts[b"HEIGHT"]), int(facts[b"WIDTH"]), int(facts[b"DEPTH"])
    values = np.frombuffer(pixels, ">u2").reshape(shape) / 65535
    return values if shape[2] == 4 else None


def by_masks(data, _frame=0):
    """The pixels of a BMP file whose channels are given by masks: each is as wide as its mask, which few decoders heed."""
    size, = struct.unpack_from("<I", data, 14)
    if data[:2] != b"BM" or len(data) < 70 or size < 40:
        return None
    width, height, _, bits, compression = struct.unpack_from("<iiHHI", data, 18)
    if compression not in (3, 6) or bits not in (16, 32) or not 0 < width * abs(height) < 1 << 22:
        return None
    masks = struct.unpack_from("<4I", data, 54)[:4 if size >= 56 or compression == 6 else 3]
    offset, stride = struct.unpack_from("<I", data, 10)[0], (width * bits + 31) // 32 * 4
    if offset + stride * abs(height) > len(data):
        return None
    rows = np.frombuffer(data, np.uint8, stride * abs(height), offset).reshape(abs(height), stride)[:, :width * bits // 8]
    words = np.frombuffer(rows.tobytes(), f"<u{bits // 8}").reshape(abs(height), width).astype(np.int64)
    channels = [(words & mask) / mask if mask else words * 0.0 + (i == 3) for i, mask in enumerate(masks)]
    shown = cases.rgba(np.stack(channels[:3], axis=2), channels[3] if len(masks) == 4 else None)
    return shown if height < 0 else shown[::-1]


def difference(mine, truth, tolerance, ignored=None, most=MOST_OF_JPEG):
    """A text; empty for the same picture. The colour of invisible pixels does not count."""
    if mine.shape != truth.shape:
        return f"{mine.shape[1]} x {mine.shape[0]} instead of {truth.shape[1]} x {truth.shape[0]} pixels"
    mine, truth = (np.nan_to_num(np.clip(pixels, 0, 1)) for pixels in (mine, truth))  # floats can be anything
    seen = (mine[:, :, 3] > 0) | (truth[:, :, 3] > 0)
    if ignored is not None:
        seen &= ~ignored
    apart = np.abs(mine - truth) * seen[:, :, None]
    if tolerance == cases.JPEG:
        wrong = apart.max(axis=2) > (0 if apart.mean() > MOST_MEAN else most)
    else:
        wrong = apart.max(axis=2) > tolerance
    if not wrong.any():
        return ""
    y, x = np.argwhere(wrong)[0]
    return (f"{wrong.sum()} of {wrong.size} pixels, the first at {x}, {y}: {np.round(mine[y, x] * 255, 1)} instead of "
            f"{np.round(truth[y, x] * 255, 1)}")


class Record:
    def __init__(self, fields, out):
        self.result, self.kind, self.width, self.height, entries, self.time, stable, self.described = (
            int(fields[1], 16), *(int(f) for f in fields[2:9]))
        self.stable, self.text = bool(stable), fields[9]
        self.rows = out.read(row_bytes(self.kind, self.width) * self.height) if self.kind else b""
        self.palette = out.read(4 * entries) if self.kind in (PAL1, PAL4, PAL8) else b""

    def colours(self):
        return colours_of(self.kind, self.width, self.height, self.palette, self.rows)


def read_records(path):
    records = {}
    with open(path, "rb") as out:
        while True:
            fields = out.readline().decode("latin-1").rstrip("\n").split("\t")
            if len(fields) < 10:
                return records
            records[int(fields[0])] = Record(fields, out)


def read_all(folder, wine_run, program, files, frames):
    """The record of each file; None where the program ended."""
    (folder / "list").write_text("".join(f"{frame} {windows(file)}\n" for file, frame in zip(files, frames)))
    (folder / "records").write_bytes(b"")
    records, first = {}, 0
    while first < len(files):
        try:
            subprocess.run([wine_run, program, windows(folder / "list"), windows(folder / "records"), str(first)],
                           timeout=1200, check=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        except subprocess.TimeoutExpired:
            pass
        records = read_records(folder / "records")
        first = max(records, default=-1) + 1
        while first in records:
            first += 1
        if first < len(files):
            records[first] = None
            with open(folder / "records", "ab") as out:
                out.write(b"%d\tFFFFFFFF\t0\t0\t0\t0\t0\t1\t0\tCRASHED\n" % first)
            first += 1
    for index, record in records.items():
        if record and record.text == "CRASHED":
            records[index] = None
    return [records[i] for i in range(len(files))]


def windows(path):
    return f"Z:{path}".replace("/", "\\")


def written(folder, wine_run, program, sources):
    """Has each source written in all ways. Returns how many files there are, and lines about those that show something else."""
    target = folder / "written"
    shutil.rmtree(target, ignore_errors=True)
    target.mkdir()
    for i, case in enumerate(sources):
        (target / f"{i}.source").write_bytes(case.data)
    (target / "list").write_text("".join(f"0 {windows(target / f'{i}.source')}\n" for i in range(len(sources))))
    subprocess.run([wine_run, program, windows(target / "list"), windows(target)], timeout=1200, check=False, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    files = sorted(target.glob("*-*-*.*"))
    lines = []
    for path in files:
        case, data = sources[int(path.name.split("-")[0])], path.read_bytes()
        judges = [(by_pillow, max(case.tolerance, 1.1 / 255))] + ([(by_magick, case.tolerance)] if "-16-" in case.name else [])
        for judge, tolerance in judges:
            seen = judge(data)
            wrong = "not readable" if seen is None else difference(seen, case.truth, tolerance)
            if wrong:
                lines.append(f"WRITTEN WRONGLY: {case.name} ({path.name}): {judge.__name__}: {wrong}")
    return len(files), lines


def is_open(data):
    """Whether the file's header leaves the pixel format to decoders or, of a GIF file, to the pixels."""
    if data[:4] == b"\x89PNG":
        return data[25] == 4 or b"tRNS" in data
    return data[:3] == b"GIF" or data[:2] == b"\xff\xd8"


def verdict(case, record):
    """A class of outcome, and what is wrong or worth knowing."""
    if record is None:
        return "CRASHED", ""
    if record.time > SLOW:
        return "SLOW", f"{record.time} ms"
    if not record.stable:
        return "LEFTOVER MEMORY", ""
    if record.kind and case.frame == 0 and record.described not in (record.kind, 0 if is_open(case.data) else record.kind):
        return "DESCRIBED WRONGLY", f"{NAMES[record.kind]} as {NAMES.get(record.described, record.described)}"
    is_damaged = case.name.startswith("damaged")
    if record.result >= 0x80000000:
        if case.expect == cases.MUST:
            return "REFUSED", record.text
        if is_damaged or "not supported" in record.text or case.name.startswith("huge"):
            return "refused", record.text
        return ("refused", record.text) if case.expect == cases.NEVER else ("CALLED DAMAGED", record.text)
    if case.expect == cases.NEVER:
        return "READ WHAT CANNOT BE", ""
    mine = record.colours()
    if case.truth is not None:
        wrong = difference(mine, case.truth, case.tolerance)
        return ("WRONG", f"{NAMES[record.kind]}: {wrong}") if wrong else ("read", "")
    black = (mine == (0, 0, 0, 1)).all(axis=2)
    beyond = black if is_damaged and record.kind in (PAL1, PAL4, PAL8) else None  # indices that have no colour
    if is_damaged and case.before.name.startswith("gif"):
        beyond = black | (mine[:, :, 3] == 0)  # outside of the frame, where decoders differ
    tolerance = max(case.tolerance, 1.1 / 255)  # of 16 bits, some judges see the upper eight
    wrong = []
    for judge in (by_pillow, by_masks, by_magick):
        seen = judge(case.data, case.frame) if is_trusted(judge, case.before) else None
        if seen is not None:
            wrong.append(difference(mine, seen, tolerance, beyond, 9 if is_damaged else MOST_OF_JPEG))
            if not wrong[-1]:
                return "read", ""
    if is_damaged:
        before = by_pillow(case.before.data, case.frame) if case.before.truth is None else case.before.truth
        if before is not None and not difference(mine, before, case.tolerance):
            return "read", ""
    if wrong and is_damaged and (case.tolerance == cases.JPEG or "-bilevel-" in case.name):
        return "recovered in another way", wrong[0]  # without checksums, from where the data make no sense any more
    return ("WRONG", f"{NAMES[record.kind]}: {wrong[0]}") if wrong else ("read where no judge does", "")


def is_trusted(judge, case):
    """Whether it reads a sound picture as what it shows: some do not know all kinds."""
    if case is None or case.truth is None:
        return True
    seen = judge(case.data, case.frame)
    return seen is not None and not difference(seen, case.truth, max(case.tolerance, 9 / 255))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("wine_run")
    parser.add_argument("program")
    parser.add_argument("--damaged", type=int, default=2000)
    parser.add_argument("--real", type=int, default=200)
    parser.add_argument("--only", default="")
    parser.add_argument("--again", action="store_true", help="judge what the last run with the same arguments read")
    options = parser.parse_args()
    os.dup2(os.open(os.devnull, os.O_WRONLY), 2)  # decoders complain there
    root = pathlib.Path(__file__).resolve().parents[2]
    sound = cases.generated() + cases.real(root, options.real)
    everything = sound + list(cases.huge()) + list(cases.laborious()) + list(cases.damaged(sound, options.damaged))
    everything = [case for case in everything if options.only in case.name]
    folder = options.folder.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    files = []
    for i, case in enumerate(everything):
        files.append(folder / f"{i:05}")
        files[-1].write_bytes(case.data)
    if options.again:
        found = read_records(folder / "records")
        records = [found.get(i) for i in range(len(files))]
    else:
        records = read_all(folder, options.wine_run, options.program, files, [case.frame for case in everything])
    counts, bad = collections.Counter(), 0
    lines = open(folder / "outcomes", "w")
    for case, record, file in zip(everything, records, files):
        outcome, text = verdict(case, record)
        group = "damaged" if case.name.startswith("damaged") else "real" if case.name.startswith("real") else "generated"
        counts[group, outcome] += 1
        lines.write(f"{outcome}: {case.name} ({file.name}): {text}\n")
        if outcome.isupper():
            bad += 1
            print(f"{outcome}: {case.name} ({file.name}): {text}")
    for (group, outcome), count in sorted(counts.items()):
        print(f"{group:10} {outcome:32} {count:6}")
    if options.only in "written":
        sources = [case for case in sound if case.name.startswith("png-") and "-n-" in case.name and case.truth is not None]
        sources += cases.large()
        count, wrong = written(folder, options.wine_run, options.program, sources)
        print("\n".join([*wrong, f"{'written':10} {'read by others':32} {count - len(wrong):6}"]))
        bad += len(wrong) + (count < 20 * len(sources))
    print(f"{len(everything)} pictures, {bad} faults")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
