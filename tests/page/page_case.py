"""What the tests of pages have in common."""

import json
import pathlib
import shutil
import subprocess
import unittest

import numpy
from PIL import Image

from browser import Browser

KEPT = pathlib.Path(__file__).resolve().parent / "pictures"
EXAMPLES = KEPT.parents[2] / "examples"

# Two pictures are alike when, reduced to a quarter, at most this share of their points differs by more than this in one of
# the colours. Letters are drawn a little differently from one machine to the next; a line or a bar elsewhere is not missed.
MOST_DIFFERENT_POINTS = 0.01
MOST_DIFFERENCE = 40


class Setting:
    """Of all tests of a run; check_pages.py fills it."""

    programs = None  # the folder with qorstat
    folder = None  # for what is made
    renews = False  # whether pictures are kept anew
    owns_network = False  # one without a way out
    browser = None

    @classmethod
    def the_browser(cls):
        if cls.browser is None:
            cls.browser = Browser()
        return cls.browser


def different_points(picture, other):
    """The share of points, of pictures of the same size, that differ by more than is allowed."""
    one, two = (numpy.asarray(image.convert("RGB").reduce(4), dtype=int) for image in (picture, other))
    return float((abs(one - two).max(axis=2) > MOST_DIFFERENCE).mean())


class PageCase(unittest.TestCase):
    """Tests of a page. Whatever a test does, a page must not complain in the console and must ask for nothing but itself."""

    maxDiff = None

    def setUp(self):
        self.folder = Setting.folder / self.id()
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        self.page = None

    def tearDown(self):
        self.check_silence()

    def check_silence(self):
        if self.page is not None:
            self.assertEqual(self.page.take_complaints(), [])
            self.assertEqual(self.page.take_requests(), [self.page.url])

    def run_program(self, *arguments, program="qorstat", code=0):
        """@return what the program writes on standard output, as text."""
        command = [Setting.programs / program, *arguments]
        ended = subprocess.run(command, capture_output=True, text=True, cwd=self.folder, check=False)
        self.assertEqual(ended.returncode, code, ended.stderr)
        return ended.stdout

    def report(self, *inputs):
        """Makes a page of recordings. @return its path and the figures of --json."""
        path = self.folder / "report.html"
        self.run_program("report", *inputs, "-o", path)
        return path, json.loads(self.run_program("report", *inputs, "--json"))

    def open(self, path, **more):
        """Opens a page, and waits until it is there."""
        self.check_silence()
        self.page = Setting.the_browser().open(path, **more)
        self.page.wait("document.documentElement.dataset.ready === 'yes'")
        return self.page

    def assert_picture(self, name, place):
        """That the place looks like the kept picture of that name. `scripts/check-pages --renew` keeps it anew."""
        seen, kept = self.page.picture(place), KEPT / f"{name}.png"
        if Setting.renews:
            seen.quantize(64).save(kept, optimize=True)
        self.assertTrue(kept.exists(), f"{kept} is not there; scripts/check-pages --renew makes it")
        expected = Image.open(kept).convert("RGB")
        seen.save(self.folder / f"{name}.png")
        self.assertEqual(seen.size, expected.size, f"size of {self.folder / name}.png")
        share = different_points(seen, expected)
        self.assertLessEqual(share, MOST_DIFFERENT_POINTS, f"points of {self.folder / name}.png unlike {kept}")
