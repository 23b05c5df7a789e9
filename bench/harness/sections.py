"""What is measured. Each function adds a section to the report."""

import csv
import io
import json
import os
import subprocess
import tempfile
import time

import films as media
from exact import kept_means, to_rgb
from participants import Failed, Task, start
from report import bars, comparison_table, lines, milliseconds, ratio, table
from rounds import Comparison

ALL = 0  # threads: what the participant does when it is not told
ONE = 1
THUMBNAIL_WIDTH = 320
WALLED_COPIES = 8
WALLED_TIMES = 5


class Bench:
    def __init__(self, place, films, report, rounds, say, end):
        """@param end when no further comparison begins"""
        self.end = end
        self.place = place
        self.films = films
        self.report = report
        self.rounds = rounds
        self.say = say

    def compare(self, on, what, entrants, baseline=None, exact=None):
        """@return no rows when the baseline itself fails"""
        self.say(f"{what} (FFmpeg {on})")
        if time.monotonic() > self.end:
            self.say("  left out: the time is over")
            return []
        try:
            return Comparison(self.place, on, entrants, self.rounds, self.say, exact).run(self.rounds).rows(baseline)
        except Failed as failure:
            self.say(f"  {failure}")
            return []

    def film(self, film):
        _, file, codec, width, height, pictures = film
        return self.films.film(file, codec, width, height, pictures)

    def exact(self, film, width, height):
        """What images of a film should show."""
        return kept_means(self.place, self.film(film), film[3], film[4], width, height)

    def add(self, title, introduction, name, comparisons, clock="wall"):
        comparisons = {head: rows for head, rows in comparisons.items() if rows}
        if not comparisons:
            raise Failed("nothing of it was measured")
        height = 1.2 + 0.15 * sum(len(rows) for rows in comparisons.values())
        text = introduction + "\n" + self.report.plot(name, bars(comparisons, clock), height=height)
        for head, rows in comparisons.items():
            text += f"\n### {head}\n\n{comparison_table(rows)}"
        self.report.add(title, text, name, comparisons)


def prepare(bench):
    """Makes the media of all sections, and what images of them should show."""
    for film in media.FILMS:
        bench.film(film)
        bench.exact(film, film[3], film[4])
        bench.exact(film, *_thumbnail_size(film[3], film[4]))
    bench.films.cut(bench.film(media.FILMS[-1]), media.PNG_PICTURES)
    _side_by_side_film(bench)
    for size in media.SIZES:
        bench.films.of_size(*size)
    for file, codec in (sound[1:] for sound in media.SOUNDS):
        bench.films.sound(file, codec)
    for block in media.BLOCKS:
        bench.films.of_block(block)
    for times in media.LENGTHS:
        bench.films.of_length(times)
    bench.films.small()
    bench.films.colours()


def entrants(kind, file, names, **size):
    """Participants with one thread and with their defaults, and what each is compared with."""
    found, baseline = [], {}
    for name, threads in names:
        label = name if threads == ALL else f"{name}, 1 thread"
        found.append((label, name, Task(kind, file, threads, **size)))
        baseline[label] = "c" if threads == ALL else "c, 1 thread"
    return found, baseline


def films(bench):
    """From a file to the last picture, in the decoder's own format."""
    for on, names in (
            ("8.0.1", [("c", ONE), ("c", ALL), ("api", ONE), ("api", ALL), ("entries", ONE), ("javacv", ONE),
                       ("javacv", ALL), ("presets", ALL), ("humble", ALL), ("jcodec", ONE), ("ffmpeg", ALL)]),
            ("2.8.1", [("c", ONE), ("c", ALL), ("api", ONE), ("api", ALL), ("entries", ONE)])):
        found = {}
        for film in media.FILMS:
            file = bench.film(film)
            # JCodec reads the film of a container of its own only, and takes twenty times as long.
            those = [one for one in names if one[0] != "jcodec" or file.endswith("h264.mp4")]
            who, baseline = entrants("film", file, those)
            found[film[0]] = bench.compare(on, "film " + film[0], who, baseline)
        bench.add(f"Films, FFmpeg {on}", films.__doc__ + "\n", "films-" + on, found)


