"""The Python package against the built library (MPG_LIBRARY). Run with unittest."""
import ctypes
import os
import re
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bindings/python"))
import mpg  # noqa: E402


def make(path, *arguments):
    subprocess.run(["ffmpeg", "-v", "error", "-y", *arguments, str(path)], check=True)


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="mpg ü ")
        cls.work = Path(cls.folder.name)
        cls.video, cls.audio = cls.work / "film ö.mp4", cls.work / "film.m4a"
        make(cls.video, "-f", "lavfi", "-i", "testsrc2=s=320x240:d=4", "-c:v", "libx264",
             "-preset", "ultrafast", "-g", "25")
        make(cls.audio, "-f", "lavfi", "-i", "sine=d=4", "-c:a", "aac")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_records_lie_where_the_library_has_them(self):
        table = (ROOT / "src/api/record_layout.cpp").read_text()
        sizes = re.findall(r"HasSize<(\w+)>\((\d+)\)", table)
        offsets = re.findall(r"offsetof\((\w+), (\w+)\) == (\d+)", table)
        self.assertEqual((len(sizes), len(offsets)), (6, 36))
        for record, size in sizes:
            self.assertEqual(ctypes.sizeof(getattr(mpg, "_" + record)), int(size), record)
        for record, field, offset in offsets:
            field_of = getattr(getattr(mpg, "_" + record), field)
            self.assertEqual(field_of.offset, int(offset), f"{record}.{field}")

    def test_every_export_has_its_function(self):
        header = (ROOT / "include/mpg/mpg.h").read_text()
        exports = re.findall(r"(?m)^MPG_API [\w\s*]+?(\w+)\(", header)
        self.assertEqual(sorted(exports), sorted(mpg._EXPORTS))
        for name in exports:
            words = re.findall("[A-Z]+[0-9]*(?![a-z])|[A-Z][a-z]+[0-9]*",
                               name.replace("MPG_Get", "").replace("MPG_", ""))
            self.assertTrue(callable(getattr(mpg, "_".join(words).lower())), name)

    def test_what_files_hold(self):
        info = mpg.media_info(self.video)
        decision = mpg.merge_op2(self.video, self.audio)
        self.assertEqual((info.duration, info.width, info.video_codec), (4, 320, "H264"))
        self.assertEqual(mpg.audio_duration(self.audio), 4)
        self.assertTrue(mpg.is_this_good_file(os.fsencode(self.video)))
        self.assertEqual((decision.mode, decision.container, decision.extension),
                         (mpg.MergeMode.COPY, mpg.Container.MP4, "mp4"))
        self.assertEqual(mpg.merge_op(self.video, self.audio).mode, mpg.MergeMode.COPY)
        self.assertEqual(mpg.def_ext(mpg.OutputFormat.MPEG), "mpg")

    def test_operations_hand_on_every_argument(self):
        os.chdir(self.work)  # names of less than 16 characters, too
        mpg.merge_av(self.video, self.audio, "av.mp4")
        self.assertEqual(mpg.def_extension("av.mp4"), "mp4")
        make("live.flv", "-i", "av.mp4", "-c", "copy", "-flvflags", "no_duration_filesize")
        mpg.flv_fix_duration("live.flv")
        mpg.merge(["av.mp4", "none", "av.mp4"], "two.mp4", close_gaps=True)
        mpg.mp3_convert("av.mp4", "a.mp3", bit_rate=96000)
        mpg.save_trimmed_video("av.mp4", "trim.mp4", 1, 2)
        mpg.crop("av.mp4", "crop.mp4")
        mpg.shift_audio("av.mp4", "late.mp4", 500)
        mpg.transcode("av.mp4", "small.avi", mpg.OutputFormat.AVI, width=160,
                      video_codec=mpg.VideoCodec.XVID, audio_codec=mpg.AudioCodec.MP3)
        mpg.transcode("av.mp4", "long name " * 10 + ".ts", mpg.OutputFormat.TS)
        mpg.image("av.mp4", "a.jpg", height=120)
        mpg.image_p("av.mp4", "b.bmp", 50, mpg.ImageFormat.BMP, height=60)
        mpg.image_jpg("av.mp4", "c.jpg", 2, height=30)
        self.assertEqual(len(mpg.image_bmp("av.mp4", 1, height=120)), 58 + 160 * 120 * 3)
        for name, duration, width, height, codec in (
                ("two.mp4", 8, 320, 240, "AAC"), ("a.mp3", 4, 0, 0, "MP3"),
                ("trim.mp4", 3, 320, 240, "AAC"), ("crop.mp4", 4, 320, 240, "AAC"),
                ("late.mp4", 4, 320, 240, "AAC"), ("small.avi", 4, 160, 120, "MP3"),
                ("long name " * 10 + ".ts", 4, 320, 240, "AAC"), ("live.flv", 3, 320, 240, "AAC"),
                ("a.jpg", 0, 160, 120, ""), ("b.bmp", 0, 80, 60, ""), ("c.jpg", 0, 40, 30, "")):
            info = mpg.media_info(name)
            self.assertEqual((name, info.duration, info.width, info.height, info.audio_codec),
                             (name, duration, width, height, codec))

    def test_progress_stops_and_raises(self):
        seen = []
        mpg.merge_av(self.video, self.audio, self.work / "p.mp4", on_progress=seen.append)
        self.assertEqual((seen, seen[-1]), (sorted(set(seen)), 100))

        stopped = self.work / "stopped.mp4"
        with self.assertRaises(mpg.Cancelled) as caught:
            mpg.merge_av(self.video, self.audio, stopped, on_progress=lambda percent: False)
        self.assertEqual((caught.exception.output, caught.exception.code), (stopped, 0))
        self.assertTrue(mpg.is_this_good_file(stopped))

        class Mine(Exception):
            pass

        def fail(percent):
            seen.append(percent)
            raise Mine("of the host")

        seen.clear()
        with self.assertRaisesRegex(Mine, "of the host"):
            mpg.merge_av(self.video, self.audio, stopped, on_progress=fail)
        self.assertEqual(len(seen), 1)

        def change_scale(percent):
            mpg.set_percent100(10)

        with self.assertRaisesRegex(RuntimeError, "within"):
            mpg.merge_av(self.video, self.audio, stopped, on_progress=change_scale)
        mpg.set_percent100(1000)
        seen.clear()
        mpg.merge_av(self.video, self.audio, stopped, on_progress=seen.append)
        mpg.set_percent100(100)
        self.assertEqual(seen[-1], 1000)

    def test_threads_run_side_by_side(self):
        # One operation's callback waits for the other's: both must be inside at once.
        both = threading.Barrier(2, timeout=60)
        errors = []

        def join(name):
            waited = []

            def wait(percent):
                if not waited:
                    waited.append(both.wait())
            try:
                mpg.merge_av(self.video, self.audio, self.work / name, on_progress=wait)
            except BaseException as error:
                errors.append(error)

        threads = [threading.Thread(target=join, args=(name,)) for name in ("t1.mp4", "t2.mp4")]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(errors, [])

    def test_errors_name_the_file_and_the_reason(self):
        text = self.work / "text.mp4"
        text.write_text("no media")
        out, missing = self.work / "x.mp4", self.work / "nofile"
        cases = [
            (lambda: mpg.merge_av(missing, self.audio, out), FileNotFoundError,
             f"{missing}: No such file or directory"),
            (lambda: mpg.merge_av(self.video, self.work, out), IsADirectoryError,
             f"{self.work}: Is a directory"),
            (lambda: mpg.merge_av(self.video, self.audio, self.video), mpg.MpgError,
             f"{self.video}: the output is one of the inputs"),
            (lambda: mpg.merge_av(self.audio, self.audio, out), mpg.MpgError,
             f"{self.audio}: Video codec not found"),
            (lambda: mpg.media_info(text), mpg.MpgError, f"{text}: not a media file"),
            (lambda: mpg.image_bmp(self.audio, 0), mpg.MpgError,
             f"{self.audio}: no picture could be saved"),
            (lambda: mpg.crop("a\0b", out), ValueError, "embedded null byte in a path"),
        ]
        for call, kind, message in cases:
            with self.subTest(message):
                with self.assertRaises(kind) as caught:
                    call()
                self.assertEqual(str(caught.exception), message)
                if kind is not ValueError:
                    self.assertIsInstance(caught.exception, mpg.MpgError)
        self.assertEqual(mpg.error_text(mpg.ErrorCode.AUDIO_STREAM_NOT_FOUND),
                         "Audio stream not found")
        mpg.test_params()

    def test_a_missing_library_is_told_with_its_places(self):
        nowhere = str(self.work / "libnone.so")
        (self.work / "broken.so").write_bytes(b"no library")
        for named, reason in ((nowhere, "no such file"), (str(self.work / "broken.so"), "broken")):
            ran = subprocess.run([sys.executable, "-c", "import mpg; mpg.test_params()"],
                                 capture_output=True, text=True, cwd=ROOT / "bindings/python",
                                 env={**os.environ, "MPG_LIBRARY": named})
            self.assertRegex(ran.stderr, f"LibraryNotFound: [^$]*{re.escape(named)}: .*{reason}")


if __name__ == "__main__":
    unittest.main()
