"""Edits the configuration files of real programs with the command `fairlead`.

    real_edits_test.py FAIRLEAD LAWS

Takes the INI files of this machine and of the packages of real_files_test.py.
Sets the first key of each to a new value, then the last: one line may change,
and Python's configparser must read the rest as before. Disables and enables
every section: the bytes must be the same again. Meanwhile, LAWS
(real_files_laws) makes all kinds of edits.
"""

import collections
import concurrent.futures
import configparser
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import real_files_test
from real_files_test import ENCODING, fetch

ROOTS = "/etc", "/usr/lib", "/usr/share"
FILE_NAMES = re.compile(r"""
    php\.ini.* | smb\.conf.* | tox\.ini | \.coveragerc | \.gitconfig
    | .*\.(automount | cfg | cnf | conf | desktop | ini | link | mount | network
           | nmconnection | path | service | slice | socket | target | theme
           | timer)
    """, re.VERBOSE)
MAX_SIZE = 200 * 1024
SEED = "20411"  # Of real_files_laws.
MIN_FILES = 291
MIN_EDITED = 0.979  # Of the files, first and last key: 285 of 291.

HEADER = re.compile(r"[ \t]*\[(.*)\][ \t\r]*")
KEY = re.compile(r"[ \t]*([^#;=\[\s][^=\r]*?)[ \t]*=.*", re.DOTALL)
NEW_VALUE = "a new value"

Key = collections.namedtuple("Key", "line section name")


def is_ini(path):
    """Returns whether the file has a header and a key, and no zero byte."""
    if path.is_symlink() or not FILE_NAMES.fullmatch(path.name):
        return False
    if not path.is_file() or path.stat().st_size > MAX_SIZE:
        return False
    data = path.read_bytes()
    if b"\0" in data:
        return False
    lines = data.decode(*ENCODING).split("\n")
    return any(map(HEADER.fullmatch, lines)) and any(map(KEY.fullmatch, lines))


def live_keys(lines, known):
    """Returns the keys that count: of each name, the last one.

    Leaves out those that are not in `known`, what configparser reads.
    """
    keys = {}
    section = ""
    for number, line in enumerate(lines):
        if header := HEADER.fullmatch(line):
            section = header[1]
        elif key := KEY.fullmatch(line):
            keys[section, key[1]] = Key(number, section, key[1])
    return sorted(key for place, key in keys.items()
                  if known is None or place in known)


def sections(lines):
    names = [header[1] for header in map(HEADER.fullmatch, lines) if header]
    return list(dict.fromkeys(names))


def settings(text):
    """Returns what configparser reads, or None if it refuses the text."""
    parser = configparser.ConfigParser(
        strict=False, interpolation=None, allow_no_value=True,
        default_section=None)
    parser.optionxform = str
    try:
        parser.read_string(text)
    except configparser.Error:
        return None
    return {(section, key): value
            for section in parser.sections()
            for key, value in parser[section].items()}