def packets(bench):
    """From packets in memory to the last picture, on one thread: decoding alone. Look at the calling thread."""
    for on in ("8.0.1", "2.8.1"):
        found = {}
        for film in media.FILMS:
            who, baseline = entrants("packets", bench.film(film), [("c", ONE), ("api", ONE), ("entries", ONE)])
            found[film[0]] = bench.compare(on, "packets " + film[0], who, baseline)
        bench.add(f"Packets, FFmpeg {on}", packets.__doc__ + "\n", "packets-" + on, found, "thread")


def images(bench):
    """From a file to an image of every picture. In C the picture becomes 32-bit RGB by libswscale. How images differ is said
    beside exact arithmetic."""
    names = [("c", ONE), ("c", ALL), ("api", ONE), ("api", ALL), ("javacv", ONE), ("javacv", ALL), ("humble", ALL),
             ("jaffree", ALL), ("ffmpeg", ALL)]
    _images(bench, "Images", images, names, lambda width, height: (0, 0))


def thumbnails(bench):
    """From a file to a small image of every picture, 320 pixels wide or, of the smallest film, 160."""
    names = [("c", ONE), ("c", ALL), ("api", ONE), ("api", ALL), ("javacv", ALL), ("humble", ALL), ("ffmpeg", ALL)]
    _images(bench, "Thumbnails", thumbnails, names, _thumbnail_size)


def _thumbnail_size(width, height):
    small = THUMBNAIL_WIDTH // 2 if width == THUMBNAIL_WIDTH else THUMBNAIL_WIDTH
    return small, round(small * height / width / 2) * 2


def _images(bench, title, section, names, size_of):
    found = {}
    for film in media.FILMS:
        path = bench.film(film)
        width, height = size_of(film[3], film[4])
        # Jaffree goes through a socket, and always loses: the smallest and the largest film show it.
        those = [one for one in names if one[0] != "jaffree" or film in (media.FILMS[2 % len(media.FILMS)], media.FILMS[-1])]
        who, baseline = entrants("images", path, those, width=width, height=height)
        found[film[0]] = bench.compare("8.0.1", f"{section.__name__} {film[0]}", who, baseline,
                                       bench.exact(film, width or film[3], height or film[4]))
    bench.add(title, section.__doc__ + "\n", section.__name__, found)


def sound(bench):
    """From a file to its last sample, as interleaved 16 bits. Presets and the first row keep the decoder's own samples."""
    for on, names in (("8.0.1", ["api", "entries", "javacv", "presets", "ffmpeg"]), ("2.8.1", ["api", "entries"])):
        found = {}
        for title, file, codec in media.SOUNDS:
            path = bench.films.sound(file, codec)
            plain, task = Task("sound", path, ONE), Task("sound16", path, ONE)
            who = [("c, own samples", "c", plain), ("c", "c", task)]
            # FLAC has no format tag that the entry points know.
            who += [(name, name, plain) for name in names if (title, name) != ("FLAC", "entries")]
            baseline = {label: "c, own samples" if name == "presets" else "c" for label, name, _ in who[1:]}
            found[title] = bench.compare(on, "sound " + title, who, baseline)
        bench.add(f"Sound, FFmpeg {on}", sound.__doc__ + "\n", "sound-" + on, found, "process")


def wall(bench):
    """The API beside itself with the decoder in a process behind the wall. Look at the wall clock: the processor time is without
    that of the other process. The films are five times as long as elsewhere, because the first picture is measured by itself."""
    found = {}
    for film in media.FILMS:
        who, baseline = _walled(Task("film", bench.films.repeated(bench.film(film), WALLED_TIMES), ALL))
        found["film " + film[0]] = bench.compare("8.0.1", "wall " + film[0], who, baseline)
    who, baseline = _walled(Task("film", bench.films.cut(bench.film(media.FILMS[0]), 1), ALL))
    found["first picture"] = bench.compare("8.0.1", "wall, first picture", who, baseline)
    film = bench.films.repeated(bench.film(media.FILMS[1 % len(media.FILMS)]), WALLED_TIMES)
    who, baseline = _walled(Task("film", film, ONE, copies=WALLED_COPIES), [("api, wall, pool", "api-pool")])
    found[f"{WALLED_COPIES} at once"] = bench.compare("8.0.1", f"wall, {WALLED_COPIES} at once", who, baseline)
    for title, file, codec in media.SOUNDS:
        who, baseline = _walled(Task("sound", bench.films.sound(file, codec), ONE))
        found["sound " + title] = bench.compare("8.0.1", "wall " + title, who, baseline)
    bench.add("Behind the wall", wall.__doc__ + "\n", "wall", found)


