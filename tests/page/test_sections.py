"""The sections of summary, captures and stores: figures as they are recorded, and nothing in a text that acts."""

from collections import Counter

from page_case import EXAMPLES, PageCase
from recorded import HOSTILE, TICK, function, nearest_rank, report, wake, write_store


def grouped(number):
    """As the page writes numbers."""
    return f"{int(number):,}" if number == int(number) else str(number)


class Summary(PageCase):
    def write_dump(self, name, reports):
        path = self.folder / name
        path.write_bytes(b"".join(reports))
        return path

    def test_figures_are_those_that_were_recorded(self):
        durations = [(7919 * i) % 1000 for i in range(300)]
        reports = [function(i, 1000 * i, duration, 9001 if i % 3 else b"filter") for i, duration in enumerate(durations)]
        reports += [wake(305, 400_000, 4), wake(306, 400_001, 4), wake(307, 400_002, 2, is_event=True)]  # 5 are missing
        reports += [report(TICK, 0, 10), report(TICK, 1, 60)]  # after a restart
        one = self.write_dump("one.bin", reports)
        two = self.write_dump("two.bin", [report(TICK, 7, 5), b"trailing"])
        path, figures = self.report(one, two)

        summary = figures["summary"]
        first, second = summary["devices"]
        expected = {"device": "one", "recordings": 1, "damaged": 0, "reports": 305, "earliest": 0, "latest": 400_002}
        expected |= {"time": 400_002 + 50, "gaps": 2, "missing": 5, "restarts": 1, "trailing_bytes": 0, "wakes": 3}
        self.assertEqual(first, expected)
        self.assertEqual((second["device"], second["reports"], second["trailing_bytes"]), ("two", 1, 8))
        by_id = Counter(duration for i, duration in enumerate(durations) if i % 3)
        row = next(each for each in summary["functions"] if each.get("function_id") == 9001)
        self.assertEqual([row["count"], row["longest"]], [200, max(by_id)])
        self.assertEqual([row["median"], row["p99"]], [nearest_rank(by_id, 50), nearest_rank(by_id, 99)])
        self.assertEqual(sum(bin["count"] for bin in row["histogram"]), 200)
        for bin in row["histogram"]:
            inside = sum(count for duration, count in by_id.items() if bin["from"] <= duration < bin["below"])
            self.assertEqual(bin["count"], inside)
        self.assertEqual(
            [(each["kind"], each["reason"], each["count"]) for each in summary["wakes"]],
            [("wake request", 4, 2), ("wake event", 2, 1)],
        )
        self.assertEqual([each["missing"] for each in summary["gaps"]], [5, 0])
        self.assertEqual([each["offset"] for each in summary["restarts"]], [303 * 48])

        page = self.open(path)
        shown = dict(zip(page.texts(".figures dt"), page.texts(".figures dd")))
        self.assertEqual(shown["reports"], "306")
        self.assertEqual(shown["missing reports"], "5")
        self.assertEqual(shown["restarts"], "1")
        devices = page.table("Device")
        self.assertEqual(devices[1][:3], ["one", "1", "305"])
        self.assertEqual(devices[1][5:], ["2", "5", "1", "0", "3"])
        functions = [row[:5] for row in page.table("Function")[1:]]
        self.assertEqual(
            functions,
            [
                [each["function"], *(grouped(each[key]) for key in ("count", "median", "p99", "longest"))]
                for each in summary["functions"]
            ],
        )
        events = page.table("Category")[1:]
        self.assertEqual(sum(int(row[3]) for row in events), 306)

    def test_hostile_names_are_shown_as_texts(self):
        dump = self.write_dump("dump.bin", [function(1, 10, 5, b"<b>&</script>"), function(2, 20, 5, b"<!--<script>")])
        store = self.folder / "store.db"
        write_store(store, {HOSTILE: 3}, {HOSTILE + ".d": {1.0: 2}})
        path = self.folder / "hostile.html"
        self.run_program("report", dump, store, "--device", HOSTILE, "-o", path)
        page = self.open(path)

        self.assertEqual(page.elements("img, main b"), [])
        self.assertEqual(len(page.elements("script")), 2 + len(page.elements("script[type='application/octet-stream']")))
        self.assertEqual({row[0] for row in page.table("Function")[1:]}, {"<b>&</script>", "<!--<script>"})
        self.assertEqual(page.table("Device")[1][0], HOSTILE)
        self.assertEqual(page.table("Key")[1][:2], [HOSTILE, "3"])
        self.assertIn(HOSTILE + ".d", page.texts(".distribution h4"))

    def test_empty_recordings_make_a_page_that_says_so(self):
        dump = self.write_dump("empty.bin", [])
        store = self.folder / "empty.db"
        write_store(store, {}, {})
        path, figures = self.report(dump, store)
        page = self.open(path)

        self.assertEqual(figures["summary"]["functions"], [])
        self.assertIn("There are no reports in these recordings.", page.texts("[data-kind=summary] p"))
        self.assertIn("The store is empty.", page.texts("[data-kind=stores] p"))

    def test_pages_have_what_readers_and_keys_need(self):
        store = self.folder / "store.db"
        write_store(store, {}, {"key": {1.0: 2, 3.0: 4}})
        dump = self.write_dump("dump.bin", [function(1, 10, 5, 7)])
        page = self.open(self.report(dump, store)[0])

        self.assertEqual(page.script("return document.documentElement.lang"), "en")
        silent = "section:not([aria-labelledby]), th:not([scope]), svg:not([aria-label]):not([aria-hidden])"
        self.assertEqual(page.elements(silent), [])
        labels = page.script("return [...document.querySelectorAll('[role=img]')].map(e => e.getAttribute('aria-label'))")
        self.assertGreater(len(labels), 1)
        self.assertTrue(all(labels))
        page.keys("TAB")
        self.assertEqual(page.script("return document.activeElement.tagName"), "A")


