"""The media that is measured: made by the machine's ffmpeg program of one real film, always in the same way."""

import os
import subprocess

# What the most common films of each kind have: name, file, codec and its arguments, width, height, pictures.
FILMS = [
    ("720x528 MPEG-4", "mpeg4.avi", ["-c:v", "mpeg4", "-vtag", "XVID", "-b:v", "1400k", "-bf", "2"], 720, 528, 250),
    ("640x272 H.264", "h264.mp4", ["-c:v", "libx264", "-preset", "medium", "-b:v", "900k"], 640, 272, 250),
    ("320x240 MPEG-1", "mpeg1.mpg", ["-c:v", "mpeg1video", "-b:v", "1150k", "-bf", "2"], 320, 240, 400),
    ("768x576 MS-MPEG-4", "msmpeg4.avi", ["-c:v", "msmpeg4", "-b:v", "1400k"], 768, 576, 250),
    ("1280x720 H.264", "h264_720.mp4", ["-c:v", "libx264", "-preset", "medium", "-b:v", "2500k"], 1280, 720, 150),
]
SIZES = [(320, 240), (640, 360), (1280, 720), (1920, 1080), (3840, 2160)]
# Of the last film, what is written as PNGs.
PNG_PICTURES = 60
SIDE_BY_SIDE_PICTURES = 60
SECONDS = 60
SOUNDS = [
    ("FLAC", "sound.flac", ["-c:a", "flac"]),
    ("AAC", "sound.m4a", ["-c:a", "aac", "-b:a", "128k"]),
    ("AC-3", "sound.ac3", ["-c:a", "ac3", "-b:a", "192k"]),
    ("MP2", "sound.mp2", ["-c:a", "mp2", "-b:a", "192k"]),
    ("PCM", "sound.wav", ["-c:a", "pcm_s16le"]),
]
BLOCKS = [256, 1024, 4096, 16384]
LENGTHS = [1, 2, 4]
COPIES = [1, 2, 4, 8, 16]


def shorten():
    """Leaves little of everything, for a trial."""
    for those, kept in ((FILMS, FILMS[1:2]), (SIZES, SIZES[:2]), (SOUNDS, SOUNDS[1:2]), (BLOCKS, BLOCKS[2:4]),
                        (LENGTHS, LENGTHS[:2]), (COPIES, COPIES[:2])):
        those[:] = kept


class Films:
    """Makes each file when it is asked for it first. The noise has a fixed seed and the encoders run on one thread."""

    def __init__(self, source, directory):
        self.source = source
        self.directory = directory
        os.makedirs(directory, exist_ok=True)

    def _make(self, name, *arguments):
        path = os.path.join(self.directory, name)
        if not os.path.exists(path):
            part = os.path.join(self.directory, "part-" + name)
            subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", *arguments, "-map_metadata", "-1", "-fflags",
                            "+bitexact", part], check=True)
            os.rename(part, path)
        return path

    def film(self, name, codec, width, height, pictures):
        scale = f"scale={width}:{height}:flags=bicubic+bitexact,setsar=1,noise=alls=4:allf=t:all_seed=7,format=yuv420p"
        return self._make(name, "-stream_loop", "-1", "-i", self.source, "-vf", scale, "-frames:v", str(pictures), "-an",
                          *codec, "-g", "50", "-threads", "1", "-flags", "+bitexact")

    def of_size(self, width, height):
        """A film of few large pictures or many small ones."""
        pictures = max(8, min(200, 50_000_000 // (width * height)))
        return self.film(f"size_{width}x{height}_{pictures}.mp4", ["-c:v", "libx264", "-preset", "veryfast", "-crf", "25"], width,
                         height, pictures)

    def of_length(self, times):
        """A film that consists of another one so many times."""
        once = self.film("length.mp4", ["-c:v", "libx264", "-preset", "veryfast", "-crf", "25"], 320, 240, 250)
        return self._make(f"length_{times}.mp4", "-stream_loop", str(times - 1), "-i", once, "-c", "copy")

    def repeated(self, file, times):
        """A film so many times."""
        return self._make(f"repeated_{times}_{os.path.basename(file)}", "-stream_loop", str(times - 1), "-i", file, "-c", "copy")

    def sound(self, name, codec, seconds=SECONDS):
        return self._make(name, "-f", "lavfi", "-i",
                          f"sine=f=440:r=44100:d={seconds},aformat=sample_fmts=s16:channel_layouts=stereo[s];"
                          f"anoisesrc=r=44100:a=0.1:c=pink:seed=7:d={seconds},aformat=channel_layouts=stereo[n];"
                          "[s][n]amix=inputs=2,aformat=sample_fmts=s16:channel_layouts=stereo", *codec, "-flags", "+bitexact")

    def cut(self, file, pictures):
        """The first pictures of a film."""
        return self._make(f"first_{pictures}_{os.path.basename(file)}", "-i", file, "-frames:v", str(pictures), "-c", "copy")

    def small(self):
        """Small pictures that are all the same."""
        return self._make("small.avi", "-f", "lavfi", "-i", "color=gray:s=32x16:r=25", "-frames:v", "3", "-c:v", "mpeg4", "-flags",
                          "+bitexact")

    def of_block(self, samples):
        return self.sound(f"block_{samples}.flac", ["-c:a", "flac", "-frame_size", str(samples)])

    def colours(self):
        """A lossless picture of blocks of known colours: (path, raw 4:2:0 bytes, width, height)."""
        import numpy
        random = numpy.random.default_rng(7)
        columns = rows = 96
        blocks = numpy.empty((3, rows, columns), numpy.uint8)
        blocks[0] = random.integers(16, 236, (rows, columns))
        blocks[1:] = random.integers(16, 241, (2, rows, columns))
        luma = blocks[0].repeat(8, 0).repeat(8, 1)
        raw = luma.tobytes() + b"".join(plane.repeat(4, 0).repeat(4, 1).tobytes() for plane in blocks[1:])
        size = 8 * columns
        path = os.path.join(self.directory, "colours.yuv")
        with open(path, "wb") as file:
            file.write(raw)
        made = self._make("colours.mkv", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", f"{size}x{size}", "-i", path,
                          "-c:v", "ffv1", "-flags", "+bitexact")
        return made, blocks
