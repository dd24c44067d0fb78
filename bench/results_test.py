"""The joining and judging of the report, on rounds with known times."""

import json
import unittest
from pathlib import Path

from results import (
    Limit, Results, Target, fastest, parse_name, ratio_of, read_targets, row_of, rows_of,
    targets_without_rows,
)  # fmt: skip


def entry(name, nanoseconds, **counters):
    return {"name": name, "cpu_time": nanoseconds, "time_unit": "ns", **counters}


def run(*entries, **context):
    return json.dumps({"context": context, "benchmarks": list(entries)})


def results_of(*runs):
    results = Results()
    for text in runs:
        results.add_run(text)
    return results


def target(against, ratio, workload="w", size=".*", reason=""):
    return Target(workload, size, against, ratio, reason)


class Name(unittest.TestCase):
    def test_is_workload_peer_and_size(self):
        self.assertEqual(parse_name("string.copy/ours/20"), ("string.copy", "ours", 20))

    def test_may_have_what_google_benchmark_adds(self):
        self.assertEqual(parse_name("a/b/1/iterations:7/threads:2"), ("a", "b", 1))

    def test_of_another_form_is_none(self):
        for name in ("a/b", "a/b/c", "a/b/1/c", ""):
            self.assertIsNone(parse_name(name), name)


class Joining(unittest.TestCase):
    def test_collects_the_rounds_of_both_programs_by_workload_and_size(self):
        results = results_of(
            run(entry("w/ours/1", 10), entry("w/ours/2", 20)),
            run(entry("w/std/1", 5)),
            run(entry("w/ours/1", 12), entry("w/ours/2", 22)),
            run(entry("w/std/1", 6)),
        )
        self.assertEqual(results.times["w", 1], {"ours": [10, 12], "std": [5, 6]})
        self.assertEqual(results.times["w", 2], {"ours": [20, 22]})

    def test_brings_all_times_to_nanoseconds(self):
        for unit, nanoseconds in (("ns", 3), ("us", 3000), ("ms", 3000000), ("s", 3000000000)):
            results = results_of(run({"name": "w/ours/1", "cpu_time": 3, "time_unit": unit}))
            self.assertEqual(results.times["w", 1]["ours"], [nanoseconds])

    def test_refuses_a_name_that_it_cannot_join(self):
        with self.assertRaisesRegex(ValueError, "w_ours"):
            results_of(run(entry("w_ours", 1)))

    def test_refuses_a_benchmark_that_failed(self):
        failed = {"error_occurred": True, "error_message": "no file"}
        with self.assertRaisesRegex(ValueError, "no file"):
            results_of(run(entry("w/ours/1", 1, **failed)))

    def test_of_a_run_without_a_selected_name_adds_nothing(self):
        self.assertEqual(results_of("", "\n").times, {})

    def test_keeps_the_counters_of_ours_and_no_other(self):
        results = results_of(run(entry("w/ours/1", 1, peak=4.5, threads=1, iterations=9)),
                             run(entry("w/std/1", 1, peak=9)))  # fmt: skip
        self.assertEqual(results.counters, {("w", 1): {"peak": 4.5}})

    def test_adds_the_counts_to_the_counters(self):
        results = results_of(run(entry("w/ours/1", 1, peak=4.5)))
        results.add_counts("w/ours/1\t1\t2.5\nw/bound.design/1\t7\t7\nv/ours/9\t0\t0\n")
        self.assertEqual(results.counters["w", 1], {"peak": 4.5, "allocs": 1, "atomics": 2.5})
        self.assertEqual(results.counters["v", 9], {"allocs": 0, "atomics": 0})

    def test_names_the_absent_peers(self):
        self.assertEqual(
            results_of(run(), run(absent_peers="QT ISAL")).absent_peers, {"QT", "ISAL"}
        )


class Comparing(unittest.TestCase):
    def test_takes_the_median_of_the_ratios_within_the_rounds(self):
        # The machine is four times slower in the last round; the ratio stays.
        self.assertEqual(ratio_of([10, 11, 40], [5, 5, 20]), 2)

    def test_takes_the_fastest_peer_by_its_median(self):
        times = {"ours": [1, 1, 1], "a": [9, 5, 1], "b": [4, 4, 9]}
        self.assertEqual(fastest(times, lambda peer: True), "b")
        self.assertEqual(fastest(times, lambda peer: peer == "a"), "a")
        self.assertIsNone(fastest(times, lambda peer: False))


