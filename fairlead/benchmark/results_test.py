"""Tests of the results of the benchmarks, above all of the verdicts."""

import json
import unittest
import xml.dom.minidom

import results


def run(name, cpu, real=0.0, unit="ns", **more):
    return {"run_name": name, "run_type": "iteration", "cpu_time": cpu,
            "real_time": real, "time_unit": unit, **more}


def read(*runs):
    return results.read(json.dumps({"benchmarks": list(runs)}))


class ReadTest(unittest.TestCase):
    def test_names_are_split(self):
        self.assertEqual(results.split("Trim/absl/12"), ("Trim/12", "absl"))
        self.assertEqual(results.split("Read/from_chars"),
                         ("Read", "from_chars"))
        self.assertEqual(results.split("TcpTenIdleSeconds"),
                         ("TcpTenIdleSeconds", "fairlead"))
        self.assertEqual(results.split("LogLine/stdio/4/real_time/threads:4"),
                         ("LogLine/4", "stdio"))
        self.assertEqual(
            results.split("Close/x/8/iterations:300/manual_time"),
            ("Close/8", "x"))

    def test_repetitions_are_kept_in_nanoseconds(self):
        times = read(run("A/fairlead", 2.0), run("A/fairlead", 3.0, unit="us"))
        self.assertEqual(times, {("A", "fairlead"): [2.0, 3000.0]})

    def test_the_clock_counts_only_if_the_benchmark_asks_for_it(self):
        times = read(run("A/x", 2.0, 9.0), run("B/x/real_time", 2.0, 9.0),
                     run("C/x/manual_time", 2.0, 9.0))
        self.assertEqual(times, {("A", "x"): [2.0], ("B", "x"): [9.0],
                                 ("C", "x"): [9.0]})

    def test_aggregates_and_errors_are_left_out(self):
        aggregate = dict(run("A/x", 2.0), run_type="aggregate")
        self.assertEqual(read(aggregate, run("A/x", 1.0, error_occurred=True)),
                         {})

    def test_runs_are_added(self):
        times = {("A", "x"): [1.0]}
        results.add(times, {("A", "x"): [2.0], ("B", "x"): [3.0]})
        self.assertEqual(times, {("A", "x"): [1.0, 2.0], ("B", "x"): [3.0]})


class QualifiedTest(unittest.TestCase):
    def test_names_of_another_program_are_qualified(self):
        others = {("A", "fairlead"): [1.0]}
        times = {("A", "x"): [2.0], ("B", "x"): [3.0]}
        self.assertEqual(results.qualified(times, others, "tables"),
                         {("A (tables)", "x"): [2.0], ("B", "x"): [3.0]})


class SummaryTest(unittest.TestCase):
    def test_names_the_fastest_peer_and_the_limit(self):
        times = {("Log", "fairlead"): [2.0], ("Log", "fairlead_again"): [1.0],
                 ("Log", "glog"): [6.0], ("Log", "spdlog"): [3.0, 3.0, 9.0],
                 ("Log", "bare_writes"): [1.0]}
        self.assertEqual(results.summary(times)[2:],
                         ["| Log | spdlog | 1.50 | bare_writes | 0.50 |"])

    def test_leaves_out_what_has_neither_a_peer_nor_a_limit(self):
        times = {("A", "fairlead"): [2.0], ("B", "fairlead"): [2.0],
                 ("B", "bare_loop"): [1.0], ("C", "glog"): [1.0]}
        self.assertEqual(results.summary(times)[2:],
                         ["| B |  |  | bare_loop | 0.50 |"])