def _walled(task, more=()):
    who = [("api, wall", "api-wall"), *more]
    return [("api", "api", task), *((label, name, task) for label, name in who)], {label: "api" for label, _ in who}


def growth(bench):
    """How cost grows: straight lines where nothing is wrong. The calling thread's processor time, of the fastest round."""
    data, text = {}, growth.__doc__ + "\n"

    def grow(name, points, kind, names, unit, across, upwards):
        nonlocal text
        series, rows = {}, []
        for x, file, divisor in points:
            who, _ = entrants(kind, file, [(one, ONE) for one in names])
            for row in bench.compare("8.0.1", f"{name} {x}", who):
                if row.get("thread"):
                    cost = row["thread"]["minimum"] / (divisor or row["count"]) * unit
                    series.setdefault(row["participant"], []).append((x, cost))
                    rows.append([x, row["participant"], f"{cost:.3f}", ratio(row["thread"])])
        data[name] = series
        text += "\n" + bench.report.plot("growth-" + name, lines(series, across, upwards))
        text += "\n" + table([across, "participant", upwards, "of C"], rows)

    sizes = [(width * height / 1e6, bench.films.of_size(width, height), None) for width, height in media.SIZES]
    grow("size", sizes, "packets", ["c", "api", "entries"], 1e3, "millions of pixels", "ms a picture")
    grow("images", sizes, "images", ["c", "api", "javacv"], 1e3, "millions of pixels", "ms an image")
    blocks = [(size, bench.films.of_block(size), media.SECONDS * 44100 / size) for size in media.BLOCKS]
    grow("block", blocks, "packets", ["c", "api"], 1e6, "samples in a block", "microseconds a block")
    lengths = [(250 * times, bench.films.of_length(times), 1) for times in media.LENGTHS]
    grow("length", lengths, "film", ["c", "api", "entries"], 1.0, "pictures", "seconds in all")
    bench.report.add("Growth", text, "growth", data)


def _side_by_side_film(bench):
    return bench.films.cut(bench.film(media.FILMS[1 % len(media.FILMS)]), media.SIDE_BY_SIDE_PICTURES)


def side_by_side(bench):
    """Decoders on one thread each, so many of them side by side, of the 640x272 film: processor time of the process for a
    picture, of the fastest round."""
    file = _side_by_side_film(bench)
    series, rows = {}, []
    for on in ("8.0.1", "2.8.1"):
        for copies in media.COPIES:
            who = [(name, name, Task("packets", file, ONE, copies=copies)) for name in ("c", "api", "entries")]
            for row in bench.compare(on, f"{copies} side by side", who):
                if row.get("process"):
                    cost = 1e3 * row["process"]["minimum"] / (row["count"] * copies)
                    series.setdefault(f"{row['participant']}, {on}", []).append((copies, cost))
                    rows.append([on, copies, row["participant"], f"{cost:.3f}", ratio(row["process"]), ratio(row["wall"])])
    text = side_by_side.__doc__ + "\n\n" + bench.report.plot(
        "side-by-side", lines(series, "decoders", "ms a picture"))
    text += "\n" + table(["FFmpeg", "decoders", "participant", "ms a picture", "of C", "wall time, of C"], rows)
    bench.report.add("Side by side", text, "side-by-side", {"series": series, "rows": rows})


