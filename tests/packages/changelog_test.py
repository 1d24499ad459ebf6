#!/usr/bin/env python3
"""Tests that scripts/debian-changelog says what docs/changelog.md says, in the form that Debian's tools read.

    changelog_test.py SOURCE_FOLDER
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path()
COMMIT = "0123456789abcdef0123456789abcdef01234567"
SECONDS = "1769795999"  # 2026-01-30 17:59:59 UTC, a Friday

PAGE = """# Changelog

Words before the first version.

## 0.2.0, not released

- One.
- Two, over
  two lines, and so long that it does not fit a line of Debian's changelog even if it tries to do so.

## 0.1.0, 2026-01-02

- The first.
"""


def run(page=None, version=None, arguments=(COMMIT, SECONDS)):
    """Runs the script in a tree with its inputs, some of them replaced. @return exit code, output, message."""
    with tempfile.TemporaryDirectory() as folder:
        tree = pathlib.Path(folder)
        for name in ("scripts/debian-changelog", "docs/changelog.md", "debian/control", "CMakeLists.txt"):
            (tree / name).parent.mkdir(exist_ok=True)
            shutil.copy(SOURCE / name, tree / name)
        if page is not None:
            (tree / "docs/changelog.md").write_text(page, encoding="utf-8")
        if version is not None:
            (tree / "CMakeLists.txt").write_text(f"project(OndreQORHIDStatistics VERSION {version} LANGUAGES C CXX)\n")
        ended = subprocess.run(
            [tree / "scripts/debian-changelog", *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False
        )
        return ended.returncode, ended.stdout, ended.stderr


class Changelog(unittest.TestCase):
    def test_every_word_of_the_page_is_there(self):
        code, output, message = run()
        self.assertEqual((code, message), (0, ""))
        page = (SOURCE / "docs/changelog.md").read_text(encoding="utf-8")
        page = page[page.index("\n## ") :]
        expected = [word for line in page.splitlines() if not line.startswith("##") for word in line.split() if word != "-"]
        lines = [line for line in output.splitlines() if line.startswith("  ")]
        self.assertEqual([word for line in lines for word in line.split() if word != "*"], expected)
        self.assertEqual(output.count("\n  * "), page.count("\n- "))

    def test_has_the_form_of_debian(self):
        code, output, _ = run(PAGE, "0.2.0")
        self.assertEqual(code, 0)
        maintainer = re.search(r"^Maintainer: (.*)$", (SOURCE / "debian/control").read_text(encoding="utf-8"), re.M)[1]
        self.assertEqual(
            output,
            f"""qorstat (0.2.0~git20260130175959.0123456) UNRELEASED; urgency=medium

  * One.
  * Two, over two lines, and so long that it does not fit a line of Debian's
    changelog even if it tries to do so.

 -- {maintainer}  Fri, 30 Jan 2026 17:59:59 +0000

qorstat (0.1.0) bookworm; urgency=medium

  * The first.

 -- {maintainer}  Fri, 02 Jan 2026 12:00:00 +0000
""",
        )

    def test_refuses_another_version_than_that_of_the_program(self):
        code, output, message = run(PAGE, "0.3.0")
        self.assertEqual((code, output), (1, ""))
        self.assertIn("docs/changelog.md begins with version 0.2.0, CMakeLists.txt says 0.3.0", message)

    def test_refuses_a_page_of_another_form(self):
        for old, new, place in (
            ("## 0.1.0, 2026-01-02", "## 0.1.0", "docs/changelog.md:11: expected"),
            ("## 0.1.0, 2026-01-02", "## 0.1.0, 2026-02-30", "docs/changelog.md:11: no date: 2026-02-30"),
            ("## 0.1.0, 2026-01-02", "## 0.1.0, not released", "docs/changelog.md:11: only the newest version"),
            ("- The first.", "The first.", "docs/changelog.md:13: expected"),
            ("- The first.", "", "docs/changelog.md: nothing below 0.1.0"),
            (PAGE, "# Changelog\n", "docs/changelog.md: no version"),
        ):
            code, output, message = run(PAGE.replace(old, new), "0.2.0")
            self.assertEqual((code, output), (1, ""), new)
            self.assertIn(place, message)

    def test_refuses_what_is_no_commit_and_no_time(self):
        for arguments in ((), (COMMIT,), ("HEAD", SECONDS), (COMMIT, "today")):
            self.assertEqual(run(arguments=arguments)[0], 2, arguments)


if __name__ == "__main__":
    SOURCE = pathlib.Path(sys.argv.pop())
    unittest.main()
