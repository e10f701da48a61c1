"""Tests of the coverage report."""

import tempfile
import unittest

import coverage_report


class Texts:
    """Sources with given lines."""

    def __init__(self, **files):
        self.files = files

    def lines(self, path):
        return self.files.get(path, [])

    def line(self, path, number):
        return self.files[path][number - 1]


class CoverageReportTest(unittest.TestCase):
    def test_a_line_is_reached_if_one_instance_of_it_is(self):
        runs = coverage_report.read_lines(
            [f"SF:{coverage_report.os.getcwd()}/a.h\n", "DA:1,0\n", "DA:1,3\n", "DA:2,0\n"])
        self.assertEqual(runs, {("a.h", 1): 3, ("a.h", 2): 0})

    def test_a_branch_has_two_sides_and_instances_add_up(self):
        file = {"filename": "a.cc", "branches": [[1, 2, 1, 9, 4, 0, 0, 0, 4], [1, 2, 1, 9, 0, 1, 0, 0, 4]]}
        taken = coverage_report.read_branches({"data": [{"files": [file]}]})
        self.assertEqual(sorted(taken.values()), [1, 4])

    def test_a_line_that_is_neither_reached_nor_listed_is_a_fault(self):
        faults = coverage_report.faults_in({("a", 1): 0, ("a", 2): 1}, [], Texts(a=["x();", "y();"]))
        self.assertEqual(faults, ["a:1: not reached: x();"])

    def test_a_listed_line_is_none_wherever_it_is(self):
        entries = [("a", "x();", "why")]
        self.assertEqual(coverage_report.faults_in({("a", 2): 0}, entries, Texts(a=["", "x();"])), [])

    def test_an_entry_without_its_line_is_a_fault(self):
        faults = coverage_report.faults_in({}, [("a", "gone();", "why")], Texts(a=["x();"]))
        self.assertEqual(faults, ["a: listed, but there is no such line: gone();"])

    def test_an_entry_can_list_a_run_of_lines_or_a_file(self):
        lines = ["f() {", "x();", "}", "y();"]
        self.assertEqual(coverage_report.lines_of_entry("f() { ... }", lines), [1, 2, 3])
        self.assertEqual(coverage_report.lines_of_entry("y();", lines), [4])
        self.assertEqual(coverage_report.lines_of_entry("*", lines), [1, 2, 3, 4])
        self.assertEqual(coverage_report.lines_of_entry("z();", lines), [])

    def test_the_values_without_a_case_are_no_branch(self):
        self.assertTrue(coverage_report.is_a_choice("if (x)", True))
        self.assertTrue(coverage_report.is_a_choice("switch (x) {", False))
        self.assertFalse(coverage_report.is_a_choice("switch (x) {", True))

    def test_a_condition_that_the_compiler_decides_is_known(self):
        here = coverage_report.os.getcwd()
        shown = [f"{here}/a.cc:\n", "    3|    2|  if (kBits == 6 && x)\n",
                 "  |  Branch (3:7): [Folded - Ignored]\n", "  |  Branch (3:21): [True: 0, False: 2]\n",
                 f"{here}/b.h:\n", "  |  Branch (12:10): [Folded - Ignored]\n"]
        self.assertEqual(coverage_report.read_decided(shown), {("a.cc", 3, 7), ("b.h", 12, 10)})

    def test_branches_that_no_run_took_are_written(self):
        taken = {("a", 1, 7, 1, 9, True): 0, ("a", 1, 7, 1, 9, False): 3}
        with tempfile.NamedTemporaryFile("r") as listing:
            coverage_report.write_untaken(listing.name, taken, Texts(a=["if (x) y();"]))
            self.assertEqual(listing.read(), "a:1:7: never true: if (x) y();\n")

    def test_an_entry_without_a_reason_is_refused(self):
        with tempfile.NamedTemporaryFile("w") as listing:
            listing.write("a | x();\n")
            listing.flush()
            with self.assertRaises(SystemExit):
                coverage_report.read_unreached(listing.name)


if __name__ == "__main__":
    unittest.main()
