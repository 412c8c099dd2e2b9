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


def probe(path, *entries):
    return subprocess.run(["ffprobe", "-v", "error", "-of", "csv=p=0", *entries, str(path)],
                          check=True, capture_output=True, text=True).stdout.split()


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

    def kinds(self, path):
        return sorted(set(probe(path, "-show_entries", "stream=codec_type")))

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
        self.assertEqual((info.duration, info.width, info.height, info.video_codec),
                         (4, 320, 240, "H264"))
        self.assertEqual(mpg.audio_duration(self.audio), 4)
        self.assertTrue(mpg.is_this_good_file(os.fsencode(self.video)))
        decision = mpg.merge_op2(self.video, self.audio)
        self.assertEqual((decision.mode, decision.container, decision.extension),
                         (mpg.MergeMode.COPY, mpg.Container.MP4, "mp4"))
        self.assertEqual(mpg.merge_op(self.video, self.audio).mode, mpg.MergeMode.COPY)
        self.assertEqual(mpg.def_ext(mpg.OutputFormat.MPEG), "mpg")

    def test_operations_write_files_that_others_can_read(self):
        work, joined = self.work, self.work / "joined.mp4"
        mpg.merge_av(self.video, self.audio, joined)
        self.assertEqual(mpg.def_extension(joined), "mp4")
        long_name = work / ("long name " * 10 + ".webm")
        operations = {
            "two.mp4": lambda to: mpg.merge([joined, work / "none", joined], to, close_gaps=True),
            "a.mp3": lambda to: mpg.mp3_convert(joined, to, bit_rate=96000),
            "trim.mp4": lambda to: mpg.save_trimmed_video(joined, to, 1, 2),
            "crop.mp4": lambda to: mpg.crop(joined, to),
            "late.mp4": lambda to: mpg.shift_audio(joined, to, 500),
            "small.avi": lambda to: mpg.transcode(
                joined, to, mpg.OutputFormat.AVI, video_codec=mpg.VideoCodec.XVID, width=160,
                audio_codec=mpg.AudioCodec.MP3, audio_bit_rate=64000),
        }
        for name, operation in operations.items():
            with self.subTest(name):
                operation(work / name)
                self.assertEqual(self.kinds(work / name),
                                 ["audio"] if name == "a.mp3" else ["audio", "video"])
        self.assertEqual(probe(work / "small.avi", "-show_entries", "stream=width"), ["160"])
        mpg.transcode(joined, work / "s.ts", mpg.OutputFormat.TS)
        os.chdir(work)  # names of less than 16 characters, too
        mpg.transcode("s.ts", long_name.with_suffix(".ts"), mpg.OutputFormat.TS)
        self.assertEqual(self.kinds(long_name.with_suffix(".ts")), ["audio", "video"])
        flv = work / "live.flv"
        make(flv, "-i", str(joined), "-c", "copy", "-flvflags", "no_duration_filesize")
        mpg.flv_fix_duration(flv)
        self.assertEqual(mpg.media_info(flv).duration, 3)  # the last picture stands at 3.96

    def test_pictures(self):
        for name, save in {
                "a.jpg": lambda to: mpg.image(self.video, to, height=120),
                "b.bmp": lambda to: mpg.image_p(self.video, to, 50, mpg.ImageFormat.BMP,
                                                height=120),
                "c.jpg": lambda to: mpg.image_jpg(self.video, to, 2, height=120)}.items():
            save(self.work / name)
            self.assertEqual(probe(self.work / name, "-show_entries", "stream=width,height"),
                             ["160,120"], name)
        bitmap = mpg.image_bmp(self.video, 1, height=120)
        self.assertEqual((len(bitmap), bitmap[:2]), (58 + 160 * 120 * 3, b"BM"))

    def test_progress_stops_and_raises(self):
        seen = []
        mpg.merge_av(self.video, self.audio, self.work / "p.mp4", on_progress=seen.append)
        self.assertEqual((seen, seen[-1]), (sorted(set(seen)), 100))

        stopped = self.work / "stopped.mp4"
        with self.assertRaises(mpg.Cancelled) as caught:
            mpg.merge_av(self.video, self.audio, stopped, on_progress=lambda percent: False)
        self.assertEqual((caught.exception.output, caught.exception.code), (stopped, 0))
        self.assertIn("video", self.kinds(stopped))

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
        folder = self.work / "no folder" / "x.mp4"
        cases = [
            (lambda: mpg.merge_av(missing, self.audio, out), FileNotFoundError,
             f"{missing}: No such file or directory"),
            (lambda: mpg.merge_av(self.video, self.work, out), IsADirectoryError,
             f"{self.work}: Is a directory"),
            (lambda: mpg.merge_av(self.video, self.audio, self.video), mpg.MpgError,
             f"{self.video}: the output is one of the inputs"),
            (lambda: mpg.merge_av(self.video, self.audio, folder), FileNotFoundError,
             f"{folder}: No such file or directory"),
            (lambda: mpg.merge_av(self.audio, self.audio, out), mpg.MpgError,
             f"{self.audio}: Video codec not found"),
            (lambda: mpg.merge_av(self.video, self.video, out), mpg.MpgError,
             f"{self.video}: Audio codec not found"),
            (lambda: mpg.media_info(text), mpg.MpgError, f"{text}: not a media file"),
            (lambda: mpg.media_info(missing), FileNotFoundError,
             f"{missing}: No such file or directory"),
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
