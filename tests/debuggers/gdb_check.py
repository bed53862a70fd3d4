#!/usr/bin/env python3
"""GDB shows the library's values, and finds the library's lines in its split debug file.

    gdb_check.py WINE-RUN PROGRAM     PROGRAM is shown.exe, with qeCore.dll, its .debug and its -gdb.py beside it

The program runs under Wine's debugger interface; GDB is the one for this target.
"""
import socket
import subprocess
import sys
from pathlib import Path

GDB = "x86_64-w64-mingw32-gdb"
SERVER = "/usr/share/win64/gdbserver.exe"
SHOWN = {
    "text": 'L"café"',
    "none": 'L""',
    "id": "{5A3C8F10-91D4-4E2B-B706-2E6F901D43C8}",
    "nothing": "empty",
    "number": "-42",
    "wide": 'L"wide"',
    "narrow": '"narrow"',
    "real": "1.5",
    "yes": "true",
    "point": "(1.5, -2)",
    "*array.object": "Array of 2 = {0x10, 0x20}",
    "*map.object": 'Map of 2 = {[7] = -42, [9] = L"wide"}',
    "*image.object": "Image2d 640 x 480 IMG_BGR24 = {bits = ",
    "empty": "Ref null",
}
LINE = "version.cpp"  # of yk::LibraryVersion


def free_port():
    with socket.socket() as probe:
        probe.bind(("localhost", 0))
        return probe.getsockname()[1]


def start_server(wine_run, program, port):
    server = subprocess.Popen([wine_run, SERVER, "--once", f"localhost:{port}", program.name], cwd=program.parent,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    for line in server.stdout:
        if line.startswith("Listening"):
            return server
    sys.exit(f"gdbserver did not start: exit code {server.wait()}")


def commands(program, port):
    yield from ("set pagination off", "set width 0", "set host-charset UTF-8", f"target remote localhost:{port}", "break Stop",
                "continue", "up", f"source {program.parent / 'qeCore.dll-gdb.py'}")
    for name in SHOWN:
        yield f"echo @{name}=\\n"
        yield f"output {name}"
        yield "echo \\n"
    yield from ("info line yk::LibraryVersion", "kill")


def main():
    wine_run, program = sys.argv[1], Path(sys.argv[2]).resolve()
    port = free_port()
    server = start_server(wine_run, program, port)
    options = [each for command in commands(program, port) for each in ("-ex", command)]
    gdb = subprocess.run([GDB, "-nx", "-batch", *options, program], capture_output=True, text=True, timeout=120)
    server.wait(timeout=60)
    faults = [f"{name}: no '{text}'" for name, text in SHOWN.items() if f"@{name}=\n{text}" not in gdb.stdout]
    if LINE not in gdb.stdout:
        faults.append(f"yk::LibraryVersion is not in {LINE}")
    if faults:
        print("\n".join(faults), gdb.stdout, gdb.stderr, sep="\n")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
