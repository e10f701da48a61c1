"""Judges the INI store by the configuration files of real programs.

    real_files_test.py PROGRAM

Downloads Debian packages into a temporary folder, without installing any, and
reads the INI files inside them twice: with PROGRAM (real_files_dump) and with a
second reader, Python's configparser or, for its own files, git. Each difference
must have one of the causes in RULES, or the test fails.
"""

import collections
import configparser
import json
import pathlib
import re
import subprocess
import sys
import tempfile

PACKAGES = """
    avahi-daemon bluez colord cups-browsed fail2ban gdm3 gedit git
    hicolor-icon-theme lightdm mariadb-common mariadb-server mate-terminal
    mercurial-common mumble-server mysql-common network-manager php8.2-cli
    php8.2-common php8.2-fpm pulseaudio rsync samba-common supervisor systemd tlp
    tuned udev xrdp xterm
""".split()

FILE_NAMES = re.compile(r"""
    (php\.ini | smb\.conf).* | .*git-?config.* | \.gitmodules
    | .*\.(cnf | conf | desktop | example | ini | link | local | mount | network
           | path | plugin | rc | service | slice | socket | target | theme
           | timer)
    """, re.VERBOSE)
FEWEST_FILES = 50

# The causes that a difference may have, and what is counted of each.
RULES = {
    "refused": "files with a header without ], which cannot be loaded",
    "lost value": "lines that begin with =, saved as a header",
    "moved": "keys in another section once saved, below a line that is no line",
    "disabled": "keys of which a disabled line comes first: the store finds that",
    "duplicate": "keys given twice: the store finds the first, not the last",
    "continued": "values with indented lines, of which the store has the first",
    "swallowed": "keys of the store that are such an indented line",
    "bare": "keys without =, which the store has not",
    "quotes": "values of which git leaves out quotes, escapes and comments",
}

ENCODING = ("ascii", "surrogateescape")  # A character for each byte.
ACTIVE = " "

Record = collections.namedtuple("Record", "comments mark section key value")


class Store:
    """The store's reading of a file, through real_files_dump."""

    def __init__(self, program, path):
        self.program = program
        self.path = path

    def run(self, command, *words, text=""):
        return subprocess.run([self.program, command, self.path, *words],
                              input=text.encode(*ENCODING), capture_output=True)

    def lines(self, *words, **options):
        done = self.run(*words, **options)
        assert done.returncode == 0, done.stderr
        return [json.loads(line) for line in done.stdout.splitlines()]

    def records(self):
        return [Record(*fields) for fields in self.lines("load")]

    def values(self, places):
        """GetValue() for each section and key, in a dictionary."""
        text = "".join(f"{section}\n{key}\n" for section, key in places)
        return dict(zip(places, self.lines("values", text=text), strict=True))


class PythonReader:
    """A file as configparser reads it: values by section and key."""

    def __init__(self, text):
        lists = []

        class Options(dict):  # Keeps the lines of values given again later, too.
            def __setitem__(self, key, value):
                if isinstance(value, list):
                    lists.append(value)
                super().__setitem__(key, value)

        parser = configparser.RawConfigParser(
            dict_type=Options, allow_no_value=True, delimiters=("=",),
            comment_prefixes=("#", ";"), strict=False, default_section=None,
            empty_lines_in_values=False)
        parser.optionxform = str
        nowhere = "keys before any header"
        try:
            parser.read_file([f"[{nowhere}]", *text.split("\n")])
        except configparser.ParsingError as error:  # All else was read.
            self.refused = [eval(line) for _, line in error.errors]
        self.values = {
            ("" if section == nowhere else section, key): value
            for section in parser.sections()
            for key, value in parser.items(section)}
        self.continuations = {line for value in lists for line in value[1:]}

    def name(self, record):
        return record.section, record.key

    def meaning(self, value):
        return value
