"""How the report shows numbers, rows, pages and the chart."""

import unittest
from xml.etree import ElementTree

import render
from results import Limit, Results, Row, Target


def row(status_ratio=None, **values):
    made = Row("w", 8, ours=30.0, best="std", best_time=20.0, ratio=1.5)
    if status_ratio is not None:
        made.limits = [Limit(Target("w", "8", "std", status_ratio, "Because."), "std", 1.5, 26.0)]
    for name, value in values.items():
        setattr(made, name, value)
    return made


class Number(unittest.TestCase):
    def test_has_three_digits(self):
        shown = [render.significant(n) for n in (0, 0.01234, 0.5, 9.876, 12.34, 99.96, 1234.5)]
        self.assertEqual(shown, ["0", "0.0123", "0.500", "9.88", "12.3", "100.0", "1234"])

    def test_of_a_time_has_its_unit(self):
        shown = [render.time_text(n) for n in (None, 1.5, 999, 1500, 2e6, 3e9, 4e12)]
        self.assertEqual(
            shown, ["-", "1.50 ns", "999 ns", "1.50 µs", "2.00 ms", "3.00 s", "4000 s"]
        )


    def test_of_calls_is_whole_unless_it_is_small(self):
        shown = [render.count_text(n) for n in (None, 0, 2, 1.5, 99.994, 123.4, 1462670.0)]
        self.assertEqual(shown, ["-", "0", "2", "1.50", "99.99", "123", "1,462,670"])


class Line(unittest.TestCase):
    def test_shows_ours_the_best_and_each_limit(self):
        self.assertEqual(
            render.cells_of(row(1.3, bounds={"bound.design": 1.1, "bound.memcpy": 3})),
            ["w/8", "30.0 ns", "std 20.0 ns", "1.50", "1.50 of 1.3 × std MISSED", "MISSED",
             "1.10 × design, 3.00 × memcpy"],
        )

    def test_without_peer_or_limit_has_dashes(self):
        lonely = row(best=None, best_time=None, ratio=None)
        self.assertEqual(
            render.cells_of(lonely), ["w/8", "30.0 ns", "-", "-", "-", "no limit", "-"]
        )

    def test_says_that_a_limit_was_not_measured(self):
        limit = Limit(Target("w", "8", "isal", 1.3), "isal")
        self.assertEqual(render.limit_text(limit), "not measured of 1.3 × isal")

    def test_shows_a_counter_without_a_peer(self):
        limit = Limit(Target("w", "8", "counter:peak", 6), "peak", 7.5)
        self.assertEqual(render.limit_text(limit), "peak 7.50 of 6 MISSED")


class Reasons(unittest.TestCase):
    def test_are_those_of_the_limits_missed_with_their_rows(self):
        rows = [row(1.3), row(1.2, size=9), row(2.0, size=10)]
        self.assertEqual(render.reasons_of(rows), ["w/8, w/9: Because."])


class Page(unittest.TestCase):
    def test_is_replaced_between_the_marks_only(self):
        page = "Before\n" + render.BEGIN + "old\n" + render.END + "After\n"
        self.assertEqual(
            render.put_between_marks(page, "new\n"),
            "Before\n" + render.BEGIN + "new\n" + render.END + "After\n",
        )

    def test_without_marks_is_all_new(self):
        self.assertEqual(
            render.put_between_marks("", "new\n"), render.BEGIN + "new\n" + render.END
        )

    def test_shows_what_was_measured_and_what_was_not(self):
        results = Results()
        results.absent_peers = {"QT"}
        results.counters = {("w", 8): {"allocs": 1.0, "atomics": 2.0}}
        gone = Target("v", ".*", "isal", 1.3)
        page = render.markdown(results, [row(1.3)], [gone], {("w", 8): 41.4}, "A machine.")
        for part in (
            "A machine.",
            "0 rows within their limits, 1 beyond.",
            "Absent peers: QT.",
            "No benchmark was run for the limit of 1.3 × isal on v/.*.",
            "| w/8 | 30.0 ns | std 20.0 ns | 1.50 | 1.50 of 1.3 × std MISSED | MISSED | - |",
            "- w/8: Because.",
            "| w/8 | 1 | 2 | 41.40 |",
        ):
            self.assertIn(part, page)

    def test_and_text_have_no_counters_that_were_not_counted(self):
        shown = render.text(Results(), [row()], [], {})
        self.assertNotIn("Per operation", shown)
        self.assertIn("w/8", shown)


class Chart(unittest.TestCase):
    def elements(self, rows, kind):
        root = ElementTree.fromstring(render.chart(rows))
        return list(root.iter("{http://www.w3.org/2000/svg}" + kind))

    def test_has_a_bar_per_row_that_has_a_peer(self):
        rows = [row(1.3), row(2.0), row(), row(best=None, ratio=None)]
        fills = [bar.get("fill") for bar in self.elements(rows, "rect")]
        self.assertEqual(fills, ["white", "#c62828", "#2e7d32", "#757575"])

    def test_has_a_scale_that_holds_all_bars_and_ticks(self):
        texts = [text.text for text in self.elements([row(1.3), row(ratio=0.2)], "text")]
        self.assertEqual(texts[2:7], ["1/8", "1/4", "1/2", "1", "2"])

    def test_has_a_tick_where_the_tightest_limit_lies(self):
        self.assertEqual(render.tick_of(row(1.3)), 1.3)
        self.assertIsNone(render.tick_of(row()))

    def test_grows_to_the_right_of_one_when_ours_is_slower_and_to_the_left_when_faster(self):
        _, slower, faster = self.elements([row(ratio=4.0), row(ratio=0.25)], "rect")
        self.assertAlmostEqual(
            float(faster.get("x")) + float(faster.get("width")), float(slower.get("x")), places=1
        )


if __name__ == "__main__":
    unittest.main()
