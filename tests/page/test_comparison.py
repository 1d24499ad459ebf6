"""The page of a comparison: the findings of --json, curves and devices."""

import json

from page_case import PageCase
from recorded import TICK, function, report


def shown(number):
    """As the page writes numbers."""
    if number is None:
        return "–"
    return f"{int(number):,}" if number == int(number) else None


class Comparison(PageCase):
    def fleet(self, name, *more):
        folder = self.folder / name
        fleet = ["--folder", folder, "--devices", "12", "--reports", "3000", *more]
        self.run_program(*fleet, program="generate_fleet")
        return folder

    def compare(self, a, b):
        """@return the path of the page, and the figures of --json."""
        path = self.folder / "page.html"
        return path, json.loads(self.run_program("compare", "--html", path, "--json", a, "--", b))

    def planted(self):
        b = self.fleet("b", "--seed", "2", "--first-device", "101", "--plant", "slower-function")
        return self.compare(self.fleet("a"), b)

    def test_findings_are_those_of_json(self):
        path, figures = self.planted()
        page = self.open(path)

        findings = figures["findings"]
        self.assertEqual(findings[0]["what"], "function duration")
        rows = page.table("Rank")[1:]
        self.assertEqual([row[:2] for row in rows], [[str(i), each["what"]] for i, each in enumerate(findings, 1)])
        for row, finding in zip(rows, findings):
            medians = [shown(finding[side]["median"]) for side in "ab"] + [shown(finding[side]["p99"]) for side in "ab"]
            for text, expected in zip(row[4:8], medians):
                self.assertIn(expected, (text, None))
            self.assertAlmostEqual(float(row[8]), finding["distance"], places=5)
            self.assertAlmostEqual(float(row[9]), finding["p"], places=5)
            self.assertEqual(row[11], f"{finding['devices_moved']} of {finding['devices']}")
        self.assertEqual(page.table("Side")[1:], [["a", "12", "24", "36,000"], ["b", "12", "24", "36,000"]])
        self.assertIn(f"{figures['compared']} measures compared, {figures['tested']} tested", page.text(".said"))

    def test_devices_are_dots_and_a_table(self):
        path, figures = self.planted()
        page = self.open(path)

        page.show("#finding-1 .dots")
        page.wait("document.querySelectorAll('#finding-1 .dot').length === 24")
        moved = figures["findings"][0]["devices_moved"]
        self.assertEqual(len(page.elements("#finding-1 path.dot.side-b")), moved)
        page.click("#finding-1 details > summary")
        page.wait("document.querySelectorAll('#finding-1 details tr').length === 25")
        rows = page.table("Device", "#finding-1")[1:]
        self.assertEqual({row[0] for row in rows if row[1] == "b"}, {f"device-0{number}" for number in range(101, 113)})

    def test_curves_zoom_and_look_as_kept(self):
        path, _ = self.planted()
        page = self.open(path)
        chart = "#finding-1 .chart"
        page.show(chart)
        page.wait(f"document.querySelector('{chart}').chart")
        span = f"const [low, high] = document.querySelector('{chart}').chart.xAxisRange(); return high - low"
        self.assert_picture("curves", chart)
        page.show("#finding-1 .dots")
        page.wait("document.querySelectorAll('#finding-1 .dot').length === 24")
        self.assert_picture("dots", "#finding-1 .dots")

        before = page.script(span)
        page.keys("+", place=chart)
        self.assertAlmostEqual(page.script(span), before / 2)
        page.keys("0")
        self.assertGreater(page.script(span), before)
        page.hover(chart)
        self.assertRegex(page.text("#finding-1 .chart-said"), r"^up to .*: a [0-9.]+ %, b [0-9.]+ %$")

    def side(self, name, function_name, duration):
        folder = self.folder / name
        folder.mkdir()
        for number in range(4):
            reports = [function(i, 100 * i, duration + i % 5, function_name) for i in range(50)]
            (folder / f"<b>{name}{number}<img src=x>.bin").write_bytes(b"".join(reports))
        return folder

    def test_hostile_names_are_shown_as_texts(self):
        path, figures = self.compare(self.side("a", b"<i>&</script>", 10), self.side("b", b"<i>&</script>", 500))
        page = self.open(path)

        self.assertGreater(len(figures["findings"]), 0)
        self.assertEqual(page.elements("main img, main b, main i"), [])
        self.assertIn("<i>&</script>", page.text("[data-kind=comparison]"))
        page.show("#finding-1 details > summary")
        page.click("#finding-1 details > summary")
        page.wait("document.querySelectorAll('#finding-1 details tr').length === 9")
        self.assertIn("<b>a0<img src=x>", {row[0] for row in page.table("Device", "#finding-1")})

    def test_sides_without_a_difference_say_so(self):
        for name in "ab":
            folder = self.folder / name
            folder.mkdir()
            (folder / "phone.bin").write_bytes(report(TICK, 1, 1))
        path, figures = self.compare(self.folder / "a", self.folder / "b")
        page = self.open(path)

        self.assertEqual(figures["findings"], [])
        self.assertIn("Nothing was found.", page.texts("[data-kind=comparison] p"))
