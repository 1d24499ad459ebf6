#!/usr/bin/env python3
"""Divides C++ sources into groups, each of which can be compiled as one source that includes them.

    group_sources.py BYTES FILE...

BYTES  the most that the files of a group have together

Prints a line for each group of two files or more: their paths, separated by semicolons. Whatever a file keeps for itself, in an
unnamed namespace or by a using-declaration, neither another file of its group mentions nor a header that only others include. So
no name means something else in its group than alone. A file that keeps many names may be left without a group.
"""

import functools
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# The parts of a source that have names of their own, and in them the definitions, which are the lines that are not indented.
UNNAMED = re.compile(r"^namespace \{$(.*?)^\} // namespace$", re.M | re.S)
DEFINITION = re.compile(
    r"^(?:(?:struct|class|union|enum class|enum) (\w+)|using (\w+) =|(?!TEST|INSTANTIATE|MATCHER|using\b|namespace\b|template\b|[#/}])\w[^(={\n]*?(?<!::)\b(?:(\w+)\(|(?P<variable>\w+)(?:\[.*?\])*(?: = |[{;])))",
    re.M,
)
# Lines that take over a name or give a namespace another one. Two sources may have the same.
TAKEN_OVER = re.compile(r"^(?:using [\w:]*::(\w+);|namespace (\w+) = .*)", re.M)
# A line that begins with an asterisk and a word is code: it writes through a pointer.
COMMENT = re.compile(r"^ *(?:/\*|\*(?=[ /]|$)|//).*| // .*", re.M)
# Names that are looked up from where they stand, not those of members nor of a namespace that is named, with what follows.
WORD = re.compile(r"(?<!::)(?<!->)(?<!\.)\b([A-Za-z_]\w*)(?=([(<{]|::)?)")
TYPE_OR_CONSTANT = re.compile(r"k?[A-Z]")
INCLUDED = re.compile(r'^#include "(.*)"', re.M)


def definitions(text):
    """Yields (name, whether it is that of a variable) of each definition that a source shares with no other."""
    for part in UNNAMED.findall(text):
        for match in DEFINITION.finditer(part):
            yield match.group(match.lastindex), match.lastgroup == "variable"


@functools.cache
def read_header(header):
    """@return what a header of this repository includes, itself among them, and what it mentions."""
    text = (ROOT / header).read_text()
    return included_headers(text) | {header}, Mentioned(text)


def included_headers(text):
    return frozenset().union(*(read_header(header)[0] for header in INCLUDED.findall(text) if (ROOT / header).exists()))


class Mentioned:
    """The names in a text."""

    def __init__(self, text=""):
        words = WORD.findall(COMMENT.sub("", text))
        self.all = {word for word, _ in words}
        # Without local variables: they may have the name of another source's function.
        self.uses = {word for word, next_sign in words if next_sign or TYPE_OR_CONSTANT.match(word)}

    def add(self, other):
        self.all |= other.all
        self.uses |= other.uses


class Names:
    """The names of a source, or of the sources of a group."""

    def __init__(self, text=""):
        # What it keeps for itself: the line that takes it over, or None for a definition.
        self.kept = {match.group(match.lastindex): match.group() for match in TAKEN_OVER.finditer(text)}
        self.kept |= {name: None for name, _ in definitions(text)}
        self.variables = {name for name, is_variable in definitions(text) if is_variable}
        self.mentioned = Mentioned(text)
        self.headers = included_headers(text)

    def add(self, other):
        self.kept |= other.kept
        self.variables |= other.variables
        self.mentioned.add(other.mentioned)
        self.headers |= other.headers

    def change_for(self, other):
        """Whether something that is kept here would be meant there."""
        only_there = [read_header(header)[1] for header in other.headers - self.headers]
        return (
            any(
                self.kept[name] is None or other.kept.get(name) != self.kept[name]
                for name in self.kept.keys() & (other.mentioned.uses | other.kept.keys())
            )
            or not self.variables.isdisjoint(other.mentioned.all)
            or any(not self.kept.keys().isdisjoint(names.uses) or not self.variables.isdisjoint(names.all) for names in only_there)
        )


class Group:
    """Sources that can be compiled as one."""

    def __init__(self):
        self.sources = []
        self._bytes = 0
        self._names = Names()

    def has_room_for(self, size, names, most_bytes):
        if not self.sources:
            return True
        return self._bytes + size <= most_bytes and not names.change_for(self._names) and not self._names.change_for(names)

    def add(self, source, size, names):
        self.sources.append(source)
        self._bytes += size
        self._names.add(names)


def group_sources(texts, most_bytes):
    """@param texts  the text of each source. @return the groups, in which each source is once."""
    groups = []
    for source, text in texts.items():
        names = Names(text)
        group = next((group for group in groups if group.has_room_for(len(text), names, most_bytes)), None)
        if group is None:
            group = Group()
            groups.append(group)
        group.add(source, len(text), names)
    return groups


def main():
    files = sys.argv[2:]
    groups = group_sources({file: pathlib.Path(file).read_text(errors="replace") for file in files}, int(sys.argv[1]))
    for group in groups:
        if len(group.sources) > 1:
            print(";".join(group.sources))


if __name__ == "__main__":
    main()
