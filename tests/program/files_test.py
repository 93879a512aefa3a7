"""What runs do with files that others hold or that a crash has torn."""

import shutil
import unittest

from kestrune import FAILURE, PASS_PHRASE, UNIT, WINDOWS, ProgramTest

NO_TEST = "-d=2147483648"
REFUSED = ": Could not configure log files. Log path may be invalid : ZV_E_FAIL: Generic error."
SUFFIXES = ("raw_data", "event_log.txt", "period_test_results.txt")


class FilesTest(ProgramTest):
    def contents(self, prefix="ptpLog"):
        return [(self.folder / f"{prefix}_{suffix}").read_bytes() for suffix in SUFFIXES]

    def test_one_run_at_a_time(self):
        first = self.start_program("run", scenario={})
        try:
            self.assertIn("Starting", first.stdout.readline())
            second = self.run_program("run", NO_TEST, scenario={})
            self.assertEqual((second.messages, second.status), ([REFUSED], FAILURE))
            self.assertEqual(self.event_types().count("start of monitoring"), 1)
            self.assertEqual(len(self.period_lines()[0]), 8)
            elsewhere = self.run_program("run", NO_TEST, "-f=other", scenario={})
            self.assertEqual(elsewhere.status, 0)
        finally:
            first.kill()
            first.communicate()
        third = self.run_program("run", NO_TEST, scenario={})
        self.assertEqual(third.status, 0, "the lock went with the first")

    def test_what_a_crash_has_torn_is_continued_in_step(self):
        self.assertEqual(self.run_program("run", "-d=1", scenario={}, speed=1800).status, 0)
        whole = self.contents()
        self.assertGreater(len(whole[0]), 2 * 3000 * UNIT)
        end = b"\r\n" if WINDOWS else b"\n"
        for torn in (1, 8, 500, 1023):
            with self.subTest(torn=torn):
                paths = [self.folder / f"{torn}_{suffix}" for suffix in SUFFIXES]
                for path, content in zip(paths, whole):
                    path.write_bytes(content[: -1024 - torn])
                self.assertEqual(self.run_program("run", NO_TEST, f"-f={torn}", scenario={}).status, 0)
                after = self.contents(torn)
                self.assertEqual(after[0], whole[0][: -1024 - torn] + bytes(torn))
                for old, new in zip(whole[1:], after[1:]):
                    piece = old[: -1024 - torn]
                    self.assertTrue(new.startswith(piece + (b"" if piece.endswith(b"\n") else end)))
                    self.assertGreater(len(new), len(piece) + 1024)
        shutil.copy(self.folder / "500_raw_data", self.folder / "ptpLog_raw_data")
        self.assertEqual(self.run_program(PASS_PHRASE, "decypher").status, 0)
        lines = (self.folder / "ptpLog_decyphered_raw_data.txt").read_text().splitlines()
        self.assertEqual(len(lines), 2 + len(whole[0]) // UNIT - 1, "the torn unit's line is one of them")


if __name__ == "__main__":
    unittest.main()
