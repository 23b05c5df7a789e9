#!/usr/bin/env python3
"""Where the bridge finds FFmpeg, with stand-ins: search_test.py BRIDGE STUBS. A process for each case."""
import ctypes
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

BRIDGE, STUBS = (pathlib.Path(place).resolve() for place in sys.argv[1:3])
FIVE = ("libavutil.so.54", "libswresample.so.1", "libswscale.so.3", "libavcodec.so.56", "libavformat.so.56")
SUPPORTED = "libavcodec 59, 60, 61 and 62 (FFmpeg 5.1 to 8.0) are supported"


def report(directory, *before):
    """Opens the five after some other libraries, and prints what the bridge says. Whatever is called, nothing crashes."""
    for library in before:
        ctypes.CDLL(library)
    avutil, swresample, swscale, avcodec, avformat = (ctypes.CDLL(f"{directory}/{name}", ctypes.RTLD_GLOBAL) for name in FIVE)
    for function in (avutil.kiv_bridge_description, avutil.kiv_bridge_error):
        function.restype = ctypes.c_char_p
    description, error = avutil.kiv_bridge_description(), avutil.kiv_bridge_error()
    print((description or error).decode())
    if description:
        return
    avcodec.avcodec_register_all()
    avformat.av_register_all()
    nothing = [avcodec.avcodec_find_decoder(28), avcodec.avcodec_alloc_context3(None), avformat.avformat_alloc_context(),
               swresample.swr_alloc(), swscale.sws_getCachedContext(None, *[16] * 7, None, None, None), avutil.av_malloc(8),
               avutil.av_frame_alloc()]
    avutil.av_log_set_level(0)
    frame = ctypes.create_string_buffer(1024)
    codes = [avutil.av_frame_get_buffer(frame, 32), avformat.avformat_open_input(ctypes.byref(ctypes.c_void_p()), b"x", None, None)]
    if any(nothing) or any(code >= 0 for code in codes):
        print("a function works without FFmpeg:", nothing, codes)


class SearchTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.place = pathlib.Path(directory.name)
        self.link(BRIDGE, self.place)

    def link(self, directory, to):
        for library in directory.iterdir():
            (to / library.name).unlink(missing_ok=True)
            (to / library.name).symlink_to(library)

    def run_it(self, *before, path=""):
        done = subprocess.run([sys.executable, __file__, BRIDGE, STUBS, "report", self.place, *before], text=True, timeout=60,
                              capture_output=True, check=False, env={**os.environ, "LD_LIBRARY_PATH": str(path)})
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.strip(), done.stderr.strip()

    def found(self, name, version, directory):
        return f"FFmpeg {name}, libavcodec {version}.99.0, {directory}", ""

    def refused(self, error):
        return error, f"ffmpeg bridge: {error}"

    def test_beside_the_bridge_comes_before_the_process(self):
        self.link(STUBS / "7.1", self.place)
        self.assertEqual(self.run_it(*sorted(STUBS.glob("8.0/*")), path=STUBS / "8.0"), self.found("7.1", 61, self.place))

    def test_the_newest_one_beside_it_counts(self):
        self.link(STUBS / "7.1", self.place)
        self.link(STUBS / "8.0", self.place)
        self.assertEqual(self.run_it(), self.found("8.0", 62, self.place))

    def test_in_the_process_comes_before_the_loader(self):
        self.assertEqual(self.run_it(*sorted(STUBS.glob("7.1/*")), path=STUBS / "8.0"), self.found("7.1", 61, STUBS / "7.1"))

    def test_where_the_loader_looks(self):
        self.assertEqual(self.run_it(path=STUBS / "8.0"), self.found("8.0", 62, STUBS / "8.0"))

    def test_an_unknown_major_is_refused_in_one_line(self):
        (self.place / "libavcodec.so.63").touch()
        self.assertEqual(self.run_it(path=STUBS / "8.0"), self.refused(f"libavcodec 63 is not supported, {SUPPORTED}"))

    def test_libraries_that_are_not_what_they_seem(self):
        self.link(STUBS / "8.0", self.place)
        self.link(STUBS / "misnamed", self.place)
        self.assertEqual(self.run_it(), self.refused("libavcodec says that it is 61.99.0 and not 62"))
        self.link(STUBS / "incomplete", self.place)
        self.assertEqual(self.run_it(), self.refused("the FFmpeg lacks av_packet_alloc"))

    def test_a_library_that_cannot_be_opened(self):
        self.link(STUBS / "8.0", self.place)
        (self.place / "libavformat.so.62").unlink()
        (self.place / "libavformat.so.62").write_text("nothing")
        error, line = self.run_it()
        self.assertIn("libavformat.so.62", error)
        self.assertEqual(line, f"ffmpeg bridge: {error}")


if sys.argv[3:4] == ["report"]:
    report(*sys.argv[4:])
else:
    unittest.main(argv=sys.argv[:1])