def neighbour(bench):
    """A thread that allocates Java objects all the while: how long 64 KiB of them take, with nobody beside it, with a thread
    that computes in Java, and with decoders. 99.9th percentile in microseconds, of each round."""
    file = bench.film(media.FILMS[-1])
    bench.say("a neighbour that allocates")
    done = subprocess.run([*bench.place.java("8.0.1"), "kiv.media.bench.Neighbour", file, str(bench.rounds)], check=True,
                          stdout=subprocess.PIPE, text=True)
    found = {}
    for line in done.stdout.splitlines():
        if line.startswith("@ "):
            beside, median, high, worst = line[2:].split("\t")
            found.setdefault(beside, []).append([float(median), float(high), float(worst)])

    def draw(axes):
        axes.boxplot([[one[1] for one in values] for values in found.values()], vert=False)
        axes.set_yticks(range(1, len(found) + 1), list(found))
        axes.set_xlabel("99.9th percentile, microseconds")
        axes.set_xlim(left=0)
    text = neighbour.__doc__ + "\n\n" + bench.report.plot("neighbour", draw, height=3)
    text += "\n" + table(["beside it", "median", "least 99.9th", "median of the 99.9th", "worst"], [
        [beside, *(f"{value:.1f}" for value in (
            min(one[0] for one in values), min(one[1] for one in values),
            sorted(one[1] for one in values)[len(values) // 2], max(one[2] for one in values)))]
        for beside, values in found.items()])
    bench.report.add("A neighbour that allocates", text, "neighbour", found)


def small(bench):
    """What calls cost that do little, by JMH."""
    bench.say("small costs (JMH)")
    with tempfile.TemporaryDirectory() as directory:
        file = os.path.join(directory, "jmh.json")
        seconds = "500ms" if bench.rounds >= 15 else "100ms"
        command = [*bench.place.java("8.0.1"), f"-Dbench.small={bench.films.small()}"]
        command = [*command, "org.openjdk.jmh.Main", "kiv.media.bench.SmallCosts", "-rf", "json", "-rff", file, "-f",
                   "2" if bench.rounds >= 15 else "1", "-wi", "4", "-i", "5", "-w", seconds, "-r", seconds, "-prof", "gc",
                   "-jvmArgs", " ".join(one for one in command if one.startswith("-D"))]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        with open(file, encoding="utf-8") as result:
            data = json.load(result)
    rows = []
    kept = []  # without the machine's paths
    for one in data:
        metric = one["primaryMetric"]
        heap = one["secondaryMetrics"].get("gc.alloc.rate.norm") or one["secondaryMetrics"]["·gc.alloc.rate.norm"]
        kept.append({"benchmark": one["benchmark"], "primary": metric, "heap": heap})
        rows.append([one["benchmark"].rpartition(".")[2], f"{metric['score']:.3f}", f"{metric['scoreError']:.3f}",
                     f"{heap['score']:.0f}"])
    text = small.__doc__ + "\n\n" + table(["what", "microseconds", "error", "heap bytes"], rows)
    bench.report.add("Small costs", text, "small", kept)


def quality(bench):
    """Conversion to RGB beside exact arithmetic (BT.601, limited range): of blocks of known colours, the pixels in whose
    neighbourhood nothing changes, in steps of 255."""
    import numpy
    file, blocks = bench.films.colours()
    exact = to_rgb(*(plane.astype(float) for plane in blocks)).transpose(1, 2, 0)
    rows, data = [], {}
    for name in ("c", "api", "javacv"):
        participant = start(bench.place, "8.0.1", name, Task("images", file))
        image = numpy.frombuffer(participant.check().image, numpy.uint8)
        participant.close()
        size = 8 * blocks.shape[2]
        got = image.reshape(size, size, 3)[3::8, 3::8].astype(float)
        steps = numpy.abs(got - exact)
        data[name] = {"mean": steps.mean(), "largest": steps.max(), "by_colour": steps.mean((0, 1)).tolist()}
        rows.append([name, f"{steps.mean():.3f}", f"{steps.max():.2f}",
                     ", ".join(f"{value:.3f}" for value in steps.mean((0, 1)))])
    rows.append(["rounding alone", f"{numpy.abs(exact.round() - exact).mean():.3f}",
                 f"{numpy.abs(exact.round() - exact).max():.2f}", ""])
    text = quality.__doc__ + "\n\n" + table(["participant", "mean error", "largest error", "red, green, blue"], rows)
    bench.report.add("Quality of conversions", text, "quality", data)
