#!/usr/bin/env python3
"""Writes the tables of the bridge out of what make_tables.sh measured.

The arguments are the directory of the measurements, that of the tables, and libavcodec's majors.
"""
import json
import os
import sys

WORK, HERE, MAJORS = sys.argv[1], sys.argv[2], [int(major) for major in sys.argv[3:]]
HEAD = "// Measured by bridge/tables/make_tables.sh; not written by hand.\n"
FIRST_NEW_CODEC = 0x22000  # behind the last number of libavcodec 56, but for its few numbers made of letters
FLAGS_OF_OLD = 0xFF  # those that an old descriptor has room for
BAYER = 0x100
CAPABILITIES = 0x28      # CODEC_CAP_DELAY and CODEC_CAP_TRUNCATED


def numbers(major):
    with open(os.path.join(WORK, f"numbers-{major}.json"), encoding="utf-8") as file:
        return json.load(file)


def write(name, lines):
    with open(os.path.join(HERE, name), "w", encoding="utf-8") as file:
        file.write(HEAD + "\n".join(lines) + "\n")


def write_layouts():
    structures = []
    with open(os.path.join(HERE, "layout_fields.txt"), encoding="utf-8") as file:
        for line in file.read().splitlines():
            words = line.rsplit(" ", 1)
            if line.startswith("struct "):
                structures.append((line.split(" ")[1], words[1], []))
            elif not line.startswith("#"):
                structures[-1][2].append(words)
    declarations = []
    for _, ours, fields in structures:
        declarations.append(f"struct dsd_{ours}_layout\n{{")
        declarations += [f"    dsd_field<{ours}, {kind}> {name};" for kind, name in fields]
        declarations.append("};")
    declarations.append("struct dsd_layout\n{\n    int inc_avcodec;")
    declarations += [f"    dsd_{ours}_layout {ours};" for _, ours, _ in structures]
    declarations.append("};")
    write("layout_fields.inc", declarations)
    values = []
    for major in MAJORS:
        with open(os.path.join(WORK, f"layout-{major}.txt"), encoding="utf-8") as file:
            offsets = {tuple(line.split()[:2]): line.split()[2] for line in file}
        values.append(f"{{{major},")
        for theirs, ours, fields in structures:
            inner = ", ".join(f"{{{offsets[theirs, name]}}}" for _, name in fields)
            values.append(f" {{{inner}}}, // {ours}")
        values.append("},")
    write("layouts.inc", values)


def write_codecs():
    old = numbers(56)
    rows, known = [], set()
    for number, name, _ in old["codecs"]:
        known.add(name)
        capabilities = old["capabilities"].get(str(number))
        rows.append((number, name, -1 if capabilities is None else capabilities & CAPABILITIES))
    young = {}
    for major in MAJORS:
        for number, name, _ in sorted(numbers(major)["codecs"]):
            if name not in known:
                young.setdefault(name, len(young))
    rows += [(FIRST_NEW_CODEC + index, name, -1) for name, index in young.items()]
    write("codecs.inc", [f'{{"{name}", {number}, {capabilities}}},' for number, name, capabilities in sorted(rows)])
    gone = known - {name for major in MAJORS for _, name, _ in numbers(major)["codecs"]}
    print("codecs that no newer FFmpeg has:", *sorted(gone))


def quoted(text):
    return f'"{text}"' if text else "nullptr"


def write_formats():
    old = numbers(56)["formats"]
    lines, known = [], set()
    for number, name, components, width, height, flags, comp, alias in old:
        known.add(name)
        inner = ", ".join(f"{{{c & 3}, {c >> 2 & 7}, {c >> 5 & 7}, {c >> 8 & 7}, {c >> 11}}}" for c in comp)
        lines.append(f"{{{quoted(name)}, {components}, {width}, {height}, {flags}, {{{inner}}}, {quoted(alias)}}}, "
                     f"// {number}")
    young, unfit = {}, set()
    for major in MAJORS:
        for _, name, components, width, height, flags, comp, alias in sorted(numbers(major)["formats"]):
            if name in known or name in young:
                continue
            used = comp[:components]
            # A new descriptor counts bits where a bitstream's pixels are packed; none of the young formats is one.
            if flags & ~FLAGS_OF_OLD & ~BAYER or flags & 4 or any(
                    c[0] > 3 or not 1 <= c[1] <= 8 or c[2] > 6 or c[3] > 7 or not 1 <= c[4] <= 16 for c in used):
                unfit.add(name)
                continue
            rows = [f"{{{c[0]}, {c[1] - 1}, {c[2] + 1}, {c[3]}, {c[4] - 1}}}" for c in used]
            rows += ["{0, 0, 0, 0, 0}"] * (4 - len(rows))
            young[name] = (f"{{{quoted(name)}, {components}, {width}, {height}, {flags & FLAGS_OF_OLD}, "
                           f"{{{', '.join(rows)}}}, {quoted(alias)}}},")
    lines += list(young.values())
    write("pixel_formats.inc", lines)
    print("pixel formats that an old descriptor cannot describe:", *sorted(unfit))
    gone = known - {name for major in MAJORS for _, name, *_ in numbers(major)["formats"]} - {None}
    print("pixel formats that no newer FFmpeg has:", *sorted(gone))


write_layouts()
write_codecs()
write_formats()
