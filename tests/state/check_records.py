#!/usr/bin/env python3
"""Checks state-capture records against the rules of docs/records.md, independently of the host's own reader.

    check_records.py RULES.md FILE...

RULES.md contains one ```cddl block; the table before that block maps the titles of records to rules. Only the part of
CDDL that the rules use is supported: maps, arrays, occurrences, choices, ranges of integers, tstr with .regexp, tags.
Exits with 1 and one line for the first error; otherwise prints the number of checked records for each rule.
"""

import collections
import json
import re
import struct
import sys


class Wrong(Exception):
    pass


# ---- CBOR, deterministically encoded


class Tag(collections.namedtuple("Tag", "number value")):
    pass


class Reader:
    def __init__(self, data):
        self.data = data
        self.at = 0

    def take(self, count):
        if count > len(self.data) - self.at:
            raise Wrong(f"byte {self.at}: unexpected end")
        self.at += count
        return self.data[self.at - count : self.at]

    def argument(self, info):
        if info < 24:
            return info
        if info > 27:
            raise Wrong(f"byte {self.at}: not a definite length")
        width = 1 << (info - 24)
        value = int.from_bytes(self.take(width), "big")
        if value < (24, 1 << 8, 1 << 16, 1 << 32)[info - 24]:
            raise Wrong(f"byte {self.at}: a number that is not in its shortest form")
        return value

    def item(self):
        first = self.take(1)[0]
        major, info = first >> 5, first & 31
        if major == 7:
            if info in (20, 21):
                return info == 21
            raise Wrong(f"byte {self.at - 1}: simple value {info}")
        argument = self.argument(info)
        if major == 0:
            return argument
        if major == 1:
            return -1 - argument
        if major == 2:
            return self.take(argument)
        if major == 3:
            return self.take(argument).decode("utf-8")
        if major == 4:
            return [self.item() for _ in range(argument)]
        if major == 5:
            return self.map(argument)
        return Tag(argument, self.item())

    def map(self, count):
        result, last = {}, b""
        for _ in range(count):
            start = self.at
            key = self.item()
            encoded = self.data[start : self.at]
            if encoded <= last:
                raise Wrong(f"byte {start}: key {key!r} is out of order or repeated")
            last = encoded
            result[key] = self.item()
        return result


# ---- the rules

TOKEN = re.compile(
    r"""\s+|;[^\n]*|(?P<text>"(?:[^"\\]|\\.)*")|(?P<range>-?\d+\.\.-?\d+)|(?P<occurrence>\d*\*\d*)|(?P<tag>\#6\.\d+)
    |(?P<control>\.regexp)|(?P<name>[A-Za-z][\w-]*)|(?P<sign>=>|[={}\[\]():,/?])""",
    re.VERBOSE,
)


def tokens_of(text):
    at, tokens = 0, []
    while at < len(text):
        match = TOKEN.match(text, at)
        if not match:
            raise Wrong(f"rules: unsupported syntax: {text[at:at + 30]!r}")
        if match.lastgroup:
            tokens.append((match.lastgroup, match.group()))
        at = match.end()
    return tokens


