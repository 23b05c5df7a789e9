#!/usr/bin/env python3
"""Compares the tables of bridge/tables with every FFmpeg at hand.

    bridge/tests/check_tables.py [DIRECTORY...]

The directories have newer FFmpegs; without any they are those that ./test has fetched, KIV_FFMPEG_DIR's and the system's.
Of each the option tables, the fields of fresh objects, and the names of codecs and pixel formats are compared. If headers
are installed, or KIV_FFMPEG_HEADERS has them, the compiler is asked for every offset. What is not there is left out; the
exit status is 77 when there is nothing.
"""
import ctypes
import glob
import os
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
TABLES, BUILD = HERE.parent / "tables", HERE.parents[1] / "build"
NO_TIMESTAMP = -2**63
# The names of FFmpeg's structures.
STRUCTURES = {"context": "AVCodecContext", "frame": "AVFrame", "parameters": "AVCodecParameters", "stream": "AVStream",
              "format_context": "AVFormatContext", "channel_layout": "AVChannelLayout", "packet_side_data": "AVPacketSideData",
              "packet": "AVPacket", "codec": "AVCodec", "codec_descriptor": "AVCodecDescriptor", "chapter": "AVChapter",
              "program": "AVProgram", "parser": "AVCodecParserContext", "input_format": "AVInputFormat",
              "io_context": "AVIOContext"}
# What options are called whose fields have another name.
FIELDS_OF_OPTIONS = {
    "context": {"b": "bit_rate", "ar": "sample_rate", "video_size": "width", "pixel_format": "pix_fmt", "threads":
                "thread_count", "strict": "strict_std_compliance", "err_detect": "err_recognition", "bug":
                "workaround_bugs", "ec": "error_concealment", "idct": "idct_algo", "aspect": "sample_aspect_ratio"},
    "format_context": {"fflags": "flags", "analyzeduration": "max_analyze_duration"},
}
# What FFmpeg puts into fields without options: a function that makes the object, and some of them.
FRESH = {
    "frame": ("avutil", "av_frame_alloc", {"pts": NO_TIMESTAMP, "pkt_dts": NO_TIMESTAMP, "format": -1, "color_range": 0,
                                           "best_effort_timestamp": NO_TIMESTAMP, "color_primaries": 2}),
    "context": ("avcodec", "avcodec_alloc_context3", {"pix_fmt": -1, "sample_fmt": -1, "codec_type": -1, "refs": 1,
                                                      "framerate": 1 << 32, "pkt_timebase": 1 << 32}),
    "parameters": ("avcodec", "avcodec_parameters_alloc", {"format": -1, "codec_type": -1}),
    "format_context": ("avformat", "avformat_alloc_context", {"nb_streams": 0}),
    "stream": ("avformat", "avformat_new_stream", {"duration": NO_TIMESTAMP, "start_time": NO_TIMESTAMP,
                                                   "sample_aspect_ratio": 1 << 32}),
}


def read_tables():
    """Of each major, the offsets by structure and field; the C++ types of the fields."""
    types, names = {}, {}
    for ours, block in re.findall(r"struct dsd_(\w+)_layout\n\{\n(.*?)\n\};", (TABLES / "layout_fields.inc").read_text(), re.S):
        fields = re.findall(r"dsd_field<\w+, (.*)> (\w+);", block)
        names[ours] = [name for _, name in fields]
        types.update({(ours, name): kind for kind, name in fields})
    layouts = {}
    for major, block in re.findall(r"^\{(\d+),\n(.*?)\n\},$", (TABLES / "layouts.inc").read_text(), re.S | re.M):
        rows = re.findall(r"^ \{(.*)\}, // (\w+)$", block, re.M)
        layouts[int(major)] = {(ours, name): int(offset) for row, ours in rows
                               for name, offset in zip(names[ours], re.findall(r"-?\d+", row))}
    return layouts, types


LAYOUTS, TYPES = read_tables()


class Option(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("help", ctypes.c_char_p), ("offset", ctypes.c_int), ("rest", ctypes.c_byte * 44)]


def options(library, function):
    """The offsets of an object's options."""
    get_class = getattr(library, function)
    get_class.restype = ctypes.POINTER(ctypes.c_void_p)
    at, found = get_class()[2], {}
    while (option := Option.from_address(at)).name:
        if option.offset:
            found[option.name.decode()] = option.offset
        at += ctypes.sizeof(Option)
    return found


def known_names():
    codecs = set(re.findall(r'"([^"]+)"', (TABLES / "codecs.inc").read_text()))
    formats = set(re.findall(r'^\{"([^"]+)"', (TABLES / "pixel_formats.inc").read_text(), re.M))
    return codecs, formats


def names_of(step, name_at):
    """The names in one of FFmpeg's lists of descriptors."""
    step.restype, step.argtypes = ctypes.c_void_p, [ctypes.c_void_p]
    found, at = [], step(None)
    while at:
        found.append(ctypes.c_char_p.from_address(at + name_at).value.decode())
        at = step(at)
    return found


