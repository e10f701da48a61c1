"""Prints how long `fairlead send` and `recv` take for a large stream to and from a
server of this machine, beside the programs that users would take instead.

usage: transfers.py COMMAND [MEGABYTES]

COMMAND is the path of the command fairlead.
"""

import pathlib
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

ROUNDS = 15

# What sends standard input to a server, and what prints all that comes from it.
SENDERS = {
    "fairlead": ["send", "-host", "{host}", "-port", "{port}", "-stdin"],
    "nc": ["-N", "{host}", "{port}"],
    "ncat": ["--send-only", "{host}", "{port}"],
    "socat": ["-u", "STDIN", "TCP:{host}:{port}"],
}
RECEIVERS = {
    "fairlead": ["recv", "-host", "{host}", "-port", "{port}"],
    "nc": ["-d", "{host}", "{port}"],
    "ncat": ["--recv-only", "{host}", "{port}"],
    "socat": ["-u", "TCP:{host}:{port}", "STDOUT"],
}


class Server:
    """Serves one connection after another, on a thread."""

    def __init__(self, serve):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.address = self.listener.getsockname()
        threading.Thread(target=self.run, args=[serve], daemon=True).start()

    def run(self, serve):
        while True:
            peer, _ = self.listener.accept()
            with peer:
                serve(peer)


class Sink(Server):
    """Reads a megabyte at once, and counts."""

    def __init__(self):
        self.buffer = bytearray(1 << 20)
        self.ended = threading.Semaphore(0)
        self.count = 0
        super().__init__(self.read)

    def read(self, peer):
        self.count = 0
        while more := peer.recv_into(self.buffer):
            self.count += more
        self.ended.release()

    def check(self, size):
        if not self.ended.acquire(timeout=60) or self.count != size:
            sys.exit(f"{self.count} of {size} bytes arrived")


class Source(Server):
    def __init__(self, content):
        super().__init__(lambda peer: peer.sendall(content))


def command_of(program, words, address, fairlead):
    host, port = address
    words = [word.format(host=host, port=port) for word in words]
    return [fairlead if program == "fairlead" else program, *words]


def run(command, source, output):
    """Returns the seconds from the start of a program to its end."""
    source.seek(0)
    begin = time.perf_counter()
    subprocess.run(command, stdin=source, stdout=output, stderr=subprocess.DEVNULL,
                   check=False)
    return time.perf_counter() - begin


def installed(programs):
    return {name: words for name, words in programs.items()
            if name == "fairlead" or shutil.which(name)}


def race(commands, run_one):
    """Returns the times of each; the programs take turns."""
    times = {name: [] for name in commands}
    for _ in range(ROUNDS):
        for name, command in commands.items():
            times[name].append(run_one(command))
    return times


def print_row(title, times):
    medians = {name: statistics.median(values) for name, values in times.items()}
    for name, values in times.items():
        low, _, high = statistics.quantiles(values, n=4)
        print(f"| {title} | {name} | {medians[name]:.3f} | {low:.3f}-{high:.3f} "
              f"| {medians[name] / medians['fairlead']:.2f} |")


def commands_for(programs, address, fairlead):
    return {name: command_of(name, words, address, fairlead)
            for name, words in installed(programs).items()}


def main():
    fairlead = sys.argv[1]
    size = int(sys.argv[2] if len(sys.argv) > 2 else 500) * 1_000_000
    content = bytes(range(250)) * (size // 250)
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        path = pathlib.Path(folder) / "stream"
        path.write_bytes(content)
        with path.open("rb") as source, open("/dev/null", "wb") as null:
            sink = Sink()

            def send(command):
                seconds = run(command, source, null)
                sink.check(size)
                return seconds

            senders = race(commands_for(SENDERS, sink.address, fairlead), send)
            receivers = commands_for(RECEIVERS, Source(content).address, fairlead)
            for name, command in receivers.items():
                with tempfile.TemporaryFile(dir=folder) as output:
                    run(command, source, output)
                    if output.tell() != size:
                        sys.exit(f"{name} printed {output.tell()} of {size} bytes")
            receivers = race(receivers, lambda command: run(command, source, null))
    print(f"\n| {size // 1_000_000} MB | program | s | middle half | of fairlead's |\n"
          "|---|---|--:|--:|--:|")
    print_row("sent", senders)
    print_row("received", receivers)


if __name__ == "__main__":
    main()
