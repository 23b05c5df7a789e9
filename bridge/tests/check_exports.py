#!/usr/bin/env python3
"""check_exports.py BRIDGE: what the five libraries export.

That is all that the library looks up, and what its tests and the reference decoder look up besides; each name carries the
version node of the library that it stands for. No name of FFmpeg's is undefined, but for those of another of the five.
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FILES = {"avutil": ("libavutil.so.54", "LIBAVUTIL_54"), "swresample": ("libswresample.so.1", "LIBSWRESAMPLE_1"),
         "swscale": ("libswscale.so.3", "LIBSWSCALE_3"), "avcodec": ("libavcodec.so.56", "LIBAVCODEC_56"),
         "avformat": ("libavformat.so.56", "LIBAVFORMAT_56")}


def names(*arguments):
    output = subprocess.run(["nm", "-D", *arguments], capture_output=True, text=True, check=True).stdout
    return [line.split()[-1] for line in output.splitlines()]


symbols = (ROOT / "src/kivjniffmpeg/ffmpeg/symbols.h").read_text()
tests = "".join(path.read_text() for path in (ROOT / "tests").rglob("*") if path.suffix in (".h", ".cpp"))
bridge = "".join(path.read_text() for path in (ROOT / "bridge").rglob("*") if path.suffix in (".h", ".cpp"))
faults, exported = [], set()
for name, (file, node) in FILES.items():
    library = pathlib.Path(sys.argv[1]) / file
    upper = name.upper()
    wanted = {symbol for block in re.findall(rf"#define KIV_{upper}_\w+\(X\)(.*?)(?:\n\n|\n//)", symbols, re.S)
              for symbol in re.findall(r"X\([^,]*, (\w+),", block)} | ({"av_pix_fmt_descriptors"} if name == "avutil" else set())
    found = {}
    for symbol in names("--defined-only", library):
        plain, _, version = symbol.partition("@@")
        if version:
            found[plain] = version
        elif plain not in (node, "KIV_BRIDGE_1"):
            faults.append(f"{file}: {symbol} has no version node")
    faults += [f"{file}: {symbol} is missing" for symbol in sorted(wanted - found.keys())]
    for symbol, version in found.items():
        own = symbol.startswith("kiv_bridge_")
        if version != ("KIV_BRIDGE_1" if own else node):
            faults.append(f"{file}: {symbol} has the node {version}")
        if symbol not in wanted and not own and not re.search(rf"\b{symbol}\b", tests) and \
                not re.search(rf'extern "C" [^;{{]*\b{symbol}\(', bridge):
            faults.append(f"{file}: nobody looks for {symbol}")
    exported |= found.keys()
for file, _ in FILES.values():
    faults += [f"{file}: {symbol} is undefined" for symbol in names("--undefined-only", pathlib.Path(sys.argv[1]) / file)
               if re.match(r"(av|sws|swr|sw)[a-z0-9]*_", symbol) and symbol.split("@")[0] not in exported]
print("\n".join(faults or [f"{len(exported)} names are exported"]))
sys.exit(len(faults) > 0)