class Stores(PageCase):
    def test_statistics_are_those_of_the_values_and_of_metrics(self):
        many = {float(value): 1 + value % 7 for value in range(0, 3000, 3)}
        few = {1.5: 10, 2.5: 1, 100.0: 1}
        one, two = self.folder / "one.db", self.folder / "two.db"
        write_store(one, {"com.ondre.zel.button.click.count": 2**60, "n": -5}, {"many": many, "few": few})
        write_store(two, {"n": 7}, {"few": few})
        path = self.folder / "stores.html"
        self.run_program("report", one, two, "--device", "phone", "-o", path)
        page = self.open(path)

        scalars = {row[0]: row[1] for row in page.table("Key", "[data-kind=stores]")[1:]}
        self.assertEqual(scalars, {"com.ondre.zel.button.click.count": str(2**60), "n": "2"})
        both = {value: 2 * count for value, count in few.items()}
        for key, counts in {"many": many, "few": both}.items():
            heads, row = page.table("count", f"[data-key={key}]")
            total = sum(counts.values())
            mean = sum(value * count for value, count in counts.items()) / total
            self.assertEqual(heads, ["count", "min", "mean", "p50", "p90", "p99", "max"])
            percentiles = [grouped(nearest_rank(counts, percent)) for percent in (50, 90, 99)]
            self.assertEqual(row[:2] + row[3:], [grouped(total), grouped(min(counts)), *percentiles, grouped(max(counts))])
            self.assertAlmostEqual(float(row[2].replace(",", "")), mean, places=6)

        bars = page.table("Value", "[data-key=many]")[1:]
        self.assertEqual(len(bars), 64)
        self.assertEqual(sum(int(row[1]) for row in bars), sum(many.values()))
        self.assertEqual(page.table("Value", "[data-key=few]")[1:], [["1.5", "20"], ["2.5", "2"], ["100", "2"]])

    def test_values_of_any_size_are_drawn(self):
        greatest = 1.7976931348623157e308
        steps = {greatest / 50 * step: 1 for step in range(-50, 51)}
        small_steps = {value / 4: 1 for value in steps}
        infinite = {-float("inf"): 1, float("inf"): 2}
        distributions = {
            "both-ends": {-greatest: 1, greatest: 2, **infinite},
            "one": {greatest: 3},
            "tiny": {5e-324: 1, 1e-323: 1},
            "many": steps,
            "wide": small_steps,
            "infinite": infinite,
        }
        store = self.folder / "store.db"
        write_store(store, {}, distributions)
        page = self.open(self.report(store)[0])

        self.assertIn("No value is finite.", page.texts("[data-key=infinite] p"))
        self.assertEqual(sum(int(row[1]) for row in page.table("Value", "[data-key=many]")[1:]), len(steps))
        for key in ("both-ends", "one", "many"):
            self.assertEqual(len(page.elements(f"[data-key={key}] .chart-missing")), 1, key)
        for key in ("tiny", "wide"):
            chart = f"[data-key={key}] .chart"
            page.show(chart)
            page.wait(f"document.querySelector('{chart}').dataset.drawn")
            low, high = page.script(f"return document.querySelector('{chart}').chart.xAxisRange()")
            self.assertLess(low, high, key)
            self.assertLess(high - low, float("inf"), key)

    def test_of_many_devices_the_sum_is_shown(self):
        for count in (50, 51):
            write_store(self.folder / f"d{count}.db", {"n": count}, {})
        for number in range(49):
            write_store(self.folder / f"e{number}.db", {"n": 1}, {"few": {1.0: 2}})
        stores = sorted(self.folder.glob("*.db"))
        path, figures = self.report(*stores[1:])
        self.assertEqual((figures["stores"]["is_sum_of_all"], len(figures["stores"]["devices"])), (False, 50))
        path, figures = self.report(*stores)
        self.assertEqual((figures["stores"]["is_sum_of_all"], figures["stores"]["device_count"]), (True, 51))
        page = self.open(path)
        self.assertIn("The sum of the stores of 51 devices", page.text("[data-kind=stores]"))
        self.assertEqual(page.table("Key", "[data-kind=stores]")[1][:2], ["n", "150"])

    def test_histograms_zoom_by_keys_and_by_dragging(self):
        store = self.folder / "store.db"
        write_store(store, {}, {"key": {float(value): 1 for value in range(1000)}})
        page = self.open(self.report(store)[0])
        chart = "[data-key=key] .chart"
        page.show(chart)
        page.wait(f"document.querySelector('{chart}').chart")
        span = f"const [low, high] = document.querySelector('{chart}').chart.xAxisRange(); return high - low"
        everything = page.script(span)
        self.assertGreater(everything, 900)

        page.keys("+", place=chart)
        self.assertAlmostEqual(page.script(span), everything / 2)
        page.keys("0")
        self.assertAlmostEqual(page.script(span), everything)
        page.drag(chart, 100)
        self.assertLess(page.script(span), everything / 3)
        page.hover(chart)
        self.assertRegex(page.text("[data-key=key] .chart-said"), r"^[0-9.]+ to [0-9.]+: 1[56]$")

    def test_histograms_look_as_kept(self):
        store = self.folder / "store.db"
        write_store(store, {}, {"key": {float(value): 1 + (value - 20) ** 2 for value in range(40)}})
        path, _ = self.report(store)
        for scheme in ("light", "dark"):
            page = self.open(path, dark=scheme == "dark")
            page.show("[data-key=key] .chart")
            page.wait("document.querySelector('[data-key=key] .chart').dataset.drawn")
            self.assert_picture(f"histogram-{scheme}", "[data-key=key] .chart")


