"""A copy of the project, its build, and programs that cannot leave a layer above it.

A command runs in namespaces of its own. What it writes to the copy goes into a layer,
so that the copy stays as it was and several changes can be tried at once; /tmp is the
layer's too, and all else is read-only. All processes that it started end with it. It
can neither set the clock nor take all memory.
"""

import os
import resource
import shutil
import subprocess
from pathlib import Path

PROJECT = Path(__file__).resolve().parent.parent.parent
WORK = PROJECT / "build" / "mutate"
COPY = WORK / "copy"
TREE = COPY / "tree"
BUILD = COPY / "build"

MEMORY = 4 << 30
BUILD_SECONDS = 300
# Many tests wait: those of a program are shared out among so many processes.
SHARDS = 8
ENTER = """
set -e
mount -t overlay overlay -o "lowerdir=$1,upperdir=$2/changed,workdir=$2/work" "$1"
mount --bind "$2/tmp" /tmp
mount -o remount,bind,ro /
cd /tmp
shift 2
exec "$@"
"""
RUN_SHARDS = """
export GTEST_TOTAL_SHARDS=$1 TMPDIR=/tmp
shift
trap 'exit 1' USR1
for ((i = 0; i < GTEST_TOTAL_SHARDS; ++i)); do
  { GTEST_SHARD_INDEX=$i "$@" || kill -USR1 $$; } &
done
wait
exit 0
"""


def tracked_files():
    listing = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=PROJECT,
                             check=True, capture_output=True, text=True)
    return [path for path in listing.stdout.split("\n") if path and (PROJECT / path).is_file()]


def update_copy(files):
    """Makes the copy equal to the project; what is equal keeps its time."""
    for path in files:
        source, target = PROJECT / path, TREE / path
        if target.exists() and target.read_bytes() == source.read_bytes():
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)


def configure():
    """Configures a build in which a change costs little.

    Each source is compiled alone, but with precompiled headers; the tests need not be
    linked again with a changed library.
    """
    subprocess.run(
        ["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
         "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -D_GLIBCXX_ASSERTIONS",
         "-DBUILD_SHARED_LIBS=ON", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
         "-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=lld", "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld",
         "-DFAIRLEAD_UNITY=ON", "-DFAIRLEAD_UNITY_SIZE=1", "-DFAIRLEAD_INSTALL=OFF"],
        check=True, stdout=subprocess.DEVNULL)


def build_copy(targets):
    """Returns whether the targets could be built without a change."""
    return subprocess.run(["ninja", "-C", str(BUILD), *targets], stdout=subprocess.DEVNULL,
                          check=False).returncode == 0


class Layer:
    """What a change and its tests write. Deleted at the end of a `with`."""

    def __init__(self, name):
        self.path = WORK / "layers" / name

    def __enter__(self):
        shutil.rmtree(self.path, ignore_errors=True)
        for part in ("changed", "work", "tmp"):
            (self.path / part).mkdir(parents=True)
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.path, ignore_errors=True)

    def write(self, path, text):
        """Changes a file of the tree."""
        target = self.path / "changed" / "tree" / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text, encoding="utf-8")

    def run(self, command, seconds=None, cpu_seconds=resource.RLIM_INFINITY):
        """Returns the exit status, or None if the time ran out.

        A process that uses more than `cpu_seconds` is killed, which its parent sees.
        """
        mapped = [] if os.geteuid() == 0 else ["--map-root-user"]
        process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL",
             "unshare", *mapped, "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
             "setpriv", "--bounding-set=-sys_time",
             "prlimit", f"--as={MEMORY}", f"--cpu={cpu_seconds}",
             "bash", "-c", ENTER, "bash", str(COPY), str(self.path), *command],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            return process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            return None

    def build(self, *targets):
        """Returns whether the targets can be built. A part of it is to run the tool."""
        return self.run(["env", "CCACHE_DISABLE=1", "ninja", "-C", str(BUILD), *targets],
                        BUILD_SECONDS, BUILD_SECONDS) == 0

    def run_tests(self, batch, seconds=None, cpu_seconds=resource.RLIM_INFINITY):
        """Returns the exit status of the tests, or None if the time ran out."""
        return self.run(["bash", "-c", RUN_SHARDS, "bash", str(SHARDS),
                         str(BUILD / batch.program.path()), "--gtest_brief=1", "--gtest_fail_fast",
                         f"--gtest_filter={batch.filter}"], seconds, cpu_seconds)

