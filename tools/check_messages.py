#!/usr/bin/env python3
"""Checks that the messages of src/ keep their numbers, by which callers and support know them.

docs/messages.txt gives the number of each message: its text, the function that refuses a zero handle, or the option that
cannot be set. A line changes only with a message that is new or gone.
"""
import pathlib
import re
import sys

PATTERNS = [
    r'throw_ffmpeg_exception\(\s*(?P<number>\d+),\s*"(?P<text>[^"]*)"',
    r"(?P<text>\w+_of)(?:<\w+>)?\([^()]*[,=]\s*(?P<number>\d+)\)",
    r'"(?P<text>ilp_\w+ == 0)",\s*(?P<number>\d+)\)',
    r'set_option\(\w+, "?(?P<text>\w+)"?, \w+, (?P<number>\d+)\)',
    r"function=(?P<text>\w+) line=(?P<number>\d+)",
]
root = pathlib.Path(__file__).parents[1]
sources = [path.read_text() for path in (root / "src").rglob("*") if path.suffix in (".h", ".cpp")]
found = {f"{match['number']} {match['text']}" for text in sources for one in PATTERNS for match in re.finditer(one, text)}
listed = set((root / "docs/messages.txt").read_text().splitlines())
for line in sorted(found ^ listed):
    print(f"docs/messages.txt: {line!r} is " + ("not in src/" if line in listed else "missing"))
sys.exit(1 if found != listed else 0)
