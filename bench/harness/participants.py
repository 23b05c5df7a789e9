"""Participants: processes that do a round when they are asked to."""

import dataclasses
import os
import subprocess
import tempfile
import threading
import time
import zlib

# A participant that takes longer for one round hangs.
LONGEST_ROUND = 90.0
# Times of a process that ended are known to this many in a second.
TICKS = os.sysconf("SC_CLK_TCK")


@dataclasses.dataclass
class Round:
    """Seconds, but for the last two."""
    wall: float
    thread: float  # of the calling thread; 0 for a program
    process: float  # with the processes that it started
    heap: int  # bytes that the calling thread allocated in Java
    count: int  # pictures, or samples of each channel


@dataclasses.dataclass
class Outcome:
    """What came out of a round, for comparison."""
    count: int
    checksum: int
    numbers: list
    image: bytes


@dataclasses.dataclass(frozen=True)
class Task:
    kind: str
    file: str
    threads: int = 1
    width: int = 0
    height: int = 0
    copies: int = 1

    def arguments(self):
        return [self.kind, self.file, str(self.threads), str(self.width), str(self.height), str(self.copies)]


@dataclasses.dataclass
class Place:
    """Where things are. @param genuine a directory of FFmpeg 2.8.1's libraries"""
    root: str
    genuine: str
    usual: str
    bridged: str

    @property
    def build(self):
        return os.path.join(self.root, "build")

    def java(self, on):
        target = os.path.join(self.root, "bench", "java", "target")
        return ["java", "-Xmx2g", "-cp", f"{target}/classes:{target}/lib/*",
                f"-Dkiv.media.ffmpeg.library={self.build}/libkivjniffmpeg.so", "-Djava.awt.headless=true",
                f"-Dkiv.media.ffmpeg.dir={self.genuine if on == '2.8.1' else self.usual}",
                f"-Dbench.ffmpeg.programs={self.usual}"]


class Failed(Exception):
    """A participant cannot do a task."""


class Served:
    """A process that speaks the protocol of bench/java's Main and of the baseline."""

    def __init__(self, name, command):
        self.name = name
        self.is_java = command[0] == "java"
        self.log = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.log, text=True)
        # clock_getcpuclockid: the processor time of another process, also of its threads that have ended.
        self.clock = (~self.process.pid << 3) | 2
        self._answer("ready")

    def _answer(self, kind):
        watch = threading.Timer(LONGEST_ROUND, self.process.kill)
        watch.start()
        try:
            while line := self.process.stdout.readline():
                words = line.split()
                if words[:2] == ["@", kind]:
                    return words[2:]
        finally:
            watch.cancel()
        self.process.wait()
        self.log.seek(0)
        lines = [line for line in self.log.read().splitlines() if line.strip()]
        raise Failed(lines[0] if lines else f"ended with {self.process.returncode}")

    def _ask(self, *words):
        self.process.stdin.write(" ".join(words) + "\n")
        self.process.stdin.flush()
        return self._answer(words[0])

    def _time(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="utf-8", errors="replace") as file:
            fields = file.read().rpartition(")")[2].split()
        return time.clock_gettime(self.clock) + (int(fields[13]) + int(fields[14])) / TICKS

    def round(self):
        before = self._time()
        wall, thread, heap, count = map(int, self._ask("round"))
        return Round(wall / 1e9, thread / 1e9, self._time() - before, heap, count)

    def check(self):
        with tempfile.TemporaryDirectory() as directory:
            numbers, image = os.path.join(directory, "numbers"), os.path.join(directory, "image")
            count, checksum = map(int, self._ask("check", numbers, image))
            with open(numbers, encoding="utf-8") as file:
                values = [float(line) for line in file]
            return Outcome(count, checksum, values, open(image, "rb").read() if os.path.exists(image) else b"")

    def close(self):
        try:
            self.process.stdin.close()
        except BrokenPipeError:
            pass  # it has ended
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process.stdout.close()
        self.log.close()


class Program:
    """The program ffmpeg, which is started for each round."""

    is_java = False

    def __init__(self, name, place, task):
        self.name = name
        self.environment = dict(os.environ, LD_LIBRARY_PATH=place.usual)
        threads = ["-threads", str(task.threads)] if task.threads else []
        self.command = [os.path.join(place.usual, "ffmpeg"), "-v", "error", "-nostdin", *threads, "-i", task.file]
        self.pictures = task.kind != "sound"
        self.images = task.kind == "images"
        if task.width:
            self.command += ["-vf", f"scale={task.width}:{task.height}"]
        if self.pictures:
            self.command += ["-an", "-fps_mode", "passthrough"]
            if self.images:
                self.command += ["-pix_fmt", "bgra", "-c:v", "rawvideo"]
        self.count = 0

    def round(self):
        start = time.monotonic()
        process = subprocess.Popen([*self.command, "-f", "null", "-"], env=self.environment)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = status
        wall = time.monotonic() - start
        if status != 0:
            raise Failed("ffmpeg ended with " + str(status))
        return Round(wall, 0.0, usage.ru_utime + usage.ru_stime, 0, self.count)

    def check(self):
        if not self.pictures or self.images:
            return None  # its converter and its sound are those of the libraries
        crc = 0
        with subprocess.Popen([*self.command, "-f", "rawvideo", "-pix_fmt", "yuv420p", "-"], env=self.environment,
                              stdout=subprocess.PIPE) as process:
            while block := process.stdout.read(1 << 20):
                crc = zlib.crc32(block, crc)
        return Outcome(-1, crc, [], b"")

    def close(self):
        pass


def start(place, on, name, task):
    """Starts a participant, on FFmpeg 8.0.1 or 2.8.1."""
    if name == "ffmpeg":
        return Program(name, place, task)
    if name == "c":
        libraries = place.genuine if on == "2.8.1" else place.bridged
        return Served(name, [os.path.join(place.build, "release/bench/native/bench_baseline"), libraries, *task.arguments()])
    isolation = ["-Dkiv.media.ffmpeg.isolation=wall"] if name == "api-wall" else []
    return Served(name, [*place.java(on), *isolation, "kiv.media.bench.Main", name.removesuffix("-wall"), *task.arguments()])
