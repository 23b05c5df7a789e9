"""Runs the benchmarks; bench/run says how."""

import argparse
import os
import platform
import subprocess
import sys
import time
import traceback

import films as media
import sections
from command_line import command_line
from participants import Place
from report import Report

# The most important ones first, should the time not suffice for all.
SECTIONS = {"films": sections.films, "packets": sections.packets, "images": sections.images,
            "thumbnails": sections.thumbnails, "sound": sections.sound, "wall": sections.wall, "command-line": command_line,
            "growth": sections.growth, "side-by-side": sections.side_by_side, "neighbour": sections.neighbour,
            "quality": sections.quality, "small": sections.small}
BUSY = 0.3  # processors that others use, above which times say little


def say(text):
    print(time.strftime("%H:%M:%S"), text, file=sys.stderr, flush=True)


def busy():
    """How many processors others are using, over two seconds."""
    def used():
        with open("/proc/stat", encoding="ascii") as file:
            fields = list(map(int, file.readline().split()[1:]))
        return sum(fields[:3]) + sum(fields[5:8])
    before = used()
    time.sleep(2)
    return (used() - before) / os.sysconf("SC_CLK_TCK") / 2


def spent():
    """Processor time of this process and of those that it has started, in seconds."""
    times = os.times()
    return times.user + times.system + times.children_user + times.children_system


def conditions(place, rounds, load):
    with open("/proc/cpuinfo", encoding="utf-8", errors="replace") as file:
        model = next((line.partition(": ")[2].strip() for line in file if line.startswith("model name")), "unknown")
    java = subprocess.run(["java", "-version"], stderr=subprocess.PIPE, text=True, check=True).stderr.splitlines()[1]
    commit = subprocess.run(["git", "-C", place.root, "rev-parse", "--short", "HEAD"], stdout=subprocess.PIPE, text=True,
                            check=False).stdout.strip()
    lines = [f"Commit {commit}, {time.strftime('%Y-%m-%d')}. {os.cpu_count()} processors, {model}; Linux {platform.release()}.",
             java + ".", f"{rounds} rounds. Ratios are of the fastest rounds; behind them, in brackets, median and quartiles of "
             "the ratios round by round."]
    if load > BUSY or rounds < 15:
        lines.append(f"\n**Not final:** {rounds} rounds, and others used {load:.1f} processors when it began.")
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(prog="bench/run", description="Measures the library beside others.")
    parser.add_argument("--rounds", type=int, default=15, help="rounds of each comparison; 15")
    parser.add_argument("--only", help="some of: " + ",".join(SECTIONS))
    parser.add_argument("--within", type=float, default=1e6, metavar="MINUTES", help="begins no comparison after that time")
    parser.add_argument("--prepare", action="store_true", help="only builds, and makes the media")
    parser.add_argument("--out", help="where results go; bench/results")
    parser.add_argument("--trial", action="store_true", help="one round of little, to see that everything works")
    parser.add_argument("--force", action="store_true", help="also when others use the processors")
    parser.add_argument("--place", nargs=4, metavar=("ROOT", "GENUINE", "USUAL", "BRIDGED"), required=True,
                        help=argparse.SUPPRESS)
    parser.add_argument("--source", required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    chosen = options.only.split(",") if options.only else list(SECTIONS)
    if unknown := set(chosen) - set(SECTIONS):
        parser.error("no section " + ", ".join(sorted(unknown)))
    if options.trial:
        media.shorten()
        options.rounds = 1
    begin = time.monotonic()
    load = busy()
    if load > BUSY and not (options.force or options.trial or options.prepare):
        sys.exit(f"error: others use {load:.1f} processors, and times would say little; --force measures all the same")
    place = Place(*options.place)
    results = options.out or os.path.join(place.root, "bench", "results")
    films = media.Films(options.source, os.path.join(place.build, "bench-films"))
    report = None if options.prepare else Report(results, conditions(place, options.rounds, load))
    bench = sections.Bench(place, films, report, options.rounds, say, begin + 60 * options.within)
    if options.prepare:
        sections.prepare(bench)
        return
    failed = []
    for name in chosen:
        # An hour of measuring is not lost because one section fails.
        before = time.monotonic(), spent()
        try:
            SECTIONS[name](bench)
        except Exception:  # noqa: BLE001: whatever it is
            traceback.print_exc()
            failed.append(name)
        say(f"{name} took {time.monotonic() - before[0]:.0f} s, and {spent() - before[1]:.0f} s of the processors")
    say("results are in " + results)
    if failed:
        sys.exit("error: these sections failed: " + ", ".join(failed))


if __name__ == "__main__":
    main()
