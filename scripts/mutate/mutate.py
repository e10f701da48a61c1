"""Changes the sources a little, one change at a time, and runs the tests that
should see it. A change that none of them sees, a survivor, shows what no test
checks.

usage: mutate.py [COUNT [SEED]]

A copy of the project in build/mutate is changed, never the project itself. The
sample of COUNT changes (default 60) is that of the seed, which is printed.
equivalent.txt lists the changes that no test can see.
"""

import collections
import difflib
import os
import random
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

import rules

HERE = Path(__file__).resolve().parent
PROJECT = HERE.parent.parent
WORK = PROJECT / "build" / "mutate"
TREE = WORK / "tree"
BUILD = WORK / "build"

NOT_MUTATED = re.compile(r"(_test|_testing|_fuzz|_benchmark|_model|_unlisted|_mistaken|_misread)\.cc$"
                         r"|benchmark|testing|make_documents|real_files")

# The folders of the tool whose tests also see a folder of the library.
USERS = {
    "fairlead/ini": ["tool/ini"], "fairlead/net": ["tool/exchange"], "fairlead/log": ["tool/log"],
    "fairlead/crypto": ["tool/crypt"], "fairlead/time": ["tool/values"],
    "fairlead/bits": ["tool/values"], "fairlead/text": ["fairlead/ini", "tool/command"],
    "fairlead/cmdline": ["tool/command"],
    "tool/base": ["tool/command", "tool/values"], "tool/io": ["tool/values", "tool/log"],
    "tool/command": ["tool/values", "tool/help", "tool"], "tool/help": ["tool"],
}
LONGEST_TEST = 120  # Seconds; a program that takes longer is left out.
COMPILE_LIMIT = 600  # Seconds, for one change.


def tracked_files():
    listing = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=PROJECT,
                             check=True, capture_output=True, text=True)
    return [path for path in listing.stdout.split("\n") if path and (PROJECT / path).is_file()]


def copy_tree():
    """Makes the copy equal to the project; what is equal keeps its time."""
    files = tracked_files()
    for path in files:
        source, target = PROJECT / path, TREE / path
        if target.exists() and target.read_bytes() == source.read_bytes():
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)
    return files


def sampled_mutants(files, count, seed):
    """Returns the sample: a file with twice the lines has twice the chance."""
    everything = []
    for path in sorted(files):
        if path.endswith(".cc") and re.match("fairlead/|tool/", path) and not NOT_MUTATED.search(path):
            everything += rules.mutants_of_file(path, (PROJECT / path).read_text(encoding="utf-8"))
    return random.Random(seed).sample(everything, min(count, len(everything)))


def equivalents():
    """Returns the listed changes: path, line before and line after."""
    listed = set()
    for line in (HERE / "equivalent.txt").read_text(encoding="utf-8").split("\n"):
        if line.strip() and not line.startswith("#"):
            path, before, after, _reason = (part.strip() for part in line.split(" ~ "))
            listed.add((path, before, after))
    return listed


def configure():
    subprocess.run(
        ["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
         "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -D_GLIBCXX_ASSERTIONS",
         "-DFAIRLEAD_INSTALL=OFF"],
        check=True, stdout=subprocess.DEVNULL)


def programs_by_folder():
    """Returns the names of the test programs, by the folder that defines them.

    The slow ones are the last: they run only if the others see nothing.
    """
    programs = collections.defaultdict(list)
    slow = collections.defaultdict(list)
    for listing in TREE.glob("*/**/CMakeLists.txt"):
        folder = listing.parent.relative_to(TREE).as_posix()
        text = listing.read_text(encoding="utf-8")
        for name, rest in re.findall(r"^fairlead_test\((\w+)([^)]*)\)", text, re.MULTILINE):
            label = re.search(r"LABELS( threads| quick)* (slow|faults)\b", rest)
            if label is None:
                programs[folder].append(name)
            elif label.group(2) == "slow":
                slow[folder].append(name)
    for folder, names in slow.items():
        programs[folder] += names
    return programs


