"""Reports lines and branches by folder, and fails if too few are reached.

usage: coverage_report.py LCOV JSON SHOWN UNREACHED UNTAKEN

The first three are what llvm-cov exports in these formats, and shows as text. A
place in the sources is one line, or one branch, however many instances of a
template or objects have it: what one of them reaches is reached. A condition is two
branches; one that the compiler decides is none. The branches that no run took are
written to UNTAKEN.

Every line must be reached but for those that UNREACHED lists, one in each line,
as `path | text of the line | reason`: a line keeps its entry when others move
it. `path | first ... last | reason` lists each run of lines that begins and ends
so, and `path | * | reason` the whole file. An entry without a line fails too.
"""

import collections
import json
import os
import re
import sys

LEAST_BRANCHES = 0.98


def read_lines(lcov):
    """Returns the number of runs of each line, by path and line."""
    runs = {}
    path = None
    for record in lcov:
        kind, _, rest = record.rstrip("\n").partition(":")
        if kind == "SF":
            path = os.path.relpath(rest)
        elif kind == "DA":
            line, count = rest.split(",")[:2]
            key = path, int(line)
            runs[key] = max(runs.get(key, 0), int(count))
    return runs


def read_branches(report):
    """Returns how often each branch was taken; a template's instances together."""
    taken = collections.Counter()
    for file in report["data"][0]["files"]:
        path = os.path.relpath(file["filename"])
        for line, column, end, last, yes, no, *_ in file["branches"]:
            for side, count in ((True, yes), (False, no)):
                taken[path, line, column, end, last, side] += count
    return taken


def read_decided(shown):
    """Returns where a condition begins that the compiler decides: path, line and column."""
    decided = set()
    path = None
    for text in shown:
        if text.startswith("/") and text.endswith(":\n"):
            path = os.path.relpath(text[:-2])
        elif found := re.search(r"Branch \((\d+):(\d+)\): \[Folded", text):
            decided.add((path, int(found[1]), int(found[2])))
    return decided


def read_unreached(path):
    """Returns the listed lines: path, text and reason."""
    entries = []
    with open(path, encoding="utf-8") as listing:
        for number, line in enumerate(listing, 1):
            if not line.strip() or line.startswith("#"):
                continue
            parts = [part.strip() for part in line.split(" | ")]
            if len(parts) != 3 or not all(parts):
                sys.exit(f"{path}:{number}: expected path | text | reason")
            entries.append(tuple(parts))
    return entries


class Sources:
    """The lines of the project's files."""

    def __init__(self):
        self.texts = {}

    def lines(self, path):
        if path not in self.texts:
            try:
                with open(path, encoding="utf-8") as source:
                    self.texts[path] = [line.strip() for line in source]
            except FileNotFoundError:
                self.texts[path] = []
        return self.texts[path]

    def line(self, path, number):
        return self.lines(path)[number - 1]

    def has_code(self, path, number):
        """Returns whether the line has more than brackets, which go with the next."""
        return bool(self.line(path, number).strip("{}();, "))


def lines_of_entry(text, lines):
    """Returns the numbers of the lines, from 1, that an entry's text means."""
    first, _, last = text.partition(" ... ")
    numbers = []
    within = False
    for number, line in enumerate(lines, 1):
        within = within or line == first or text == "*"
        if within:
            numbers.append(number)
        within = within and text != "*" and last != "" and line != last
    return numbers


def listed_lines(entries, sources):
    """Returns the listed lines: path and number."""
    return {(path, number) for path, text, _ in entries
            for number in lines_of_entry(text, sources.lines(path))}


def faults_in(runs, entries, sources):
    """Returns what is wrong: lines not reached, and entries without a line."""
    listed = listed_lines(entries, sources)
    faults = [f"{path}: listed, but there is no such line: {text}"
              for path, text, _ in entries if not lines_of_entry(text, sources.lines(path))]
    faults += [
        f"{path}:{number}: not reached: {sources.line(path, number)}"
        for (path, number), count in sorted(runs.items())
        if count == 0 and (path, number) not in listed
    ]
    return faults


def is_a_choice(text, is_true_side):
    """Returns whether a run can decide the branch.

    A switch counts the values that it has no case for, as if it were true; one
    over an enumeration has none.
    """
    return not (is_true_side and text.startswith("switch ("))


def is_ours(path):
    """Returns whether the file is a source, and none that the build makes."""
    return not path.startswith(("build/", "../", "/"))


def folder_of(path):
    return "/".join(path.split("/")[:2]) if path.count("/") > 1 else path.split("/")[0]


def print_table(runs, taken):
    """Prints the reached lines and taken branches of each folder."""
    rows = collections.defaultdict(lambda: [0, 0, 0, 0])
    for (path, _), count in runs.items():
        for row in (rows[folder_of(path)], rows["all"]):
            row[0] += count > 0
            row[1] += 1
    for (path, *_), count in taken.items():
        for row in (rows[folder_of(path)], rows["all"]):
            row[2] += count > 0
            row[3] += 1
    for name in sorted(rows, key=lambda name: (name == "all", name)):
        lines, all_lines, branches, all_branches = rows[name]
        print(f"{name:20} lines {lines:6}/{all_lines:<6} {lines / max(all_lines, 1):7.2%}"
              f"  branches {branches:6}/{all_branches:<6} {branches / max(all_branches, 1):7.2%}")
    return rows["all"]


def write_untaken(path, taken, sources):
    """Writes the branches that no run took, one in each line."""
    with open(path, "w", encoding="utf-8") as listing:
        for (name, line, column, *_, side), count in sorted(taken.items()):
            if count == 0:
                print(f"{name}:{line}:{column}: never {str(side).lower()}: "
                      f"{sources.line(name, line)}", file=listing)


def main():
    lcov, report, shown, unreached, untaken = sys.argv[1:]
    with open(lcov, encoding="utf-8") as lines:
        runs = read_lines(lines)
    with open(report, encoding="utf-8") as branches:
        taken = read_branches(json.load(branches))
    with open(shown, encoding="utf-8", errors="replace") as text:
        decided = read_decided(text)
    sources = Sources()
    runs = {place: count for place, count in runs.items()
            if is_ours(place[0]) and sources.has_code(*place)}
    entries = read_unreached(unreached)
    listed = listed_lines(entries, sources)
    taken = {place: count for place, count in taken.items()
             if is_ours(place[0]) and place[:2] not in listed and place[:3] not in decided
             and is_a_choice(sources.line(*place[:2]), place[-1])}
    write_untaken(untaken, taken, sources)
    faults = faults_in(runs, entries, sources)
    _, _, branches, all_branches = print_table(runs, taken)
    if branches < LEAST_BRANCHES * all_branches:
        faults.append(f"fewer than {LEAST_BRANCHES:.0%} of the branches are taken; see {untaken}")
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
