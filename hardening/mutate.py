#!/usr/bin/env python3
"""mutate.py FOLDER [N]: do the tests notice a small fault?

Plants one fault at a time at N random places of src/, in a copy of the checkout in FOLDER, builds the library there, and
runs the test program of the fault's floor, then those of the floors above it. A failure, crash or hang catches the fault;
those that nothing catches are listed. Every possible fault has a number, valid while src/ is unchanged: --number plants it
again.

`./run mutate` provides the Wine server and the display.
"""
import argparse
import hashlib
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent

# The floors whose tests may also catch a fault of a floor, since they use it. core and values are used by all.
USERS = {"undo": [], "raster": ["image"], "draw": ["image"], "image": ["qewic", "qetool", "draw"],
         "io": ["core", "image", "qewic", "qetool"]}

# A floor without a test program of its own is tested through the one above it.
TESTED_BY = {"raster": "draw"}

# The fault loops, which do not use GoogleTest and cover all floors.
LOOPS = "faults_test"

HANGS_AFTER = 20  # seconds, or five times the program's duration without a fault

# ---- where faults can be planted ------------------------------------------------------------------------------------

# A pattern to find in a line whose literals and comments are blanked, and its replacement. clang-format puts blanks around
# binary operators and none into template brackets, so that a blank distinguishes them.
TOKENS = [
    ("comparison off by one", r" (<|>) ", lambda m: f" {m[1]}= "),
    ("comparison off by one", r" (<|>)= ", lambda m: f" {m[1]} "),
    ("reversed comparison", r" (==|!=) ", lambda m: " != " if m[1] == "==" else " == "),
    ("reversed comparison", r" (<=?|>=?) ", lambda m: f" {m[1].translate(str.maketrans('<>', '><'))} "),
    ("other logical operator", r" (&&|\|\|) ", lambda m: " || " if m[1] == "&&" else " && "),
    ("negated condition", r"\b(if|while) \((?=[\w!(])", lambda m: f"{m[0]}!!!"),  # see negate
    ("operator", r" ([-+*/%]) (?!=)", lambda m: f" {dict(zip('+-*/%', '-+/*/'))[m[1]]} "),
    ("operator", r" (<<|>>) ", lambda m: " >> " if m[1] == "<<" else " << "),
    ("operator", r" ([&|]) ", lambda m: " | " if m[1] == "&" else " & "),
    ("operator", r" ([-+])= ", lambda m: " -= " if m[1] == "+" else " += "),
    ("wrong sign", r"(?<=[=(,?:] )-(?=[\w(])|(?<=[(\[])-(?=[\w(])|(?<=return )-(?=[\w(])", lambda m: ""),
    ("reversed step", r"(\+\+|--)(?=\w)", lambda m: "--" if m[1] == "++" else "++"),
    ("constant off by one", r"(?<![\w.'])(\d+)(?![\w.'])", lambda m: str(int(m[1]) + 1)),
    ("constant off by one", r"(?<![\w.'])([1-9]\d*)(?![\w.'])", lambda m: str(int(m[1]) - 1)),
    ("constant", r"\b(true|false)\b", lambda m: "false" if m[1] == "true" else "true"),
    ("result", r"\breturn ((?:YK_)?E_[A-Z]+);", lambda m: "return S_OK;"),
    ("result", r"\breturn S_OK;", lambda m: "return E_FAIL;"),
    ("min for max", r"\bstd::(min|max)\b", lambda m: "std::max" if m[1] == "min" else "std::min"),
    ("swapped operands", r"\((\w+), (\w+)\)", lambda m: f"({m[2]}, {m[1]})" if m[1] != m[2] else None),
    ("swapped operands", r"\b(\w+) - (\w+)\b", lambda m: f"{m[2]} - {m[1]}"),
]

# Lines that can be deleted: a statement other than a declaration, a check with its early return.
STATEMENT = re.compile(
    r"^\s+(?!return|delete\s|using|case|goto|else|throw)"
    r"((\+\+|--|\*)?[\w:.>\[\]()-]+( [-+*/|&^]?(<<|>>)?= .*|\(.*\)|\+\+|--)?|delete (\[\] )?\w+|break|continue);$")
CHECK = re.compile(r"^\s+if \(.*\) (return|continue|break)\b.*;$")

# Lines without effect at run time.
SILENT = re.compile(r"^\s*(#|using |namespace |template|static_assert|friend |extern )|static_assert|offsetof|alignas|va_end")


