"""Leaves the program running for days in which things happen all the time: nothing grows but its files, and those as
computed. KESTRUNE_SOAK_DAYS tells how many, at least 2."""

import collections
import itertools
import mmap
import os
import random
import shutil
import struct
import subprocess
import time
import unittest

from kestrune import UNIT, Held, ProgramTest, held

DAYS = int(os.environ.get("KESTRUNE_SOAK_DAYS", "2"))
SPEED = 10_000
DAY = 86_400
CHANGES_A_DAY = 24
STALL = 0.5 * SPEED  # what the card may owe at the end when the machine held it up for half a second
ROOM = 64  # KB by which memory that nobody leaks may differ: a few pages of stacks and of the allocator

ALERTS = {
    "genlock status": ": Genlock status has changed",
    "genlock settings": ": Genlock settings have changed",
    "ST2059 status/settings": ": ST 2059 status has changed",
    "SFP IP status": ": SFP IP status has changed",
}
AT_THE_START = {"SFP IP status": 2}  # else 1


def changes(days):
    """The timeline: each change is undone ten minutes later."""
    dice = random.Random(2059)
    paths = ({"delayNs": 9000}, {"jitterNs": 400}, {"lossProbability": 0.2})
    timeline = []
    for hour in range(1, days * CHANGES_A_DAY):
        at = hour * DAY // CHANGES_A_DAY + dice.randrange(1000)
        sfp = {"sfp": dice.choice("AB")}
        master = {"grandmaster": dice.choice(("GM1", "GM2"))}
        done, undone = dice.choice(
            (
                ({"event": "fibre-pulled", **sfp}, {"event": "fibre-back", **sfp}),
                ({"event": "grandmaster-lost", **master}, {"event": "grandmaster-back", **master}),
                ({"event": "genlock", "state": 2, "frameRate": 3}, {"event": "genlock", "state": 1, "frameRate": 8}),
                ({"event": "transmit-error", "on": True, **sfp}, {"event": "transmit-error", "on": False, **sfp}),
                (
                    {"event": "path-change", "path": dice.choice(paths), **sfp},
                    {"event": "path-change", "path": {}, **sfp},
                ),
            )
        )
        timeline += [{"at": at, **done}, {"at": at + 600, **undone}]
    return timeline


def scenario(days):
    masters = [
        {"name": f"GM{i}", "clockIdentity": f"08-00-11-ff-fe-21-00-0{i}", "address": f"10.0.0.{i}"} for i in (1, 2)
    ]
    return {"network": {"grandmasters": masters}, "timeline": changes(days)}


class SoakTest(ProgramTest):
    def watch(self, process):
        """What the program holds, from the end of the first day to shortly before the run's end, and its console."""
        start = time.monotonic()
        samples = []
        try:
            while True:
                try:
                    console, _ = process.communicate(timeout=0.2)
                    break
                except subprocess.TimeoutExpired:
                    if 1.1 * DAY / SPEED < time.monotonic() - start < DAYS * DAY / SPEED - 0.5:
                        samples.append(held(process.pid))
        finally:
            process.kill()
        self.assertEqual(process.returncode, 0)
        return samples, console

    def test_nothing_grows_but_the_files(self):
        self.assertGreater(shutil.disk_usage(self.folder).free, 2.1 * UNIT * DAY * DAYS, "bytes free for the raw data")
        process = self.start_program("run", f"-d={DAYS * 24}", scenario=scenario(DAYS), speed=SPEED)
        samples, console = self.watch(process)
        after_a_day, at_the_end = samples[0], samples[-1]

        events = collections.Counter(self.event_types())
        lengths = collections.Counter(fields[2] for fields in self.period_lines()[1])
        raw = self.folder / "ptpLog_raw_data"
        size = raw.stat().st_size
        with raw.open("rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as data:
            first, last = (struct.unpack_from("<q", data, at)[0] for at in (0, size - UNIT))
            sfps = data[8::UNIT]
            with memoryview(data) as octets, octets.cast("I") as words:
                syncs = [words[(8 + 924) // 4 + UNIT // 4 * sfp :: 2 * UNIT // 4].tolist() for sfp in (0, 1)]
        print(f"\n{'':10}{'after a day':>12}{'at the end':>12}{'most':>12}")
        for name, *values in zip(Held._fields, after_a_day, at_the_end, map(max, zip(*samples))):
            print(f"{name:10}" + "".join(f"{value:12}" for value in values))
        print(f"{DAYS} days, {size} bytes of raw data, {lengths['15']} and {lengths['1440']} lines, {dict(events)}")

        self.assertLess(abs(at_the_end.anonymous - after_a_day.anonymous), ROOM)
        self.assertEqual((at_the_end.files, at_the_end.threads), (after_a_day.files, after_a_day.threads))

        # A record of each SFP each second, A before B, but for what the card had not delivered yet. A record left out
        # would show as more than a second's Sync messages.
        seconds = size // (2 * UNIT)
        self.assertEqual(size, 2 * UNIT * seconds)
        self.assertTrue(sfps == bytes((0, 1)) * seconds)
        self.assertAlmostEqual(seconds, DAYS * DAY, delta=STALL)
        self.assertAlmostEqual(last - first, DAYS * DAY, delta=STALL)
        for counts in syncs:
            self.assertLessEqual(max(later - earlier for earlier, later in itertools.pairwise(counts)), 8)

        # Should the machine hold the program up at the very end, the last test is due after the run's end.
        self.assertIn(lengths["15"], (2 * DAYS * 96, 2 * DAYS * 96 - 2))
        self.assertIn(lengths["1440"], (2 * DAYS, 2 * DAYS - 2))

        for kind, alert in ALERTS.items():
            self.assertEqual(events[kind], console.count(alert) + AT_THE_START.get(kind, 1), kind)
        self.assertEqual(events["SFP ST2059 telemetry"], 2 * events["ST2059 status/settings"])
        self.assertEqual(events["start of monitoring"], events["end of monitoring"])
        self.assertGreater(events["ST2059 status/settings"], CHANGES_A_DAY * DAYS / 2)


if __name__ == "__main__":
    unittest.main()
