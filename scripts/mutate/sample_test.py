"""Tests of the sample of a seed."""

import pathlib
import tempfile
import unittest

import sample
from rules import Mutant

MUTANT = Mutant("f.cc", 2, "constant", "  return 1;", "  return 2;")
LISTED = sample.equivalents("# path ~ before ~ after ~ reason\n\nf.cc ~ return 1; ~ return 2; ~ why\n")


def lines(text):
    """Returns a reader of a project whose files all have the text."""
    return lambda _path: text


class SampleTest(unittest.TestCase):
    def test_a_seed_draws_the_same_changes_each_time(self):
        everything = [Mutant("f.cc", line, "constant", "1", "2") for line in range(100)]
        drawn = sample.drawn(everything, 10, 7)
        self.assertEqual(len(drawn), 10)
        self.assertEqual(drawn, sample.drawn(everything, 10, 7))
        self.assertNotEqual(drawn, sample.drawn(everything, 10, 8))
        self.assertEqual(len(sample.drawn(everything, 200, 7)), 100)

    def test_what_is_saved_is_loaded(self):
        trials = [sample.Trial(MUTANT, "killed", "f_test", 1.5), sample.Trial(MUTANT)]
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "2-7.json"
            sample.save(path, trials)
            self.assertEqual(sample.load(path), trials)

    def test_a_killed_change_is_not_tried_again_and_a_survivor_is(self):
        read = lines("int f() {\n  return 1;\n}")
        for fate in ("killed", "not compiled"):
            trial = sample.Trial(MUTANT, fate)
            self.assertEqual(sample.updated(trial, set(), read), trial)
        for fate in ("", "survived", "timed out", "equivalent"):
            self.assertEqual(sample.updated(sample.Trial(MUTANT, fate), set(), read),
                             sample.Trial(MUTANT))

    def test_a_listed_change_is_equivalent(self):
        trial = sample.updated(sample.Trial(MUTANT), LISTED, lines("  return 1;"))
        self.assertEqual(trial.fate, "equivalent")

    def test_a_line_that_moved_is_found_again(self):
        trial = sample.updated(sample.Trial(MUTANT), set(), lines("  return 1;\n\n\n  return 1;"))
        self.assertEqual((trial.fate, trial.mutant.line), ("", 1))

    def test_a_line_that_was_changed_is_gone(self):
        trial = sample.updated(sample.Trial(MUTANT), set(), lines("  return 3;"))
        self.assertEqual(trial.fate, "gone")


if __name__ == "__main__":
    unittest.main()
