"""Killed at any moment, the program leaves whole files."""

import collections
import os
import random
import re
import signal
import time
import unittest

from kestrune import ProgramTest

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
    def test_files_are_whole_and_no_announced_event_is_missing(self):
        moments = random.Random(2059)
        announced = collections.Counter()
        units = 0
        for round_ in range(ROUNDS):
            process = self.start_program("run", f"-f={round_}", scenario=BUSY, speed=900)
            time.sleep(moments.uniform(0.02, 0.25))
            os.killpg(process.pid, signal.SIGKILL)
            text = process.communicate()[0]
            if "Starting" not in text:
                continue
            units += len(self.raw_units(str(round_)))
            logged = collections.Counter(self.event_types(str(round_), killed=True))
            for alert in ALERT.finditer(text):
                announced[alert[1]] += 1
                logged[LOGGED_AS[alert[1]]] -= 1
            self.assertGreaterEqual(min(logged[kind] - initial for kind, initial in INITIAL.items()), 0, logged)

        self.assertGreater(units, ROUNDS)
        self.assertEqual(set(announced), set(LOGGED_AS), "every kind of change was announced")


if __name__ == "__main__":
    unittest.main()
