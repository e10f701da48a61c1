"""The sample of a seed, and the file that keeps what has become of it."""

import dataclasses
import json
import os
import random

from rules import Mutant

# A change with one of these fates is not tried again.
SETTLED = ("killed", "not compiled")


@dataclasses.dataclass
class Trial:
    """A change, what became of it, which tests saw it, and how long that took."""

    mutant: Mutant
    fate: str = ""
    seen_by: str = ""
    seconds: float = 0


def drawn(everything, count, seed):
    """Returns the sample of the seed: a file with twice the lines has twice the chance."""
    return [Trial(m) for m in random.Random(seed).sample(everything, min(count, len(everything)))]


def equivalents(text):
    """Returns the listed changes: path, line before and line after."""
    listed = set()
    for line in text.split("\n"):
        if line.strip() and not line.startswith("#"):
            path, before, after, _reason = (part.strip() for part in line.split(" ~ "))
            listed.add((path, before, after))
    return listed


def is_equivalent(mutant, listed):
    return (mutant.path, mutant.before.strip(), mutant.after.strip()) in listed


def relocated(mutant, lines):
    """Returns the change with the number that its line has now, or None if it is gone."""
    numbers = [number for number, line in enumerate(lines, 1) if line == mutant.before]
    if not numbers:
        return None
    nearest = min(numbers, key=lambda number: abs(number - mutant.line))
    return dataclasses.replace(mutant, line=nearest)


def updated(trial, listed, read):
    """Returns the trial as the project is now; without a fate, it has to be tried.

    `listed` are the equivalent changes; `read` returns the text of a file.
    """
    if trial.fate in SETTLED:
        return trial
    if is_equivalent(trial.mutant, listed):
        return Trial(trial.mutant, "equivalent")
    mutant = relocated(trial.mutant, read(trial.mutant.path).split("\n"))
    return Trial(mutant) if mutant else Trial(trial.mutant, "gone")


def save(path, trials):
    """Replaces the file, so that an interruption leaves the old one or the new one."""
    text = "\n".join(json.dumps(dataclasses.asdict(trial)) for trial in trials)
    new = path.with_suffix(".new")
    new.write_text(text + "\n", encoding="utf-8")
    os.replace(new, path)


def load(path):
    trials = []
    for line in path.read_text(encoding="utf-8").splitlines():
        fields = json.loads(line)
        trials.append(Trial(**{**fields, "mutant": Mutant(**fields["mutant"])}))
    return trials
