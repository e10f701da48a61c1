"""Results of the benchmarks: tables, verdicts and charts.

A benchmark is named "Group/implementation" or "Group/implementation/argument".
Those with the same group and argument use the same input.
"""

import json
import math
import statistics
from html import escape

OURS = "fairlead"

# What every implementation has to do: no peer, but the lower limit.
LIMITS = frozenset({
    "bare_loop", "bare_socket", "bare_writes", "clock_and_mutex",
    "clock_gettime alone", "localtime_r alone", "mktime alone", "print_alone",
    "read_and_make_records"})

# Smaller changes are called noise, however steady the times are.
LEAST_CHANGE = 0.03

# In the name of a benchmark that measures time on the clock.
CLOCKS = frozenset({"real_time", "manual_time"})

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def split(run_name):
    """Returns "Group/argument" and "implementation"."""
    parts = [part for part in run_name.split("/")
             if part not in CLOCKS and not part.startswith(("threads:", "iterations:"))]
    implementation = parts[1] if len(parts) > 1 else OURS
    return "/".join(parts[:1] + parts[2:]), implementation


def read(text):
    """Returns the nanoseconds of every repetition, by benchmark and
    implementation, from Google Benchmark's JSON.

    Takes processor time, which other processes disturb least, but for
    benchmarks that ask for the time on the clock.
    """
    times = {}
    for run in json.loads(text)["benchmarks"]:
        if run["run_type"] != "iteration" or run.get("error_occurred"):
            continue
        clock = CLOCKS.intersection(run["run_name"].split("/"))
        time = run["real_time" if clock else "cpu_time"]
        times.setdefault(split(run["run_name"]), []).append(
            time * NANOSECONDS[run["time_unit"]])
    return times


def add(times, more):
    """Adds the repetitions of another run of the same program."""
    for name, repetitions in more.items():
        times.setdefault(name, []).extend(repetitions)


def qualified(times, others, program):
    """Returns the times with the program added to the names of benchmarks that
    another program has, too."""
    taken = {name for name, _ in others}
    return {(f"{name} ({program})" if name in taken else name, implementation): values
            for (name, implementation), values in times.items()}


def spread(repetitions):
    """Returns the standard deviation relative to the mean, in percent."""
    if len(repetitions) < 2:
        return 0.0
    return 100 * statistics.stdev(repetitions) / statistics.mean(repetitions)


def table(times):
    """Returns the lines of a table in Markdown, ours first, then the fastest.

    The relative time is that beside ours: above 1, fairlead is faster.
    """
    medians = {name: statistics.median(values) for name, values in times.items()}
    lines = ["| benchmark | implementation | ns | spread | relative time |",
             "|---|---|--:|--:|--:|"]
    for name in sorted(times, key=lambda n: (n[0], n[1] != OURS, medians[n])):
        ours = medians.get((name[0], OURS))
        relative = f"{medians[name] / ours:.2f}" if ours else ""
        limit = " (limit)" if name[1] in LIMITS else ""
        lines.append(f"| {name[0]} | {name[1]}{limit} | {medians[name]:.4g} | "
                     f"{spread(times[name]):.0f}% | {relative} |")
    return lines


def fastest(medians, name, among):
    """Returns the name and the median of the fastest implementation of a benchmark
    among those that `among` accepts, or None."""
    found = [(median, key[1]) for key, median in medians.items()
             if key[0] == name and among(key[1])]
    return min(found)[::-1] if found else None


def summary(times):
    """Returns the lines of a table with the fastest peer of each benchmark, and the
    limit. Above 1, fairlead is faster."""
    medians = {name: statistics.median(values) for name, values in times.items()}
    lines = ["| benchmark | fastest peer | beside fairlead | limit | beside fairlead |",
             "|---|---|--:|---|--:|"]
    for name in sorted({key[0] for key in medians if key[1] == OURS}):
        ours = medians[(name, OURS)]
        columns = [name]
        for among in (lambda n: n not in LIMITS and not n.startswith(OURS),
                      lambda n: n in LIMITS):
            best = fastest(medians, name, among)
            columns += [best[0], f"{best[1] / ours:.2f}"] if best else ["", ""]
        if any(columns[1:]):
            lines.append(f"| {' | '.join(columns)} |")
    return lines


def quartiles(repetitions):
    if len(repetitions) < 2:
        return repetitions[0], repetitions[0]
    low, _, high = statistics.quantiles(repetitions, n=4, method="inclusive")
    return low, high


def verdict(before, after):
    """Returns "faster", "slower" or "within noise".

    A change is more than noise if the medians differ by more than 3% and the
    middle halves of the times do not overlap.
    """
    old = statistics.median(before)
    new = statistics.median(after)
    if (new < old * (1 - LEAST_CHANGE)
            and quartiles(after)[1] < quartiles(before)[0]):
        return "faster"
    if (new > old * (1 + LEAST_CHANGE)
            and quartiles(after)[0] > quartiles(before)[1]):
        return "slower"
    return "within noise"


def comparison(before, after):
    """Returns the lines of a table of our benchmarks in two revisions."""
    lines = ["| benchmark | before | after | change | verdict |",
             "|---|--:|--:|--:|---|"]
    for name in sorted(set(before) & set(after)):
        if not name[1].startswith(OURS):
            continue
        old = statistics.median(before[name])
        new = statistics.median(after[name])
        shown = name[0] if name[1] == OURS else f"{name[0]}, {name[1]}"
        lines.append(f"| {shown} | {old:.4g} | {new:.4g} | "
                     f"{100 * (new / old - 1):+.0f}% | "
                     f"{verdict(before[name], after[name])} |")
    return lines


