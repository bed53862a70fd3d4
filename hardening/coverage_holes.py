#!/usr/bin/env python3
"""coverage_holes.py COVERAGE.JSON [N]: overall coverage, and the N files (default 12) with the most uncovered code.

Reads the output of `gcovr --json`. A branch is one outcome of a condition.
"""
import json
import sys


def is_missed(line):
    return line["count"] == 0


def missed_branches(line):
    return sum(branch["count"] == 0 for branch in line["branches"])


def ranges(numbers):
    """[3, 4, 5, 9] is "3-5 9"."""
    runs = []
    for number in sorted(numbers):
        if runs and number == runs[-1][1] + 1:
            runs[-1][1] = number
        else:
            runs.append([number, number])
    return " ".join(str(a) if a == b else f"{a}-{b}" for a, b in runs)


def percent(part, whole):
    return 100 * part / whole if whole else 100


def main():
    files = []
    for file in json.load(open(sys.argv[1]))["files"]:
        lines = [line for line in file["lines"] if not line.get("gcovr/noncode")]
        files.append((file["file"], lines, sum(map(is_missed, lines)), sum(map(missed_branches, lines))))
    files.sort(key=lambda file: -(file[2] + file[3]))
    for name, lines, missed, branches in files[: int(sys.argv[2]) if len(sys.argv) > 2 else 12]:
        if missed + branches == 0:
            break
        print(f"{name}: {missed} lines, {branches} branches not run")
        if missed:
            print("  lines   ", ranges(line["line_number"] for line in lines if is_missed(line)))
        half = [line["line_number"] for line in lines if not is_missed(line) and missed_branches(line)]
        if half:
            print("  branches", ranges(half))
    count = sum(len(lines) for _, lines, _, _ in files)
    ways = sum(len(line["branches"]) for _, lines, _, _ in files for line in lines)
    print(f"lines    {percent(count - sum(f[2] for f in files), count):5.1f} % of {count}")
    print(f"branches {percent(ways - sum(f[3] for f in files), ways):5.1f} % of {ways}")


main()
