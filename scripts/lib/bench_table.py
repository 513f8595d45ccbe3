"""bench_table.py RESULT TARGETS ROWS: makes one table of what the benchmarks measured.

ROWS holds lines of a name, a unit, our values and the floor's, one for each round, tabs and spaces
between. TARGETS says what rows are held against. Prints the table and writes it to RESULT as JSON.
"""

import json
import operator
import statistics
import sys

RELATIONS = {"<": operator.lt, "<=": operator.le, ">=": operator.ge}
SMALLER = {"us": ("ns", 1000), "MB": ("kB", 1000)}
LARGER = {"us": ("ms", 1000), "/s": ("k/s", 1000)}


def read(path):
    """Names, units and the values of the rounds, ours and the floor's."""
    with open(path) as file:
        lines = [line.rstrip("\n").split("\t") for line in file]
    return [(name, unit, [float(value) for value in ours.split()],
             [float(value) for value in floor.split()]) for name, unit, ours, floor in lines]


def row(name, unit, ours, floor):
    """Medians over the rounds; of the ratios of the rounds the quartiles too."""
    made = {"name": name, "unit": unit, "rounds": len(ours), "ours": statistics.median(ours),
            "floor": None, "ratio": None, "quartiles": None}
    if floor:
        # A clock that stood still, as that of a virtual machine can, makes no ratio.
        ratios = [one / other for one, other in zip(ours, floor, strict=True) if other > 0]
        made["floor"] = statistics.median(floor)
        made["ratio"] = statistics.median(ratios)
        if len(ratios) > 1:
            made["quartiles"] = statistics.quantiles(ratios, n=4, method="inclusive")[::2]
    return made


def judge(table, path):
    """Adds the targets, each of which must have its row, and moves those rows to the top."""
    by_name = {row["name"]: row for row in table}
    with open(path) as file:
        lines = [line.split(None, 3) for line in file if line.strip() and line[0] != "#"]
    for column, relation, bound, name in lines:
        row = by_name.get(name.strip())
        if row is None:
            sys.exit(f"{path}: nothing measured \"{name.strip()}\"")
        row["target"] = f"{column} {relation} {bound}"
        row["met"] = RELATIONS[relation](row[column], float(bound))
    held = [by_name[name.strip()] for *_, name in lines]
    return held + [row for row in table if "target" not in row]


def in_readable_unit(row):
    """Both values of a row as texts, and their unit."""
    unit, factor = row["unit"], 1
    values = [value for value in (row["ours"], row["floor"]) if value is not None]
    if 0 < max(values) < 1 and unit in SMALLER:
        unit, factor = SMALLER[unit][0], SMALLER[unit][1]
    elif min(values) >= 10_000 and unit in LARGER:
        unit, factor = LARGER[unit][0], 1 / LARGER[unit][1]
    texts = ["-" if row[one] is None else f"{row[one] * factor:.2f}" for one in ("ours", "floor")]
    return texts + [unit]


def cells(row):
    ratio = "-" if row["ratio"] is None else f"{row['ratio']:.2f}"
    spread = "{:.2f} .. {:.2f}".format(*row["quartiles"]) if row["quartiles"] else ""
    verdict = {True: "met", False: "missed", None: ""}[row.get("met")]
    return [row["name"], *in_readable_unit(row), ratio, spread, row.get("target", ""), verdict]


def show(table):
    heads = ["medians over rounds", "ours", "floor", "", "ratio", "quartiles", "target", ""]
    lines = [cells(row) for row in table]
    held = sum("target" in row for row in table)
    widths = [max(len(line[column]) for line in [heads] + lines) for column in range(len(heads))]
    for line in [heads] + lines[:held] + [[""] * len(heads)] + lines[held:]:
        print("  ".join(f"{cell:>{width}}" if column in (1, 2, 4, 5) else f"{cell:{width}}"
                        for column, (cell, width) in enumerate(zip(line, widths))).rstrip())
    missed = sum(row.get("met") is False for row in table)
    print(f"\n{held} targets, {missed} missed")


def main(result_path, targets_path, rows_path):
    table = judge([row(*values) for values in read(rows_path)], targets_path)
    show(table)
    with open(result_path, "w") as file:
        json.dump(table, file, indent=1)
        file.write("\n")


if __name__ == "__main__":
    main(*sys.argv[1:])
