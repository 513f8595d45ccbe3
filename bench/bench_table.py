"""bench_table.py RESULT TARGETS ROWS [BESIDE]: makes one table of what the benchmarks measured.

ROWS holds lines of a name, a unit, our values and the other ones, one for each round, tabs and
spaces between. The other values are those of the floor or, with BESIDE, of the host at that path.
TARGETS says what rows are held against. Prints the table and writes it to RESULT as JSON.
"""

import json
import operator
import statistics
import sys

RELATIONS = {"<": operator.lt, "<=": operator.le, ">=": operator.ge}
SMALLER = {"us": ("ns", 1000), "MB": ("kB", 1000)}
LARGER = {"us": ("ms", 1000), "/s": ("k/s", 1000)}


def read(path):
    """Names, units and the values of the rounds, ours and the other ones."""
    with open(path) as file:
        lines = [line.rstrip("\n").split("\t") for line in file]
    return [(name, unit, [float(value) for value in ours.split()],
             [float(value) for value in other.split()]) for name, unit, ours, other in lines]


def row(name, unit, ours, other, head="floor"):
    """Medians over the rounds, those of the other values as `head`; of the ratios of the rounds the
    quartiles too."""
    made = {"name": name, "unit": unit, "rounds": len(ours), "ours": statistics.median(ours),
            head: None, "ratio": None, "quartiles": None}
    if other:
        # A clock that stood still, as that of a virtual machine can, makes no ratio.
        ratios = [one / two for one, two in zip(ours, other, strict=True) if two > 0]
        made[head] = statistics.median(other)
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


def in_readable_unit(row, head):
    """Both values of a row as strings, and their unit."""
    unit, factor = row["unit"], 1
    values = [value for value in (row["ours"], row[head]) if value is not None]
    if 0 < max(values) < 1 and unit in SMALLER:
        unit, factor = SMALLER[unit][0], SMALLER[unit][1]
    elif min(values) >= 10_000 and unit in LARGER:
        unit, factor = LARGER[unit][0], 1 / LARGER[unit][1]
    texts = ["-" if row[one] is None else f"{row[one] * factor:.2f}" for one in ("ours", head)]
    return texts + [unit]


def cells(row, head):
    ratio = "-" if row["ratio"] is None else f"{row['ratio']:.2f}"
    spread = "{:.2f} .. {:.2f}".format(*row["quartiles"]) if row["quartiles"] else ""
    verdict = {True: "met", False: "missed", None: ""}[row.get("met")]
    return [row["name"], *in_readable_unit(row, head), ratio, spread, row.get("target", ""), verdict]


def show(table, head="floor"):
    heads = ["medians over rounds", "ours", head, "", "ratio", "quartiles", "target", ""]
    lines = [cells(row, head) for row in table]
    held = sum("target" in row for row in table)
    widths = [max(len(line[column]) for line in [heads] + lines) for column in range(len(heads))]
    for line in [heads] + lines[:held] + [[""] * len(heads)] + lines[held:]:
        print("  ".join(f"{cell:>{width}}" if column in (1, 2, 4, 5) else f"{cell:{width}}"
                        for column, (cell, width) in enumerate(zip(line, widths))).rstrip())
    missed = sum(row.get("met") is False for row in table)
    print(f"\n{held} targets, {missed} missed")


def main(result_path, targets_path, rows_path, beside=None):
    head = "floor" if beside is None else "beside"
    table = judge([row(*values, head) for values in read(rows_path)], targets_path)
    if beside is not None:
        print(f"ours: the host of this build; beside: {beside}\n")
    show(table, head)
    with open(result_path, "w") as file:
        json.dump(table, file, indent=1)
        file.write("\n")


if __name__ == "__main__":
    main(*sys.argv[1:])
