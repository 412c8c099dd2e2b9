"""Where the tests of the bindings and of the examples begin."""
import os
import subprocess
import tempfile
import unittest


def run(*command, **options):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          **options)


def ffmpeg(*arguments):
    run("ffmpeg", "-v", "error", "-y", *arguments, check=True)


def probe(path, entries):
    return run("ffprobe", "-v", "error", "-of", "csv=p=0", "-show_entries", entries,
               path).stdout.split()


class InFolderOfMedia(unittest.TestCase):
    """Each test stands in a folder of its own, with v.mp4 and a.m4a of as many seconds."""
    seconds = 4

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="mpg ü ")
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, "/")
        os.chdir(folder.name)
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=320x240", "-t", self.seconds, "-c:v", "libx264",
               "-preset", "ultrafast", "-g", "25", "v.mp4")
        ffmpeg("-f", "lavfi", "-i", "sine", "-t", self.seconds, "-c:a", "aac", "a.m4a")
