"""Changes the sources a little, one change at a time, and runs the tests that
should see it. A change that none of them sees, a survivor, shows what no test
checks.

usage: mutate.py [COUNT [SEED]]

The sample of COUNT changes (default 60) is that of the seed, which is printed.
build/mutate/COUNT-SEED.json keeps what has become of each: the same command
continues an interrupted run, and tries the survivors again. equivalent.txt lists
the changes that no test can see. The environment variable JOBS is the number of
changes that are tried at once (default 1).

A copy of the project in build/mutate is changed, never the project itself.
"""

import collections
import concurrent.futures
import difflib
import os
import random
import re
import shutil
import sys
import threading
import time
from pathlib import Path

import plan
import rules
import sample
import sandbox

HERE = Path(__file__).resolve().parent
NOT_MUTATED = re.compile(r"(_test|_testing|_fuzz|_benchmark|_model|_unlisted|_mistaken|_misread)\.cc$"
                         r"|benchmark|testing|make_documents|real_files")
LONGEST_TEST = 60  # Seconds; a batch that takes longer is left out.


def text_of(path):
    """Returns a text of the copy: the project may be edited in the meantime."""
    return (sandbox.TREE / path).read_text(encoding="utf-8")


def all_mutants(files):
    return [mutant for path in sorted(files)
            if path.endswith(".cc") and re.match("fairlead/|tool/", path)
            and not NOT_MUTATED.search(path)
            for mutant in rules.mutants_of_file(path, text_of(path))]


class Tests:
    """The test programs, and how long each batch of them takes without a change."""

    def __init__(self):
        self.programs = plan.programs_of_tree(sandbox.TREE)
        self._seconds = {}  # By batch; None if it fails.

    def batches_for(self, path):
        return plan.batches_for(path, self.programs, text_of)

    def seconds(self, batch):
        """Returns what the batch takes, or None if it fails without a change.

        Two threads may measure the same batch; either result will do.
        """
        if batch not in self._seconds:
            self._seconds[batch] = self._measure(batch)
            if self._seconds[batch] is None:
                print(f"left out: {batch.program.path()} {batch.filter} fails, or takes more than "
                      f"{LONGEST_TEST} s, without a change", flush=True)
        return self._seconds[batch]

    @staticmethod
    def _measure(batch):
        for _ in range(2):
            with sandbox.Layer(f"unchanged-{threading.get_ident()}") as layer:
                start = time.monotonic()
                status = layer.run_tests(batch, LONGEST_TEST)
                if status == 0:
                    return time.monotonic() - start
                if status is None:
                    return None
        return None


def verdict(layer, batch, usual_seconds):
    """Returns what the tests say of a change: "passed", "killed" or "timed out".

    Two failures are needed, as a busy machine may cause one. An endless loop uses up
    the processor's time, which does not depend on what else runs; a test that waits
    in vain runs out of time.
    """
    for _ in range(2):
        status = layer.run_tests(batch, 8 + 4 * usual_seconds, int(3 + 3 * usual_seconds))
        if status is None:
            return "timed out"
        if status == 0:
            return "passed"
    return "killed"


def fate_of(layer, mutant, tests):
    """Returns what becomes of the change, and which tests saw it."""
    is_tool = mutant.path.startswith("tool/")
    if not layer.build("fairlead_tool" if is_tool else "fairlead"):
        return "not compiled", ""
    for batch in tests.batches_for(mutant.path):
        usual_seconds = tests.seconds(batch)
        if usual_seconds is None:
            continue
        # The documents that some programs need are made by the changed tool.
        if not layer.build(batch.program.name):
            return "killed", "the build"
        result = verdict(layer, batch, usual_seconds)
        if result != "passed":
            return result, batch.program.path()
    return "survived", ""


def changed_lines(mutant):
    lines = text_of(mutant.path).split("\n")
    lines[mutant.line - 1] = mutant.after
    return lines


def attempt(trial, tests):
    """Tries a change, and notes its fate."""
    start = time.monotonic()
    with sandbox.Layer(str(id(trial))) as layer:
        layer.write(trial.mutant.path, "\n".join(changed_lines(trial.mutant)))
        trial.fate, trial.seen_by = fate_of(layer, trial.mutant, tests)
    trial.seconds = round(time.monotonic() - start, 1)
    return trial


def report(trial):
    mutant = trial.mutant
    print(f"{trial.fate:12} {mutant.path}:{mutant.line} {mutant.rule} {trial.seen_by} "
          f"{trial.seconds} s", flush=True)
    if trial.fate == "survived":
        print("\n".join(difflib.unified_diff(
            text_of(mutant.path).split("\n"), changed_lines(mutant),
            mutant.path, mutant.path, lineterm="", n=2)), flush=True)


def trials_of(count, seed, kept):
    """Returns the sample, with what is known of it from an earlier run."""
    if kept.exists():
        trials = sample.load(kept)
    else:
        trials = sample.drawn(all_mutants(sandbox.tracked_files()), count, seed)
    listed = sample.equivalents((HERE / "equivalent.txt").read_text(encoding="utf-8"))
    return [sample.updated(trial, listed, text_of) for trial in trials]


def run_all(todo, jobs, tests, note):
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for future in concurrent.futures.as_completed(
                pool.submit(attempt, trial, tests) for trial in todo):
            note(future.result())


def summary(trials):
    """Returns the numbers of each fate, and the share of the changes that were killed."""
    fates = collections.Counter(trial.fate or "not tried" for trial in trials)
    seen = fates["killed"] + fates["survived"]
    seconds = sum(trial.seconds for trial in trials) / max(sum(t.seconds > 0 for t in trials), 1)
    numbers = ", ".join(f"{number} {fate}" for fate, number in sorted(fates.items()))
    return (f"{numbers}; {fates['killed'] / max(seen, 1):.1%} of those that tests may see "
            f"were killed; {seconds:.1f} s each")


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 60
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.randrange(1_000_000)
    jobs = int(os.environ.get("JOBS", "1"))
    print(f"seed {seed}", flush=True)
    shutil.rmtree(sandbox.WORK / "layers", ignore_errors=True)
    sandbox.update_copy(sandbox.tracked_files())
    kept = sandbox.WORK / f"{count}-{seed}.json"
    trials = trials_of(count, seed, kept)
    sandbox.configure()
    tests = Tests()
    if not sandbox.build_copy([program.name for program in tests.programs]):
        sys.exit("the project does not build without a change")

    def note(trial):
        report(trial)
        sample.save(kept, trials)

    run_all([trial for trial in trials if not trial.fate], jobs, tests, note)
    # What ran out of time may have had too little of a busy machine: once more, alone.
    late = [trial for trial in trials if trial.fate == "timed out"]
    run_all(late, 1, tests, note)
    for trial in late:
        trial.fate = trial.fate.replace("timed out", "killed")
    sample.save(kept, trials)
    print(f"{summary(trials)}; seed {seed}")
    sys.exit(1 if any(trial.fate == "survived" for trial in trials) else 0)


if __name__ == "__main__":
    main()
