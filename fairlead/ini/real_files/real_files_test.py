"""Tests the INI store on the configuration files of real programs.

    real_files_test.py PROGRAM

Downloads Debian packages into a temporary folder, without installing them, and
reads their INI files: with PROGRAM (real_files_dump) as the store and as a
document, and with Python's configparser or, for git's own files, with git. Sets
the last key of each file. The test fails if a difference has none of the causes
in RULES.
"""

import codecs
import collections
import configparser
import json
import pathlib
import re
import subprocess
import sys
import tempfile

PACKAGES = """
    avahi-daemon bluez colord cups-browsed fail2ban gdm3 gedit
    hicolor-icon-theme lightdm mariadb-common mariadb-server mate-terminal
    mercurial-common mumble-server mysql-common network-manager php8.2-cli
    php8.2-common php8.2-fpm pulseaudio rsync samba-common supervisor systemd
    tlp tuned udev xrdp xterm
""".split()

FILE_NAMES = re.compile(r"""
    (php\.ini | smb\.conf).*
    | .*\.(cnf | conf | desktop | ini | link | local | mount | network
           | path | plugin | rc | service | slice | socket | target | theme
           | timer)
    """, re.VERBOSE)
MIN_FILES = 50

# The causes of differences, and what is counted for each.
RULES = {
    "lost value": "lines that begin with =, saved as headers",
    "moved": "keys below a malformed line, in another section once saved",
    "disabled": "keys whose first line is disabled: the store finds that one",
    "headed": "keys below a disabled header: the store counts them to its section",
    "duplicate": "duplicate keys: the store finds the first, not the last",
    "continued": "values with continuation lines: the store has the first line",
    "swallowed": "keys of the store that are continuation lines",
    "bare": "keys without =, which the store does not have",
    "quotes": "values from which git removes quotes, escapes and comments",
    "document: continued": "values with continuation lines: the document has the first line",
    "document: swallowed": "keys of the document that are continuation lines",
    "document: bare": "keys without =, which the document does not have",
    "document: quotes": "values from which git removes quotes, escapes and comments",
    "set: continued": "last keys that are not set: their values continue",
}

ENCODING = ("ascii", "surrogateescape")  # A character for each byte.
ACTIVE = " "
ESCAPES = {"b": "\b", "n": "\n", "t": "\t"}  # Git's.

Record = collections.namedtuple("Record", "comments mark section key value")
Entry = collections.namedtuple("Entry", "mark section key value counts")
DONE, MALFORMED = "done", "malformed"


class Store:
    """A file as the store reads it, through real_files_dump."""

    def __init__(self, program, path):
        self.program = program
        self.path = path

    def run(self, command, *words, text=""):
        done = subprocess.run([self.program, command, self.path, *words],
                              input=text.encode(*ENCODING), capture_output=True)
        assert done.returncode == 0, (self.path, done.stderr)
        return done.stdout.decode()

    def records(self):
        return [Record(*json.loads(line))
                for line in self.run("load").splitlines()]

    def entries(self):
        return [Entry(*json.loads(line))
                for line in self.run("live").splitlines()]

    def entries_of(self, paths):
        """Returns the entries of each file; for a store without a path."""
        text = "".join(f"{path}\n" for path in paths)
        return [[Entry(*entry) for entry in json.loads(line)]
                for line in self.run("read", text=text).splitlines()]

    def edit(self, edits):
        """Edits files, and returns what came of it; see real_files_dump."""
        lines = [f"{line}\n" for edit in edits for line in edit]
        return self.run("edit", text="".join(lines)).splitlines()

    def values(self, places):
        """Returns GetValue() for each section and key, in a dictionary."""
        text = "".join(f"{section}\n{key}\n" for section, key in places)
        lines = self.run("values", text=text).splitlines()
        return dict(zip(places, map(json.loads, lines), strict=True))


class PythonReader:
    """A file as configparser reads it: values by section and key."""

    # The second one for a line that continues a key without =.
    Error = configparser.Error, AttributeError

    def __init__(self, path):
        data = path.read_bytes().removeprefix(codecs.BOM_UTF8)
        text = data.decode(*ENCODING)
        lists = []

        class Options(dict):  # Also keeps values that are replaced.
            def __setitem__(self, key, value):
                if isinstance(value, list):
                    lists.append(value)
                super().__setitem__(key, value)

        # By default, an indented key below an empty line continues the value
        # above it; to other programs, and to the store, it is a key.
        parser = configparser.RawConfigParser(
            dict_type=Options, allow_no_value=True, delimiters=("=",),
            comment_prefixes=("#", ";"), strict=False, default_section=None,
            empty_lines_in_values=False)
        parser.optionxform = str
        nowhere = "keys before any header"
        parser.read_file([f"[{nowhere}]", *text.split("\n")])
        self.values = {
            ("" if section == nowhere else section, key): value
            for section in parser.sections()
            for key, value in parser.items(section)}
        self.swallowed = {
            tuple(part.strip() for part in line.split("=", 1))
            for value in lists for line in value[1:] if "=" in line}

    def name(self, record):
        return record.section, record.key

    def meaning(self, value):
        return value


