"""The Python package against the built library (MPG_LIBRARY). Run with unittest."""
import ctypes
import os
import re
import sys
import threading
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from media import InFolderOfMedia, ffmpeg, run

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bindings/python"))
import mpg  # noqa: E402


class Package(InFolderOfMedia):
    def setUp(self):
        super().setUp()
        self.video, self.audio = Path("film ö.mp4").resolve(), Path("a.m4a").resolve()
        os.rename("v.mp4", self.video)

    def test_records_and_functions_are_the_librarys(self):
        table = (ROOT / "src/api/record_layout.cpp").read_text()
        sizes = re.findall(r"HasSize<(\w+)>\((\d+)\)", table)
        offsets = re.findall(r"offsetof\((\w+), (\w+)\) == (\d+)", table)
        self.assertEqual((len(sizes), len(offsets)), (6, 36))
        for record, size in sizes:
            self.assertEqual(ctypes.sizeof(getattr(mpg, "_" + record)), int(size), record)
        for record, field, offset in offsets:
            field_of = getattr(getattr(mpg, "_" + record), field)
            self.assertEqual(field_of.offset, int(offset), f"{record}.{field}")

        header = (ROOT / "include/mpg/mpg.h").read_text()
        exports = re.findall(r"(?m)^MPG_API [\w\s*]+?(\w+)\(", header)
        self.assertEqual(sorted(exports), sorted(mpg._EXPORTS))
        for name in exports:
            words = re.findall("[A-Z]+[0-9]*(?![a-z])|[A-Z][a-z]+[0-9]*",
                               name.replace("MPG_Get", "").replace("MPG_", ""))
            self.assertTrue(callable(getattr(mpg, "_".join(words).lower())), name)

    def test_every_argument_is_handed_on(self):
        decision = mpg.merge_op2(self.video, self.audio)
        self.assertEqual((decision.mode, decision.container, decision.extension),
                         (mpg.MergeMode.COPY, mpg.Container.MP4, "mp4"))
        self.assertEqual(mpg.merge_op(self.video, self.audio).mode, mpg.MergeMode.COPY)
        self.assertEqual(mpg.audio_duration(self.audio), 4)
        self.assertTrue(mpg.is_this_good_file(os.fsencode(self.video)))
        mpg.merge_av(self.video, self.audio, "av.mp4")
        self.assertEqual(mpg.def_extension("av.mp4") + mpg.def_ext(mpg.OutputFormat.MPEG), "mp4mpg")
        ffmpeg("-i", "av.mp4", "-c", "copy", "-flvflags", "no_duration_filesize", "live.flv")
        mpg.flv_fix_duration("live.flv")
        mpg.merge(["av.mp4", "none", "av.mp4"], "two.mp4", close_gaps=True)
        mpg.mp3_convert("av.mp4", "a.mp3", bit_rate=96000)
        mpg.save_trimmed_video("av.mp4", "trim.mp4", 1, 2)
        mpg.crop("av.mp4", "crop.mp4")
        mpg.shift_audio("av.mp4", "late.mp4", 500)
        mpg.transcode("av.mp4", "small.avi", mpg.OutputFormat.AVI, width=160,
                      video_codec=mpg.VideoCodec.XVID, audio_codec=mpg.AudioCodec.MP3)
        # The library's strings hold names of less than 16 characters, and point to longer ones.
        mpg.transcode("av.mp4", "long name " * 10 + ".ts", mpg.OutputFormat.TS)
        mpg.image("av.mp4", "a.jpg", height=120)
        mpg.image_p("av.mp4", "b.bmp", 50, mpg.ImageFormat.BMP, height=60)
        mpg.image_jpg("av.mp4", "c.jpg", 2, height=30)
        self.assertEqual(len(mpg.image_bmp("av.mp4", 1, height=120)), 58 + 160 * 120 * 3)
        for name, *expected in (
                ("two.mp4", 8, 320, 240, "H264", "AAC"), ("a.mp3", 4, 0, 0, "", "MP3"),
                ("trim.mp4", 3, 320, 240, "H264", "AAC"), ("crop.mp4", 4, 320, 240, "H264", "AAC"),
                ("late.mp4", 4, 320, 240, "H264", "AAC"), ("small.avi", 4, 160, 120, "MPEG4", "MP3"),
                ("long name " * 10 + ".ts", 4, 320, 240, "H264", "AAC"),
                ("live.flv", 3, 320, 240, "H264", "AAC"), ("a.jpg", 0, 160, 120, "MJPEG", ""),
                ("b.bmp", 0, 80, 60, "BMP", ""), ("c.jpg", 0, 40, 30, "MJPEG", "")):
            info = mpg.media_info(name)
            self.assertEqual([info.duration, info.width, info.height, info.video_codec,
                              info.audio_codec], expected, name)

    def test_progress_stops_and_raises(self):
        seen = []

        def join(on_progress):
            seen.clear()
            mpg.merge_av(self.video, self.audio, "p.mp4", on_progress=on_progress)

        def fail(percent):
            seen.append(percent)
            raise ZeroDivisionError("of the host")

        join(seen.append)
        self.assertEqual((seen, seen[-1]), (sorted(set(seen)), 100))
        with self.assertRaises(mpg.Cancelled) as caught:
            join(lambda percent: False)
        self.assertEqual((str(caught.exception.output), caught.exception.code), ("p.mp4", 0))
        self.assertTrue(mpg.is_this_good_file("p.mp4"))
        with self.assertRaisesRegex(ZeroDivisionError, "of the host"):
            join(fail)
        self.assertEqual(len(seen), 1)
        with self.assertRaisesRegex(RuntimeError, "within"):
            join(lambda percent: mpg.set_percent100(10))
        mpg.set_percent100(1000)
        self.addCleanup(mpg.set_percent100, 100)
        join(seen.append)
        self.assertEqual(seen[-1], 1000)

    def test_threads_run_side_by_side(self):
        # One operation's callback waits for the other's: both must be inside at once.
        both = threading.Barrier(2, timeout=60)

        def join(name):
            waits = iter([both.wait])
            mpg.merge_av(self.video, self.audio, name,
                         on_progress=lambda percent: next(waits, int)() and None)

        with ThreadPoolExecutor() as pool:
            list(pool.map(join, ("t1.mp4", "t2.mp4")))

    def test_errors_name_the_file_and_the_reason(self):
        Path("text.mp4").write_text("no media")
        for call, kind, message in (
                (lambda: mpg.merge_av("nofile", self.audio, "x"), FileNotFoundError,
                 "nofile: No such file or directory"),
                (lambda: mpg.merge_av(self.video, ".", "x"), IsADirectoryError,
                 ".: Is a directory"),
                (lambda: mpg.merge_av(self.video, self.audio, self.video), mpg.MpgError,
                 f"{self.video}: the output is one of the inputs"),
                (lambda: mpg.merge_av(self.audio, self.audio, "x"), mpg.MpgError,
                 f"{self.audio}: Video codec not found"),
                (lambda: mpg.media_info("text.mp4"), mpg.MpgError, "text.mp4: not a media file"),
                (lambda: mpg.image_bmp(self.audio, 0), mpg.MpgError,
                 f"{self.audio}: no picture could be saved"),
                (lambda: mpg.crop("a\0b", "x"), ValueError, "embedded null byte in a path")):
            with self.subTest(message), self.assertRaises(kind) as caught:
                call()
            self.assertEqual(str(caught.exception), message)
            self.assertTrue(kind is ValueError or isinstance(caught.exception, mpg.MpgError))
        self.assertEqual(mpg.error_text(mpg.ErrorCode.AUDIO_STREAM_NOT_FOUND),
                         "Audio stream not found")
        mpg.test_params()

    def test_a_missing_library_is_told_with_its_places(self):
        Path("broken.so").write_bytes(b"no library")
        for name, reason in (("libnone.so", "no such file"), ("broken.so", "broken")):
            named = str(Path(name).resolve())
            ran = run(sys.executable, "-c", "import mpg; mpg.test_params()",
                      cwd=ROOT / "bindings/python", env={**os.environ, "MPG_LIBRARY": named})
            self.assertRegex(ran.stderr, f"LibraryNotFound: [^$]*{re.escape(named)}: .*{reason}")


if __name__ == "__main__":
    unittest.main()
