"""Reads and edits random INI files with a document, configparser and git.

    random_files_test.py PROGRAM [COUNT [SEED]]

The files are in the dialect of both other readers, as a rule. Where these two
agree about a key, PROGRAM (real_files_dump) must, too; and it may have no key
that neither of them has. Where they agree about the whole file, the document
edits it, and both must read the file as before but for the edit. Files with
continuation lines, which git has not, are edited and compared with configparser.
"""

import collections
import concurrent.futures
import os
import pathlib
import random
import subprocess
import sys
import tempfile

from real_files_test import ACTIVE, GitReader, PythonReader, Record, Store

COUNT, SEED = 300, 20411
# Of the files: those of which a part could be compared, those of which both
# readers read the same, and those that were edited.
MIN_COMPARED, MIN_SAME, MIN_EDITED = 0.7, 0.4, 0.35

SECTIONS = ("s", "s", "t", "core", "a.b", "x-y", 'remote "origin"', 'm "A.b"')
KEYS = ("k", "k", "name", "url", "a-b", "k1")
VALUES = ("1", "on", "a b", "/p/q", "a=b", "= 2", "", "x,y", "~", "[z]", "a:b",
          "100%", "${x}", "'q'", "m\u00fcde", "%(k)s", "-1", "[", "a]", "=")
COMMENTS = ("# text", "; text", "#k=1", "; k = 2", "# name=3", "#[s]", ";[t]",
            "# [s]", "  # text", "\t; text", "#", ";;", "##k=5", "#;a b=6",
            "# see a=b")
# About these the others differ from each other, or refuse the file.
RARE = ("k = 5 # text", 'k = "q"', "k = a\\b", "k = a\\", "  k = 6", "flag",
        "  more", "two words", "a b = 7", "[s] text", "[s] k = 8", "  [t]",
        "[ s ]", "[open", "= 10", "k = a  b", "k = a\tb", "[a]b]",
        "\x0bk=11", "k = 12\x0c", "k=\u00a0", "k : 13", "[]")
# Files with these, or with keys without =, are not edited: such keys are none
# for the document, and a new header would be indented like the second, which
# configparser can take for a part of the value above.
UNEDITED = b"[s] k = 8", b"  [t]"
# Lines of files with continuation lines, and how often they come.
CONTINUED = ("[s]", "[t]", "k = 1", "j = 2", "#k = 3", "#j=4", "  more", "\tmore",
             "# text", "", "#[s]", "#[t]")
CONTINUED_WEIGHTS = 3, 2, 4, 3, 4, 3, 4, 2, 2, 2, 1, 1
MIN_CONTINUED = 0.2  # Of these files, those that were edited.
NEW_SECTION, NEW_KEY, NEW_VALUE = "a-new-section", "a-new-key", "a new value"

Edit = collections.namedtuple("Edit", "operation section key text")


def random_file(draw):
    """Returns the bytes of a file."""
    indent = draw.choice(("", "", "", "  ", "\t"))
    equals = draw.choice(("=", " = ", "  =\t"))
    lines = []
    for kind in draw.choices("hkcbr", (4, 10, 4, 3, 0.8), k=draw.randrange(14)):
        if kind == "h":
            lines.append(f"[{draw.choice(SECTIONS)}]")
        elif kind == "k":
            space = draw.choice(("", "", " ", "\t"))
            lines.append(indent + draw.choice(KEYS) + equals
                         + draw.choice(VALUES) + space)
        elif kind == "c":
            lines.append(indent + draw.choice(COMMENTS))
        else:
            lines.append(draw.choice(RARE if kind == "r" else ("", "", "  ")))
    newline = draw.choice(("\n", "\n", "\n", "\r\n"))
    text = newline.join(lines) + draw.choice((newline, newline, ""))
    mark = b"\xef\xbb\xbf" if draw.random() < 0.1 else b""
    return mark + text.encode()


def continued_file(draw):
    """Returns the bytes of a file with continuation lines."""
    lines = draw.choices(CONTINUED, CONTINUED_WEIGHTS, k=draw.randrange(2, 9))
    return "".join(f"{line}\n" for line in ("[s]", *lines)).encode()


def python_values(path):
    """Returns what configparser reads, or None."""
    try:
        return PythonReader(path).values
    except PythonReader.Error:
        return None


def git_name(place):
    section, key = place
    return GitReader.name(None, Record("", ACTIVE, section, key, ""))


class Peers:
    """What configparser and git read: `same` is what both do."""

    def __init__(self, path):
        self.same = {}
        self.known = set()  # The names of git for all that one of them has.
        self.is_read = self.is_same = False
        try:
            python = PythonReader(path).values
            git = GitReader(path).values
        except (*PythonReader.Error, subprocess.CalledProcessError):
            return
        names = {git_name(place): place for place in python}
        if len(names) != len(python):
            return  # Names that only configparser tells apart.
        self.is_read = True
        self.known = names.keys() | git.keys()
        self.same = {place: git[name] for name, place in names.items()
                     if name in git and git[name] == python[place]}
        self.is_same = len(self.same) == len(self.known)


def random_edit(draw, same, entries):
    """Returns an edit, and what both readers have then."""
    after = dict(same)
    section, key = draw.choice(sorted(
        place for place, value in same.items() if value is not None))
    operation = draw.choice(("set", "set", "delete", "disable", "rename",
                             *["enable"] * 4, "comment", "section", "add"))
    if operation == "enable":
        return enabling(draw, after, entries)
    if operation == "section":
        return section_edit(draw, after, section)
    text = ""
    if operation in ("set", "add"):
        section = draw.choice((section, section, NEW_SECTION))
        if section == NEW_SECTION or operation == "add" or draw.random() < 0.3:
            key = NEW_KEY
        after[section, key] = text = NEW_VALUE
    elif operation == "comment":
        text = "see k = 1"
    else:
        value = after.pop((section, key))
        if operation == "rename":
            after[section, NEW_KEY] = value
            text = NEW_KEY
    return Edit(operation, section, key, text), after


