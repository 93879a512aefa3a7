"""A run on the recording of another run leaves what that one left."""

import os
import unittest

import card_services_test
import run_test
from kestrune import FAILURE, ProgramTest

SPEED = 1800

# Changes of different kinds lie far apart: those of one moment are told by threads of their own, in any order.
CHANGES = [
    {"at": 600, "event": "grandmaster-lost", "grandmaster": "GM"},
    {"at": 900, "event": "grandmaster-back", "grandmaster": "GM"},
    {"at": 1500, "event": "transmit-error", "sfp": "B", "on": True},
    {"at": 1505, "event": "transmit-error", "sfp": "B", "on": False},
    {"at": 2000, "event": "genlock", "source": 1, "frameRate": 9},
    {"at": 2300, "event": "genlock", "state": 5},
    {"at": 2600, "event": "port-state", "sfp": "A", "value": -7},
]


class ReplayTest(ProgramTest):
    def told(self, prefix):
        """The documents without their times."""
        return [list(event.items())[2:] for event in self.events(prefix)]

    def replay(self, *arguments, prefix="recorded"):
        library = os.environ["KESTRUNE_REPLAY"]
        environment = card_services_test.CardServicesTest.use(self, library)
        path = str(self.folder / f"{prefix}_raw_data")
        return self.run_program(*arguments, speed=SPEED, ZV_REPLAY_FILE=path, **environment)

    def test_a_replay_equals_its_recording(self):
        self.run_program("run", "-d=1", "-f=recorded", scenario={"timeline": CHANGES}, speed=SPEED)
        units = self.raw_units("recorded")
        records = [record for _, record in units]
        self.assertGreater(len(records), 6000)
        result = self.replay("run", "-d=2", "-f=replayed")
        self.assertEqual(result.status, 0, result.errors)
        self.assertEqual([record for _, record in self.raw_units("replayed")], records)
        self.assertEqual(self.told("replayed"), self.told("recorded"))
        lines = self.period_lines("replayed")[1]
        self.assertEqual(len(lines), 16)
        converted = [(record[0], run_test.monitoring(record)) for record in records]
        self.assertIsNone(run_test.RunTest.figures_differ(self, lines, converted, 15))
        kinds = self.event_types("recorded")
        self.assertEqual((kinds.count("SFP IP status"), kinds.count("genlock settings")), (2 + 2, 2))
        self.assertGreaterEqual(kinds.count("ST2059 status/settings"), 4)

        # The pace is the recording's, give or take what a busy machine costs.
        first, again = (self.raw_units(prefix)[0][0] for prefix in ("recorded", "replayed"))
        times = zip(self.raw_units("replayed"), units)
        late = sorted(abs((time - again) - (recorded - first)) for (time, _), (recorded, _) in times)
        self.assertLess(late[len(late) // 2], 120)

    def test_a_torn_recording_is_refused(self):
        (self.folder / "torn_raw_data").write_bytes(bytes(1025))
        result = self.replay("list", prefix="torn")
        self.assertEqual(result.status, FAILURE)
        self.assertIn("ZV_E_CORRUPT_FILE", result.text)
        self.assertRegex(result.errors, r"(?m)^zvreplay: .*torn_raw_data: is torn")


if __name__ == "__main__":
    unittest.main()
