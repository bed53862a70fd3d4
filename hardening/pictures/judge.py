#!/usr/bin/python3
"""Makes pictures of all kinds, reads them with the library and with Pillow, and counts where they differ.

  judge.py FOLDER WINE_RUN PICTURES_EXE [--damaged N] [--real N] [--only TEXT]

A valid picture must be read as what it shows, or be refused as not supported. A damaged one must be refused, or read as Pillow
reads it; where Pillow refuses it, every pixel must come from the file. Nothing may crash or take long. The exit code is 1 otherwise.
"""

import argparse
import collections
import io
import pathlib
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


def judged(data):
    """Pillow's pixels as (height, width, 4), or None where it refuses."""
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            image = Image.open(io.BytesIO(data))
            if image.width * image.height > 1 << 26:
                return None
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


def difference(mine, truth, tolerance):
    """A text; empty for the same picture. The colour of invisible pixels does not count."""
    if mine.shape != truth.shape:
        return f"{mine.shape[1]} x {mine.shape[0]} instead of {truth.shape[1]} x {truth.shape[0]} pixels"
    seen = (mine[:, :, 3] > 0) | (truth[:, :, 3] > 0)
    apart = np.nan_to_num(np.abs(mine - truth), nan=9)
    apart[:, :, :3] *= seen[:, :, None]
    wrong = apart.max(axis=2) > tolerance
    if not wrong.any():
        return ""
    y, x = np.argwhere(wrong)[0]
    return (f"{wrong.sum()} of {wrong.size} pixels, the first at {x}, {y}: {np.round(mine[y, x] * 255, 1)} instead of "
            f"{np.round(truth[y, x] * 255, 1)}")


class Record:
    def __init__(self, fields, out):
        self.result, self.kind, self.width, self.height, entries, self.time, stable = (
            int(fields[1], 16), *(int(f) for f in fields[2:8]))
        self.stable, self.text = bool(stable), fields[8]
        self.rows = out.read(row_bytes(self.kind, self.width) * self.height) if self.kind else b""
        self.palette = out.read(4 * entries) if self.kind in (PAL1, PAL4, PAL8) else b""

    def colours(self):
        return colours_of(self.kind, self.width, self.height, self.palette, self.rows)


def read_records(path):
    records = {}
    with open(path, "rb") as out:
        while True:
            fields = out.readline().decode("latin-1").rstrip("\n").split("\t")
            if len(fields) < 9:
                return records
            records[int(fields[0])] = Record(fields, out)


def read_all(folder, wine_run, program, files):
    """The record of each file; None where the program ended."""
    (folder / "list").write_text("".join(f"Z:{file}\n".replace("/", "\\") for file in files))
    (folder / "records").write_bytes(b"")
    records, first = {}, 0
    while first < len(files):
        try:
            subprocess.run([wine_run, program, f"Z:{folder}\\list".replace("/", "\\"),
                            f"Z:{folder}\\records".replace("/", "\\"), str(first)],
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
                out.write(b"%d\tFFFFFFFF\t0\t0\t0\t0\t0\t1\tCRASHED\n" % first)
            first += 1
    for index, record in records.items():
        if record and record.text == "CRASHED":
            records[index] = None
    return [records[i] for i in range(len(files))]


def verdict(case, record):
    """A class of outcome, and what is wrong or worth knowing."""
    if record is None:
        return "CRASHED", ""
    if record.time > SLOW:
        return "SLOW", f"{record.time} ms"
    if not record.stable:
        return "LEFTOVER MEMORY", ""
    is_damaged = case.name.startswith("damaged")
    if record.result >= 0x80000000:
        if case.expect == cases.MUST:
            return "REFUSED", record.text
        if is_damaged or "not supported" in record.text or case.name.startswith("huge"):
            return "refused", record.text
        return ("refused", record.text) if case.expect == cases.NEVER else ("CALLED DAMAGED", record.text)
    if case.expect == cases.NEVER:
        return "READ WHAT CANNOT BE", ""
    truth = case.truth if case.truth is not None else judged(case.data)
    if truth is None:
        return "read where the judge does not", ""
    wrong = difference(record.colours(), truth, case.tolerance)
    return ("WRONG", f"{NAMES[record.kind]}: {wrong}") if wrong else ("read", "")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("wine_run")
    parser.add_argument("program")
    parser.add_argument("--damaged", type=int, default=2000)
    parser.add_argument("--real", type=int, default=200)
    parser.add_argument("--only", default="")
    options = parser.parse_args()
    root = pathlib.Path(__file__).resolve().parents[2]
    sound = cases.generated() + cases.real(root, options.real)
    everything = sound + list(cases.huge()) + list(cases.damaged(sound, options.damaged))
    everything = [case for case in everything if options.only in case.name]
    folder = options.folder.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    files = []
    for i, case in enumerate(everything):
        files.append(folder / f"{i:05}")
        files[-1].write_bytes(case.data)
    records = read_all(folder, options.wine_run, options.program, files)
    counts, bad = collections.Counter(), 0
    for case, record, file in zip(everything, records, files):
        outcome, text = verdict(case, record)
        group = "damaged" if case.name.startswith("damaged") else "real" if case.name.startswith("real") else "generated"
        counts[group, outcome] += 1
        if outcome.isupper():
            bad += 1
            print(f"{outcome}: {case.name} ({file.name}): {text}")
    for (group, outcome), count in sorted(counts.items()):
        print(f"{group:10} {outcome:32} {count:6}")
    print(f"{len(everything)} pictures, {bad} faults")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
