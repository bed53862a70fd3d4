#!/usr/bin/env python3
"""minimise.py TARGET FILE [TEXT]: reduces FILE as far as the fuzz program still fails on it, and prints TEXT if that is
given. The result is FILE.small. Runs the program some hundred times. (libFuzzer's own minimiser cannot start a Wine program.)
`./run fuzz --minimise TARGET FILE [TEXT]` provides the Wine server that it needs.
"""
import sys
import tempfile
from pathlib import Path

from fuzz import reason, run_program

MOST_RUNS = 400


class Finder:
    def __init__(self, target, text):
        self.target, self.text, self.runs = target, text, 0
        self.file = Path(tempfile.mkdtemp()) / "input"

    def fails(self, data):
        self.runs += 1
        self.file.write_bytes(data)
        code, output = run_program(self.target, "-timeout=25", "-rss_limit_mb=0", f"-artifact_prefix={self.file}-", self.file)
        self.said = reason(output)
        return code != 0 and self.text in output


def without_parts(finder, data):
    """Removes pieces, from half of the input down to single bytes."""
    size = max(1, len(data) // 2)
    while size:
        at = 0
        while at < len(data) and finder.runs < MOST_RUNS:
            shorter = data[:at] + data[at + size:]
            if finder.fails(shorter):
                data = shorter
            else:
                at += size
        size //= 2
    return data


def with_zeros(finder, data):
    for at, byte in enumerate(data):
        simpler = data[:at] + b"\0" + data[at + 1:]
        if byte and finder.runs < MOST_RUNS and finder.fails(simpler):
            data = simpler
    return data


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    path = Path(sys.argv[2])
    finder = Finder(sys.argv[1], sys.argv[3] if len(sys.argv) > 3 else "")
    data = path.read_bytes()
    if not finder.fails(data):
        sys.exit("minimise: the program does not fail on this input")
    print(f"minimise: {finder.said}")
    data = with_zeros(finder, without_parts(finder, data))
    small = path.with_name(path.name + ".small")
    small.write_bytes(data)
    print(f"minimise: {len(data)} bytes after {finder.runs} runs: {data.hex(' ')}\nminimise: {small}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
