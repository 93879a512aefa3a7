"""Runs whose wall clock is set, or passes dates that programs have stumbled over."""

import os
import time
import unittest

from kestrune import FAKE_TIME, ProgramTest, local_time

SPEED = 1800


class ClockTest(ProgramTest):
    def quarters(self):
        """The epoch times of the tests of SFP A, after a look at all lines and documents."""
        _, lines = self.period_lines()
        self.assertEqual([line[2:4] for line in lines], [["15", "0"], ["15", "1"]] * (len(lines) // 2))
        for line in lines:
            self.assertEqual(line[1], local_time(int(line[0])))
        for event in self.events():
            self.assertEqual(event["Time"], local_time(event["Epoch time"]))
        return [int(line[0]) for line in lines[::2]]

    def run_set_by(self, seconds):
        """A run of an hour whose clock is set by so many seconds during its second quarter."""
        setting = self.folder / "clock"
        setting.write_text(f"+0 x{SPEED}")
        process = self.start_program("run", "-d=1", scenario={}, LD_PRELOAD=FAKE_TIME, FAKETIME_NO_CACHE="1",
                                     FAKETIME_TIMESTAMP_FILE=str(setting))
        results = self.folder / "ptpLog_period_test_results.txt"
        while process.poll() is None and not (results.exists() and results.read_text().count(",15,1,") == 1):
            time.sleep(0.01)
        new = self.folder / "new"
        new.write_text(f"{seconds:+} x{SPEED}")
        new.rename(setting)
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        return self.quarters()

    def test_the_clock_is_set(self):
        for seconds, expected in ((900, [1800, 0, 900]), (-900, [900, 900, 900])):
            with self.subTest(seconds=seconds):
                times = self.run_set_by(seconds)
                steps = [later - earlier for earlier, later in zip(times, times[1:])]
                self.assertEqual(len(times), 4)
                for step, wanted in zip(steps, expected):
                    self.assertAlmostEqual(step, wanted, delta=300)
                self.assertGreater(len(self.raw_units()), 2 * 2000)
            for file in self.folder.glob("ptpLog*"):
                file.unlink()

    def test_remarkable_dates(self):
        rows = (
            ("CET-1CEST,M3.5.0,M10.5.0/3", "2026-03-29 01:30:00"),  # the clocks go forward
            ("CET-1CEST,M3.5.0,M10.5.0/3", "2026-10-25 02:30:00"),  # and back
            ("UTC", "2038-01-19 02:44:00"),  # seconds past 32 bits
        )
        self.addCleanup(time.tzset)
        self.addCleanup(os.environ.pop, "TZ")
        top = self.folder
        runs = []
        for number, (zone, start) in enumerate(rows):
            self.folder = top / str(number)
            self.folder.mkdir()
            runs.append(self.start_program("run", "-d=1", scenario={}, LD_PRELOAD=FAKE_TIME, TZ=zone,
                                           FAKETIME=f"@{start} x{SPEED}"))
        for number, (zone, start) in enumerate(rows):
            with self.subTest(start=start):
                self.folder = top / str(number)
                os.environ["TZ"] = zone
                time.tzset()
                runs[number].communicate(timeout=60)
                self.assertEqual(runs[number].returncode, 0)
                times = self.quarters()
                for place, epoch in enumerate(times):
                    self.assertAlmostEqual(epoch, times[0] + 900 * place, delta=300)
                self.assertIn(start[:10], local_time(times[0]))
                self.assertEqual(len(times), 4)
                epochs = [epoch for epoch, _ in self.raw_units()]
                self.assertEqual(epochs, sorted(epochs))


if __name__ == "__main__":
    unittest.main()