class Rules:
    def __init__(self, text):
        self.tokens = tokens_of(text)
        self.rules = {}
        while self.tokens:
            name = self.expect("name")
            self.expect("sign", "=")
            self.rules[name] = self.choice()

    def peek(self, place=0):
        return self.tokens[place] if place < len(self.tokens) else (None, None)

    def accept(self, kind, text=None):
        found, value = self.peek()
        if found == kind and text in (None, value):
            return self.tokens.pop(0)[1]
        return None

    def expect(self, kind, text=None):
        value = self.accept(kind, text)
        if value is None:
            raise Wrong(f"rules: expected {text or kind} before {self.peek()[1]!r}")
        return value

    def choice(self):
        alternatives = [self.type()]
        while self.accept("sign", "/"):
            alternatives.append(self.type())
        return alternatives[0] if len(alternatives) == 1 else ("choice", alternatives)

    def type(self):
        if span := self.accept("range"):
            low, high = span.split("..")
            return ("range", int(low), int(high))
        if tag := self.accept("tag"):
            self.expect("sign", "(")
            inner = self.choice()
            self.expect("sign", ")")
            return ("tag", int(tag[3:]), inner)
        if self.accept("sign", "{"):
            return ("map", self.members("}"))
        if self.accept("sign", "["):
            return ("array", self.members("]"))
        name = self.expect("name")
        if name == "tstr":
            return ("text", json.loads(self.expect("text")) if self.accept("control") else None)
        return ("rule", name)

    def members(self, end):
        members = []
        while not self.accept("sign", end):
            low, high = self.occurrence()
            key = None
            if end == "}":
                if literal := self.accept("text"):
                    key = ("literal", json.loads(literal))
                    self.expect("sign", ":")
                else:
                    key = self.type()
                    self.expect("sign", "=>")
            members.append((low, high, key, self.choice()))
            self.accept("sign", ",")
        return members

    def occurrence(self):
        if self.accept("sign", "?"):
            return 0, 1
        if span := self.accept("occurrence"):
            low, high = span.split("*")
            return int(low or 0), int(high) if high else float("inf")
        return 1, 1

    def check(self, value, rule, place):
        getattr(self, "check_" + rule[0])(value, rule, place)

    def check_rule(self, value, rule, place):
        self.check(value, self.rules[rule[1]], place)

    def check_choice(self, value, rule, place):
        if not any(self.matches(value, alternative) for alternative in rule[1]):
            raise Wrong(f"{place}matches none of the alternatives")

    def check_range(self, value, rule, place):
        if type(value) is not int or not rule[1] <= value <= rule[2]:
            raise Wrong(f"{place}{value!r} is not an integer from {rule[1]} to {rule[2]}")

    def check_tag(self, value, rule, place):
        if not isinstance(value, Tag) or value.number != rule[1]:
            raise Wrong(f"{place}expected tag {rule[1]}")
        self.check(value.value, rule[2], place)

    def check_text(self, value, rule, place):
        if not isinstance(value, str):
            raise Wrong(f"{place}{value!r} is not a text")
        if rule[1] is not None and not re.fullmatch(rule[1], value):
            raise Wrong(f"{place}{value!r} does not match {rule[1]!r}")

    def check_array(self, value, rule, place):
        if not isinstance(value, list):
            raise Wrong(f"{place}not an array")
        ((low, high, _, item),) = rule[1]
        if not low <= len(value) <= high:
            raise Wrong(f"{place}{len(value)} items, expected {low} to {high}")
        for number, each in enumerate(value):
            self.check(each, item, f"{place}[{number}]: ")

    def check_map(self, value, rule, place):
        if not isinstance(value, dict):
            raise Wrong(f"{place}not a map")
        left = dict(value)
        for low, high, key, item in rule[1]:
            matching = [
                name for name in left if key == ("literal", name) or key[0] != "literal" and self.matches(name, key)
            ]
            if not low <= len(matching) <= high:
                raise Wrong(f"{place}{len(matching)} keys for {key[1]!r}, expected {low} to {high}")
            for name in matching:
                self.check(left.pop(name), item, f"{place}{name!r}: ")
        if left:
            raise Wrong(f"{place}unknown key {next(iter(left))!r}")

    def matches(self, value, rule):
        try:
            self.check(value, rule, "")
        except Wrong:
            return False
        return True


# ---- records


def records_of(data):
    at = 0
    while at < len(data):
        if len(data) - at < 200:
            raise Wrong(f"byte {at}: incomplete header")
        type_code, size = struct.unpack_from("<II", data, at)
        if type_code != 1:
            raise Wrong(f"byte {at}: type code {type_code}")
        if any(data[at + 8 : at + 136]):
            raise Wrong(f"byte {at + 8}: the decoder names are not zero")
        title, ended, rest = data[at + 136 : at + 200].partition(b"\0")
        if not ended or any(rest):
            raise Wrong(f"byte {at + 136}: the title is not padded with zeros")
        if size > len(data) - at - 200:
            raise Wrong(f"byte {at + 4}: the payload of {size} bytes is incomplete")
        yield title.decode("ascii"), data[at + 200 : at + 200 + size]
        at += 200 + size


def rules_by_title(text):
    """Patterns of titles and the names of their rules, from the table. <...> in a title matches any word."""
    for title, rule in re.findall(r"^\| `([^`]+)` \| `([^`]+)` \|", text, re.MULTILINE):
        yield re.sub(r"<[^>]*>", r"\\w+", title), rule


def check_file(rules, titles, name, checked):
    with open(name, "rb") as file:
        data = file.read()
    for title, payload in records_of(data):
        rule = next((rule for pattern, rule in titles if re.fullmatch(pattern, title)), None)
        if rule is None:
            raise Wrong(f"no rule for the title {title!r}")
        reader = Reader(payload)
        value = reader.item()
        if reader.at != len(payload):
            raise Wrong(f"{title}: bytes after the value in the payload")
        rules.check(value, ("tag", 55799, ("rule", rule)), title + ": ")
        rules.check(value, ("rule", "payload"), title + ": ")
        checked[rule] += 1


def main(arguments):
    if len(arguments) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    with open(arguments[0], encoding="utf-8") as file:
        text = file.read()
    (block,) = re.findall(r"^```cddl\n(.*?)^```", text, re.MULTILINE | re.DOTALL)
    rules, titles = Rules(block), list(rules_by_title(text))
    checked = collections.Counter()
    for name in arguments[1:]:
        try:
            check_file(rules, titles, name, checked)
        except (Wrong, UnicodeDecodeError) as error:
            print(f"{name}: {error}", file=sys.stderr)
            return 1
    for rule, count in sorted(checked.items()):
        print(f"{count} {rule}")
    return 0 if checked else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
