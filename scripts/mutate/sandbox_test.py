"""Tests of the shell commands that run the tests of a change."""

import subprocess
import unittest

import sandbox


def status_of_shards(command, shards=4):
    """Returns the exit status of a shell command that is run once for each shard."""
    return subprocess.run(["bash", "-c", sandbox.RUN_SHARDS, "bash", str(shards),
                           "bash", "-c", command],
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          check=False).returncode


class RunShardsTest(unittest.TestCase):
    def test_shards_pass_if_all_do_however_soon_they_end(self):
        for _ in range(20):
            self.assertEqual(status_of_shards("exit 0"), 0)

    def test_a_shard_that_fails_is_reported_first_or_last(self):
        for shard in range(4):
            self.assertEqual(status_of_shards(f"exit $((GTEST_SHARD_INDEX == {shard}))"), 1)

    def test_the_others_are_not_waited_for(self):
        status = status_of_shards("[ $GTEST_SHARD_INDEX = 0 ] && exit 1; exec sleep 5")
        self.assertEqual(status, 1)

    def test_an_interrupt_ends_a_shard(self):
        self.assertEqual(status_of_shards("kill -INT $$; exit 0", 1), 1)


if __name__ == "__main__":
    unittest.main()