class Fault:
    def __init__(self, file, line, kind, old, new):
        self.file, self.line, self.kind, self.old, self.new = file, line, kind, old, new
        self.number = 0

    def __str__(self):
        return (f"#{self.number} {self.file}:{self.line} {self.kind}: {self.old.strip()}"
                f"  ->  {self.new.strip() or '(dropped)'}")

    @property
    def floor(self):
        return self.file.split("/")[1]


def blanked(text):
    """The text with comments and literals blanked, every line keeping its length."""
    pattern = r'//[^\n]*|/\*.*?\*/|u8?"(?:\\.|[^"\\])*"|"(?:\\.|[^"\\])*"|' + r"(?<!\w)L?'(?:\\.|[^'\\])+'"
    return re.sub(pattern, lambda m: re.sub(r"[^\n]", " ", m[0]), text, flags=re.S)


def negate(line, at):
    """Negates the condition whose bracket opens before `at`; None when it does not close in this line."""
    depth = 1
    for end in range(at, len(line)):
        depth += {"(": 1, ")": -1}.get(line[end], 0)
        if depth == 0:
            return f"{line[:at]}!({line[at:end]}){line[end:]}" if ";" not in line[at:end] else None
    return None


def faults_of_line(line, bare):
    """(kind, new line) for each applicable fault."""
    if not bare.strip() or SILENT.search(bare):
        return
    for kind, pattern, change in TOKENS:
        for match in re.finditer(pattern, bare):
            if kind == "negated condition":
                new = negate(line, match.end())
            else:
                text = change(match)
                new = None if text is None else line[: match.start()] + text + line[match.end():]
            if new is not None:
                yield kind, new
    if CHECK.match(bare):
        yield "dropped check", ""
    elif STATEMENT.match(bare):
        yield "dropped statement", ""


def find_faults():
    faults = []
    for path in sorted(ROOT.glob("src/**/*")):
        if path.suffix not in (".cpp", ".h"):
            continue
        text = path.read_text()
        file = str(path.relative_to(ROOT))
        pairs = zip(text.split("\n"), blanked(text).split("\n"))
        for number, (line, bare) in enumerate(pairs, 1):
            faults += [Fault(file, number, kind, line, new) for kind, new in faults_of_line(line, bare)]
    for number, fault in enumerate(faults):
        fault.number = number
    return faults


def draw(faults, seed):
    """All faults in random order, each line once before any line twice."""
    chance = random.Random(seed)
    lines = {}
    for fault in faults:
        lines.setdefault((fault.file, fault.line), []).append(fault)
    for group in lines.values():
        chance.shuffle(group)
    places = sorted(lines)
    chance.shuffle(places)
    round = 0
    while places:
        for place in places:
            yield lines[place][round]
        round += 1
        places = [place for place in places if len(lines[place]) > round]


# ---- the copy to plant them in --------------------------------------------------------------------------------------


