"""The sample host as a program: what it says and what it leaves. Arguments: its path."""
import json
import os
import sys
import unittest
from pathlib import Path

from media import InFolderOfMedia, ffmpeg, probe, run

HOST = os.path.abspath(sys.argv.pop(1))


class Host(InFolderOfMedia):
    seconds = 8

    def test_errors_name_the_file_and_the_reason(self):
        Path("text.mp4").write_text("no media")
        for command, reason in (
                ("join nofile a.m4a x.mp4", "join: nofile: No such file or directory"),
                ("join v.mp4 . x.mp4", "join: .: is a folder"),
                ("join v.mp4 a.m4a v.mp4", "joining: v.mp4: the output is one of the inputs"),
                ("join v.mp4 a.m4a no/x.mp4", "joining: no/x.mp4: its folder doesn't exist"),
                ("join a.m4a a.m4a x.mp4", "join: a.m4a: Video codec not found"),
                ("join v.mp4 v.mp4 x.mp4", "join: v.mp4: Audio codec not found"),
                ("concat x.ts none1 none2", "joining: none1: No such file or directory"),
                ("trim a.m4a x.mp4 1 2", "trim: a.m4a: Video stream not found"),
                ("thumbnail nofile x.jpg", "thumbnail: nofile: No such file or directory"),
                ("info text.mp4", "text.mp4: not a media file")):
            ran = run(HOST, *command.split())
            self.assertEqual((ran.returncode, ran.stderr.strip().split("\n")[-1]), (1, reason))

    def test_information_as_json(self):
        info = json.loads(run(HOST, "info", "v.mp4", "--json").stdout)
        self.assertEqual((info["file"], info["duration"], info["videoCodec"], info["frameRate"],
                          info["audioStreams"]), ("v.mp4", 8, "H264", 25, 0))
        os.link("a.m4a", 'a "\\ \t.m4a')
        info = json.loads(run(HOST, "info", 'a "\\ \t.m4a', "--json").stdout)
        self.assertEqual((info["file"], info["audioCodec"]), ('a "\\ \t.m4a', "AAC"))

    def test_the_format_follows_the_name(self):
        run(HOST, "join", "v.mp4", "a.m4a", "av.mp4")
        run(HOST, "transcode", "av.mp4", "av.ts")
        self.assertEqual(probe("av.ts", "format=format_name"), ["mpegts"])

    def test_contact_sheet(self):
        for name in ("sheet.jpg", "sheet.bmp"):
            ran = run(HOST, "thumbnail", "v.mp4", name, "--sheet", "4x3")
            self.assertEqual(ran.stdout.split()[:4], ["0:00:00", "0:00:01", "0:00:01", "0:00:02"])
            self.assertEqual(probe(name, "stream=width,height"), ["640,360"])
        # Each cell is the picture of its time.
        run(HOST, "thumbnail", "v.mp4", "one.bmp", "--second", "7", "--height", "120")
        ffmpeg("-i", "sheet.bmp", "-vf", "crop=160:120:480:240", "cell.bmp")
        same = run("ffmpeg", "-i", "cell.bmp", "-i", "one.bmp", "-lavfi", "psnr", "-f", "null", "-")
        self.assertIn("average:inf", same.stderr)
        self.assertEqual([], [name for name in os.listdir() if ".part" in name])
        self.assertEqual(2, run(HOST, "thumbnail", "v.mp4", "x.jpg", "--sheet", "0x3").returncode)

    def test_a_watched_folder(self):
        folder = Path("downloads")
        folder.mkdir()
        for target, source in (("film.video.mp4", "v.mp4"), ("film.audio.m4a", "a.m4a"),
                               ("s1.ts", "v.mp4"), ("s2.ts", "v.mp4"), ("lone.video.mp4", "v.mp4"),
                               ("bad.audio.m4a", "a.m4a")):
            os.link(source, folder / target)
        (folder / "bad.video.mp4").write_text("no media")
        (folder / "show.segments").write_text("s1.ts\r\ns2.ts\n")
        ran = run(HOST, "watch", str(folder), "--once", "--delete-sources")
        self.assertEqual(ran.returncode, 1)
        self.assertIn("bad.video.mp4: Video codec not found", ran.stderr)
        self.assertEqual(sorted(os.listdir(folder)), [
            "bad.audio.m4a", "bad.video.mp4", "film.jpg", "film.mp4", "lone.video.mp4",
            "show.jpg", "show.ts"])
        self.assertEqual(probe(folder / "film.mp4", "stream=codec_type"), ["video", "audio"])
        self.assertAlmostEqual(float(probe(folder / "show.ts", "format=duration")[0]), 16, delta=.2)


if __name__ == "__main__":
    unittest.main()
