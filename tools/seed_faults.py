#!/usr/bin/env python3
"""Seeds faults into a copy of the tree, one at a time, and reports which test notices each.

    tools/seed_faults.py [--all] [NAME...]

The faults stand in tests/faults/*.faults, one section each: "file" is the end of a source file's path, "old" is text that
stands in it once (white space of any length counts as one blank), "new" takes its place, and "by" names the Java test
classes that should notice when the native tests do not. A fault is noticed when a test fails, crashes or hangs, or
when the compiler finds it. With --all, a fault that nothing noticed meets every Java test but the stress.

./test must have run once. The copy lies in build/faults; its builds are incremental.
"""

import argparse
import configparser
import filecmp
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
TREE = ROOT / "build/faults"
SOURCES = ("src", "java/src/main", "cli/src/main")
LIMIT = 900  # seconds that a step may take
NOT_THE_CODE = "^(format|layers|exported_names|jvm_output|names|versions|.*_check)$"  # what any change of text may fail
MAVEN = ("mvn", "-o", "-B", "-Dsurefire.failIfNoSpecifiedTests=false")


def all_faults():
    parser = configparser.ConfigParser(interpolation=None, delimiters=(":",), comment_prefixes=("#",))
    for path in sorted((ROOT / "tests/faults").glob("*.faults"), reverse=True):
        parser.read(path, encoding="utf-8")
    return {name: parser[name] for name in parser.sections()}


def copy_tree():
    """Brings the copy up to date. Equal files keep their times: what the last fault changed is newer than its build."""
    names = subprocess.check_output(["git", "ls-files", "-co", "--exclude-standard", "--deduplicate"], cwd=ROOT, text=True)
    present = {name for name in names.splitlines() if (ROOT / name).is_file()}
    for path in [path for top in ("src", "tests", "java/src", "cli/src") for path in (TREE / top).rglob("*")]:
        if path.is_file() and str(path.relative_to(TREE)) not in present:
            path.unlink()
    for name in present:
        if not (TREE / name).is_file() or not filecmp.cmp(ROOT / name, TREE / name, shallow=False):
            (TREE / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, TREE / name)
    (TREE / "build").mkdir(exist_ok=True)
    for shared in ("ffmpeg", "ffmpeg-8.0.1", "media", "streams", "jdk21"):
        if (ROOT / "build" / shared).exists() and not (TREE / "build" / shared).exists():
            (TREE / "build" / shared).symlink_to((ROOT / "build" / shared).resolve())


def failure(*command):
    """Runs a command in the copy, and kills it with its children when it hangs. @return what failed, None if nothing"""
    process = subprocess.Popen(command, cwd=TREE, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True, errors="replace", start_new_session=True)
    try:
        output, _ = process.communicate(timeout=LIMIT)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        return "a test that hangs"
    if process.returncode == 0:
        return None
    names = re.findall(r"^\s*\d+ - (\S+) \(", output, re.M)
    names += re.findall(r"^\[ERROR\] +(?:\S+\.)?(\w+Test(?:\.\w+|$))", output, re.M)
    if not names and re.search(r"COMPILATION ERROR|FAILED: |error: ", output):
        return "the compiler"
    return ", ".join(dict.fromkeys(names)) or "?" + output[-500:]


def notice(place, classes, everything):
    """What notices the fault in a file of the copy; None if nothing does."""
    in_cli = any((TREE / "cli/src/test").rglob(name + ".java") for name in classes)
    steps = []
    if "/cli/" not in place and ("/src/main/" not in place or "/natives/" in place):
        steps.append(("cmake", "--build", "build/release", "--target", "all"))
        steps.append(("ctest", "--preset", "release", "--no-tests=error", "--exclude-regex", NOT_THE_CODE))
    if classes:
        steps.append((*MAVEN, "test", *([] if in_cli else ["-pl", "java"]), "-Dtest=" + ",".join(classes)))
    if everything:
        steps.append((*MAVEN, "test"))
    return next(filter(None, (failure(*step) for step in steps)), None)


def result_of(fault, everything):
    """Puts a fault into the copy, looks what notices it, and takes it out again. @return None if nothing does"""
    places = [path for top in SOURCES for path in (TREE / top).rglob("*") if str(path).endswith("/" + fault["file"])]
    if len(places) != 1:
        return f"SPOILED: {len(places)} such files"
    whole = places[0].read_text("utf-8")
    text, count = re.subn(r"\s+".join(map(re.escape, fault["old"].split())), lambda _: fault["new"], whole)
    if count != 1:
        return f"SPOILED: {count} such texts"
    places[0].write_text(text, "utf-8")
    try:
        return notice(str(places[0].relative_to(TREE)), fault.get("by", "").split(), everything)
    finally:
        places[0].write_text(whole, "utf-8")


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--all", action="store_true", help="run all Java tests when nothing else notices a fault")
    arguments.add_argument("names", nargs="*", help="the faults to seed; all when there is none")
    options = arguments.parse_args()
    faults = all_faults()
    copy_tree()
    wrong = failure("cmake", "--preset", "release", "-DKIV_WARNINGS_AS_ERRORS=OFF") or notice("src/", [], False)
    if wrong:
        sys.exit(f"without any fault: {wrong}")
    missed = []
    for name in options.names or faults:
        found = result_of(faults[name], options.all) or "NOT NOTICED"
        if found.startswith(("NOT NOTICED", "SPOILED")):
            missed.append(name)
        print(f"{name}\t{found}", flush=True)
    count = len(options.names or faults)
    print(f"{count - len(missed)} of {count} noticed" + (": not " + ", ".join(missed) if missed else ""))
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
