"""The command line beside FFmpeg's programs."""

import glob
import os
import shutil
import subprocess
import time

import films as media
from report import comparison_table, bars
from rounds import summary


def _timed(command, environment, directory, output=None):
    shutil.rmtree(directory, ignore_errors=True)
    os.makedirs(directory)
    start = time.monotonic()
    with open(output or os.devnull, "wb") as out:
        process = subprocess.Popen(command, env=environment, stdout=out, stderr=subprocess.DEVNULL,
                                   stdin=subprocess.DEVNULL, cwd=directory)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = status
    wall = time.monotonic() - start
    if status != 0:
        raise RuntimeError(f"{command[0]} ended with {status}: {' '.join(command)}")
    return wall, usage.ru_utime + usage.ru_stime


def _decoded(path, place, environment):
    return subprocess.run([os.path.join(place.usual, "ffmpeg"), "-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", "rgb24",
                           "-"], env=environment, check=True, stdout=subprocess.PIPE).stdout


def _pictures(directories, place, environment):
    """How two directories of PNG pictures and a WAV file differ."""
    import numpy
    found = [sorted(glob.glob(directory + "/**/*.png", recursive=True)) for directory in directories]
    if len(found[0]) != len(found[1]):
        return f"{len(found[1])} pictures instead of {len(found[0])}"
    steps = []
    for one, other in list(zip(*found))[::25]:
        first, second = (numpy.frombuffer(_decoded(path, place, environment), numpy.uint8).astype(int) for path in (one, other))
        if len(first) != len(second):
            return "another size"
        steps.append(numpy.abs(first - second))
    sizes = [sum(os.path.getsize(path) for path in paths) / 1e6 for paths in found]
    return (f"{len(found[0])} pictures, pixels differ by {numpy.mean(steps):.2f}, at most {numpy.max(steps)}; "
            f"{sizes[0]:.1f} and {sizes[1]:.1f} MB")


def _same_table(paths):
    """Compares the rows of two tables of checksums: stream, size and MD5. Each program counts times in a unit of its own."""
    rows = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            fields = [line.split(",") for line in file if not line.startswith("#")]
            rows.append([[row[index].strip() for index in (0, -2, -1)] for row in fields])
    return f"{len(rows[0])} rows, the same" if rows[0] == rows[1] else "rows differ"


def command_line(bench):
    """`./run` beside `ffmpeg` and `ffprobe` 8.0.1, each started for every round: 60 pictures of the last film as PNGs, a
    minute of sound as WAV, the table of MD5s of all its pictures, what is in a file, and the bare start."""
    place = bench.place
    environment = dict(os.environ, LD_LIBRARY_PATH=place.usual)
    programs = [os.path.join(place.usual, name) for name in ("ffmpeg", "ffprobe")]
    ours = [os.path.join(place.root, "run")]
    film = bench.film(media.FILMS[-1])
    part = bench.films.cut(film, media.PNG_PICTURES)
    song = bench.films.sound(media.SOUNDS[0][1], media.SOUNDS[0][2])
    work = os.path.join(place.build, "bench-work")
    theirs_at, ours_at = os.path.join(work, "theirs"), os.path.join(work, "ours")
    quiet = ["-v", "error", "-nostdin", "-y"]
    cases = {
        "PNG": ([programs[0], *quiet, "-i", part, "-fps_mode", "passthrough", "picture-%05d.png"],
                [*ours, "decode", "-q", part, "--out", "out"], lambda: _pictures((theirs_at, ours_at), place, environment)),
        "WAV": ([programs[0], *quiet, "-i", song, "sound.wav"], [*ours, "decode", "-q", song, "--out", "out"], None),
        "frames-md5": ([programs[0], *quiet, "-i", film, "-an", "-f", "framemd5", "-"], [*ours, "frames-md5", film],
                       lambda: _same_table((work + "/theirs.txt", work + "/ours.txt"))),
        "info": ([programs[1], "-v", "error", "-show_format", "-show_streams", "-show_chapters", film],
                 [*ours, "info", film], None),
        "start": ([programs[0], "-version"], [*ours, "--version"], None),
    }
    found = {}
    for name, (theirs, mine, compare) in cases.items():
        bench.say("command line: " + name)
        times = {"theirs": [], "ours": []}
        for _ in range(bench.rounds + 1):
            for who, command, where in (("theirs", theirs, theirs_at), ("ours", mine, ours_at)):
                times[who].append(_timed(command, environment, where, f"{work}/{who}.txt"))
        remark = compare() if compare else ""
        label = {"theirs": "ffmpeg" if theirs[0] == programs[0] else "ffprobe", "ours": "kivjniffmpeg"}
        found[name] = []
        for who, rounds in times.items():
            row = {"participant": label[who], "outcome": remark if who == "ours" else ""}
            for clock in (0, 1):
                row[("wall", "process")[clock]] = summary([one[clock] for one in rounds[1:]],
                                                          [one[clock] for one in times["theirs"][1:]])
            found[name].append(row)
    shutil.rmtree(work, ignore_errors=True)
    text = command_line.__doc__ + "\n\n" + bench.report.plot("command-line", bars(found), height=5)
    for name, rows in found.items():
        text += f"\n### {name}\n\n{comparison_table(rows)}"
    bench.report.add("The command line", text, "command-line", found)