class GitReader:
    """A file as git reads it: values by "section.subsection.key"."""

    swallowed = frozenset()

    def __init__(self, path):
        done = subprocess.run(["git", "config", "--file", path, "--list", "-z"],
                              capture_output=True, check=True)
        entries = done.stdout.decode(*ENCODING).split("\0")[:-1]
        self.values = {
            name: value if is_value else None
            for name, is_value, value in (e.partition("\n") for e in entries)}

    def name(self, record):
        section, _, subsection = record.section.partition(" ")
        parts = [section.lower(), subsection.strip(' "'), record.key.lower()]
        return ".".join(filter(None, parts))

    def meaning(self, value):
        """Returns the value as git interprets the text after the =."""
        value = re.sub(r'^((?:"(?:\\.|[^"])*"|[^"#;])*)[#;].*', r"\1", value)
        value = re.sub(r'(?<!\\)"', "", value.rstrip())
        return re.sub(r"\\(.)", lambda m: ESCAPES.get(m[1], m[1]), value)


class Comparison:
    """Compares both readings of each file and counts the differences."""

    def __init__(self, program, folder):
        self.program = program
        self.copy = folder / "copy"
        self.files = self.keys = self.document_keys = self.edits = 0
        self.causes = collections.Counter()
        self.failures = []

    def check(self, path, shown, reader_of):
        self.files += 1
        self.shown = shown
        store = Store(self.program, path)
        records = store.records()
        self.check_saving(store, records)
        reader = reader_of(path)
        self.check_values(store, records, reader)
        self.check_text(store)
        self.check_document(store, reader)
        self.check_edit(store)

    def expect(self, wanted, got, what):
        if wanted != got:
            self.failures.append(f"{self.shown}: {what}: {wanted!r} is {got!r}")

    def check_saving(self, store, records):
        trace = store.run("save", self.copy)
        marks = [record.mark for record in records if record.mark != ACTIVE]
        self.expect("".join(f"<{m}> " for m in marks), trace, "the trace")

        saved = Store(self.program, self.copy)
        again = saved.records()
        self.expect(len(records), len(again), "the number of records")
        for before, after in zip(self.as_saved(records), again):
            self.expect(before, after, "a record")

        text = self.copy.read_bytes()
        saved.run("save", self.copy)
        self.expect(text, self.copy.read_bytes(), "a second saving")

    def as_saved(self, records):
        """Yields the records with the two kinds of damage that saving may do."""
        section = ""
        for record in records:
            if record.key:
                self.causes["moved"] += record.section != section
                yield record._replace(section=section)
            else:
                section = record.section
                self.causes["lost value"] += record.value != ""
                yield record._replace(value="")

    def check_values(self, store, records, reader):
        places = collections.defaultdict(list)  # As the store reads them.
        active = collections.defaultdict(list)  # As the other reader does.
        section = ""  # Of the last active header.
        for record in records:
            if record.key:
                places[record.section, record.key].append(record)
            if record.mark == ACTIVE and record.key:
                name = reader.name(record._replace(section=section))
                active[name].append(record)
                self.causes["headed"] += record.section != section
            elif record.mark == ACTIVE and record.section:
                section = record.section

        for place, value in store.values(places.keys()).items():
            self.expect(places[place][0].value, value, f"GetValue {place}")
        for name in reader.values.keys() | active.keys():
            self.keys += 1
            self.check_key(name, reader, active[name], places)

    def check_key(self, name, reader, active, places):
        if name not in reader.values:
            self.causes["swallowed"] += 1
            for record in active:
                if (record.key, record.value) not in reader.swallowed:
                    self.expect(None, record, f"a key only of the store: {name}")
            return

        value = reader.values[name]
        if value is None:
            self.causes["bare"] += 1
            self.expect([], active, f"the bare key {name}")
        elif not active:
            self.expect(value, None, f"a key only of the other reader: {name}")
        else:
            self.check_value(name, value, reader, active[-1], places)

    def check_value(self, name, value, reader, record, places):
        meaning = reader.meaning(record.value)
        self.expect(value.split("\n")[0], meaning, f"the value of {name}")
        self.causes["quotes"] += meaning != record.value
        self.causes["continued"] += "\n" in value

        place = name if name in places else (record.section, record.key)
        first = places[place][0]
        if first.value != record.value:
            cause = "duplicate" if first.mark == ACTIVE else "disabled"
            self.causes[cause] += 1

    def check_text(self, store):
        store.run("copy", self.copy)
        self.expect(store.path.read_bytes(), self.copy.read_bytes(), "the text")

    def check_document(self, store, reader):
        active = {}
        for entry in store.entries():
            swallowed = (entry.key, entry.value) in reader.swallowed
            self.causes["document: swallowed"] += swallowed
            if entry.mark == ACTIVE and entry.key and not swallowed:
                active[reader.name(entry)] = entry
        for name in reader.values.keys() | active.keys():
            self.document_keys += 1
            self.check_entry(name, reader, active.get(name))

    def check_entry(self, name, reader, entry):
        value = reader.values.get(name)
        if value is None:
            self.causes["document: bare"] += name in reader.values
            self.expect(None, entry, f"a key only of the document: {name}")
        elif entry is None:
            self.expect(value, None, f"a key not of the document: {name}")
        else:
            meaning = reader.meaning(entry.value)
            self.expect(value.split("\n")[0], meaning, f"the entry {name}")
            self.expect(entry.value, entry.counts, f"Value {name}")
            self.causes["document: quotes"] += meaning != entry.value
            self.causes["document: continued"] += "\n" in value

    def check_edit(self, store):
        """Sets the last key: one line changes, or its value continues."""
        code, _, line = store.run("set", self.copy).strip().partition(" ")
        if not code:
            return
        before = store.path.read_bytes().split(b"\n")
        after = self.copy.read_bytes().split(b"\n")
        if code == MALFORMED:
            self.causes["set: continued"] += 1
            self.expect(before, after, "the lines after a refusal")
            self.expect(True, before[int(line) - 1][:1] in (b" ", b"\t"),
                        "a continued value")
            return
        self.edits += 1
        self.expect(DONE, code, "the result of Set()")
        self.expect(len(before), len(after), "the number of lines")
        changed = [new for old, new in zip(before, after) if old != new]
        self.expect(1, len(changed), "the number of changed lines")
        self.expect(True, b"another value" in changed[0], "the changed line")

    def report(self):
        """Prints the table and the failures; returns whether there were any."""
        print(f"{self.files:6}  files")
        print(f"{self.keys:6}  keys of the store compared")
        print(f"{self.document_keys:6}  keys of the document compared")
        print(f"{self.edits:6}  last keys set, one line changed by each")
        print("differences:")
        for cause, meaning in RULES.items():
            print(f"{self.causes[cause]:6}  {meaning}")
        if self.files < MIN_FILES:
            self.failures.append(f"too few files: {MIN_FILES} were expected")
        print(f"{len(self.failures):6}  unexplained")
        for failure in self.failures:
            print(failure, file=sys.stderr)
        return bool(self.failures)


