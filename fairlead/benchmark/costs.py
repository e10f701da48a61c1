"""Prints what fairlead costs before it does anything: the start of the command,
compiling its headers, and the size of a static program.

usage: costs.py COMMAND SIZE_FOLDER COMPILER

COMMAND is the path of the command fairlead, SIZE_FOLDER has the programs
with_fairlead and with_peers.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STARTS = 300
COMPILATIONS = 5

# Each public header beside what one would include instead.
HEADERS = {
    "fairlead/fairlead.h": "boost/property_tree/ini_parser.hpp",
    "fairlead/cmdline/simple_cmd_line.h": "cxxopts.hpp",
    "fairlead/ini/ini_file.h": "boost/property_tree/ini_parser.hpp",
    "fairlead/ini/ini_document.h": "boost/property_tree/ini_parser.hpp",
    "fairlead/log/log.h": "spdlog/spdlog.h",
    "fairlead/net/exchange.h": "asio.hpp",
    "fairlead/net/tcp_client.h": "asio.hpp",
    "fairlead/text/strings.h": "absl/strings/str_cat.h",
    "fairlead/time/the_time.h": "absl/time/time.h",
    "fairlead/bits/bitstr.h": "boost/dynamic_bitset.hpp",
    "fairlead/crypto/aes.h": "botan/block_cipher.h",
    "string": "",
}


def milliseconds(arguments):
    """Returns how long a program takes from its start to its end."""
    begin = time.perf_counter()
    pid = os.posix_spawnp(arguments[0], arguments, os.environ, file_actions=[
        (os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)])
    _, status = os.waitpid(pid, 0)
    if status != 0:
        sys.exit(f"{' '.join(arguments)}: status {status}")
    return 1000 * (time.perf_counter() - begin)


def medians(commands, rounds):
    """Returns the medians; the commands take turns."""
    times = [[] for _ in commands]
    for _ in range(rounds):
        for at, command in enumerate(commands):
            times[at].append(milliseconds(command))
    return [statistics.median(values) for values in times]


def print_starts(command, folder):
    settings = folder / "a.ini"
    settings.write_text("[server]\nport=7000\n")
    commands = [["true"], [command, "help"],
                [command, "ini", "get", "-file", str(settings),
                 "-section", "server", "-key", "port"]]
    print("\n| started | ms | more than true |\n|---|--:|--:|")
    times = medians(commands, STARTS)
    for name, value in zip(["true", "fairlead help", "fairlead ini get"], times):
        print(f"| {name} | {value:.2f} | {value - times[0]:.2f} |")


def compilation(compiler, header, folder):
    source = folder / (header.replace("/", "_") + ".cc")
    source.write_text(f"#include <{header}>\n")
    return [compiler, "-std=c++20", "-O2", f"-I{PROJECT}", "-I/usr/include/botan-2",
            "-c", str(source), "-o", "/dev/null"]


def print_compilations(compiler, folder):
    print("\n| header | ms | instead | ms |\n|---|--:|---|--:|")
    for header, peer in HEADERS.items():
        names = [name for name in (header, peer) if name]
        times = medians([compilation(compiler, name, folder) for name in names],
                        COMPILATIONS)
        cells = [f"{name} | {value:.0f}" for name, value in zip(names, times)]
        print(f"| {' | '.join(cells)} |{'' if peer else ' | |'}", flush=True)


def print_sizes(folder):
    print("\n| static program that reads one INI value | bytes |\n|---|--:|")
    for name in ("with_fairlead", "with_peers"):
        print(f"| {name} | {(folder / name).stat().st_size} |")


def main():
    command, sizes, compiler = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        print_starts(command, pathlib.Path(folder))
        print_compilations(compiler, pathlib.Path(folder))
    print_sizes(pathlib.Path(sizes))


if __name__ == "__main__":
    main()
