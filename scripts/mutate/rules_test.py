"""Tests of the rules of mutation."""

import unittest

import rules


def changed(line, previous=""):
    """Returns the mutants of a line as text."""
    return [mutant.after for mutant in rules.mutants_of_line("f.cc", 1, line, previous)]


class RulesTest(unittest.TestCase):
    def test_an_operator_becomes_its_neighbour(self):
        self.assertEqual(changed("  return a <= b;"), ["  return a < b;"])
        self.assertEqual(changed("  x = a && b;"), ["  x = a || b;"])
        self.assertEqual(changed("  x = a % b;"), ["  x = a * b;"])

    def test_each_operator_of_a_line_changes_alone(self):
        self.assertEqual(changed("  return a == b || c != d;"),
                         ["  return a != b || c != d;", "  return a == b && c != d;",
                          "  return a == b || c == d;"])

    def test_a_number_becomes_both_neighbours_but_not_negative(self):
        self.assertEqual(changed("  x = 7;"), ["  x = 8;", "  x = 6;"])
        self.assertEqual(changed("  x = 0;"), ["  x = 1;"])

    def test_an_octal_number_stays_octal(self):
        self.assertEqual(changed("  x = 0600;"), ["  x = 0601;", "  x = 0577;"])

    def test_a_number_within_a_name_or_another_number_is_none(self):
        self.assertEqual(changed("  x = aes128;"), [])
        self.assertEqual(changed("  x = 1.5;"), [])
        self.assertEqual(changed("  x = 86'400;"), [])

    def test_a_condition_is_negated_and_never_true(self):
        self.assertEqual(changed("  if (done) return;"),
                         ["  if (!(done)) return;", "  if (false && (done)) return;"])
        self.assertEqual(changed("  while (more) Step();"), ["  while (!(more)) Step();"])

    def test_a_condition_with_an_initialiser_is_left_alone(self):
        self.assertEqual(changed("  if (auto x = F(); x) return;"), [])

    def test_a_statement_that_is_a_call_is_removed(self):
        self.assertEqual(changed("  Flush(file);", "  Open();"), ["  ;"])
        self.assertEqual(changed("  list.clear();", "{"), ["  ;"])

    def test_the_rest_of_a_statement_is_not_removed(self):
        self.assertEqual(changed("      Name(file));", "  Call(a,"), [])
        self.assertEqual(changed("      Name(file);", "  return a +"), [])

    def test_a_bool_becomes_the_other(self):
        self.assertEqual(changed("  bool done = false;"), ["  bool done = true;"])

    def test_literals_comments_and_includes_are_left_alone(self):
        for line in ('  Write("a == 1");', "  // a == 1", '#include "a1.h"', "  c = '<';",
                     "  static_assert(a == 1);", "using A = B<1>;"):
            self.assertEqual(changed(line, "  return a +"), [], line)

    def test_brackets_of_a_template_are_no_operators(self):
        self.assertEqual(changed("  std::vector<std::vector<int>> x;"), [])

    def test_the_text_around_the_change_is_kept(self):
        self.assertEqual(changed('  Write("==", a == b);', "  return a +"), ['  Write("==", a != b);'])

    def test_a_file_has_its_lines_numbered_from_one(self):
        found = rules.mutants_of_file("f.cc", "int f() {\n  return 1;\n}\n")
        self.assertEqual([(mutant.line, mutant.after) for mutant in found],
                         [(2, "  return 2;"), (2, "  return 0;")])


if __name__ == "__main__":
    unittest.main()