class Captures(PageCase):
    def capture(self):
        folder = self.folder / "capture"
        self.run_program("capture", EXAMPLES / "phone.toml", "--kind", "request", "-o", folder)
        return folder

    def test_press_assets_sensors_and_lines_are_those_of_the_records(self):
        folder = self.capture()
        path, figures = self.report(folder)
        device = figures["captures"]["devices"][0]
        shown = {}
        for name in ("*SSHB Statistics*", "*SSHB assets*", "*SensorInfo*", "*Profile*"):
            shown[name] = [self.run_program("show", file) for file in sorted(folder.glob(name))]
        page = self.open(path)

        # The text of `show` has a line for each time stamp and latency: its name, then its number.
        statistics = shown["*SSHB Statistics*"][0]
        for stamp in device["latencies"]["stamps"]:
            self.assertRegex(statistics, rf"{stamp['name']} +{stamp['ticks']} +\+{stamp['offset']} ")
        self.assertEqual(len(device["latencies"]["stamps"]), 13)
        texts = page.texts(".press text")
        for stamp in device["latencies"]["stamps"]:
            self.assertEqual(texts[texts.index(stamp["name"]) + 1], "+" + grouped(stamp["offset"]))
        latencies = page.table("Latency of the last press")
        self.assertEqual(latencies[1], ["finger detect to button down", "60,300", "58,400", "71,900", "within"])
        self.assertEqual(len(page.elements(".extremes-of-latencies .mark")), 7)

        assets = page.table("Event")
        self.assertEqual(assets[0], ["Event", "Slow", "Medium", "Fast"])
        self.assertEqual(assets[2][2], "on, slot 2, gain 0.65625, 0 to 120")
        self.assertEqual(assets[8][3], "off, slot 3, gain 0.1875, 0 to 80")
        sensors = page.table("Setting")
        self.assertEqual(len(sensors[0]), 5)
        models = next(row for row in sensors if row[0] == "model")
        for text, model in zip(shown["*SensorInfo*"], models[1:]):
            self.assertIn(model, text)

        lines = "".join(text.split("\n", 1)[1] for text in shown["*Profile*"]).splitlines()
        self.assertEqual((device["lines"], device["lines_shown"]), (len(lines), 500))
        page.click(".log > summary")
        page.wait("document.querySelector('.lines').textContent !== ''")
        self.assertEqual(page.script("return document.querySelector('.lines').textContent").splitlines(), lines[-500:])

    def test_press_looks_as_kept(self):
        page = self.open(self.report(self.capture())[0])

        self.assert_picture("press", ".press")
        self.assert_picture("extremes", ".extremes-of-latencies")

    def test_hostile_titles_and_settings_are_shown_as_texts(self):
        folder = self.capture()
        for file in folder.glob("*SensorInfo*"):
            content = file.read_bytes()
            file.write_bytes(content.replace(b"Kalvis", b"<i>x<b").replace(b"SensorInfo", b"<i>Sensor>"))
        for file in folder.glob("*Profile 0*"):
            file.write_bytes(file.read_bytes().replace(b"filter_update", b"<img/></pre>!"))
        page = self.open(self.report(folder)[0])

        self.assertEqual(page.elements("main b, main i, main img"), [])
        self.assertEqual(page.texts("[data-kind=captures] h4").count("<i>Sensor>"), 4)
        self.assertIn(["manufacturer", "<i>x<b"], page.table("Key"))
