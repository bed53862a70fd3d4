#!/usr/bin/env python3
"""Guided fuzzing: runs the fuzz program's targets, counts executions and reports findings.

    fuzz.py                              all regressions, then each target for 3 seconds
    fuzz.py TARGET [SECONDS]             one target, a minute by default
    fuzz.py --campaign SECONDS TARGET... each of them for this time; continues after a finding
    fuzz.py --counts                     the executions so far
    fuzz.py --jobs N ...                 N targets in parallel

Inputs that once crashed stay in regressions/TARGET/ permanently and run first. The corpus is in build/native/corpus/TARGET,
findings in build/native/found/TARGET-..., the output in build/native/fuzz-log/; minimise.py reduces a finding. Needs a running
Wine server, which `./run fuzz` provides.
"""
import json
import os
import re
import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
HERE = ROOT / "hardening/fuzz"
BUILD = ROOT / "build/native"
COUNTS = BUILD / "fuzz-counts.json"
PROGRAM = [ROOT / "hardening/native/wine-run-native", "fuzz"]
QUICK_SECONDS = 3
ONE_TARGET_SECONDS = 60
PATIENCE = 120  # seconds for starting, and for a busy machine

# The description of a finding in the output.
REASONS = re.compile(r"^.*?((?:fuzz|harness): .*|ERROR: .*|runtime error: .*|SUMMARY: .*)$", re.MULTILINE)

counts_lock = threading.Lock()


def run_program(target, *arguments, seconds=0):
    """(exit code, output) of the fuzz program, which is killed when it takes far longer than `seconds`."""
    command = ["env", f"QECORE_FUZZ_TARGET={target}", *map(str, PROGRAM), *map(str, arguments)]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=ROOT, start_new_session=True) as program:
        try:
            output, _ = program.communicate(timeout=seconds + PATIENCE)
        except subprocess.TimeoutExpired:
            os.killpg(program.pid, signal.SIGKILL)
            output, _ = program.communicate()
            output += b"\nfuzz: the program hangs\n"
    return program.returncode, output.decode("utf-8", "replace")


def list_targets():
    """{name: maximum input size}"""
    done = subprocess.run([*PROGRAM, "--list"], stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode:
        sys.exit(f"fuzz: the program does not run ({done.returncode})")
    return {name: int(longest) for name, longest in (line.split() for line in done.stdout.splitlines())}


def make_seeds(target):
    corpus = BUILD / "corpus" / target
    if corpus.exists():
        return corpus
    corpus.mkdir(parents=True)
    code, output = run_program(target, "--seeds", corpus)
    if code:
        sys.exit(f"fuzz: {target}: no seeds ({code}):\n{output}")
    return corpus


def executions(output):
    stated = re.findall(r"^stat::number_of_executed_units:\s*(\d+)", output, re.MULTILINE)
    seen = re.findall(r"^#(\d+)", output, re.MULTILINE)
    return max(map(int, stated + seen), default=0)


def reason(output):
    reasons = REASONS.findall(output)
    return reasons[0].strip() if reasons else "the program ended without a word"


class Result:
    def __init__(self, target):
        self.target, self.regressions, self.executions, self.seconds, self.finds = target, 0, 0, 0.0, []


def run_regressions(result):
    files = sorted((HERE / "regressions" / result.target).glob("*"))
    remaining = files
    while remaining:  # the program ends at the first input that still crashes: run it again for the others
        code, output = run_program(result.target, f"-artifact_prefix={BUILD}/found/again-", "-rss_limit_mb=0", *remaining)
        ran = len(re.findall(r"^Running: ", output, re.MULTILINE))
        if code == 0:
            break
        result.finds.append(f"regression {remaining[max(ran, 1) - 1].name}: {reason(output)}")
        remaining = remaining[max(ran, 1):]
    result.regressions = len(files)


def run_fuzzer(result, longest, seconds):
    target = result.target
    dictionary = HERE / f"{target}.dict"
    arguments = [make_seeds(target), f"-max_total_time={seconds}", f"-max_len={longest}", "-rss_limit_mb=0", "-timeout=25",
                 "-print_final_stats=1", f"-artifact_prefix={BUILD}/found/{target}-"]
    if dictionary.exists():
        arguments.append(f"-dict={dictionary}")
    begun = time.time()
    code, output = run_program(target, *arguments, seconds=seconds)
    result.seconds = time.time() - begun
    (BUILD / "fuzz-log").mkdir(exist_ok=True)
    (BUILD / "fuzz-log" / f"{target}.log").write_text(output, encoding="utf-8")
    result.executions = executions(output)
    if code:
        kept = re.findall(r"(?:Test unit written to|the input is in) (\S+)", output)
        result.finds.append(f"{reason(output)}{'; input ' + kept[-1] if kept else ''}")


def read_counts():
    return json.loads(COUNTS.read_text(encoding="utf-8")) if COUNTS.exists() else {}


def add_count(result):
    with counts_lock:
        counts = read_counts()
        counts[result.target] = counts.get(result.target, 0) + result.executions
        COUNTS.write_text(json.dumps(counts, indent=1, sort_keys=True) + "\n", encoding="utf-8")


def run_target(target, longest, seconds):
    result = Result(target)
    run_regressions(result)
    run_fuzzer(result, longest, seconds)
    add_count(result)
    per_second = result.executions / result.seconds if result.seconds else 0
    print(f"{target:12} {result.regressions:11} {result.executions:12,} {per_second:9,.0f}/s  {'; '.join(result.finds) or 'clean'}",
          flush=True)
    return result


def run_targets(names, seconds, jobs):
    targets = list_targets()
    unknown = [name for name in names if name not in targets]
    if unknown:
        sys.exit(f"fuzz: no such target: {' '.join(unknown)}; targets: {' '.join(targets)}")
    (BUILD / "found").mkdir(parents=True, exist_ok=True)
    print(f"{'target':12} {'regressions':>11} {'executions':>12} {'speed':>11}  found", flush=True)
    with ThreadPoolExecutor(jobs) as pool:
        results = list(pool.map(lambda name: run_target(name, targets[name], seconds), names or targets))
    total = sum(result.executions for result in results)
    print(f"{'all':12} {sum(result.regressions for result in results):11} {total:12,}")
    return 1 if any(result.finds for result in results) else 0


def print_counts():
    counts = read_counts()
    for target, count in sorted(counts.items(), key=lambda row: -row[1]):
        print(f"{target:12} {count:14,}")
    print(f"{'all':12} {sum(counts.values()):14,}")
    return 0


def main():
    arguments, jobs = sys.argv[1:], 1
    if arguments[:1] == ["--jobs"] and len(arguments) > 1:
        jobs, arguments = int(arguments[1]), arguments[2:]
    if arguments == ["--counts"]:
        return print_counts()
    if arguments[:1] == ["--campaign"] and len(arguments) > 2:
        return run_targets(arguments[2:], int(arguments[1]), jobs)
    if len(arguments) > 2 or any(word.startswith("-") for word in arguments):
        sys.exit(__doc__)
    seconds = int(arguments[1]) if len(arguments) == 2 else ONE_TARGET_SECONDS if arguments else QUICK_SECONDS
    return run_targets(arguments[:1], seconds, jobs)


if __name__ == "__main__":
    sys.exit(main())
