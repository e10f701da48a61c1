"""Builds and runs the benchmarks, and compares them with those of a revision.

usage: bench.py [-level 2|3] [-compiler NAME] [-charts] [-compare REVISION] [regex]

Without -level, builds at -O2, as distributions do, and at -O3. With -charts,
writes a picture for each subsystem and all tables into docs/charts. With -compare, runs the
benchmarks of the revision and of the working tree in turns, and says for each
whether it is faster, slower or within noise.
"""

import argparse
import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile

import results

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD_TYPES = {2: "RelWithDebInfo", 3: "Release"}  # -O2 -g and -O3.
ROUNDS = 5  # Of a comparison.


def configure(source, level, compiler):
    """Returns a build folder of the source with the benchmarks at a level."""
    folder = source / "build" / f"bench-O{level}-{compiler}"
    subprocess.run(
        ["cmake", "-G", "Ninja", "-S", source, "-B", folder, "-Wno-dev",
         f"-DCMAKE_BUILD_TYPE={BUILD_TYPES[level]}",
         f"-DCMAKE_CXX_COMPILER={compiler}",
         "-DFAIRLEAD_DEVELOPER=ON", "-DFAIRLEAD_BENCHMARKS=ON", "-DFAIRLEAD_TESTS=OFF",
         "-DFAIRLEAD_TOOL=OFF"],
        check=True, stdout=subprocess.DEVNULL)
    return folder


def programs(folder):
    """Builds the benchmarks; returns their paths below the folder."""
    subprocess.run(["cmake", "--build", folder], check=True,
                   stdout=sys.stderr)
    return sorted(path.relative_to(folder)
                  for path in folder.glob("fairlead/*/*_benchmark")
                  if os.access(path, os.X_OK) and path.is_file())


def run(program, regex, repetitions=7):
    """Returns the times of a program's benchmarks.

    Competitors take turns, so that a noise of the machine meets them all.
    """
    with tempfile.NamedTemporaryFile(suffix=".json") as output:
        ended = subprocess.run(
            [program, f"--benchmark_filter={regex}",
             "--benchmark_min_time=0.05",
             f"--benchmark_repetitions={repetitions}",
             "--benchmark_enable_random_interleaving=true",
             f"--benchmark_out={output.name}"],
            check=False, capture_output=True, text=True)
        if ended.returncode != 0:
            sys.exit(f"{program.name}: {ended.stderr}")
        text = pathlib.Path(output.name).read_text(encoding="utf-8")
    return results.read(text) if text.strip() else {}


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown processor"


def machine(level, compiler):
    version = subprocess.run([compiler, "--version"], check=True, text=True,
                             capture_output=True).stdout.splitlines()[0]
    return (f"-O{level}: {version}; {processor()}, "
            f"{os.cpu_count()} processors, load {os.getloadavg()[0]:.1f}")


def print_tables(folder, level, regex):
    """Prints the times of each program; returns them by subsystem, and the lines."""
    by_subsystem = {}
    lines = []
    everything = {}
    for program in programs(folder):
        times = run(folder / program, regex)
        if not times:
            continue
        table = ["", f"## {program.name}", "", *results.table(times)]
        print("\n".join(table), flush=True)
        lines += table
        times = results.qualified(times, everything,
                                  program.name.removesuffix("_benchmark"))
        results.add(everything, times)
        results.add(by_subsystem.setdefault(program.parts[1], {}), times)
    overview = ["", "## The fastest peers", "", *results.summary(everything)]
    print("\n".join(overview))
    return by_subsystem, overview + lines


def write_charts(level, by_subsystem, lines, regex):
    """Writes a picture of each subsystem and, if all were measured, the tables."""
    pictures = PROJECT / "docs" / "charts"
    pictures.mkdir(exist_ok=True)
    if regex == ".":
        (pictures / f"tables-O{level}.md").write_text("\n".join(lines) + "\n",
                                                      encoding="utf-8")
    for subsystem, times in by_subsystem.items():
        title = f"{subsystem}, -O{level}"
        draw = results.chart
        if results.growth(times):
            title, draw = f"How cost grows, -O{level}", results.growth_chart
        (pictures / f"{subsystem}-O{level}.svg").write_text(
            draw(title, times), encoding="utf-8")


@contextlib.contextmanager
def checkout(revision):
    """A temporary working tree of a revision."""
    with tempfile.TemporaryDirectory() as folder:
        tree = pathlib.Path(folder) / "base"
        git = ["git", "-C", PROJECT, "worktree"]
        subprocess.run([*git, "add", "--quiet", "--detach", tree, revision],
                       check=True)
        try:
            yield tree
        finally:
            subprocess.run([*git, "remove", "--force", tree], check=True)


def compare(revision, level, compiler, regex):
    with checkout(revision) as tree:
        old = configure(tree, level, compiler)
        new = configure(PROJECT, level, compiler)
        for program in sorted(set(programs(old)) & set(programs(new))):
            before = {}
            after = {}
            for _ in range(ROUNDS):
                results.add(before, run(old / program, regex, 3))
                results.add(after, run(new / program, regex, 3))
            lines = results.comparison(before, after)
            if len(lines) > 2:
                print(f"\n{program.name}\n")
                print("\n".join(lines), flush=True)


def main():
    parser = argparse.ArgumentParser(prog="./dev bench", allow_abbrev=False)
    parser.add_argument("-level", type=int, choices=BUILD_TYPES)
    parser.add_argument("-compiler", default="g++", metavar="NAME")
    parser.add_argument("-charts", action="store_true")
    parser.add_argument("-compare", metavar="REVISION")
    parser.add_argument("regex", nargs="?")
    given = parser.parse_args()
    for level in [given.level] if given.level else BUILD_TYPES:
        heading = machine(level, given.compiler)
        print(f"\n== {heading}")
        if given.compare:
            compare(given.compare, level, given.compiler,
                    given.regex or f"/{results.OURS}")
            continue
        regex = given.regex or "."
        folder = configure(PROJECT, level, given.compiler)
        by_subsystem, lines = print_tables(folder, level, regex)
        if given.charts:
            write_charts(level, by_subsystem,
                         [f"# Times at {heading}", *lines], regex)


if __name__ == "__main__":
    main()
