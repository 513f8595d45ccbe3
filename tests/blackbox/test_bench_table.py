"""What the table of the benchmarks makes of the values of the rounds."""

import tempfile
import unittest

import bench_table


def judged(table, targets):
    with tempfile.NamedTemporaryFile("w") as file:
        file.write(targets)
        file.flush()
        return bench_table.judge(table, file.name)


class BenchTableTest(unittest.TestCase):
    def test_row_compares_round_by_round(self):
        # The last round was slow for both; the ratio of the medians would be 10 / 4.
        row = bench_table.row("a", "us", [8.0, 10.0, 80.0], [4.0, 2.0, 40.0])
        self.assertEqual((row["ours"], row["floor"], row["ratio"]), (10.0, 4.0, 2.0))
        self.assertEqual(row["quartiles"], [2.0, 3.5])
        with self.assertRaises(ValueError):  # a round of one of them is missing
            bench_table.row("a", "us", [1.0, 2.0], [1.0])

    def test_targets(self):
        slow = bench_table.row("slow", "us", [3.0], [1.0])
        rate = bench_table.row("rate", "/s", [36.0], [100.0])
        alone = bench_table.row("alone", "MB", [2.0], [])
        free = bench_table.row("free", "us", [1.0], [])
        targets = "# none\n\nratio <= 1.5 slow\nratio >= 0.35 rate\nours < 2.0 alone\n"
        table = judged([free, slow, rate, alone], targets)
        self.assertEqual([(row["name"], row.get("met")) for row in table],
                         [("slow", False), ("rate", True), ("alone", False), ("free", None)])
        with self.assertRaises(SystemExit):
            judged([slow], "ratio <= 1.5 slwo\n")
