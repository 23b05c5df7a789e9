#!/usr/bin/env python3
"""Checks that the variables of src/, bridge/ and worker/ carry the prefix of their type and scope; src/README.md has the key.

It finds declarations line by line, of the types in the table below; it does not follow auto and templates.
"""
import pathlib
import re
import sys

# The letters of each type. The first pattern that matches the whole type counts.
LETTERS = [
    (r"size_t|u?int64_t|uintptr_t|jlong|ptrdiff_t|intptr_t", lambda t: ("u" if t[0] in "us" else "i") + "l"),
    (r"uint32_t", "um"),
    (r"int32_t|jint|jsize", "im"),
    (r"unsigned int", "un"),
    (r"int", "in"),
    (r"double", "fl"),
    (r"bool|jboolean", "b"),
    (r"AVCodecID|AVMediaType|AVPixelFormat|AVRounding|AVSampleFormat|(kiv::jni::)?ie_\w+", "ie"),
    (r"uint8_t|unsigned char|jbyte|std::(span|vector|array)<(const )?uint8_t(, [^<>]*)?>", "ut"),
    (r"std::string(_view)?", "str"),
    (r"std::(span|array)<(const )?(int32_t|jint)(, [^<>]*)?>", "aim"),
    (r"std::(span|array)<(const )?(int64_t|jlong)(, [^<>]*)?>", "ail"),
    (r"std::(span|array)<int(, [^<>]*)?>", "ain"),
    (r"c_global_ref|jclass|jobject|jstring|jthrowable|j\w+Array", "avo"),
    (r"void", "v"),
    (r"jmethodID", "ads"),
    (r"char", "tr"),
    (r"JNIEnv|AV[A-Z]\w+|S\w+Context|(kiv::jni::)?(c_|ca_|dsd_)\w+", "ds"),
]
TYPE = "|".join(pattern for pattern, _ in LETTERS)
DECLARATION = re.compile(
    rf"(?<![\w:<])(?P<type>{TYPE})(?: const)? (?P<marks>[*&]*(?:const )?[*&]*)(?P<name>\w+)"
    r"(?P<end> ?(?:[;,)={\[]|:(?!:)))"
)
# FFmpeg's things have FFmpeg's names, a trace line prints the last one under its name, and two name no variables.
FILES_OF_FFMPEG = ("abi.h", "abi_containers.h", "abi_constants.h", "symbols.h", "structures.h", "types.h", "functions.h")
EXCEPTIONS = {"operator", "final", "av_pix_fmt_descriptors", "dsc_codecid"}


def prefixes_of(declared, marks, is_array):
    """The letters that a name of this type may begin with; an array may count as a pointer."""
    pattern, letters = next(row for row in LETTERS if re.fullmatch(row[0], declared))
    letters = letters(declared) if callable(letters) else letters
    pointers = marks.count("*")
    if declared == "char":
        return {"a" * (pointers - 1) + "str"} if pointers else {"byr"}
    prefixes = {"a" * (pointers + is_array) + letters}
    return prefixes | {letters} if letters in ("ds", "ut") and not pointers else prefixes


def faults_in(path):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        code = re.sub(r'"(\\.|[^"\\])*"|//.*|/\*.*?\*/|^ *(/\*\*| \*).*', "", line)
        code = re.sub(r"auto (?:\*|&|&&)?(\w+) = \w+_cast<([^<>*]+) ?(\**)>", r"\2 \3\1 =", code)
        for found in DECLARATION.finditer(code):
            name, end = found["name"], found["end"].strip()
            if name in EXCEPTIONS or re.match("[gs]_", name):
                continue
            in_statement = "(" not in code[: found.start()] and code.count("(") == code.count(")")
            scopes = {",": "p", ")": "lp" if "catch (" in code else "p"}.get(end, "cl" if in_statement else "clp")
            if "constexpr" in code and end not in ",)":
                scopes += "_"  # constants have no letter for their scope
            if in_statement and not code[0].isspace():
                scopes = "_"
            letters = prefixes_of(found["type"], found["marks"], end == "[")
            scope = f"[{scopes}]_".replace("_]_", "]?_").replace("[]?_", "_")
            if not re.match(f"({'|'.join(letters)}){scope}", name):
                yield f"{path}:{number}: {name} should begin {' or '.join(sorted(letters))}, then {scope}"


project = pathlib.Path(__file__).parents[1]
roots = [pathlib.Path(root) for root in sys.argv[1:]] or [project / "src", project / "bridge", project / "worker"]
files = [path for root in roots for path in sorted(root.rglob("*")) if path.suffix in (".h", ".cpp") and path.name not in FILES_OF_FFMPEG]
faults = [fault for path in files for fault in faults_in(path)]
print("\n".join(faults), end="\n" if faults else "")
sys.exit(1 if faults or not files else 0)
