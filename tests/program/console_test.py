"""The console is taken away, in every way that a system knows: a run goes on to its end, and its files are whole."""

import contextlib
import fcntl
import os
import pty
import resource
import shlex
import struct
import subprocess
import termios
import unittest

from kestrune import FAILURE, PASS_PHRASE, UNIT, WINDOWS, ProgramTest, command

NO_TEST = "-d=2147483648"
BUSY = {
    "timeline": [
        {"at": 2, "event": "genlock", "state": 2, "frameRate": 3, "every": 8, "times": 0},
        {"at": 6, "event": "genlock", "state": 1, "frameRate": 8, "every": 8, "times": 0},
        {"at": 9, "event": "sfp-index", "sfp": "A", "value": 2, "count": 2, "every": 60, "times": 0},
    ]
}

CLOSED = {
    "stdin": None,
    "stdout": None,
    "stderr": None,
    "close_fds": False,
    "preexec_fn": lambda: [os.close(end) for end in range(3)],
}


def unread_pipe(full=True):
    """A pipe that takes no byte more, and whose reader never reads."""
    reader, writer = os.pipe()
    if full:
        os.set_blocking(writer, False)
        with contextlib.suppress(BlockingIOError):
            while os.write(writer, bytes(4096)):
                pass
        os.set_blocking(writer, True)
    return reader, writer


class ConsoleTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.busy = self.environment(BUSY)["ZV_SIM_SCENARIO"]  # one for runs side by side

    def start(self, name, *arguments, **process):
        defaults = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        started = self.start_program(
            "run",
            f"-f={name}",
            *(arguments or ("-d=1",)),
            speed=1200,
            ZV_SIM_SCENARIO=self.busy,
            process={**defaults, **process},
        )
        self.addCleanup(started.kill)
        return started

    def test_the_files_are_what_they_would_have_been(self):
        gone_reader, gone_writer = os.pipe()
        os.close(gone_reader)
        unread = unread_pipe(full=False)
        stalled = unread_pipe()
        disk = os.open("/dev/full", os.O_WRONLY)
        for end in (gone_writer, *unread, *stalled, disk):
            self.addCleanup(os.close, end)
        runs = {
            "ordinary": self.start("ordinary"),
            "gone": self.start("gone", stdout=gone_writer),
            "unread": self.start("unread", stdout=unread[1]),
            "stalled": self.start("stalled", stdout=stalled[1]),
            "full": self.start("full", stdout=disk),
        }
        if not WINDOWS:
            runs["closed"] = self.start("closed", **CLOSED)
        for name, run in runs.items():
            with self.subTest(console=name):
                self.assertEqual(run.wait(timeout=60), 0)
                self.assertEqual(len(self.period_lines(name)[1]), 8)
                units = self.raw_units(name)
                self.assertAlmostEqual(len(units), 2 * 3600, delta=500)
                self.assertLessEqual({record[0] for _, record in units}, {0, 1, 2}, "console lines in the raw data")
                types = self.event_types(name)
                self.assertEqual(types[-1], "end of monitoring")
                # 900 changes in seconds: a busy machine looks less often, and sees several as one.
                self.assertIn(types.count("genlock settings"), range(100, 1100))

    def test_a_stalled_one_holds_up_no_end(self):
        for arguments, status in (((NO_TEST,), 0), (("-p=missing",), FAILURE), (("-hw=7",), FAILURE)):
            reader, writer = unread_pipe()
            try:
                self.assertEqual(self.start("end", *arguments, stdout=writer).wait(timeout=20), status)
            finally:
                os.close(reader)
                os.close(writer)

    @unittest.skipIf(WINDOWS, "not Windows' own")
    def test_one_that_does_not_wait_gets_every_line(self):
        reader, writer = os.pipe()
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        os.set_blocking(writer, False)
        run = self.start("slow", stdout=writer)
        os.close(writer)
        with open(reader, encoding="utf-8") as console:
            lines = console.readlines()
        self.assertEqual(run.wait(), 0)
        self.assertTrue(lines[-1].endswith(": Ending ST2059 monitoring.\n"))
        changes = sum(line.endswith(": Genlock settings have changed\n") for line in lines)
        self.assertEqual(changes, self.event_types("slow").count("genlock settings") - 1)

    @unittest.skipIf(WINDOWS, "not Windows' own")
    def test_a_terminal_that_stops_output_in_the_background(self):
        master, terminal = pty.openpty()
        self.addCleanup(os.close, master)
        settings = termios.tcgetattr(terminal)
        settings[3] |= termios.TOSTOP
        termios.tcsetattr(terminal, termios.TCSANOW, settings)
        shell = subprocess.Popen(
            ["bash", "-c", f"set -m; {shlex.join(command(['run', NO_TEST]))} & wait $!"],
            cwd=self.folder,
            env=self.environment({}),
            stdin=terminal,
            stdout=terminal,
            stderr=terminal,
            preexec_fn=lambda: (os.setsid(), fcntl.ioctl(0, termios.TIOCSCTTY, 0)),
        )
        os.close(terminal)
        self.addCleanup(shell.kill)
        self.assertEqual(shell.wait(timeout=30), 0)
        self.assertIn(b": Ending ST2059 monitoring.", os.read(master, 4096))

    @unittest.skipIf(WINDOWS, "not Windows' own")
    def test_the_conversion(self):
        record = bytearray(UNIT)
        struct.pack_into("<iI", record, 8 + 956, 10, 1)
        (self.folder / "ptpLog_raw_data").write_bytes(bytes(record) * 40)
        text = self.folder / "ptpLog_decyphered_raw_data.txt"
        gone_reader, gone_writer = os.pipe()
        os.close(gone_reader)
        self.addCleanup(os.close, gone_writer)
        limit = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, resource.RLIM_INFINITY))}
        for how, status, lines in ((CLOSED, 0, 42), ({"stdout": gone_writer}, 0, 42), (limit, FAILURE, 1)):
            conversion = self.start_program(PASS_PHRASE, "decypher", process=how)
            conversion.communicate(timeout=30)
            self.assertEqual(conversion.returncode, status)
            self.assertEqual(text.read_text().count("\n"), lines)
            self.assertNotIn("processing", text.read_text())


if __name__ == "__main__":
    unittest.main()
