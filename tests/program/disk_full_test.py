"""What a disk that becomes full costs, and what it doesn't. Runs on small disks in memory, which only it sees."""

import collections
import contextlib
import itertools
import json
import os
import re
import struct
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
ALERTS = {
    "genlock status": ": Genlock status has changed",
    "genlock settings": ": Genlock settings have changed",
    "ST2059 status/settings": ": ST 2059 status has changed",
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

    def sizes(self):
        return [(self.folder / f"ptpLog_{file}").stat().st_size for file in ("raw_data", "event_log.txt")]

    def test_full_and_free_again_and_again(self):
        process = self.start_program("run", "-d=1", scenario=BUSY, speed=900)
        self.addCleanup(process.kill)
        lines = []
        for _ in range(2):
            lines += [process.stdout.readline() for _ in range(60)]
            self.fill()
            sizes = None
            while sizes != self.sizes():
                sizes = self.sizes()
                lines += [process.stdout.readline() for _ in range(60)]
            (self.folder / "filler").unlink()
        lines += process.stdout.readlines()
        self.assertEqual((process.wait(), process.stderr.read()), (0, ""))
        messages = [TIMED.sub("", line, count=1).rstrip("\n") for line in lines]
        self.assertEqual((messages[0], messages[-1]), (STARTING, ENDING))

        def lost(file, pieces):
            begun = [m for m in messages if m.startswith(f": Could not write the {file} file : ZV_E_FILEACCESS_WRITE")]
            ended = [
                re.match(rf": The {file} file is written again. {pieces} lost: (\d+) : ZV_NOERROR", m) for m in messages
            ]
            ended = [int(match[1]) for match in ended if match]
            self.assertEqual(len(begun), len(ended))
            self.assertGreaterEqual(len(ended), 2)
            return sum(ended)

        syncs = {
            sfp: [struct.unpack_from("<I", record, 924)[0] for _, record in self.raw_units() if record[0] == sfp]
            for sfp in (0, 1)
        }
        missing = sum(
            (later - earlier) // 8 - 1 for each in syncs.values() for earlier, later in itertools.pairwise(each)
        )
        self.assertAlmostEqual(missing, lost("raw data", "Records"), delta=2, msg="no record is lost that is not told")
        announced = {kind: messages.count(alert) for kind, alert in ALERTS.items()}
        logged = collections.Counter(self.event_types())
        of_changes = (
            announced["genlock status"] + announced["genlock settings"] + 3 * announced["ST2059 status/settings"]
        )
        at_the_ends = 5 + 2 + 2
        self.assertEqual(logged.total() + lost("event log", "Documents"), of_changes + at_the_ends)

    def test_full_from_the_start(self):
        (self.folder / "scenario.json").write_text(json.dumps(ORDINARY))
        self.fill()
        result = self.run_program("run", "-d=2147483648", ZV_SIM_SCENARIO=str(self.folder / "scenario.json"))
        self.assertEqual((result.messages[2], result.messages[-3], result.status), (STARTING, ENDING, 0))
        self.assertEqual(len(result.lines), 6, "one line when it begins, one when it ends, of two files")
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
