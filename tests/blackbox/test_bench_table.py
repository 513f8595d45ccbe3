"""What the table of the benchmarks makes of the values of the rounds."""

import contextlib
import io
import json
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
        with contextlib.redirect_stdout(io.StringIO()) as shown:
            bench_table.show(table)
        self.assertRegex(shown.getvalue(), r"slow +3\.00 +1\.00 +us +3\.00 +ratio <= 1\.5 +missed")
        self.assertIn("3 targets, 2 missed", shown.getvalue())
        with self.assertRaises(SystemExit):
            judged([slow], "ratio <= 1.5 slwo\n")

    def test_beside_another_build(self):
        with tempfile.TemporaryDirectory() as folder:
            result, targets, rows = (f"{folder}/{name}" for name in ("result", "targets", "rows"))
            with open(targets, "w") as file:
                file.write("ratio <= 1.05 one request\n")
            with open(rows, "w") as file:
                file.write("one request\tus\t30 33 \t20 22 \nthreads\t\t4 \t5 \n")
            with contextlib.redirect_stdout(io.StringIO()) as shown:
                bench_table.main(result, targets, rows, "../old/bin")
            with open(result) as file:
                table = json.load(file)
        self.assertRegex(shown.getvalue(), r"^ours: .*; beside: \.\./old/bin\n")
        self.assertRegex(shown.getvalue(), r"\n.* ours +beside +ratio ")
        self.assertRegex(shown.getvalue(), r"one request +31\.50 +21\.00 +us +1\.50 .* missed")
        self.assertEqual([(row["ours"], row["beside"], row["ratio"]) for row in table],
                         [(31.5, 21.0, 1.5), (4.0, 5.0, 0.8)])
        self.assertNotIn("floor", table[0])
