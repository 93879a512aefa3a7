"""Runs whose wall clock is set."""

import pathlib
import platform
import time
import unittest

from kestrune import FAKE_TIME, ProgramTest, local_time

SPEED = 1800
CLOCK_NANOSLEEP = {"x86_64": 230, "aarch64": 115}.get(platform.machine())
TIMER_ABSTIME = 1


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
        process = self.start_program(
            "run",
            "-d=1",
            scenario={},
            LD_PRELOAD=FAKE_TIME,
            FAKETIME_NO_CACHE="1",
            FAKETIME_TIMESTAMP_FILE=str(setting),
        )
        results = self.folder / "ptpLog_period_test_results.txt"
        while process.poll() is None and not (results.exists() and results.read_text().count(",15,1,") == 1):
            time.sleep(0.01)
        new = self.folder / "new"
        new.write_text(f"{seconds:+} x{SPEED}")
        new.rename(setting)
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        return self.quarters()

    def test_a_run_waits_for_an_absolute_time(self):
        """So that the system wakes it at once when somebody sets the clock past that time, which no test may do."""
        process = self.start_program("run", scenario={})
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        process.stdout.readline()
        call = pathlib.Path("/proc", str(process.pid), "syscall")
        sleeping = [str(CLOCK_NANOSLEEP), hex(time.CLOCK_REALTIME), hex(TIMER_ABSTIME)]
        until = time.monotonic() + 10
        while call.read_text().split()[:3] != sleeping:
            self.assertLess(time.monotonic(), until, call.read_text())
            time.sleep(0.01)

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


if __name__ == "__main__":
    unittest.main()
