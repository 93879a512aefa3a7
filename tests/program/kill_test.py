"""Killed at any moment, the program leaves whole files."""

import collections
import os
import random
import re
import signal
import struct
import time
import unittest

from kestrune import UNIT, ProgramTest

ROUNDS = 100
ALERT = re.compile(r": (Genlock status|Genlock settings|ST 2059 status|SFP IP status) ha(s|ve) changed$", re.MULTILINE)
LOGGED_AS = {
    "Genlock status": "genlock status",
    "Genlock settings": "genlock settings",
    "ST 2059 status": "ST2059 status/settings",
    "SFP IP status": "SFP IP status",
}
INITIAL = {"genlock status": 1, "genlock settings": 1, "ST2059 status/settings": 1, "SFP IP status": 2}
BUSY = {
    "timeline": [
        {"at": 1, "event": "genlock", "state": 2, "frameRate": 3, "every": 2, "times": 0},
        {"at": 2, "event": "genlock", "state": 1, "frameRate": 8, "every": 2, "times": 0},
        {"at": 1, "event": "fibre-pulled", "sfp": "B", "every": 6, "times": 0},
        {"at": 4, "event": "fibre-back", "sfp": "B", "every": 6, "times": 0},
    ]
}


class KillTest(ProgramTest):
    def test_nothing_is_lost_but_what_was_being_written(self):
        """Run after run is killed and the next one continues its files. Each is looked at right after the kill, before
        its end is mended, and all of them once more at the end."""
        moments = random.Random(2059)
        announced = collections.Counter()
        started = torn = 0
        for _ in range(ROUNDS):
            before = self.logged()
            process = self.start_program("run", scenario=BUSY, speed=900)
            time.sleep(moments.uniform(0.02, 0.25))
            os.killpg(process.pid, signal.SIGKILL)
            text = process.communicate()[0]
            raw = self.folder / "ptpLog_raw_data"
            torn += raw.exists() and raw.stat().st_size % UNIT != 0
            if "Starting" not in text:
                continue
            started += 1
            logged = self.logged() - before
            for alert in ALERT.finditer(text):
                announced[alert[1]] += 1
                logged[LOGGED_AS[alert[1]]] -= 1
            for kind, initial in INITIAL.items():
                self.assertGreaterEqual(logged[kind], initial, logged)

        self.assertGreater(started, ROUNDS / 2)
        self.assertEqual(set(announced), set(LOGGED_AS), "every kind of change was announced")
        # The counters of the card run on from record to record: one left out would show.
        units = self.raw_units()
        self.assertGreater(len(units), ROUNDS)
        last = {}
        for _, record in units:
            syncs = struct.unpack_from("<I", record, 924)[0]
            if record.endswith(bytes(64)):
                torn -= 1
            else:
                self.assertLessEqual(syncs - last.get(record[0], syncs), 8)
                last[record[0]] = syncs
        self.assertGreaterEqual(torn, 0, "a unit completed with zeros that no kill has torn")

    def logged(self):
        log = self.folder / "ptpLog_event_log.txt"
        return collections.Counter(re.findall('"Event log type": "(.*)"', log.read_text() if log.exists() else ""))


if __name__ == "__main__":
    unittest.main()
