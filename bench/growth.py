"""How cost grows with size: measures it, and draws the table and the plot of docs/performance.md."""

import math
import os

from file_rows import load_cost
from process_rows import fill_device
from rows import Options
from tools import Crowd, costed, device, enter, function_rounds, median
from trace_rows import LARGE_PIPE, command_of, feed, traced_device

DOCS = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "docs")
BEGIN = "<!-- bench/run --growth writes what follows -->\n"
END = "<!-- and nothing behind this line -->\n"
COLOURS = ["#1b6ca8", "#c0392b", "#27813b", "#8e44ad", "#b9770e", "#16888a", "#444444"]


def both(rounds):
    """Our median and the floor's."""
    return tuple(median(side) for side in zip(*rounds))


def crowd_cost(what):
    def cost(options, size):
        with Crowd(what, size) as crowd:
            return both(function_rounds(options, what, crowd.enter)[0])
    return cost


def rest_cost(**fixed):
    """Of a device of `fixed`, but for the one value that is None and grows."""
    def cost(options, size):
        sizes = {name: size if value is None else value for name, value in fixed.items()}
        with device(sizes["cpus"]) as made:
            fill_device(made, **sizes)
            return both(function_rounds(options, "rest", enter(made))[0])
    return cost


def trace_cost(options, size):
    costs = []
    for _ in range(options.rounds if size < 10**6 else 1):
        with traced_device(write_file=True, pipe_size=LARGE_PIPE) as made, \
                costed(command_of("sched")) as (measured, cost):
            feed(made, "sched", size, measured)
            costs.append(cost().cpu)
    return median(costs), None


def cache_cost(options, size):
    return median(load_cost(size, options.rounds)), None


# What grows, up to how much, and who measures it.
SERIES = [
    ("processes", "a snapshot of them", (100, 300, 1000, 3000, 10000), crowd_cost("processes")),
    ("threads", "a snapshot of them", (100, 300, 1000, 3000, 10000), crowd_cost("threads")),
    ("CPUs", "the rest of a snapshot", (1, 4, 16, 64, 128), rest_cost(cpus=None, interfaces=5, disks=2)),
    ("interfaces", "the rest of a snapshot", (1, 10, 30, 100, 300), rest_cost(cpus=2, interfaces=None, disks=2)),
    ("block devices", "the rest of a snapshot", (1, 10, 100, 1000), rest_cost(cpus=2, interfaces=5, disks=None)),
    ("trace lines", "a measurement with --systrace", (10**4, 10**5, 10**6, 10**7), trace_cost),
    ("cache lines", "loading the inode cache", (10**4, 10**5, 10**6), cache_cost),
]


def exponent(points):
    """Of the power of the size by which the cost grows in the upper half of the sizes."""
    upper = points[min(len(points) // 2, len(points) - 2):]
    (size, cost), (last_size, last_cost) = upper[0], upper[-1]
    return f"{math.log(last_cost / cost) / math.log(last_size / size):.2f}" if cost is not None else "-"


def table(measured):
    lines = ["| what grows | what costs | CPU time in ms, at a size | exponent | the floor's |",
             "|---|---|---|---|---|"]

    def milliseconds(cost):
        return f"{cost * 1000:,.0f}" if cost >= 0.1 else f"{cost * 1000:.3g}"
    for name, what, points in measured:
        costs = ", ".join(f"{milliseconds(ours)} at {size:,}" for size, ours, _ in points)
        lines.append(f"| {name} | {what} | {costs} | {exponent([(size, ours) for size, ours, _ in points])} "
                     f"| {exponent([(size, floor) for size, _, floor in points])} |")
    return "\n".join(lines) + "\n"


def plot(measured):
    """Both axes logarithmic: a straight line of slope one is a cost that grows as the size does."""
    width, height, left, bottom, top = 760, 480, 70, 50, 20
    plot_width, plot_height = 500, height - bottom - top
    sizes = [size for *_, points in measured for size, *_ in points]
    costs = [ours * 1000 for *_, points in measured for _, ours, _ in points]

    def decades(values):
        return math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    (x_low, x_high), (y_low, y_high) = decades(sizes), decades(costs)

    def x(size):
        return left + (math.log10(size) - x_low) / max(x_high - x_low, 1) * plot_width

    def y(cost):
        return top + (y_high - math.log10(cost)) / max(y_high - y_low, 1) * plot_height
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           'font-family="sans-serif" font-size="12">', f'<rect width="{width}" height="{height}" fill="white"/>']
    for power in range(x_low, x_high + 1):
        at = x(10**power)
        out.append(f'<line x1="{at:.1f}" y1="{top}" x2="{at:.1f}" y2="{top + plot_height}" stroke="#ddd"/>'
                   f'<text x="{at:.1f}" y="{height - bottom + 18}" text-anchor="middle">{10**power:,}</text>')
    for power in range(y_low, y_high + 1):
        at = y(10.0**power)
        out.append(f'<line x1="{left}" y1="{at:.1f}" x2="{left + plot_width}" y2="{at:.1f}" stroke="#ddd"/>'
                   f'<text x="{left - 6}" y="{at + 4:.1f}" text-anchor="end">{10.0**power:g}</text>')
    out.append(f'<text x="{left + plot_width / 2}" y="{height - 10}" text-anchor="middle">size</text>'
               f'<text x="16" y="{top + plot_height / 2}" text-anchor="middle" '
               f'transform="rotate(-90 16 {top + plot_height / 2})">CPU time in ms</text>')
    for number, (name, _, points) in enumerate(measured):
        colour = COLOURS[number % len(COLOURS)]
        line = " ".join(f"{x(size):.1f},{y(cost * 1000):.1f}" for size, cost, _ in points)
        out.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>')
        out += [f'<circle cx="{x(size):.1f}" cy="{y(cost * 1000):.1f}" r="3" fill="{colour}"/>'
                for size, cost, _ in points]
        out.append(f'<text x="{left + plot_width + 20}" y="{top + 20 + 20 * number}" fill="{colour}">{name}'
                   '</text>')
    return "\n".join(out) + "\n</svg>\n"


def draw(short):
    options = Options(short, functions=False)
    options.rounds = 1 if short else 5
    measured = []
    for name, what, sizes, cost in SERIES:
        points = []
        for size in sizes[:2] if short else sizes:
            points.append((size, *cost(options, size)))
            print(f"{name:16}{size:>10}{points[-1][1] * 1000:>12.3f} ms", flush=True)
        measured.append((name, what, points))
    if short:
        table(measured), plot(measured)
        return
    kernel = os.uname()
    machine = f"Measured on {kernel.machine}, Linux {kernel.release.split('-')[0]}, {os.cpu_count()} CPUs.\n"
    page = os.path.join(DOCS, "performance.md")
    with open(page) as text:
        head, rest = text.read().split(BEGIN)
        tail = rest.split(END)[1]
    with open(page, "w") as out:
        out.write(f"{head}{BEGIN}\n{machine}\n{table(measured)}\n![cost against size](growth.svg)\n\n{END}{tail}")
    with open(os.path.join(DOCS, "growth.svg"), "w") as out:
        out.write(plot(measured))
