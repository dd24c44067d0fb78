"""How the report selects what it runs."""

import re
import unittest

import report


class Selection(unittest.TestCase):
    def test_of_names_takes_these_and_no_other(self):
        pattern = re.compile(report.exactly(["a.b/ours/1", "a.b/c++/10"]))
        for name in ("a.b/ours/1", "a.b/c++/10"):
            self.assertTrue(pattern.search(name), name)
        for name in ("a.b/ours/10", "a-b/ours/1", "xa.b/ours/1", "a.b/c/10"):
            self.assertFalse(pattern.search(name), name)


class Hottest(unittest.TestCase):
    def test_are_ten(self):
        self.assertEqual(len({(workload, size) for workload, size, _ in report.HOTTEST}), 10)

    def test_are_counted_at_two_numbers_of_as_many_digits(self):
        for _, _, n in report.HOTTEST:
            self.assertEqual(len(str(n)), len(str(2 * n)))


if __name__ == "__main__":
    unittest.main()