class Copy:
    """A copy of the checkout with a build folder of its own."""

    def __init__(self, folder):
        self.tree = folder
        self.build = folder / "build" / "release"
        self.update()
        if not (self.build / "build.ninja").exists():
            self.run("cmake", "--preset", "release")
        if not self.make():
            sys.exit("mutate: the library does not build without a fault")

    def update(self):
        """Updates the copy, touching only files that differ, so that little is rebuilt."""
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, capture_output=True, text=True)
        names = {name for name in listed.stdout.split("\n") if name and (ROOT / name).is_file()}
        for name in names:
            source, target = ROOT / name, self.tree / name
            target.parent.mkdir(parents=True, exist_ok=True)
            if not target.exists() or digest(source) != digest(target):
                shutil.copy(source, target)
        for top in ("src", "tests", "include", "plugins", "tools", "hardening"):
            for path in list((self.tree / top).rglob("*")):
                if path.is_file() and str(path.relative_to(self.tree)) not in names:
                    path.unlink()

    def run(self, *command):
        environment = dict(os.environ)
        if shutil.which("ccache"):
            environment |= {"CMAKE_C_COMPILER_LAUNCHER": "ccache", "CMAKE_CXX_COMPILER_LAUNCHER": "ccache",
                            "CCACHE_BASEDIR": str(self.tree), "CCACHE_NOHASHDIR": "1"}
        return subprocess.run([*command], cwd=self.tree, env=environment, capture_output=True, text=True)

    def make(self, *targets):
        chosen = [word for target in targets for word in ("--target", target)]
        return self.run("cmake", "--build", str(self.build), *chosen).returncode == 0

    def write(self, fault, text):
        path = self.tree / fault.file
        lines = path.read_text().split("\n")
        lines[fault.line - 1] = text
        path.write_text("\n".join(lines))

    def test(self, program, limit):
        """The name of the test that caught the fault, or None."""
        options = [] if program == LOOPS else ["--gtest_fail_fast"]
        command = [str(self.tree / "cmake" / "wine-run"), f"bin/{program}.exe", *options]
        process = subprocess.Popen(command, cwd=self.build, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        try:
            output = process.communicate(timeout=limit)[0].decode("latin1")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            return f"{program}, which hangs"
        if process.returncode == 0 and "stack overflow" not in output:
            return None
        failed = re.search(r"\[  FAILED  \] ([^\s,]+)", output)
        return f"{program}: {failed[1] if failed else 'crash'}"


def digest(path):
    return hashlib.sha1(path.read_bytes()).digest()


# ---- the run --------------------------------------------------------------------------------------------------------


class Trial:
    """Plants faults in parallel copies until the requested number has been tried."""

    def __init__(self, folder, faults, wanted, jobs):
        self.faults, self.wanted, self.jobs = faults, wanted, jobs
        self.copies = [Copy(folder / f"copy{i}") for i in range(jobs)]
        self.times = {}
        self.lock = threading.Lock()
        self.caught, self.survivors, self.begun = 0, [], 0

    def measure(self):
        """Runs the tests without a fault: they must pass, and their durations determine when one hangs."""
        programs = sorted(path.stem for path in (self.copies[0].build / "bin").glob("*_test.exe"))
        for program in programs:
            start = time.time()
            if failure := self.copies[0].test(program, 600):
                sys.exit(f"mutate: fails without a fault: {failure}")
            self.times[program] = time.time() - start
        print("the tests take " + ", ".join(f"{name} {took:.0f} s" for name, took in self.times.items()), flush=True)

    def next_fault(self):
        with self.lock:
            if self.begun >= self.wanted:
                return None
            self.begun += 1
            return next(self.faults, None)

    def programs_for(self, fault):
        own = f"{TESTED_BY.get(fault.floor, fault.floor)}_test"
        users = USERS.get(fault.floor)
        others = [program for program in self.times
                  if users is None or program == LOOPS or program.removesuffix("_test") in users]
        return [own] + sorted(set(others) - {own}, key=self.times.get)

    def try_fault(self, copy, fault):
        start = time.time()
        copy.write(fault, fault.new)
        try:
            if not copy.make("qeCore"):
                return self.replace()
            for program in self.programs_for(fault):
                by = copy.test(program, max(HANGS_AFTER, 5 * self.times[program]))
                if by:
                    break
        finally:
            copy.write(fault, fault.old)
        with self.lock:
            self.caught += by is not None
            self.survivors += [] if by else [fault]
            print(f"{'caught  ' if by else 'SURVIVES'} {fault}  [{by or 'by none'}, {time.time() - start:.0f} s]", flush=True)

    def replace(self):
        """A fault that does not compile does not count; another one is tried instead."""
        with self.lock:
            self.begun -= 1

    def work(self, copy):
        while fault := self.next_fault():
            self.try_fault(copy, fault)
        copy.make("qeCore")

    def run(self):
        self.measure()
        threads = [threading.Thread(target=self.work, args=[copy]) for copy in self.copies]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        print("\nsurvivors:" if self.survivors else "")
        for fault in sorted(self.survivors, key=lambda fault: fault.number):
            print(f"  {fault}")
        print(f"caught {self.caught} of {self.caught + len(self.survivors)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("n", type=int, nargs="?", default=60)
    parser.add_argument("--seed", type=int, default=None, help="repeat the same places; otherwise they differ each time")
    parser.add_argument("--only", default="", help="only files, kinds or lines that match")
    parser.add_argument("--number", type=int, action="append", help="this fault; may be repeated")
    parser.add_argument("--list", action="store_true", help="print the faults and plant none")
    parser.add_argument("--jobs", type=int, default=1, help="number of parallel copies")
    options = parser.parse_args()

    faults = find_faults()
    seed = random.randrange(10**6) if options.seed is None else options.seed
    if options.number:
        chosen, wanted = iter([faults[number] for number in options.number]), len(options.number)
    else:
        matching = [fault for fault in faults if re.search(options.only, str(fault))]
        chosen, wanted = draw(matching, seed), options.n
    print(f"{len(faults)} possible faults; seed {seed}", flush=True)
    if options.list:
        for _, fault in zip(range(wanted), chosen):
            print(fault)
        return
    Trial(options.folder.resolve(), chosen, wanted, options.jobs).run()


main()