def stages_for(path, programs):
    """Returns the folders whose tests can see a change of the source, in turn."""
    folder = str(Path(path).parent)
    return [f for f in [folder, *USERS.get(folder, [])] if programs[f]]


def build(targets, limit=None):
    """Returns whether the targets could be built, within the seconds."""
    environment = dict(os.environ, CCACHE_DISABLE="1")
    try:
        return subprocess.run(["ninja", "-C", str(BUILD), *targets], env=environment,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=limit, check=False).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def run_program(folder, name, limit):
    """Returns whether the program passes within the seconds."""
    process = subprocess.Popen(
        [str(BUILD / folder / name), "--gtest_brief=1", "--gtest_fail_fast"], cwd=WORK,
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        start_new_session=True)
    try:
        return process.wait(timeout=limit) == 0
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, 9)
        process.wait()
        return False


class Tests:
    """The test programs, and how long each takes without a change."""

    def __init__(self, folders, programs):
        self.limits = {}  # By folder and program.
        names = [name for folder in folders for name in programs[folder]]
        if not build(["fairlead_tool", *names]):
            sys.exit("the project does not build without a change")
        for folder in folders:
            for name in programs[folder]:
                start = time.monotonic()
                if run_program(folder, name, LONGEST_TEST):
                    self.limits[folder, name] = 10 + 5 * (time.monotonic() - start)
                else:
                    print(f"{folder}/{name} fails without a change, and is left out", flush=True)

    def of(self, folder):
        return [name for (f, name) in self.limits if f == folder]

    def passes(self, folder):
        return all(run_program(folder, name, self.limits[folder, name]) for name in self.of(folder))


def fate_of(mutant, stages, tests):
    """Returns what becomes of the change: its fate, and which tests saw it."""
    for folder in stages:
        extra = ["fairlead_tool"] if folder.startswith("tool") else []
        if not build([*tests.of(folder), *extra], COMPILE_LIMIT):
            return "not compiled", ""
        if not tests.passes(folder):
            return "killed", folder
    return "survived", ""


def apply(mutant):
    """Writes the changed source into the copy."""
    lines = (PROJECT / mutant.path).read_text(encoding="utf-8").split("\n")
    lines[mutant.line - 1] = mutant.after
    (TREE / mutant.path).write_text("\n".join(lines), encoding="utf-8")


def show(mutant):
    lines = (PROJECT / mutant.path).read_text(encoding="utf-8").split("\n")
    after = list(lines)
    after[mutant.line - 1] = mutant.after
    print("\n".join(difflib.unified_diff(lines, after, mutant.path, mutant.path, lineterm="", n=2)))


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 60
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.randrange(1_000_000)
    print(f"seed {seed}", flush=True)
    mutants = sampled_mutants(copy_tree(), count, seed)
    listed = equivalents()
    configure()
    programs = programs_by_folder()
    folders = sorted({f for mutant in mutants for f in stages_for(mutant.path, programs)})
    tests = Tests(folders, programs)
    fates = collections.Counter()
    for mutant in mutants:
        if (mutant.path, mutant.before.strip(), mutant.after.strip()) in listed:
            fates["equivalent"] += 1
            continue
        apply(mutant)
        fate, seen_by = fate_of(mutant, stages_for(mutant.path, programs), tests)
        shutil.copy(PROJECT / mutant.path, TREE / mutant.path)
        fates[fate] += 1
        print(f"{fate:12} {mutant.path}:{mutant.line} {mutant.rule} {seen_by}", flush=True)
        if fate == "survived":
            show(mutant)
    seen = fates["killed"] + fates["survived"]
    print(", ".join(f"{number} {fate}" for fate, number in sorted(fates.items())))
    print(f"{fates['killed'] / max(seen, 1):.1%} of those that compiled were killed; seed {seed}")
    sys.exit(1 if fates["survived"] else 0)


if __name__ == "__main__":
    main()
