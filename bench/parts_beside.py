"""parts_beside.py TURNS ROUNDS FILTER OURS OTHER: the parts that FILTER selects, of two builds.

OURS and OTHER are corvane-bench of both builds, run in turns of ROUNDS. Prints rows for
bench_table.py. Names lose the sizes at their ends, which builds may differ in.
"""

import collections
import re
import subprocess
import sys


def rows(program, rounds, selection):
    run = subprocess.run([program, rounds, f"--benchmark_filter={selection}",
                          "--benchmark_min_time=0.002"], check=True, capture_output=True,
                         text=True, timeout=180)
    for line in run.stdout.splitlines():
        name, unit, values, _ = line.split("\t")
        yield (re.sub(r", \d+ bytes$", "", name), unit), values.split()


def main(turns, rounds, selection, *programs):
    measured = [collections.defaultdict(list) for _ in programs]
    for _ in range(int(turns)):
        for values_of, program in zip(measured, programs):
            for row, values in rows(program, rounds, selection):
                values_of[row] += values
    ours, other = measured
    for row in ours:
        print(*row, " ".join(ours[row]), " ".join(other[row]), sep="\t")


main(*sys.argv[1:])
