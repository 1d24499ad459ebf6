"""The time line of a report: what is drawn, chosen, found and left out."""

import json
import random
import re
import struct
import unittest

from page_case import EXAMPLES, PageCase

VIEW = ".time-line-view"
CANVAS = VIEW + " canvas"
HOSTILE = "</script><img src=x onerror=alert(1)>"

EVENT, FUNCTION, EXT_FUNCTION, SHORT_DATA, CONTEXT = 3, 5, 9, 2, 10


def report(number, time, *, category=0, component=0, event=0, type_id=EVENT, payload=b""):
    """48 bytes."""
    return struct.pack("<4BIQ32s", type_id, event, component, category, number, time, payload)


def ext_function(number, time, name, thread, duration):
    payload = struct.pack("<IIII16s", 0, thread, duration, 0, name)
    return report(number, time, component=4, type_id=EXT_FUNCTION, payload=payload)


def random_dump(seed, count, *, categories=12):
    """Reports of every layout, with numbers of all lengths; time advances, and now and then goes back a little."""
    numbers = random.Random(seed)
    time = 10**6
    made = []
    for number in range(count):
        time += numbers.randrange(200) - 10
        payload = bytearray(numbers.randbytes(32))
        for word in range(8):
            if numbers.random() < 0.5:
                payload[4 * word + 1 : 4 * word + 4] = bytes(3)
        if numbers.random() < 0.3:
            payload[0:2] = numbers.randrange(9).to_bytes(2, "little")  # versions of contexts
        if numbers.random() < 0.3:
            payload[16:32] = numbers.choice(["größe", "plain", "a\x07b", ""]).encode().ljust(16, b"\0")
        category = numbers.randrange(categories)
        made.append(
            report(number, time, category=category, component=numbers.randrange(6), event=numbers.randrange(4),
                   type_id=numbers.randrange(14), payload=bytes(payload))
        )  # fmt: skip
    return b"".join(made)


