"""Runs each of the cookbook's programs in each language. Arguments: their folder of C programs."""
import os
import sys
import unittest
from pathlib import Path

from media import InFolderOfMedia, probe, run

ROOT = Path(__file__).resolve().parents[2]
COOKBOOK = ROOT / "examples/cookbook"
C_PROGRAMS = Path(sys.argv.pop(1))


class Cookbook(InFolderOfMedia):
    def tasks(self, program):
        """Each program's arguments, the word that it says, and the streams of what it wrote."""
        for task, arguments, said, output, kinds in (
                ("info", "v.mp4", "H264 320 x 240", None, None),
                ("info", "none", None, None, None),
                ("join", "v.mp4 a.m4a joined", "wrote joined.mp4", "joined.mp4", "video audio"),
                ("segments", "two.ts joined.mp4 joined.mp4", "wrote two.ts", "two.ts",
                 "video audio"),
                ("segments", "none/two.ts joined.mp4", None, None, None),
                ("mp3", "a.m4a a.mp3", "100 %", "a.mp3", "audio"),
                ("mp3", "v.mp4 b.mp3", None, None, None),
                ("thumbnail", "v.mp4 v.jpg", "", "v.jpg", "video"),
                ("stop", "v.mp4 a.m4a half.mp4", "half.mp4 holds the first half", "half.mp4",
                 "video audio"),
                ("stop", "none a.m4a half.mp4", None, None, None)):
            with self.subTest(program=program(task), arguments=arguments):
                ran = run(*program(task), *arguments.split())
                self.assertEqual(ran.returncode, 0 if said is not None else 1, ran.stderr)
                self.assertIn(said or "", ran.stdout)
                self.assertTrue(said is not None or ran.stderr)
                if output is not None:
                    found = dict.fromkeys(probe(output, "stream=codec_type"))
                    self.assertEqual(" ".join(found), kinds)
        self.assertFalse(Path("b.mp3").exists())
        self.assertAlmostEqual(float(probe("half.mp4", "format=duration")[0]), 2, delta=0.5)

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
