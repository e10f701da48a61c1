"""Tests of the choice of tests for a change."""

import unittest

import plan

LISTING = """
target_sources(fairlead PRIVATE crc.cc)
fairlead_test(crc_test)
fairlead_test(bits_tests PRIVATE_PARTS LABELS threads
  SOURCES
    bitstr_test.cc
    converter_test.cc)
fairlead_test(long_test COMMAND TIMEOUT 300 LABELS slow threads)
fairlead_test(broken_test COMMAND LABELS faults
  SOURCES broken_test.cc)
"""
FAST = plan.Program("fairlead/bits", "bits_tests", ("bitstr_test.cc", "converter_test.cc"))
SLOW = plan.Program("fairlead/bits", "long_test", ("long_test.cc",), is_slow=True)
USER = plan.Program("tool/values", "values_tests", ("sum_command_test.cc",))
OTHER = plan.Program("fairlead/net", "net_tests", ("bitstr_test.cc",))
SUITES = {"fairlead/bits/bitstr_test.cc": "TEST(BitstrTest, A) {}\n",
          "fairlead/bits/converter_test.cc": "TEST_P(ConverterTest, A) {}\n",
          "fairlead/bits/long_test.cc": "TEST(LongTest, A) {}\n",
          "tool/values/sum_command_test.cc": "TEST(SumTest, A) {}\n"}


class PlanTest(unittest.TestCase):
    def test_a_listing_defines_programs_of_one_source_or_several(self):
        programs = plan.programs_of_listing("fairlead/bits", LISTING)
        self.assertEqual([(p.name, p.sources, p.is_slow) for p in programs],
                         [("crc_test", ("crc_test.cc",), False),
                          ("bits_tests", ("bitstr_test.cc", "converter_test.cc"), False),
                          ("long_test", ("long_test.cc",), True)])

    def test_a_test_is_of_the_source_whose_name_it_begins_with(self):
        self.assertTrue(plan.is_test_of("crc_test.cc", "fairlead/bits/crc.cc"))
        self.assertTrue(plan.is_test_of("crc_runs_test.cc", "fairlead/bits/crc.cc"))
        self.assertTrue(plan.is_test_of("converter_test.cc", "fairlead/bits/converter_digits.cc"))
        self.assertFalse(plan.is_test_of("bitstr_test.cc", "fairlead/bits/crc.cc"))
        self.assertFalse(plan.is_test_of("crc_testing.cc", "fairlead/bits/crc.cc"))

    def test_suites_are_found_in_every_form_once(self):
        self.assertEqual(
            plan.suites_of("TEST(B, One) {\nTEST(B, Two) {\nTEST_F(A, One) {\nTEST_P(\n    C, One) {"),
            ["A", "B", "C"])

    def test_the_own_tests_are_first_and_the_slow_ones_last(self):
        batches = plan.batches_for("fairlead/bits/converter_digits.cc", [SLOW, OTHER, USER, FAST],
                                   SUITES.get)
        self.assertEqual(batches, [plan.Batch(FAST, "*ConverterTest.*"), plan.Batch(FAST),
                                   plan.Batch(USER), plan.Batch(SLOW)])

    def test_a_program_of_own_tests_alone_runs_once_before_others_as_slow(self):
        other = plan.Program("fairlead/bits", "slow_test", ("slow_test.cc",), is_slow=True)
        self.assertEqual(plan.batches_for("fairlead/bits/long.cc", [other, SLOW], SUITES.get),
                         [plan.Batch(SLOW), plan.Batch(other)])

    def test_slow_tests_of_another_folder_are_left_out(self):
        slow = plan.Program("tool/values", "sums_test", ("sums_test.cc",), is_slow=True)
        self.assertEqual(plan.batches_for("fairlead/bits/crc.cc", [USER, slow], SUITES.get),
                         [plan.Batch(USER)])

    def test_a_source_without_own_tests_has_those_of_its_folder(self):
        self.assertEqual(plan.batches_for("fairlead/bits/crc.cc", [FAST, USER, OTHER], SUITES.get),
                         [plan.Batch(FAST), plan.Batch(USER)])


if __name__ == "__main__":
    unittest.main()