class VerdictTest(unittest.TestCase):
    def test_a_clear_change_has_a_direction(self):
        self.assertEqual(results.verdict([100, 101, 102], [90, 91, 92]),
                         "faster")
        self.assertEqual(results.verdict([90, 91, 92], [100, 101, 102]),
                         "slower")

    def test_equal_times_are_noise(self):
        self.assertEqual(results.verdict([100], [100]), "within noise")
        self.assertEqual(results.verdict([99, 100, 101], [99, 100, 101]),
                         "within noise")

    def test_a_steady_change_of_three_percent_is_noise(self):
        self.assertEqual(results.verdict([100] * 5, [97] * 5), "within noise")
        self.assertEqual(results.verdict([100] * 5, [103] * 5), "within noise")
        self.assertEqual(results.verdict([100] * 5, [96.9] * 5), "faster")
        self.assertEqual(results.verdict([100] * 5, [103.1] * 5), "slower")

    def test_a_change_within_the_spread_is_noise(self):
        before = [80, 90, 100, 110, 120]  # The middle half: 90 to 110.
        self.assertEqual(results.verdict(before, [70, 80, 90, 92, 99]),
                         "within noise")
        self.assertEqual(results.verdict(before, [70, 80, 85, 89, 99]),
                         "faster")
        self.assertEqual(results.verdict(before, [100, 110, 115, 120, 130]),
                         "within noise")
        self.assertEqual(results.verdict(before, [100, 111, 115, 120, 130]),
                         "slower")

    def test_one_slow_repetition_changes_nothing(self):
        self.assertEqual(results.verdict([100] * 7, [90] * 6 + [900]),
                         "faster")
        self.assertEqual(results.verdict([100] * 7, [100] * 6 + [900]),
                         "within noise")


class TextTest(unittest.TestCase):
    TIMES = {("A", "peer"): [30.0], ("A", "fairlead"): [20.0, 20.0],
             ("A", "bare_writes"): [10.0], ("B", "peer"): [5.0]}

    def test_a_table_has_ours_first_and_marks_limits(self):
        self.assertEqual(results.table(self.TIMES)[2:], [
            "| A | fairlead | 20 | 0% | 1.00 |",
            "| A | bare_writes (limit) | 10 | 0% | 0.50 |",
            "| A | peer | 30 | 0% | 1.50 |",
            "| B | peer | 5 | 0% |  |"])

    def test_the_spread_is_a_share_of_the_mean(self):
        self.assertEqual(results.spread([5.0]), 0.0)
        self.assertAlmostEqual(results.spread([90.0, 100.0, 110.0]), 10.0)

    def test_a_comparison_has_our_rows_of_both_revisions(self):
        before = {("A", "fairlead"): [100] * 3, ("A", "peer"): [1],
                  ("A", "fairlead_128_bits"): [10] * 3, ("Old", "fairlead"): [1]}
        after = {("A", "fairlead"): [50] * 3, ("A", "peer"): [2],
                 ("A", "fairlead_128_bits"): [10] * 3, ("New", "fairlead"): [1]}
        self.assertEqual(results.comparison(before, after)[2:], [
            "| A | 100 | 50 | -50% | faster |",
            "| A, fairlead_128_bits | 10 | 10 | +0% | within noise |"])

    def test_a_chart_is_well_formed_and_cuts_long_bars(self):
        times = self.TIMES | {("A", "slow <peer>"): [2000.0]}
        picture = xml.dom.minidom.parseString(results.chart("text", times))
        bars = [rect for rect in picture.getElementsByTagName("rect")
                if rect.getAttribute("class")]
        self.assertEqual([rect.getAttribute("class") for rect in bars],
                         ["ours", "limit", "peer", "peer"])
        self.assertEqual([rect.getAttribute("width") for rect in bars],
                         ["80", "40", "120", "400"])
        self.assertIn("100.00", picture.toxml())


class GrowthTest(unittest.TestCase):
    TIMES = {("GrowthLines/1000", "fairlead"): [2000.0],
             ("GrowthLines/10", "fairlead"): [30.0, 30.0, 90.0],
             ("GrowthKeys/10", "fairlead"): [10.0],
             ("Lines/10", "fairlead"): [1.0]}

    def test_the_cost_of_one_is_by_rising_number(self):
        self.assertEqual(results.growth(self.TIMES),
                         {"Lines": [(10, 3.0), (1000, 2.0)], "Keys": [(10, 1.0)]})

    def test_numbers_are_short(self):
        self.assertEqual([results.short(count) for count in
                          (10, 1000, 1024, 10 ** 6, 10 ** 7)],
                         ["10", "1k", "1024", "1M", "10M"])

    def test_a_line_goes_from_the_first_number_to_the_last(self):
        picture = xml.dom.minidom.parseString(
            results.growth_chart("Growth", self.TIMES))
        lines = picture.getElementsByTagName("polyline")
        self.assertEqual(len(lines), 1)  # None for a single number.
        first, last = lines[0].getAttribute("points").split()
        self.assertEqual(first.split(",")[0], "70")
        self.assertEqual(last.split(",")[0], "330")
        self.assertLess(float(first.split(",")[1]), float(last.split(",")[1]))


if __name__ == "__main__":
    unittest.main()
