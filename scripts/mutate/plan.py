"""Which tests can see a change of a source, and in which turn they are run."""

import dataclasses
import re
from pathlib import Path

# The folders whose tests run commands, the quickest first.
COMMANDS = ["tool/values", "tool/help", "tool/crypt", "tool/log", "tool/ini", "tool",
            "tool/listen", "tool/exchange"]
# The folders whose tests also see another folder.
USERS = {
    "fairlead/file": ["fairlead/ini", "tool/ini", "tool/crypt"], "fairlead/ini": ["tool/ini"],
    "fairlead/net": ["tool/exchange", "tool/traffic"],
    "fairlead/log": ["tool/log"], "fairlead/crypto": ["tool/crypt"], "fairlead/time": ["tool/values"],
    "fairlead/bits": ["tool/values"], "fairlead/text": ["fairlead/ini", "tool/command"],
    "fairlead/cmdline": ["tool/command"],
    "tool/base": ["tool/command", *COMMANDS], "tool/command": COMMANDS, "tool/io": COMMANDS,
    "tool/crypt": ["tool", "tool/exchange"], "tool/exchange": ["tool"], "tool/help": ["tool"],
    "tool/listen": ["tool", "tool/exchange"],
    "tool/traffic": ["tool/listen", "tool/exchange", "tool"], "tool/ini": ["tool"],
    "tool/log": ["tool/exchange", "tool"], "tool/values": ["tool"],
}
# Slow tests of another folder run for these alone.
SLOW_USERS = {folder: ["tool"]
              for folder in ("tool/command", "tool/exchange", "tool/help", "tool/io", "tool/listen",
                             "tool/traffic")}


@dataclasses.dataclass(frozen=True)
class Program:
    """A test program: its folder, its name and its sources."""

    folder: str
    name: str
    sources: tuple
    is_slow: bool = False

    def path(self):
        return f"{self.folder}/{self.name}"


@dataclasses.dataclass(frozen=True)
class Batch:
    """Tests of a program that are run together: all of them, or those of a filter."""

    program: Program
    filter: str = "*"


def programs_of_listing(folder, text):
    """Returns the test programs that a CMakeLists.txt defines.

    Those whose system calls fail under strace are left out: they take minutes.
    """
    programs = []
    for name, rest in re.findall(r"^fairlead_test\((\w+)([^)]*)\)", text, re.MULTILINE):
        labels = re.search(r"LABELS((?: (?:threads|quick|slow|faults))+)", rest)
        labels = labels.group(1).split() if labels else []
        sources = re.search(r"SOURCES\s+([\w.\s]+)", rest)
        sources = sources.group(1).split() if sources else [f"{name}.cc"]
        if "faults" not in labels:
            programs.append(Program(folder, name, tuple(sources), "slow" in labels))
    return programs


def programs_of_tree(tree):
    """Returns all test programs, in the order of their folders."""
    return [program for listing in sorted(tree.glob("*/**/CMakeLists.txt"))
            for program in programs_of_listing(listing.parent.relative_to(tree).as_posix(),
                                               listing.read_text(encoding="utf-8"))]


def is_test_of(test, source):
    """Returns whether a test's name says that it is one of the source's."""
    subject = Path(test).name.removesuffix(".cc").removesuffix("_test")
    stem = Path(source).stem
    return test.endswith("_test.cc") and (subject.startswith(stem) or stem.startswith(subject))


def suites_of(text):
    """Returns the test suites that a test source defines."""
    return sorted(set(re.findall(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),", text, re.MULTILINE)))


def own_batches(programs, path, read):
    """Returns the tests of the programs that are those of the source."""
    for program in programs:
        own = [test for test in program.sources if is_test_of(test, path)]
        if len(own) == len(program.sources):
            yield Batch(program)
        elif own:
            suites = {suite for test in own
                      for suite in suites_of(read(f"{program.folder}/{test}"))}
            yield Batch(program, ":".join(f"*{suite}.*" for suite in sorted(suites)))


def batches_for(path, programs, read):
    """Returns the tests that can see a change of the source, in turn.

    Its own are the first; the slow ones run only if no other sees anything. `read`
    returns the text of a file.
    """
    folder = str(Path(path).parent)
    stages = [folder, *USERS.get(folder, [])]
    slow_stages = [folder, *SLOW_USERS.get(folder, [])]
    fitting = [p for stage in stages for p in programs
               if p.folder == stage and (not p.is_slow or stage in slow_stages)]
    own = own_batches([p for p in fitting if p.folder == folder], path, read)
    batches = dict.fromkeys([*own, *map(Batch, fitting)])
    return sorted(batches, key=lambda batch: batch.program.is_slow)
