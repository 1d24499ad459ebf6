#!/usr/bin/env python3
"""Tests which sources cmake/group_sources.py puts together.

    group_sources_test.py SOURCE_FOLDER
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1))
sys.path.insert(0, str(SOURCE / "cmake"))
sys.dont_write_bytecode = True

import group_sources  # noqa: E402


def unnamed(text):
    return f"namespace {{\n\n{text}\n\n}} // namespace\n"


def write(tree, texts):
    for name, text in texts.items():
        (tree / name).parent.mkdir(exist_ok=True)
        (tree / name).write_text(text)


def groups_of(files, most_bytes=10_000, headers=None):
    """@param files, headers  texts by name. @return the groups of two files or more, by name."""
    with tempfile.TemporaryDirectory() as folder:
        write(pathlib.Path(folder), headers or {})
        group_sources.ROOT = pathlib.Path(folder)
        group_sources.read_header.cache_clear()
        groups = [group.sources for group in group_sources.group_sources(files, most_bytes)]
        assert sorted(sum(groups, [])) == sorted(files)
        return [sources for sources in groups if len(sources) > 1]


class Groups(unittest.TestCase):
    def are_together(self, one, other, **others):
        # Whichever comes first.
        together = groups_of({"a.cpp": one, "b.cpp": other}, **others) == [["a.cpp", "b.cpp"]]
        self.assertEqual(groups_of({"a.cpp": other, "b.cpp": one}, **others) == [["a.cpp", "b.cpp"]], together)
        return together

    def test_sources_with_names_of_their_own_are_together(self):
        self.assertTrue(self.are_together(unnamed("int one() { return 1; }"), unnamed("int other() { return 2; }")))

    def test_none_of_a_group_has_a_name_that_another_defines(self):
        definitions = {
            "Kind": ["struct Kind {};", "class Kind final {};", "enum class Kind { A };", "using Kind = int;"],
            "kKinds": ["constexpr int kKinds = 3;", "const int kKinds[] = {1};", "std::array<int, 2> kKinds{1, 2};"],
            "kind_of": ["int kind_of(int value) {\n    return value;\n}", "template <class T>\nauto kind_of(T value) { return value; }"],
        }
        for name, texts in definitions.items():
            for text in texts:
                with self.subTest(text):
                    self.assertFalse(self.are_together(unnamed(text), f"void use() {{ {name}(1); }}\n"))
                    self.assertFalse(self.are_together(unnamed(text), unnamed(texts[0])))

    def test_a_member_or_the_name_of_another_namespace_is_no_mention(self):
        one = unnamed("int size() { return 1; }")
        for text in ("value.size();", "value->size();", "std::size(value);", "int resize();", "f(); // not size()", "/** As size(). */", " * size()\n */"):
            with self.subTest(text):
                self.assertTrue(self.are_together(one, f"{text}\n"))
        for text in ("size();", "size<1>();", "size{1};", "size::one();", "    *out = size(1);", "*size();"):
            with self.subTest(text):
                self.assertFalse(self.are_together(unnamed("struct size {};"), f"{text}\n"))

    def test_a_local_variable_may_have_the_name_of_a_function_but_not_of_a_variable(self):
        local = "void use(int size) { take(size); }\n"
        self.assertTrue(self.are_together(unnamed("int size() { return 1; }"), local))
        for text in ("int size = 1;", "std::atomic<int> size{1};", "int size;", "int size[2] = {};"):
            with self.subTest(text):
                self.assertFalse(self.are_together(unnamed(text), local))
                self.assertFalse(self.are_together(unnamed(text), '#include "cli/local.h"\n', headers={"cli/local.h": local}))

    def test_what_a_source_takes_over_another_takes_over_too_or_does_not_mention(self):
        for taken in ("using decoder::put;", "namespace put = std::filesystem;"):
            with self.subTest(taken):
                self.assertTrue(self.are_together(taken + "\n", "int value;\n"))
                self.assertTrue(self.are_together(taken + "\n", taken + "\nint value = put(1);\n"))
                self.assertFalse(self.are_together(taken + "\n", "int value = put(1);\n"))
                self.assertFalse(self.are_together(taken + "\n", "using other::put;\n"))

    def test_no_header_of_others_only_mentions_what_a_source_keeps(self):
        headers = {"cli/marks.h": "std::vector<Mark> marks;\n", "cli/block.h": '#include "cli/marks.h"\n'}
        mark = unnamed("struct Mark {};")
        self.assertFalse(self.are_together(mark, '#include "cli/marks.h"\n', headers=headers))
        self.assertFalse(self.are_together(mark, '#include "cli/block.h"\n', headers=headers))
        self.assertTrue(self.are_together('#include "cli/marks.h"\n' + mark, '#include "cli/block.h"\n', headers=headers))
        self.assertTrue(self.are_together(unnamed("struct Other {};"), '#include "cli/block.h"\n', headers=headers))

    def test_a_group_has_at_most_so_many_bytes(self):
        files = {f"{number}.cpp": "x" * 400 for number in range(5)}
        self.assertEqual(groups_of(files, most_bytes=1000), [["0.cpp", "1.cpp"], ["2.cpp", "3.cpp"]])
        self.assertEqual(groups_of({"large.cpp": "x" * 2000, **files}, most_bytes=1200), [["0.cpp", "1.cpp", "2.cpp"], ["3.cpp", "4.cpp"]])

    def test_a_source_goes_to_the_first_group_that_it_fits(self):
        files = {
            "a.cpp": unnamed("int one() { return 1; }"),
            "b.cpp": unnamed("int one() { return 2; }"),
            "c.cpp": "int c = one();\n",
            "d.cpp": "int d;\n",
            "e.cpp": unnamed("int two() { return 2; }"),
        }
        self.assertEqual(groups_of(files), [["a.cpp", "d.cpp", "e.cpp"]])

    def test_it_prints_a_line_for_each_group_of_several(self):
        texts = {"a.cpp": "int a;\n", "b c.cpp": "int b;\n", "d.cpp": "int d;\n", "e.cpp": "int e;\n", "f.cpp": "int f;" * 9}
        with tempfile.TemporaryDirectory() as folder:
            tree = pathlib.Path(folder)
            write(tree, texts)
            files = [str(tree / name) for name in texts]
            output = subprocess.check_output([sys.executable, SOURCE / "cmake/group_sources.py", "15", *files], text=True)
            self.assertEqual(output, f"{files[0]};{files[1]}\n{files[2]};{files[3]}\n")


if __name__ == "__main__":
    unittest.main()
