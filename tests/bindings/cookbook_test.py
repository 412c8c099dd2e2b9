"""Runs each of the cookbook's programs in each language. Arguments: their folder of C programs."""
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
COOKBOOK = ROOT / "examples/cookbook"
C_PROGRAMS = Path(sys.argv.pop(1))


def run(*command, **options):
    return subprocess.run(list(map(str, command)), capture_output=True, text=True, **options)


class Cookbook(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="mpg-cookbook-")
        self.addCleanup(folder.cleanup)
        os.chdir(folder.name)
        for name, source, options in (("v.mp4", "testsrc2=s=320x240:d=4", "-c:v libx264 -preset ultrafast -g 25"),
                                      ("a.m4a", "sine=d=4", "-c:a aac")):
            run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", source, *options.split(), name,
                check=True)

    def tasks(self, program):
        """Each program's arguments, the word that it says, and the streams of what it wrote."""
        for task, arguments, said, output, kinds in (
                ("info", "v.mp4", "H264 320 x 240", None, None),
                ("info", "none", None, None, None),
                ("join", "v.mp4 a.m4a joined", "wrote joined.mp4", "joined.mp4", "audio video"),
                ("segments", "two.ts joined.mp4 joined.mp4", "wrote two.ts", "two.ts",
                 "audio video"),
                ("segments", "none/two.ts joined.mp4", None, "joined.mp4", "audio video"),
                ("mp3", "a.m4a a.mp3", "100 %", "a.mp3", "audio"),
                ("mp3", "v.mp4 b.mp3", None, None, None),
                ("thumbnail", "v.mp4 v.jpg", "", "v.jpg", "video"),
                ("stop", "v.mp4 a.m4a half.mp4", "half.mp4 holds the first half", "half.mp4",
                 "audio video"),
                ("stop", "none a.m4a half.mp4", None, None, None)):
            with self.subTest(program=program(task), arguments=arguments):
                ran = run(*program(task), *arguments.split())
                self.assertEqual(ran.returncode, 0 if said is not None else 1, ran.stderr)
                self.assertIn(said or "", ran.stdout)
                self.assertTrue(said is not None or ran.stderr)
                if output is not None:
                    found = run("ffprobe", "-v", "error", "-of", "csv=p=0", "-show_entries",
                                "stream=codec_type", output).stdout.split()
                    self.assertEqual(" ".join(sorted(set(found))), kinds)
        self.assertFalse(Path("b.mp3").exists())
        seconds = float(run("ffprobe", "-v", "error", "-of", "csv=p=0", "-show_entries",
                            "format=duration", "half.mp4").stdout)
        self.assertAlmostEqual(seconds, 2, delta=0.5)

    def test_c(self):
        self.tasks(lambda task: [C_PROGRAMS / f"cookbook_{task}"])

    def test_python(self):
        os.environ["PYTHONPATH"] = str(ROOT / "bindings/python")
        self.tasks(lambda task: [sys.executable, COOKBOOK / f"python/{task}.py"])

    def test_csharp(self):
        os.environ["LD_LIBRARY_PATH"] = str(Path(os.environ["MPG_LIBRARY"]).parent)
        run("mcs", "-target:library", "-langversion:7", "-out:Mpg.dll",
            ROOT / "bindings/dotnet/Mpg.cs", check=True)
        for source in COOKBOOK.glob("csharp/*.cs"):
            run("mcs", "-langversion:7", "-r:Mpg.dll", f"-out:{source.stem}.exe", source,
                check=True)
        self.tasks(lambda task: ["mono", Path.cwd() / f"{task.capitalize()}.exe"])


if __name__ == "__main__":
    unittest.main()