class TimeLine(PageCase):
    def show_dump(self, content, *options, name="dump.bin", **more):
        """Makes a page of a dump and opens it."""
        (self.folder / name).write_bytes(content)
        self.run_program("report", name, "-o", "report.html", *options)
        return self.open(self.folder / "report.html", **more)

    def view(self):
        """What is in view: begin and end on the axis, in microseconds; the reports; the place of the chosen one."""
        data = self.page.script(f"return {{...document.querySelector('{VIEW}').dataset}}")
        return float(data["begin"]), float(data["end"]), int(data["inView"]), int(data["selected"])

    def wait_until_drawn(self):
        self.page.script("return new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))")

    def tracks(self):
        """Top and height by name."""
        found = self.page.script(
            f"return [...document.querySelectorAll('{VIEW} .visually-hidden li')]"
            ".map(e => [e.textContent, Number(e.dataset.top), Number(e.dataset.height)])"
        )
        return {text: (top, height) for text, top, height in found}

    def click_at(self, axis, y):
        """Clicks on the canvas at a place on the axis, so many pixels below its top."""
        begin, end, _, _ = self.view()
        width, height = self.page.script(f"const c = document.querySelector('{CANVAS}'); return [c.offsetWidth, c.offsetHeight]")
        x = 180 + (axis - begin) / (end - begin) * (width - 180)
        self.page.click(CANVAS, dx=x - width / 2, dy=y - height / 2)
        self.wait_until_drawn()

    def fields(self):
        return dict(self.page.tables(".details")[0][1:])

    def decoded(self, name, *options):
        return [json.loads(line) for line in self.run_program("decode", name, "--format", "jsonl", *options).splitlines()]

    def all_fields(self):
        """Fields and bytes of every report of the first recording, by its index in the dump."""
        return self.page.script(
            "const data = JSON.parse(document.getElementById('contents').textContent).sections"
            ".find(section => section.kind === 'time-line').data;"
            "return timeLineData.read(data.recordings[0], data.layouts).then(recording => "
            " Array.from(recording.axis, (unused, place) => [recording.indexes[place], recording.fieldsOf(place),"
            "  recording.bytesOf(place) === undefined ? null : timeLineData.hexOf(recording.bytesOf(place))]))"
        )

    def assert_fields(self, fields, line):
        """That the fields of the page are those of a line of `decode --format jsonl`."""
        payload = line.pop("payload")
        raw = line.pop("raw", None)
        expected = {**line, **payload}
        seen = dict(fields)
        self.assertEqual(list(seen), list(expected), raw)
        for key, value in expected.items():
            if isinstance(value, str):
                self.assertEqual(seen[key], value, (key, raw))
            elif isinstance(value, int):
                self.assertEqual(seen[key], str(value), (key, raw))
            else:
                self.assertEqual(float(seen[key]), value, (key, raw))

    def assert_all_as_decoded(self, content, decoded):
        seen = sorted(self.all_fields())
        self.assertEqual([index for index, _, _ in seen], list(range(len(decoded))))
        for (index, fields, raw), line in zip(seen, decoded):
            self.assertEqual(raw, content[48 * index : 48 * index + 48].hex())
            self.assert_fields(fields, line)

    # ---- data

    def test_every_report_has_the_fields_that_decode_shows(self):
        content = random_dump(1, 6000)
        self.show_dump(content)
        self.assert_all_as_decoded(content, self.decoded("dump.bin"))

    def test_times_without_any_order_are_exact(self):
        numbers = random.Random(2)
        content = b"".join(report(numbers.getrandbits(32), numbers.getrandbits(64), category=2) for _ in range(500))
        self.show_dump(content)
        self.assert_all_as_decoded(content, self.decoded("dump.bin"))

    def test_reports_around_a_restart_have_their_own_times(self):
        times = ((50_000, 900_000), (50_001, 901_000), (1, 100), (2, 700), (1, 50))
        content = b"".join(report(number, time, category=6) for number, time in times)
        options = ["--time-sync", "qor=1s,calendar=2026-11-05 09:00:00", "--time-zone", "UTC"]
        self.show_dump(content, *options)
        decoded = self.decoded("dump.bin", *options)
        self.assertEqual(decoded[1]["timestamp"], 901_000)
        self.assert_all_as_decoded(content, decoded)

    def test_wall_times_beyond_the_axis_are_exact(self):
        content = report(1, 1_000_000, category=2) + report(2, 10**16, category=2)
        options = ["--time-sync", "qor=1s,calendar=2026-11-05 09:00:00", "--time-zone", "UTC"]
        self.show_dump(content, *options)
        decoded = self.decoded("dump.bin", *options)
        self.assertRegex(decoded[1]["wall_time"], "^2343-")
        self.assert_all_as_decoded(content, decoded)

    def test_names_and_wall_times_are_those_of_decode(self):
        names = '[category]\n77 = "probe"\n[field]\narg1 = { 5 = "five" }\n[subject]\n999 = "own"\n'
        (self.folder / "names.toml").write_text(names)
        content = report(1, 2_000_000, category=77, payload=struct.pack("<I", 5))
        content += report(2, 3_250_000, category=7, payload=struct.pack("<I", 999))
        options = ["--names", "names.toml", "--time-sync", "qor=1s,calendar=2026-11-05 09:00:00", "--time-zone",
                   "Asia/Kolkata", "--boot-time", "12345"]  # fmt: skip
        self.show_dump(content, *options)
        decoded = self.decoded("dump.bin", *options)
        self.assertIn("+05:30", decoded[0]["wall_time"])
        self.assertEqual(decoded[0]["payload"]["arg1_name"], "five")
        self.assertEqual(decoded[1]["payload"]["trace"], "own")
        self.assert_all_as_decoded(content, decoded)

    def test_much_is_thinned_and_said(self):
        content = random_dump(3, 230_000, categories=2)
        self.show_dump(content)
        self.assertLess((self.folder / "report.html").stat().st_size, 8_000_000)
        self.assertEqual(self.view()[2], 230_000)
        said = self.page.text(".thinned")
        kept, total = re.search(r"The payloads of ([\d,]+) of ([\d,]+) reports are in this page", said).groups()
        self.assertEqual(total, "230,000")
        seen = self.page.script(
            "const data = JSON.parse(document.getElementById('contents').textContent).sections"
            ".find(section => section.kind === 'time-line').data;"
            "return timeLineData.read(data.recordings[0], data.layouts).then(recording => { const found = [];"
            " for (let place = 0; place < recording.count; ++place) { const bytes = recording.bytesOf(place);"
            "  if (bytes !== undefined) found.push(recording.indexes[place] + ' ' + timeLineData.hexOf(bytes)); }"
            " return found; })"
        )
        self.assertEqual(len(seen), int(kept.replace(",", "")))
        self.assertGreater(len(seen), 50_000)
        for line in seen[:: len(seen) // 2000]:
            index, raw = line.split()
            self.assertEqual(raw, content[48 * int(index) : 48 * int(index) + 48].hex())

    # ---- acting

    def test_clicks_choose_what_is_under_them(self):
        content = ext_function(1, 5_000, b"inner", 3, 1_000) + ext_function(2, 9_000, b"outer", 3, 8_000)
        content += report(3, 20_000, category=6, component=1, event=4)
        page = self.show_dump(content)
        tracks = self.tracks()
        self.assertEqual(list(tracks), ["thread 3: 2", "uart uart1: 1"])
        top, _ = tracks["thread 3: 2"]
        # The axis begins with the first report, at 5,000.
        self.click_at(2_000, top + 8)
        self.assertEqual(page.text(".details h3"), "outer")
        self.assertIn("ends after 4 ms", page.text(".details"))  # what is drawn of 8: the rest was before the first report
        self.assertEqual(self.fields()["duration"], "8000")
        top, _ = tracks["uart uart1: 1"]
        self.click_at(15_000, top + 15)
        self.assertEqual(page.text(".details h3"), "uart1 packet")
        self.assertEqual(self.fields()["timestamp"], "20000")
        self.assertEqual(page.text(".details .bytes").replace(" ", ""), content[96:].hex())
        self.click_at(10_000, top + 15)
        self.assertEqual(self.fields()["timestamp"], "20000", "a click beside everything changes nothing")

    def test_keys_move_zoom_and_choose(self):
        content = b"".join(report(n, 1_000 * n, category=6) for n in range(100, 201))
        page = self.show_dump(content)
        begin, end, count, selected = self.view()
        self.assertEqual((count, selected), (101, -1))
        page.keys("+", place=CANVAS)
        self.wait_until_drawn()
        closer = self.view()
        self.assertAlmostEqual(closer[1] - closer[0], (end - begin) / 2, places=3)
        self.assertAlmostEqual(closer[1] + closer[0], end + begin, places=3)
        page.keys("ARROW_RIGHT", place=CANVAS)
        self.wait_until_drawn()
        self.assertAlmostEqual(self.view()[0] - closer[0], 0.2 * (closer[1] - closer[0]), places=3)
        page.keys("HOME", place=CANVAS)
        self.wait_until_drawn()
        self.assertEqual(self.view()[0], 0)
        page.keys("0", "ENTER", place=CANVAS)
        self.wait_until_drawn()
        self.assertEqual(self.view(), (begin, end, 101, 50))
        self.assertEqual(self.fields()["timestamp"], "150000")
        page.keys("n", "n", "p", place=CANVAS)
        self.assertEqual(self.fields()["timestamp"], "151000")

    def test_wheel_zooms_at_the_pointer_and_drag_moves(self):
        page = self.show_dump(b"".join(report(n, 1_000 * n, category=6) for n in range(1_000)))
        begin, end, _, _ = self.view()
        page.wheel(CANVAS, -600, modifiers=2)
        self.wait_until_drawn()
        zoomed = self.view()
        self.assertLess(zoomed[1] - zoomed[0], (end - begin) / 2)
        width = page.script(f"return document.querySelector('{CANVAS}').offsetWidth")
        part = (width / 2 - 180) / (width - 180)
        self.assertAlmostEqual(zoomed[0] + part * (zoomed[1] - zoomed[0]), begin + part * (end - begin), delta=(end - begin) / width)
        page.drag(CANVAS, 100)
        self.wait_until_drawn()
        moved = self.view()
        self.assertAlmostEqual(zoomed[0] - moved[0], 100 / (width - 180) * (zoomed[1] - zoomed[0]), delta=(zoomed[1] - zoomed[0]) / 200)
        self.assertEqual(moved[3], -1, "a drag is no click")
        page.click("button[title='Show the whole recording']")
        self.wait_until_drawn()
        self.assertEqual(self.view()[:2], (begin, end))

    def test_search_finds_functions_and_names(self):
        content = b"".join(ext_function(n, 1_000 * n, b"tick" if n % 10 else b"flush", 1, 10) for n in range(1, 51))
        page = self.show_dump(content + report(51, 60_000, category=6, component=2))
        page.keys("/", place=CANVAS)
        page.keys("F", "L", "U")
        self.assertEqual(page.text(".tools [role=status]"), "5 reports")
        page.keys("ENTER")
        self.assertEqual((page.text(".details h3"), self.fields()["timestamp"]), ("flush", "10000"))
        page.keys("ENTER")
        self.assertEqual(self.fields()["timestamp"], "20000")
        page.click("button[title='Previous match']")
        self.assertEqual(self.fields()["timestamp"], "10000")
        page.script("const s = document.querySelector('input[type=search]'); s.value = 'uart2'; s.dispatchEvent(new Event('input'))")
        self.assertEqual(page.text(".tools [role=status]"), "1 report")

    # ---- recordings

    def test_gaps_restarts_wakes_and_the_button_have_tracks(self):
        press = struct.pack("<2x5B3B", 0, 1, 1, 0, 1, 0, 0, 0)
        content = report(5_000, 9_000_000, category=10, event=2, payload=struct.pack("<I", 7))
        content += report(5_010, 9_001_000, category=7, event=2, type_id=SHORT_DATA, payload=press)
        content += report(1, 100, category=10, event=2) + report(2, 200, category=10, event=2)
        page = self.show_dump(content)
        self.assertEqual(list(self.tracks()), ["gaps and restarts: 2", "wakes: 3", "button, input-packet: 1"])
        self.assertEqual(self.view()[2], 4)
        page.keys("p", "p", "p", "p", place=CANVAS)
        page.keys("HOME", "ENTER", place=CANVAS)
        drawn = page.picture(CANVAS)
        self.assertGreater(len(drawn.getcolors(1 << 20)), 4)

    def test_recordings_are_chosen(self):
        (self.folder / "a.bin").write_bytes(report(1, 10, category=6))
        (self.folder / "b.bin").write_bytes(report(1, 10, category=6) + report(2, 20, category=6))
        self.run_program("report", "a.bin", "b.bin", "-o", "report.html")
        page = self.open(self.folder / "report.html")
        self.assertEqual(page.texts("select[aria-label=Recording] option"), ["a: a.bin, 1 reports", "b: b.bin, 2 reports"])
        self.assertEqual(self.view()[2], 1)
        page.script("const s = document.querySelector('select[aria-label=Recording]'); s.value = 1; s.dispatchEvent(new Event('change'))")
        page.wait(f"document.querySelector('{VIEW}').dataset.inView === '2'")

    def test_hostile_names_are_text(self):
        content = ext_function(1, 1_000, HOSTILE.encode()[:16], 1, 500) + ext_function(2, 2_000, b"\xff\xfe</script>", 1, 500)
        names = f"[component.uart]\n9 = {json.dumps(HOSTILE)}\n"
        (self.folder / "names.toml").write_text(names)
        name = "<img src=x onerror=alert(2)>.bin"
        page = self.show_dump(content + report(3, 3_000, category=6, component=9), "--names", "names.toml", name=name)
        self.assertEqual(page.elements("img"), [])
        self.assertIn(f"uart {HOSTILE}: 1", list(self.tracks()))
        page.keys("n", "p", "p", "p", place=CANVAS)
        seen = {page.text(".details h3")}
        for _ in range(2):
            page.keys("n", place=CANVAS)
            seen.add(page.text(".details h3"))
        self.assertIn(HOSTILE[:16], seen)
        self.assertIn("fffe3c2f7363726970743e", seen)

    def test_empty_recording_is_said(self):
        page = self.show_dump(b"")
        self.assertIn("There are no reports.", page.text("[data-kind=time-line]"))

    def test_one_report_is_shown(self):
        page = self.show_dump(report(1, 2**64 - 1, category=255, type_id=255))
        page.keys("ENTER", place=CANVAS)
        self.assertEqual(self.fields()["timestamp"], str(2**64 - 1))
        self.assertEqual(self.fields()["raw"], "00" * 32)

    # ---- looks

    def test_it_looks_as_kept(self):
        inputs = [EXAMPLES / "reports" / name for name in ("reset.bin", "fw.bin")]
        for name, more in (("time-line-light", {}), ("time-line-dark", {"dark": True})):
            with self.subTest(name):
                self.run_program("report", *inputs, "-o", "report.html")
                self.open(self.folder / "report.html", **more)
                self.wait_until_drawn()
                self.assert_picture(name, CANVAS)

    def test_print_is_light_also_in_the_dark(self):
        page = self.show_dump(b"".join(report(n, 1_000 * n, category=6) for n in range(100)), dark=True)
        dark = page.picture(CANVAS).getpixel((2, 2))
        page.script("window.dispatchEvent(new Event('beforeprint'))")
        self.assertGreater(min(page.picture(CANVAS).getpixel((2, 2))), 200)
        page.script("window.dispatchEvent(new Event('afterprint'))")
        self.assertEqual(page.picture(CANVAS).getpixel((2, 2)), dark)


if __name__ == "__main__":
    unittest.main()
