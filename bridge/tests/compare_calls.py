#!/usr/bin/env python3
"""Compares FFmpeg directories call by call: the reference decoder runs with each, on every stream, in every manner.

    bridge/tests/compare_calls.py REFERENCE_DECODER GENUINE OTHER STREAMS [-v]

A line for each stream and manner that differs: which columns, in how many lines. Timestamps, sizes, consumed bytes and
numbers of results are one group ("calls"), the sums of decoded pictures and samples another ("values").
"""
import pathlib
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

DECODER, GENUINE, OTHER, STREAMS = sys.argv[1:5]
VERBOSE = "-v" in sys.argv[5:]
VIDEO = [[], ["--truncated"], ["--drain"], ["--truncated", "--drain"], ["--emu-edge"]]
SOUND = [[], ["--join", "3"], ["--pieces", "2"], ["--cut", "100"]]
SUM = {"picture": 8, "block": 7}  # the column of the sum


def run(directory, file, arguments):
    try:
        done = subprocess.run([DECODER, directory, str(file), *arguments], capture_output=True, text=True, timeout=120,
                              check=False)
    except subprocess.TimeoutExpired:
        return [["TIMEOUT"]]
    lines = [line.split("\t") for line in done.stdout.splitlines()]
    if done.returncode:
        lines.append(["FAILED", str(done.returncode), done.stderr.strip().split(":")[-1]])
    return lines


def compare(file, arguments):
    first, second = run(GENUINE, file, arguments), run(OTHER, file, arguments)
    calls = values = 0
    examples = []
    for a, b in zip(first, second):
        column = SUM.get(a[0], -1)
        if [x for i, x in enumerate(a) if i != column] != [x for i, x in enumerate(b) if i != column]:
            calls += 1
            examples.append((a, b))
        elif a != b:
            values += 1
    calls += abs(len(first) - len(second))
    if len(first) != len(second):
        shorter = min(len(first), len(second))
        examples.append((first[shorter:shorter + 1], second[shorter:shorter + 1]))
    return len(first), calls, values, examples


def manners(file):
    yield file, ["--list-packets"]
    for arguments in VIDEO:
        yield file, arguments
    for number, arguments in enumerate(SOUND):
        yield file, ["--pcm", "/dev/null", *arguments]


work = [(file, arguments) for file in sorted(pathlib.Path(STREAMS).iterdir())
        if file.suffix not in (".tsv", "") for file, arguments in manners(file)]
with ThreadPoolExecutor(2) as pool:
    results = list(pool.map(lambda pair: compare(*pair), work))
same = 0
for (file, arguments), (lines, calls, values, examples) in zip(work, results):
    if not calls and not values:
        same += 1
        continue
    print(f"{file.name:32} {' '.join(arguments).replace('/dev/null', ''):28} {lines:5} lines: {calls} calls, {values} values")
    for pair in examples[:3 if VERBOSE else 0]:
        print("   ", pair[0], "\n   ", pair[1])
print(f"{same} of {len(work)} equal")
