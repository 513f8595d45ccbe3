"""bench_table.py RESULT ROWS PARTS...: makes one table of what the benchmarks measured.

ROWS holds lines of a name, our time and the floor's in microseconds, tabs between. PARTS are files
that corvane-bench wrote as JSON; what their context has as "note" goes into the names. Prints the
table and writes it to RESULT as JSON.
"""

import json
import sys

NANOSECONDS = 1000.0  # in a microsecond


def parts(path):
    """The medians in the file, each subject with its floor if it has one."""
    with open(path) as file:
        content = json.load(file)
    note = content["context"].get("note")
    ours, floors = {}, {}
    for entry in content["benchmarks"]:
        if "error_occurred" in entry:
            sys.exit(f"{entry['name']}: {entry['error_message']}")
        if entry["aggregate_name"] != "median":
            continue
        words = entry["run_name"].split("/")
        # What runs on one thread and waits for nobody is told by its processor time.
        clock = "real_time" if words[-1] in ("real_time", "manual_time") else "cpu_time"
        subject = [word for word in words if word != "floor" and "_time" not in word]
        name = ", ".join(subject + ([note] if note else []))
        (floors if "floor" in words else ours)[name] = entry[clock] / NANOSECONDS
    return [row(name, ours[name], floors.get(name)) for name in sorted(ours)]


def rows(path):
    with open(path) as file:
        lines = [line.rstrip("\n").split("\t") for line in file]
    return [row(name, float(ours), float(floor)) for name, ours, floor in lines]


def row(name, ours, floor):
    return {"name": name, "unit": "us", "ours": ours, "floor": floor,
            "ratio": ours / floor if floor else None}


def show(table):
    width = max(len(row["name"]) for row in table)
    print(f"{'medians, in microseconds':{width}}  {'ours':>9}  {'floor':>9}  {'ratio':>6}")
    for row in table:
        floor = "-" if row["floor"] is None else f"{row['floor']:.2f}"
        ratio = "-" if row["ratio"] is None else f"{row['ratio']:.2f}"
        print(f"{row['name']:{width}}  {row['ours']:9.2f}  {floor:>9}  {ratio:>6}")


def main(result_path, rows_path, *parts_paths):
    table = [one for path in parts_paths for one in parts(path)] + rows(rows_path)
    show(table)
    with open(result_path, "w") as file:
        json.dump(table, file, indent=1)
        file.write("\n")


main(*sys.argv[1:])