GROWTH = "Growth"  # Begins the names of the benchmarks of several sizes.
PANEL_WIDTH = 260
PANEL_HEIGHT = 150


def growth(times):
    """Returns the points of each benchmark of several sizes: the number of its
    elements or threads, and the nanoseconds for one of them."""
    points = {}
    for (name, _), values in times.items():
        group, _, count = name.partition("/")
        if group.startswith(GROWTH) and count.isdigit():
            points.setdefault(group.removeprefix(GROWTH), []).append(
                (int(count), statistics.median(values) / int(count)))
    return {group: sorted(line) for group, line in points.items()}


def panel(x, y, name, line):
    """Returns a picture of a line, both axes logarithmic. A level line means
    that the cost of one element does not depend on how many there are."""
    first, last = (math.log10(line[end][0]) for end in (0, -1))
    lowest = math.floor(math.log10(min(cost for _, cost in line)))
    highest = max(math.ceil(math.log10(max(cost for _, cost in line))), lowest + 2)

    def place(count, cost):
        return (x + (math.log10(count) - first) / (last - first) * PANEL_WIDTH,
                y + (highest - math.log10(cost)) / (highest - lowest) * PANEL_HEIGHT)

    parts = [f'<text x="{x}" y="{y - 8}" font-size="13">{escape(name)}</text>',
             f'<rect x="{x}" y="{y}" width="{PANEL_WIDTH}" height="{PANEL_HEIGHT}" '
             'fill="none" stroke="#b8c4d0"/>']
    for power in range(lowest, highest + 1):
        at = place(line[0][0], 10.0 ** power)[1]
        parts.append(f'<text x="{x - 6}" y="{at + 4:.0f}" text-anchor="end">'
                     f'{10.0 ** power:g}</text>')
    for count, _ in line:
        at = place(count, 1)[0]
        parts.append(f'<text x="{at:.0f}" y="{y + PANEL_HEIGHT + 14}" '
                     f'text-anchor="middle">{short(count)}</text>')
    path = " ".join(f"{a:.0f},{b:.0f}" for a, b in (place(*point) for point in line))
    parts.append(f'<polyline points="{path}" fill="none" stroke="#1f5fa8" '
                 'stroke-width="2"/>')
    return "".join(parts)


def short(count):
    """Returns 1000 as 1k, and a million as 1M."""
    for unit, size in (("M", 10 ** 6), ("k", 10 ** 3)):
        if count >= size and count % size == 0:
            return f"{count // size}{unit}"
    return str(count)


def growth_chart(title, times):
    """Returns an SVG picture of what one element costs among few and many."""
    lines = [(name, line) for name, line in sorted(growth(times).items())
             if len(line) > 1]
    panels = [panel(70 + at % 3 * (PANEL_WIDTH + 80),
                    60 + at // 3 * (PANEL_HEIGHT + 60), name, line)
              for at, (name, line) in enumerate(lines)]
    rows = (len(panels) + 2) // 3
    return "\n".join([
        '<svg xmlns="http://www.w3.org/2000/svg" '
        f'width="{70 + 3 * (PANEL_WIDTH + 80)}" '
        f'height="{40 + rows * (PANEL_HEIGHT + 60)}" font-family="sans-serif" '
        'font-size="11">',
        '<rect width="100%" height="100%" fill="white"/>',
        f'<text x="8" y="18" font-size="13">{escape(title)}: nanoseconds for '
        "one, among so many</text>",
        *panels, "</svg>", ""])


BAR_HEIGHT = 14
LABEL_WIDTH = 330
FULL_WIDTH = 400
MOST_TIMES = 5  # Longer bars are cut; their number is beside them.


def bar(y, name, relative):
    """Returns a bar of the chart, with the name before and the number after."""
    kind = ("ours" if name[1] == OURS else
            "limit" if name[1] in LIMITS else "peer")
    width = FULL_WIDTH * min(relative, MOST_TIMES) / MOST_TIMES
    text = y + BAR_HEIGHT - 4
    return (f'<text x="{LABEL_WIDTH - 6}" y="{text}" text-anchor="end">'
            f'{escape(name[0])} {escape(name[1])}</text>'
            f'<rect class="{kind}" x="{LABEL_WIDTH}" y="{y + 1}" '
            f'width="{width:.0f}" height="{BAR_HEIGHT - 3}"/>'
            f'<text x="{LABEL_WIDTH + width + 4:.0f}" y="{text}">'
            f'{relative:.2f}</text>')


def chart(title, times):
    """Returns an SVG picture of all times relative to ours: shorter is faster."""
    medians = {name: statistics.median(values) for name, values in times.items()}
    bars = []
    y = 2 * BAR_HEIGHT
    previous = None
    for name in sorted(medians, key=lambda n: (n[0], n[1] != OURS, medians[n])):
        ours = medians.get((name[0], OURS))
        if ours is None:
            continue
        y += BAR_HEIGHT // 2 if name[0] != previous else 0
        previous = name[0]
        bars.append(bar(y, name, medians[name] / ours))
        y += BAR_HEIGHT
    width = LABEL_WIDTH + FULL_WIDTH + 60
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" '
        f'height="{y + BAR_HEIGHT}" font-family="sans-serif" font-size="11">',
        "<style>.ours{fill:#1f5fa8}.peer{fill:#b8c4d0}.limit{fill:#e0b050}"
        "</style>",
        '<rect width="100%" height="100%" fill="white"/>',
        f'<text x="8" y="18" font-size="13">{escape(title)}: time relative to '
        "fairlead</text>",
        *bars, "</svg>", ""])
