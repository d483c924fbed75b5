#!/usr/bin/env python3
"""What fails a run of the benchmarks: collect_test.py RESULTS doctors the results of one that passed."""

import copy
import json
import sys
import unittest

import collect


class Failures(unittest.TestCase):
    def setUp(self):
        with open(RESULTS, encoding="utf-8") as file:
            self.rows = json.load(file)["rows"]
        self.doctored = copy.deepcopy(self.rows)

    def row(self, what):
        return next(row for row in self.doctored if row["what"] == what)

    def test_the_run_itself_passes(self):
        self.assertEqual(collect.failures(self.rows, self.rows), [])

    def test_a_missed_count_fails(self):
        self.row("stop: instructions").update(ours=100_000, met=False)
        self.assertEqual(len(collect.failures(self.doctored)), 1)

    def test_a_known_miss_that_grows_fails(self):
        self.row("handle, assign another: instructions")["ours"] += 1
        self.assertEqual(len(collect.failures(self.doctored)), 1)

    def test_a_known_miss_that_is_met_fails(self):
        self.row("handle, assign another: instructions")["met"] = True
        self.assertEqual(len(collect.failures(self.doctored)), 1)

    def test_a_changed_count_is_told(self):
        self.row("stop: instructions")["ours"] += 1
        self.assertEqual(len(collect.failures(self.doctored, self.rows)), 1)

    def test_a_changed_time_is_not(self):
        self.row("stop: time")["ours"] *= 2
        self.assertEqual(collect.failures(self.doctored, self.rows), [])


if __name__ == "__main__":
    RESULTS = sys.argv.pop(1)
    unittest.main()