def is_ini(path):
    """Returns whether the first significant line is a header or a key."""
    if path.is_symlink() or not path.is_file():
        return False
    if not FILE_NAMES.fullmatch(path.name):
        return False
    lines = map(str.strip, path.read_bytes().decode(*ENCODING).split("\n"))
    first = next((line for line in lines if line and line[0] not in "#;"), "[]")
    return path.suffix == ".cnf" or re.match(r"\[|[\w. -]+=", first)


def fetch(folder):
    """Unpacks the packages into the folder "files" and returns it."""
    files = folder / "files"
    got = subprocess.run(["apt-get", "-qq", "-o", "APT::Sandbox::User=root",
                          "download", *PACKAGES], cwd=folder)
    if got.returncode != 0:
        sys.exit("no packages: was `apt-get update` run?")
    for package in folder.glob("*.deb"):
        subprocess.run(["dpkg-deb", "-x", package, files], check=True)
    return files


def make_git_files(folder):
    """Lets git write two files; returns their paths."""
    def git(*words):
        subprocess.run(["git", *words], cwd=folder, check=True)

    git("init", "-q", "-b", "main", "git")
    config = ["config", "--file", "git/.git/config"]
    git("-C", "git", "remote", "add", "origin", "https://example.org/tool.git")
    git(*config, "--add", "remote.origin.fetch", "+refs/pull/*:refs/pull/*")
    git(*config, "branch.Main.merge", "refs/heads/Main")
    git(*config, "user.name", "A. Body; or # nobody")
    git(*config, "alias.hello", "!echo \"hello\tworld\"")
    modules = ["config", "--file", "git/.gitmodules"]
    git(*modules, "submodule.libs/ini.path", "libs/ini")
    git(*modules, "submodule.libs/ini.url", "../ini.git")
    return [folder / "git/.git/config", folder / "git/.gitmodules"]


def main(program):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        comparison = Comparison(pathlib.Path(program).resolve(), folder)
        files = fetch(folder)
        for path in sorted(filter(is_ini, files.rglob("*"))):
            comparison.check(path, path.relative_to(files), PythonReader)
        for path in make_git_files(folder):
            comparison.check(path, path.relative_to(folder), GitReader)
    return comparison.report()


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
