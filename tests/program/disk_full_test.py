"""What a disk that becomes full costs, and what it doesn't. Runs on small disks in memory, which only it sees."""

import contextlib
import json
import os
import subprocess
import sys
import unittest

from kestrune import ORDINARY, TIMED, ProgramTest

OWN_MOUNTS = "KESTRUNE_TEST_OWN_MOUNTS"
BUSY = {
    "timeline": [
        {"at": 2, "event": "genlock", "state": 2, "frameRate": 3, "every": 8, "times": 0},
        {"at": 6, "event": "genlock", "state": 1, "frameRate": 8, "every": 8, "times": 0},
    ]
}
STARTING = ": Starting ST2059 monitoring."
ENDING = ": Ending ST2059 monitoring."


@unittest.skipUnless(OWN_MOUNTS in os.environ, "neither root nor a user namespace may mount a disk here")
class DiskFullTest(ProgramTest):
    def setUp(self):
        super().setUp()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16m", "tmpfs", self.folder], check=True)
        self.addCleanup(subprocess.run, ["umount", self.folder], check=True)

    def fill(self):
        with contextlib.suppress(OSError), open(self.folder / "filler", "wb", buffering=0) as filler:
            while filler.write(bytes(4096)):
                pass

    def size(self, file):
        return (self.folder / f"ptpLog_{file}").stat().st_size

    def sizes(self):
        return self.size("raw_data"), self.size("event_log.txt")

    def test_full_during_a_run_and_free_again(self):
        process = self.start_program("run", "-d=1", scenario=BUSY, speed=1200)
        self.addCleanup(process.kill)
        lines = []

        def read_lines(count):
            lines.extend(process.stdout.readline() for _ in range(count))

        read_lines(1)
        header = self.size("period_test_results.txt")
        while self.size("period_test_results.txt") == header:
            read_lines(1)
        self.fill()
        sizes = None
        while sizes != self.sizes():
            sizes = self.sizes()
            read_lines(60)
        (self.folder / "filler").unlink()
        before_it_was_free = len(lines)
        text, errors = process.communicate(timeout=60)
        lines += text.splitlines(keepends=True)

        self.assertEqual((process.returncode, errors), (0, ""))
        messages = [TIMED.sub("", line, count=1).rstrip("\n") for line in lines]
        self.assertEqual((messages[0], messages[-1]), (STARTING, ENDING))
        alerts = {": Genlock status has changed", ": Genlock settings have changed", ": ST 2059 status has changed"}
        self.assertLessEqual(set(messages[1:-1]), alerts)
        self.assertGreater(len(lines), before_it_was_free + 100)

        # The one write that failed is made up for at the end.
        self.assertEqual(self.sizes()[0], sizes[0] + 1024)
        units = self.raw_units()
        data = self.period_lines()[1]
        self.assertEqual([line[2:4] for line in data], [["15", "0"], ["15", "1"]] * 4, "this file had room")
        self.assertLess(units[-1][0], int(data[-1][0]) - 900)

        log = self.folder / "ptpLog_event_log.txt"
        text = log.read_text()
        whole, end, piece = text[: sizes[1]].rpartition("\n}\n")
        last = text[sizes[1] :]
        self.assertTrue(last.startswith(piece), (piece, last))
        self.assertLess(json.loads(last)["Epoch time"], int(data[-1][0]) - 900)
        log.write_text(whole + end + last)
        self.assertNotIn("end of monitoring", self.event_types())

    def test_full_from_the_start(self):
        (self.folder / "scenario.json").write_text(json.dumps(ORDINARY))
        self.fill()
        result = self.run_program("run", "-d=2147483648", ZV_SIM_SCENARIO=str(self.folder / "scenario.json"))
        self.assertEqual((result.messages, result.status, result.errors), ([STARTING, ENDING], 0, ""))
        files = {file.name: file.stat().st_size for file in self.folder.glob("ptpLog*")}
        self.assertEqual(len(files), 3)
        self.assertEqual(set(files.values()), {0})


def run_with_own_mounts():
    """Starts this test anew where it may mount, if there is such a place."""
    for rights in (["--mount"], ["--mount", "--user", "--map-root-user"]):
        unshare = ["unshare", *rights]
        probe = [*unshare, "mount", "-t", "tmpfs", "tmpfs", "/mnt"]
        if subprocess.run(probe, stderr=subprocess.DEVNULL, check=False).returncode == 0:
            os.environ[OWN_MOUNTS] = "1"
            os.execvp(unshare[0], [*unshare, sys.executable, *sys.argv])


if __name__ == "__main__":
    if OWN_MOUNTS not in os.environ:
        run_with_own_mounts()
    unittest.main()