class Edits:
    """Edits files, and counts what comes of it."""

    def __init__(self, fairlead, folder):
        self.fairlead = fairlead
        self.folder = folder
        self.counts = collections.Counter()
        self.reasons = collections.Counter()
        self.failures = []

    def run(self, copy, subcommand, *words):
        done = subprocess.run(
            [self.fairlead, "ini", subcommand, "-file", copy, *words],
            stdin=subprocess.DEVNULL, capture_output=True)
        message = done.stderr.decode(*ENCODING).replace(str(copy), "FILE")
        return done.returncode, message.strip()

    def fail(self, path, what):
        self.failures.append(f"{path}: {what}")

    def check(self, number, path):
        copy = self.folder / f"copy{number}"
        data = path.read_bytes()
        text = data.decode(*ENCODING)
        lines = text.split("\n")
        known = settings(text)
        keys = live_keys(lines, known)
        self.counts["files"] += 1
        self.counts["refused by configparser"] += known is None
        for which, key in ("first", keys[0]), ("last", keys[-1]):
            outcome = self.set(path, copy, data, lines, key, known)
            self.counts[f"{which} key: {outcome}"] += 1
        for section in sections(lines):
            self.switch(path, copy, data, section)
        copy.unlink()

    def refuse(self, path, copy, data, what, status, message):
        cause = re.sub(r"FILE:\d+", "FILE", message)
        self.reasons[f"{what}: status {status}: {cause}"] += 1
        if copy.read_bytes() != data:
            self.fail(path, f"{what} failed with {status} and changed the file")
        if status not in (1, 2, 3) or not message:
            self.fail(path, f"{what}: status {status}: {message}")

    def set(self, path, copy, data, lines, key, known):
        """Sets the key, and returns what came of it."""
        copy.write_bytes(data)
        status, message = self.run(copy, "set", "-section", key.section,
                                   "-key", key.name, "-value", NEW_VALUE)
        if status != 0:
            self.refuse(path, copy, data, "set", status, message)
            value = known and known[key.section, key.name]
            return "continued" if value and "\n" in value else "refused"
        edited = copy.read_bytes().decode(*ENCODING)
        changed = edited.split("\n")
        if changed == lines:
            self.fail(path, f"{key}: unchanged")
            return "unchanged"
        others = [number for number, line in enumerate(changed)
                  if line not in lines[number:number + 1]]
        if len(changed) != len(lines) or others != [key.line]:
            self.fail(path, f"{key}: other lines changed: {others[:5]}")
            return "several lines"
        if not re.fullmatch(
                f"[ \t]*{re.escape(key.name)}[ \t]*=[ \t]*{NEW_VALUE}\r?",
                changed[key.line]):
            self.fail(path, f"{key}: written as {changed[key.line]!r}")
        if known is not None:
            self.compare(path, key, known, settings(edited) or {})
        return "one line"

    def compare(self, path, key, old, new):
        place = key.section, key.name
        others = {other for other in old.keys() | new.keys()
                  if other != place and old.get(other) != new.get(other)}
        if others:
            self.fail(path, f"{key}: also changed {sorted(others)[:5]}")
        value = new.get(place) or ""
        if any(map(KEY.fullmatch, value.split("\n")[1:])):
            self.counts["continued by what fairlead takes for a key"] += 1
        elif value != NEW_VALUE:
            self.fail(path, f"{key}: read as {value!r}")

    def switch(self, path, copy, data, section):
        """Disables and enables a section."""
        copy.write_bytes(data)
        self.counts["sections"] += 1
        status, message = self.run(copy, "disable", "-section", section)
        if status != 0:
            self.counts["sections refused"] += 1
            self.refuse(path, copy, data, "disable", status, message)
            return
        disabled = copy.read_bytes()
        status, message = self.run(copy, "enable", "-section", section)
        if status != 0:
            self.counts["sections refused"] += 1
            self.refuse(path, copy, disabled, "enable", status, message)
        elif disabled == data or copy.read_bytes() != data:
            self.fail(path, f"[{section}] is not the same after enable")
        else:
            self.counts["sections the same"] += 1

    def report(self):
        """Prints the counts and the failures."""
        for name, count in sorted(self.counts.items()):
            print(f"{count:6}  {name}")
        print("refusals:")
        for reason, count in self.reasons.most_common():
            print(f"{count:6}  {reason}")
        files = self.counts["files"]
        if files < MIN_FILES:
            self.failures.append(f"too few files: {MIN_FILES} were expected")
        for which in "first", "last":
            continued = self.counts[f"{which} key: continued"]
            if (self.counts[f"{which} key: one line"]
                    < MIN_EDITED * (files - continued)):
                self.failures.append(f"the {which} key: too few were edited")
        print(f"{len(self.failures):6}  wrong")
        for failure in self.failures:
            print(failure, file=sys.stderr)


def start(laws, files):
    """Starts real_files_laws for the files."""
    names = tempfile.TemporaryFile()
    names.writelines(os.fsencode(path) + b"\n" for path in files)
    names.seek(0)
    return subprocess.Popen([pathlib.Path(laws).resolve(), SEED], stdin=names,
                            stdout=subprocess.DEVNULL)


def main(fairlead, laws):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        edits = Edits(pathlib.Path(fairlead).resolve(), folder)
        fetched = fetch(folder)
        roots = [pathlib.Path(root) for root in ROOTS] + [fetched]
        files = sorted(path for root in roots for path in root.rglob("*")
                       if is_ini(path))
        others = filter(real_files_test.is_ini, fetched.rglob("*"))
        with start(laws, sorted({*files, *others})) as process:
            workers = os.cpu_count()
            with concurrent.futures.ThreadPoolExecutor(workers) as pool:
                list(pool.map(edits.check, range(len(files)), files))
        edits.report()
        if process.returncode != 0:
            edits.failures.append(f"{laws}: status {process.returncode}")
    return bool(edits.failures)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
