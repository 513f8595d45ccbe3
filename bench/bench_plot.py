"""bench_plot.py FOLDER HOSTS EXCHANGEFILES MESSAGES: draws how the host scales, one SVG each.

HOSTS and MESSAGES are what scaling-bench printed, EXCHANGEFILES what corvane-bench did.
"""

import math
import os
import statistics
import sys

import bench_table

WIDTH, HEIGHT = 360, 250  # of one panel with its margins
LEFT, RIGHT, TOP, BOTTOM = 58, 12, 46, 62
MOST_DOTS = 30  # a line of more points is drawn without a dot at each
COLORS = ("#2f81c7", "#d9822b")  # these and the grey can be read on white and on black
STYLE = ("text{font:11px sans-serif;fill:#808080}.title{font-size:13px;font-weight:bold}"
         "line{stroke:#808080;stroke-opacity:.3}polyline{fill:none;stroke-width:2}")


def text(x, y, content, anchor="middle", kind=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" class="{kind}">{content}</text>'


def ticks(highest, lowest):
    """Marks of an axis: powers of ten from `lowest` on if it is given, else even steps from 0."""
    if lowest:
        return [10.0 ** power for power in range(math.floor(math.log10(lowest)),
                                                 math.ceil(math.log10(highest)) + 1)]
    step = 10 ** math.floor(math.log10(highest))
    step = next(step * factor for factor in (0.2, 0.5, 1, 2) if highest / step / factor <= 6)
    return [step * i for i in range(math.ceil(highest / step) + 1)]


def panel(left, title, below, labels, lines, logarithmic=False):
    """Lines, by name, over steps that stand side by side, some of them without a label; None where
    nothing was measured."""
    values = [value for line in lines.values() for value in line if value is not None]
    marks = ticks(max(values), min(values) if logarithmic else None)
    scale = math.log10 if logarithmic else float

    def x(i):
        return left + LEFT + (WIDTH - LEFT - RIGHT) * (i + 0.5) / len(labels)

    def y(value):
        share = (scale(value) - scale(marks[0])) / (scale(marks[-1]) - scale(marks[0]))
        return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * share

    parts = [text(left + LEFT, 16, title, "start", "title"),
             text(left + (WIDTH + LEFT - RIGHT) / 2, HEIGHT - BOTTOM + 34, below)]
    for mark in marks:
        parts.append(f'<line x1="{left + LEFT}" x2="{left + WIDTH - RIGHT}" '
                     f'y1="{y(mark):.1f}" y2="{y(mark):.1f}"/>')
        parts.append(text(left + LEFT - 6, y(mark) + 4, f"{mark:,.10g}", "end"))
    parts += [text(x(i), HEIGHT - BOTTOM + 17, label) for i, label in enumerate(labels) if label]
    key = left + LEFT
    for color, (name, line) in zip(COLORS, lines.items()):
        points = [(x(i), y(value)) for i, value in enumerate(line) if value is not None]
        parts.append('<polyline stroke="{}" points="{}"/>'.format(
            color, " ".join(f"{at:.1f},{height:.1f}" for at, height in points)))
        if len(points) <= MOST_DOTS:
            parts += [f'<circle cx="{at:.1f}" cy="{height:.1f}" r="3" fill="{color}"/>'
                      for at, height in points]
        if len(lines) > 1:
            parts.append(f'<circle cx="{key + 4}" cy="31" r="4" fill="{color}"/>')
            parts.append(text(key + 12, 35, name, "start"))
            key += 24 + 6 * len(name)
    return parts


def write(path, panels):
    """`panels` are the arguments of `panel` but the first."""
    width = WIDTH * len(panels)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {HEIGHT}" '
             f'width="{width}" height="{HEIGHT}">', f"<style>{STYLE}</style>"]
    for i, arguments in enumerate(panels):
        parts += panel(i * WIDTH, *arguments)
    parts += [text(width - RIGHT, HEIGHT - 8, machine(), "end"), "</svg>"]
    with open(path, "w") as file:
        file.write("\n".join(parts) + "\n")


def machine():
    with open("/proc/cpuinfo") as file:
        lines = [line.partition(":") for line in file]
    facts = {name.strip(): value.strip() for name, _, value in lines}
    kind = "virtual machine" if "hypervisor" in facts.get("flags", "").split() else "machine"
    model = facts.get("model name", os.uname().machine)
    return f"{kind} with {os.cpu_count()} processors, {model}, {sys.platform.capitalize()}"


def numbers(path):
    with open(path) as file:
        return [[float(word) for word in line.split()] for line in file]


def byte_count(count):
    for unit in ("B", "KB", "MB"):
        if count < 1000 or unit == "MB":
            return f"{count:.0f} {unit}"
        count /= 1000


def draw_hosts(path, source):
    counts, rates, medians, slow = zip(*numbers(source))
    below, labels = "hosts on one link, a request at a time from each", [f"{n:.0f}" for n in counts]
    write(path, [("requests per second, all together", below, labels, {"": rates}),
                 ("answer, milliseconds", below, labels,
                  {"median": [one / 1000 for one in medians],
                   "99 of 100 are quicker": [one / 1000 for one in slow]}, True)])


def draw_exchange_files(path, source):
    panels = {}
    for name, _, ours, floor in bench_table.read(source):
        operation, size = name.removeprefix("scaling ").removesuffix(" MB below").split(", ")
        below = "MB of older records, on disk, one processor"
        panel_of = panels.setdefault(operation, (
            f"{operation} a record, microseconds", below, [],
            {"host": [], "C, the same system calls": []}))
        panel_of[2].append(size)
        for line, values in zip(panel_of[3].values(), (ours, floor)):
            line.append(statistics.median(values))
    write(path, panels.values())


def draw_messages(path, source):
    rows = numbers(source)
    ours, floor = ([row[column] / 1000 if column < len(row) else None for row in rows]
                   for column in (1, 2))
    write(path, [("answer to one message, milliseconds", "length of the message, one processor",
                  [byte_count(row[0]) for row in rows],
                  {"host": ours, "C echo, sends it back": floor}, True)])


def main(folder, hosts, exchange_files, messages):
    os.makedirs(folder, exist_ok=True)
    draw_hosts(f"{folder}/hosts.svg", hosts)
    draw_exchange_files(f"{folder}/exchange-files.svg", exchange_files)
    draw_messages(f"{folder}/messages.svg", messages)


if __name__ == "__main__":
    main(*sys.argv[1:])
