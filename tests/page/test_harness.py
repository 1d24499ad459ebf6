"""The harness itself: what a page must not do is noticed."""

import socket
import unittest

from PIL import Image, ImageDraw

from page_case import PageCase, Setting, different_points

START = """<!doctype html><html lang="en" data-ready="yes"><meta charset="utf-8"><title>page</title>
<body><p id="said">nothing</p><canvas id="plane" tabindex="0" width="300" height="100" style="background: #048"></canvas>
"""


class Harness(PageCase):
    def show_page(self, rest):
        path = self.folder / "page.html"
        path.write_text(START + rest, encoding="utf-8")
        return self.open(path)

    def test_quiet_page_asks_for_itself_alone(self):
        page = self.show_page("")

        self.assertEqual(page.take_complaints(), [])
        self.assertEqual(page.take_requests(), [page.url])

    def test_requests_and_errors_are_noticed(self):
        page = self.show_page('<script>fetch("http://example.org/told").catch(() => {}); missing()</script>')
        page.wait("performance.getEntriesByType('resource').length === 1")

        self.assertIn("http://example.org/told", page.take_requests())
        self.assertIn("missing is not defined", "\n".join(page.take_complaints()))
        self.page = None

    def test_violation_of_the_policy_is_noticed(self):
        policy = "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'\">"
        page = self.show_page(policy + '<img src="told.png" alt="">')

        self.assertIn("Content Security Policy", "\n".join(page.take_complaints()))
        self.page = None

    def test_clicks_wheel_and_keys_arrive(self):
        page = self.show_page(
            "<script>const said = document.getElementById('said'), seen = [];"
            "for (const name of ['click', 'wheel', 'keydown'])"
            " document.getElementById('plane').addEventListener(name,"
            "  e => { seen.push(name + ' ' + (e.key ?? e.deltaY ?? e.offsetX)); said.textContent = seen.join(', '); });"
            "</script>"
        )

        page.click("#plane", dx=-50)
        page.wheel("#plane", -120)
        page.keys("ARROW_LEFT", "x", place="#plane")

        page.wait("document.getElementById('said').textContent.split(',').length === 4")
        self.assertEqual(page.text("#said"), "click 100, wheel -120, keydown ArrowLeft, keydown x")

    def test_dark_and_print_are_told_to_the_page(self):
        self.show_page("")
        self.assertFalse(self.page.script("return matchMedia('(prefers-color-scheme: dark), print').matches"))

        path = self.folder / "page.html"
        self.open(path, dark=True)
        self.assertTrue(self.page.script("return matchMedia('(prefers-color-scheme: dark)').matches"))
        self.open(path, media="print")
        self.assertTrue(self.page.script("return matchMedia('print').matches"))

    def test_pictures_differ_by_a_moved_bar_and_not_by_smoothing(self):
        self.show_page("")
        seen = self.page.picture("#plane")
        paler = Image.eval(seen, lambda point: min(point + 10, 255))
        moved = seen.copy()
        ImageDraw.Draw(moved).rectangle((100, 20, 115, 80), fill="#e80")

        self.assertEqual(seen.size, (300, 100))
        self.assertLessEqual(different_points(seen, paler), 0)
        self.assertGreater(different_points(seen, moved), 0.02)

    def test_network_has_no_way_out(self):
        if not Setting.owns_network:
            self.skipTest("the machine allows no network of its own")

        self.assertEqual([name for _, name in socket.if_nameindex()], ["lo"])
