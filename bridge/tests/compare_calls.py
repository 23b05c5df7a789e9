#!/usr/bin/env python3
"""Compares FFmpeg directories call by call: the reference decoder runs with each, on every stream, in every manner.

    bridge/tests/compare_calls.py REFERENCE_DECODER GENUINE OTHER STREAMS [-v | --quick]

A line for each stream and manner that differs: which columns, in how many lines. Timestamps, sizes, consumed bytes and
numbers of results are one group ("calls"), the sums of decoded pictures and samples another ("values"). Differences that
docs/bridge.md has with their reasons are marked "known"; any other one makes the exit status 1.

--quick takes a few streams, and "-" as OTHER the directory that KIV_FFMPEG_DIR names. The exit status is 77 when one of
the two directories is not there, or OTHER is no newer FFmpeg behind the bridge.
"""
import os
import pathlib
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

DECODER, GENUINE, OTHER, STREAMS = sys.argv[1:5]
OTHER = os.environ.get("KIV_FFMPEG_DIR", "") if OTHER == "-" else OTHER
VERBOSE, QUICK = "-v" in sys.argv[5:], "--quick" in sys.argv[5:]
VIDEO = [[], ["--truncated"], ["--drain"], ["--truncated", "--drain"], ["--emu-edge"]]
SOUND = [[], ["--join", "3"], ["--pieces", "2"], ["--cut", "100"]]
FEW = ("aac_mono.m4a", "ac3_mono.ac3", "adpcm_ima_mono.wav", "amr_nb.amr", "cinepak_160x120.avi", "gsm.wav", "h263_176x144.avi",
       "h264_b_322x242.h264", "h264_cropped_224x208.h264", "mp3_mono.mp3", "mpeg2_b_323x243.mpg", "mpeg4_b_320x240.mp4",
       "wma2_48k.asf", "wmv2_320x240.asf")
# The table of docs/bridge.md: streams, options, and whether the calls differ or only the values.
KNOWN = [
    (r"mpeg[124]|^h263|^msmpeg4|^wmv1|^dv_|\.ac3|aac|^amr|^wma|wma2|vorbis|^dts|mp3|^mjpeg|^dnxhd|^tagged\.(mp4|m4a|ogg)|^programs",
     "", "values"),
    (r"aac|^wma|wma2|^tagged\.(mp4|m4a)", r"--pcm", "calls"),
    (r"^programs", r"--cut", "calls"),
    (r"^amr", r"--pcm", "calls"),
    (r"\.(mp4|mov|m4a|ogg)$|^hdr|^dv_pal\.dv|\.ts$|^h264.*\.(h264|avi)$", "--list-packets", "calls"),
    # What the 56 line decodes otherwise, or not at all.
    (r"^(animation|av1|dnxhr|dsd|eac3|ffv1|flv1|g726|hevc|jpeg2000|mlp|opus|pcm_bluray|pcm_s24be|picture|qtrle|speex|truehd|tta|"
     r"vp9|wavpack)", "", "calls"),
]
if list(pathlib.Path(OTHER).glob("libavcodec.so.61")):
    KNOWN.append((r"vorbis", r"--pieces|--cut", "calls"))
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


if not all(pathlib.Path(place).is_dir() for place in (GENUINE, OTHER or "none")) or \
        not any(re.search(r"\.so\.(59|6\d)", library.name) for library in pathlib.Path(OTHER).glob("libavcodec.so.*")):
    sys.exit(77)
work = [(file, arguments) for file in sorted(pathlib.Path(STREAMS).iterdir())
        if file.suffix not in (".tsv", "") and (not QUICK or file.name in FEW) for file, arguments in manners(file)]
with ThreadPoolExecutor(2) as pool:
    results = list(pool.map(lambda pair: compare(*pair), work))
same = unknown = 0
for (file, arguments), (lines, calls, values, examples) in zip(work, results):
    if not calls and not values:
        same += 1
        continue
    manner = " ".join(arguments).replace("/dev/null", "")
    known = any(re.search(files, file.name) and re.search(manners, manner) and (kind == "calls" or not calls)
                for files, manners, kind in KNOWN)
    unknown += not known
    print(f"{file.name:32} {manner:28} {lines:5} lines: {calls} calls, {values} values{', known' if known else ''}")
    for pair in examples[:3 if VERBOSE else 0]:
        print("   ", pair[0], "\n   ", pair[1])
print(f"{same} of {len(work)} equal, {unknown} differ for no known reason")
sys.exit(unknown > 0)