class Judging(unittest.TestCase):
    def setUp(self):
        self.results = results_of(
            run(entry("w/ours/10", 12), entry("w/ours/100", 30)),
            run(entry("w/a/10", 10), entry("w/b/10", 8), entry("w/bound.least/10", 6)),
        )
        self.results.add_counts("w/ours/10\t1\t2\n")

    def row(self, *targets):
        return row_of(self.results, targets, "w", 10)

    def only_limit(self, against, ratio):
        (limit,) = self.row(target(against, ratio)).limits
        return limit

    def test_takes_no_bound_for_the_best_peer(self):
        row = self.row()
        self.assertEqual((row.ours, row.best, row.best_time, row.ratio), (12, "b", 8, 1.5))
        self.assertEqual(row.bounds, {"bound.least": 2})
        self.assertEqual((row.limits, row.status), ([], "no limit"))
        self.assertEqual(self.only_limit("best", 1).against, "b")

    def test_meets_a_limit_that_it_just_reaches(self):
        self.assertEqual(self.row(target("b", 1.5)).status, "met")
        self.assertEqual(self.row(target("b", 1.49)).status, "MISSED")

    def test_misses_when_one_of_its_limits_is_missed(self):
        row = self.row(target("b", 1.5), target("a", 1), target("bound[.]least", 3))
        self.assertEqual([limit.met for limit in row.limits], [True, False, True])
        self.assertEqual(row.status, "MISSED")

    def test_takes_the_fastest_of_the_peers_that_a_pattern_names(self):
        limit = self.only_limit("a|b|c", 1)
        self.assertEqual((limit.against, limit.ratio, limit.allowed), ("b", 1.5, 8))

    def test_may_hold_a_bound_against_it(self):
        limit = self.only_limit(r"bound\.least", 1.1)
        self.assertEqual((limit.against, limit.ratio), ("bound.least", 2))
        self.assertAlmostEqual(limit.allowed, 6.6)

    def test_does_not_take_a_name_for_its_beginning(self):
        self.assertIsNone(self.only_limit("bound", 1).ratio)

    def test_may_hold_another_size_of_ours_against_it(self):
        row = row_of(self.results, [target("ours@10", 2, size="100")], "w", 100)
        self.assertEqual((row.limits[0].ratio, row.status), (2.5, "MISSED"))

    def test_may_hold_a_counter_to_a_value(self):
        self.assertEqual(self.only_limit("counter:atomics", 2).met, True)
        self.assertEqual(self.only_limit("counter:atomics", 0).met, False)
        self.assertEqual(self.only_limit("counter:allocs", 0.5).ratio, 1)

    def test_says_that_it_does_not_know_where_the_peer_is_absent(self):
        self.assertEqual(self.row(target("c", 1)).status, "unknown")
        self.assertEqual(self.only_limit("counter:peak", 1).met, None)

    def test_judges_by_the_limits_that_are_known(self):
        self.assertEqual(self.row(target("c", 1), target("b", 2)).status, "met")

    def test_shows_a_workload_that_only_peers_have(self):
        row = row_of(results_of(run(entry("v/a/1", 7))), [target("a", 1, "v")], "v", 1)
        self.assertEqual((row.ours, row.best, row.ratio, row.status), (None, "a", None, "not ours"))


class Order(unittest.TestCase):
    def test_is_worst_first_by_the_limit_that_is_strained_most(self):
        results = results_of(
            run(*(entry(f"{name}/ours/1", 10) for name in "near far free alone zero".split())),
            run(*(entry(f"{name}/a/1", 5) for name in ("near", "far", "free"))),
        )
        results.add_counts("zero/ours/1\t0\t1\n")
        targets = [
            target("a", 1.9, "near"),
            target("a", 4, "near"),
            target("a", 1, "far"),
            target("counter:atomics", 0, "zero"),
        ]
        rows = rows_of(results, targets)
        self.assertEqual([row.workload for row in rows], ["zero", "far", "near", "free", "alone"])

    def test_of_a_counter_that_must_be_zero_and_is_puts_it_behind_all(self):
        self.assertEqual(Limit(target("counter:atomics", 0), "atomics", 0).strain, 0)


class Targets(unittest.TestCase):
    def test_are_read_without_comments_and_empty_lines(self):
        lines = ["# x\n", "workload,size,against,ratio,reason\n", "\n", 'a|b,1,c,0.5,"Yes, so."\n']
        self.assertEqual(read_targets(lines), [Target("a|b", "1", "c", 0.5, "Yes, so.")])

    def test_cover_whole_names_only(self):
        self.assertTrue(target("best", 1, "a[.]b", "1|10").covers("a.b", 10))
        for name, size in (("a.b.c", 1), ("x.a.b", 1), ("a.b", 100)):
            self.assertFalse(target("best", 1, "a[.]b", "1|10").covers(name, size), (name, size))

    def test_without_a_row_of_ours_are_told(self):
        results = results_of(run(entry("w/ours/1", 1)), run(entry("v/a/1", 1)))
        there, gone = target("a", 1), target("a", 1, "v")
        self.assertEqual(targets_without_rows(results, [there, gone]), [gone])

    def test_of_the_project_can_be_read_and_each_has_a_ratio(self):
        with open(Path(__file__).parent / "targets.csv", encoding="utf-8") as lines:
            targets = read_targets(lines)
        self.assertGreater(len(targets), 30)
        for one in targets:
            self.assertGreaterEqual(one.ratio, 0 if one.against.startswith("counter:") else 0.05)


if __name__ == "__main__":
    unittest.main()