def faults_of_libraries(directory):
    for helper in ("libdrm.so*", "libva.so*", "libva-drm.so*"):
        for path in sorted(glob.glob(f"{directory}/{helper}")) if not directory.startswith("/usr/") else []:
            ctypes.CDLL(path, mode=ctypes.RTLD_GLOBAL)
    libraries = {}
    for name in ("avutil", "swresample", "avcodec", "avformat"):
        newest = max((path for path in glob.glob(f"{directory}/lib{name}.so.*") if re.search(r"\.so\.(?!54$|56$|1$)\d+$", path)),
                     key=lambda path: int(path.rsplit(".", 1)[1]))
        libraries[name] = ctypes.CDLL(newest, mode=ctypes.RTLD_GLOBAL)
    major = libraries["avcodec"].avcodec_version() >> 16
    offsets = LAYOUTS[major]
    compared, fresh = 0, None
    for ours, library, function in (("context", "avcodec", "avcodec_get_class"), ("format_context", "avformat", "avformat_get_class")):
        renamed = FIELDS_OF_OPTIONS[ours]
        for name, offset in options(libraries[library], function).items():
            field = (ours, renamed.get(name, name))
            if field in offsets:
                compared += 1
                if offsets[field] != offset:
                    yield f"libavcodec {major}: {ours}.{field[1]} lies at {offset}, not at {offsets[field]}"
    if compared < 30:
        yield f"libavcodec {major}: only {compared} options have fields of the tables"
    for ours, (library, function, values) in FRESH.items():
        make = getattr(libraries[library], function)
        make.restype, make.argtypes = ctypes.c_void_p, [ctypes.c_void_p] * 2
        fresh = make(fresh if ours == "stream" else None, None)
        for name, value in values.items():
            kind = ctypes.c_int64 if TYPES[ours, name] in ("int64_t", "AVRational") else ctypes.c_int
            found = kind.from_address(fresh + offsets[ours, name]).value
            if found != value:
                yield f"libavcodec {major}: a fresh {ours} has {found} as {name}, not {value}"
    codecs, formats = known_names()
    yield from (f"libavcodec {major}: codec {name} is not in the table"
                for name in names_of(libraries["avcodec"].avcodec_descriptor_next, 8) if name not in codecs)
    # Floating point and samples of more than 16 bits do not fit into an old descriptor.
    yield from (f"libavcodec {major}: pixel format {name} is not in the table"
                for name in names_of(libraries["avutil"].av_pix_fmt_desc_next, 0)
                if name not in formats and not re.search(r"f(16|32)(be|le)$|^(gray|gbrap)32|^rgb96|^rgba128|^xv30be|^v30xbe", name))
    print(f"libavcodec {major} in {directory}: {compared} options compared")


def faults_of_headers(directory):
    """The offsets that the compiler has, for the major of the headers."""
    lines = ["#include <cstddef>", "#include <cstdio>", 'extern "C" {'] + \
        [f"#include <lib{room}/{room}.h>" for room in ("avcodec", "avformat")] + ["}"]
    lines += ["int main() {",
              'std::printf("major %d\\n", LIBAVCODEC_VERSION_MAJOR);']
    for ours, name in TYPES:
        theirs = STRUCTURES[ours]
        lines.append(f'std::printf("{ours} {name} %d\\n", []<class T>(T *) {{ if constexpr (requires(T t) {{ t.{name}; }}) '
                     f"return int(offsetof(T, {name})); else return -1; }}(static_cast<{theirs} *>(nullptr)));")
    program = BUILD / "headers_of_ffmpeg"
    BUILD.mkdir(exist_ok=True)
    subprocess.run([os.environ.get("CXX", "c++"), "-std=c++20", "-w", "-x", "c++", "-", "-I", directory, "-o", program],
                   input="\n".join(lines + ["}"]), text=True, check=True)
    rows = [line.split() for line in subprocess.run([program], capture_output=True, text=True, check=True).stdout.splitlines()]
    major = int(rows[0][1])
    for ours, name, offset in rows[1:]:
        if LAYOUTS[major][ours, name] != int(offset):
            yield f"headers of libavcodec {major}: {ours}.{name} lies at {offset}, not at {LAYOUTS[major][ours, name]}"
    print(f"headers of libavcodec {major}: {len(rows) - 1} offsets compared")


def at_hand():
    usual = [*sorted(glob.glob(f"{BUILD}/ffmpeg-*")), os.environ.get("KIV_FFMPEG_DIR", ""), "/usr/lib/x86_64-linux-gnu"]
    found = {os.path.realpath(library) for directory in usual for library in glob.glob(f"{directory}/libavcodec.so.*")}
    return sorted({os.path.dirname(library) for library in found if re.search(r"\.so\.(59|6[0-2])", library)})


def main():
    if sys.argv[1:2] == ["--one"]:
        faults = list(faults_of_libraries(sys.argv[2]))
        print("\n".join(faults), end="\n" if faults else "")
        return len(faults) > 0
    directories = sys.argv[1:] or at_hand()
    # Two FFmpegs in one process would be one too many.
    failed = [subprocess.run([sys.executable, __file__, "--one", directory], check=False,
                             env={**os.environ, "LD_LIBRARY_PATH": directory if not directory.startswith("/usr/") else ""}).returncode
              for directory in directories]
    headers = next((place for place in (os.environ.get("KIV_FFMPEG_HEADERS", ""), "/usr/include/x86_64-linux-gnu", "/usr/include")
                    if os.path.exists(f"{place}/libavformat/avformat.h")), None)
    faults = list(faults_of_headers(headers)) if headers else []
    print("\n".join(faults), end="\n" if faults else "")
    if not directories and not headers:
        return 77
    return any(failed) or len(faults) > 0


sys.exit(int(main()))