def enabling(draw, after, entries):
    headers = {entry.section for entry in entries
               if not entry.key and entry.mark == ACTIVE}
    disabled = {(entry.section, entry.key): entry.value for entry in entries
                if entry.key in KEYS and entry.mark != ACTIVE
                and entry.section in headers}
    for place in after:
        disabled.pop(place, None)
    if not disabled:
        return None
    place = draw.choice(sorted(disabled))
    return Edit("enable", *place, ""), {**after, place: disabled[place]}


def section_edit(draw, after, section):
    operation = draw.choice(("delete", "disable", "rename"))
    text = ""
    for place in [place for place in after if place[0] == section]:
        value = after.pop(place)
        if operation == "rename":
            text = NEW_SECTION
            after[text, place[1]] = value
    return Edit(operation, section, "", text), after


class RandomFiles:
    def __init__(self, program, folder, seed):
        self.program = program
        self.folder = folder
        self.draw = random.Random(seed)
        self.counts = collections.Counter()
        self.failures = []

    def fail(self, path, what):
        self.failures.append(f"{what}: {path.read_bytes()!r}")

    def run(self, count):
        paths = [self.folder / f"{number}.ini" for number in range(count)]
        for path in paths:
            path.write_bytes(random_file(self.draw))
        edits = {}
        for path, peers, entries in zip(paths, self.peers(paths),
                                        self.documents(paths)):
            self.compare(path, peers, entries)
            if (peers.is_same and peers.same
                    and None not in peers.same.values()
                    and not any(map(path.read_bytes().count, UNEDITED))):
                if edit := random_edit(self.draw, peers.same, entries):
                    edits[path] = edit
        self.edit(edits, lambda copies: [peers.same if peers.is_same else None
                                         for peers in self.peers(copies)])

    def run_continued(self, count):
        paths = [self.folder / f"{number}.continued" for number in range(count)]
        edits = {}
        for path in paths:
            path.write_bytes(continued_file(self.draw))
        for path, entries in zip(paths, self.documents(paths)):
            self.counts["continued files"] += 1
            values = python_values(path) or {}
            if any(value is not None for value in values.values()):
                if edit := random_edit(self.draw, values, entries):
                    edits[path] = edit
        done = self.counts["edits done"]
        self.edit(edits, lambda copies: [python_values(copy) for copy in copies])
        self.counts["continued files edited"] = self.counts["edits done"] - done
        self.counts["edits done"] = done

    def peers(self, paths):
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            return list(pool.map(Peers, paths))

    def documents(self, paths):
        return Store(self.program, "-").entries_of(paths)

    def compare(self, path, peers, entries):
        self.counts["files"] += 1
        if not peers.is_read:
            self.counts["refused by configparser or git"] += 1
            return
        self.counts["compared"] += bool(peers.same)
        self.counts["the same for both"] += peers.is_same and bool(peers.same)
        self.counts["keys compared"] += len(peers.same)
        self.counts["keys disputed"] += len(peers.known) - len(peers.same)
        mine = {(entry.section, entry.key): entry.counts for entry in entries
                if entry.key and entry.mark == ACTIVE}
        headers = {"", *(entry.section for entry in entries
                         if not entry.key and entry.mark == ACTIVE)}
        for place, value in peers.same.items():
            if mine.get(place) != value:
                self.fail(path, f"{place}: {mine.get(place)!r}, not {value!r}")
            if place[0] not in headers:
                self.fail(path, f"no section {place[0]!r}")
        for place in mine:
            if git_name(place) not in peers.known:
                self.fail(path, f"only the document has {place}")

    def edit(self, edits, read):
        copies = {path: path.with_suffix(".edited") for path in edits}
        results = Store(self.program, "-").edit(
            (path, copies[path], *edit) for path, (edit, _) in edits.items())
        for (path, (edit, after)), result, values in zip(
                edits.items(), results, read(copies.values())):
            if result != "done":
                self.counts[f"edits {result}"] += 1
                if path.read_bytes() != copies[path].read_bytes():
                    self.fail(copies[path], f"{edit} is {result} and changed")
                continue
            self.counts["edits done"] += 1
            self.counts[f"edits done: {edit.operation}"] += 1
            if values != after:
                self.fail(path, f"{edit} left {copies[path].read_bytes()!r}, "
                                f"read as {values}, from")

    def report(self):
        """Prints the counts and the failures; returns whether there were any."""
        for name, count in sorted(self.counts.items()):
            print(f"{count:6}  {name}")
        for name, part in (("compared", MIN_COMPARED),
                           ("the same for both", MIN_SAME),
                           ("edits done", MIN_EDITED)):
            if self.counts[name] < part * self.counts["files"]:
                self.failures.append(f"{name}: too few")
        if (self.counts["continued files edited"]
                < MIN_CONTINUED * self.counts["continued files"]):
            self.failures.append("continued files edited: too few")
        print(f"{len(self.failures):6}  wrong")
        for failure in self.failures[:20]:
            print(failure, file=sys.stderr)
        return bool(self.failures)


def main(program, count=COUNT, seed=SEED):
    print(f"seed {seed}")
    with tempfile.TemporaryDirectory() as name:
        files = RandomFiles(pathlib.Path(program).resolve(), pathlib.Path(name),
                            int(seed))
        files.run(int(count))
        files.run_continued(int(count))
    return files.report()


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
