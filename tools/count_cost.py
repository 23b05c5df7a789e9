#!/usr/bin/env python3
"""tools/count_cost.py LIBRARY DRIVER FFMPEG_DIR STREAMS_DIR [--update]

Counts what a small decode through the entry points costs, and compares it with tests/cost/counts.txt: instructions of the
library itself, instructions of the C library (copies, clearing, allocation), and allocations that the library makes. What
FFmpeg computes is not counted. Counts do not depend on the machine's load; times do, and are for bench/run.

More than the margin above a count fails. A change that costs less should write down its new counts with --update.
"""
import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile

COUNTS = pathlib.Path(__file__).parent.parent / "tests/cost/counts.txt"
# Of what is written down. Compilers differ a little, and C libraries choose their copying by the processor.
MARGINS = {"instructions": 0.05, "copying": 0.15, "allocations": 0.02}
CASES = [("arrays", "h264_b_320x240.mp4", "1multimediaapi_1ffmpeg_n_1vcodec_1process"),
         ("pooled", "h264_b_320x240.mp4", "1pictures_1ffmpeg_n_1decode"),
         ("sound", "mp2.mp2", "1multimediaapi_1ffmpeg_n_1acodec_1process")]
# The C library copies and clears long pieces by vectors, whatever the processor; an instruction that repeats itself would count
# as one for each byte.
TUNABLES = "glibc.cpu.x86_rep_stosb_threshold=2147483647:glibc.cpu.x86_rep_movsb_threshold=2147483647"
ALLOCATING = {"malloc", "calloc", "realloc", "posix_memalign", "aligned_alloc", "memalign"}


def parse(path, library):
    """The counts in a file of callgrind's."""
    names = {"ob": {}, "fn": {}}

    def name_of(kind, text):
        number, _, name = text.partition(" ")
        return names[kind].setdefault(number, name or number)
    costs = collections.Counter()
    allocations = 0
    owner = called_owner = called = ""
    is_call = False
    for line in path.read_text(errors="replace").splitlines():
        key, _, value = line.partition("=")
        if key == "ob":
            owner = called_owner = name_of("ob", value)
        elif key == "fn":
            name_of("fn", value)
            called_owner = owner
        elif key == "cob":
            called_owner = name_of("ob", value)
        elif key == "cfn":
            called = name_of("fn", value)
        elif key == "calls":
            is_call = True
            if owner.endswith(library) and called.partition("'")[0] in ALLOCATING and not called_owner.endswith(library):
                allocations += int(value.split()[0])
            called_owner = owner
        elif re.match(r"[+\-*\d]", line):
            # The line behind "calls" is what the called function cost.
            if not is_call:
                costs[owner] += int(line.split()[1])
            is_call = False
    return {"instructions": sum(cost for name, cost in costs.items() if name.endswith(library)),
            "copying": sum(cost for name, cost in costs.items() if re.search(r"/libc[.-]", name)),
            "allocations": allocations}


def count(library, driver, ffmpeg, streams, case):
    road, stream, entry = case
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory) / "out"
        done = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", "--collect-atstart=no",
             f"--toggle-collect=Java_kiv_media_ffmpeg_*{entry}", driver, library, ffmpeg, f"{streams}/{stream}", road],
            capture_output=True, text=True, check=False, env=dict(os.environ, GLIBC_TUNABLES=TUNABLES))
        if done.returncode != 0:
            sys.exit(f"counting the cost of {road} failed:\n{done.stderr}")
        return parse(out, pathlib.Path(library).name)


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--update"]
    if len(arguments) != 4:
        sys.exit(__doc__)
    found = {case[0]: count(*arguments, case) for case in CASES}
    lines = [f"{road} {kind} {value}" for road, kinds in found.items() for kind, value in kinds.items()]
    if "--update" in sys.argv:
        head = [line for line in COUNTS.read_text().splitlines() if line.startswith("#")] if COUNTS.exists() else []
        COUNTS.write_text("\n".join(head + lines) + "\n")
        return
    faults = 0
    for line in COUNTS.read_text().splitlines():
        if line.startswith("#"):
            continue
        road, kind, expected = line.split()
        value, most = found[road][kind], int(expected) * (1 + MARGINS[kind])
        faults += value > most
        print(f"{road:7} {kind:12} {value:12,} of {int(expected):12,} ({100 * value / max(1, int(expected)) - 100:+.1f} %)"
              + (f": more than {100 * MARGINS[kind]:.0f} % above" if value > most else ""))
    sys.exit(1 if faults else 0)


main()
