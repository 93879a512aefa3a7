"""Runs the program under test as a user would, and reads what it leaves behind.

The environment variable KESTRUNE_PROGRAM names the program: a path, or several words for one that runs under Wine.
"""

import collections
import datetime
import json
import os
import pathlib
import re
import shlex
import signal
import struct
import subprocess
import tempfile
import unittest

PROGRAM = shlex.split(os.environ["KESTRUNE_PROGRAM"])
WINDOWS = PROGRAM[-1].endswith(".exe")
FAILURE = 255  # -1 as a shell sees it
PASS_PHRASE = "Tovrak_N3qLxW8pZc5Hr2m"

# What a run against the card in C leaves of its event log, the times aside.
EVENT_LOG = pathlib.Path(__file__).with_name("event_log.txt")

FAKE_TIME = "/usr/$LIB/faketime/libfaketime.so.1"  # the dynamic loader fills in $LIB

UNIT = 1024
ORDINARY = {
    "network": {"grandmasters": [{"name": "GM", "clockIdentity": "08-00-11-ff-fe-21-00-01", "address": "10.0.0.1"}]},
    "cards": [{"modelCode": 98, "serialNumber": "A56298"}],
}
TIMED = re.compile(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d")


def command(arguments, speed=None):
    """The command line of the program, its clock running `speed` times as fast.

    libfaketime without its own starter, which refuses to run when a killed process of the same number left its
    semaphore behind.
    """
    if not speed:
        return [*PROGRAM, *arguments]
    if WINDOWS:
        return [PROGRAM[0], "--faketime", f"+0 x{speed}", *PROGRAM[1:], *arguments]
    return ["env", f"LD_PRELOAD={FAKE_TIME}", f"FAKETIME=+0 x{speed}", *PROGRAM, *arguments]


class Result:
    def __init__(self, process, text, errors):
        self.status = process.returncode
        self.text = text.replace("\r\n", "\n")
        self.errors = errors
        self.lines = self.text.split("\n")[:-1]

    @property
    def messages(self):
        """The lines without their local time."""
        return [TIMED.sub("", line, count=1) for line in self.lines]


class ProgramTest(unittest.TestCase):
    """A test with a folder of its own, in which the program runs."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestrune-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def environment(self, scenario=None, **more):
        """`scenario` is the name of a ready one, or what makes it other than an ordinary network and card."""
        # What waits for a moment of real time, waits for it however fast the wall clock runs.
        environment = dict(
            os.environ, ASAN_OPTIONS="verify_asan_link_order=0", FAKETIME_DONT_FAKE_MONOTONIC="1", **more
        )
        if isinstance(scenario, str):
            ready = pathlib.Path(__file__).parents[2] / "cards" / "simulated" / "scenarios" / f"{scenario}.json"
            environment["ZV_SIM_SCENARIO"] = str(ready)
        elif scenario is not None:
            file = self.folder / "scenario.json"
            file.write_text(json.dumps({**ORDINARY, **scenario}), encoding="utf-8")
            environment["ZV_SIM_SCENARIO"] = str(file)
        return environment

    def start_program(self, *arguments, scenario=None, speed=None, process=None, **environment):
        """The running program, in a process group of its own; `process` goes to Popen."""
        process = subprocess.Popen(
            command(arguments, speed),
            **{
                "cwd": self.folder,
                "env": self.environment(scenario, **environment),
                "stdin": subprocess.DEVNULL,
                "stdout": subprocess.PIPE,
                "stderr": subprocess.PIPE,
                "encoding": "utf-8",
                "errors": "replace",
                "start_new_session": True,
                **(process or {}),
            },
        )
        for remnant in (f"faketime_shm_{process.pid}", f"sem.faketime_sem_{process.pid}"):
            self.addCleanup(pathlib.Path("/dev/shm", remnant).unlink, missing_ok=True)
        return process

    def run_program(self, *arguments, timeout=120, **how):
        # No pipe: Wine's desktop, which a program may start, outlives it and would keep the pipe open.
        with tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace") as errors:
            process = self.start_program(*arguments, process={"stderr": errors}, **how)
            try:
                text, _ = process.communicate(timeout=timeout)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                raise
            errors.seek(0)
            return Result(process, text, errors.read())

    def raw_units(self, prefix="ptpLog"):
        """Every unit of the raw data file, as (epoch time, record)."""
        data = (self.folder / f"{prefix}_raw_data").read_bytes()
        self.assertEqual(len(data) % UNIT, 0, "torn unit")
        return [(struct.unpack_from("<q", data, at)[0], data[at + 8 : at + UNIT]) for at in range(0, len(data), UNIT)]

    def events(self, prefix="ptpLog"):
        """Every document of the event log. A torn one fails."""
        return parse_events((self.folder / f"{prefix}_event_log.txt").read_bytes().decode("utf-8"))

    def event_types(self, prefix="ptpLog"):
        return [event["Event log type"] for event in self.events(prefix)]

    def period_lines(self, prefix="ptpLog"):
        """The file's lines as (lines of text, data lines split into their fields)."""
        lines = (self.folder / f"{prefix}_period_test_results.txt").read_text(encoding="utf-8").split("\n")
        self.assertEqual(lines.pop(), "")
        data = [line.split(",") for line in lines if re.match(r"\d+,", line)]
        return [line for line in lines if not re.match(r"\d+,", line)], data


def parse_events(text):
    text = text.replace("\r\n", "\n")
    events = []
    at = 0
    while at < len(text):
        event, at = json.JSONDecoder().raw_decode(text, at)
        events.append(event)
        assert text[at] == "\n", "torn document"
        at += 1
    return events


# By a process: memory in kB, and the processor time in seconds since it started.
Held = collections.namedtuple("Held", "resident anonymous files threads used")


def held(pid):
    process = pathlib.Path("/proc", str(pid))
    status = dict(line.split(":", 1) for line in (process / "status").read_text().splitlines())
    resident, anonymous = (int(status[name].split()[0]) for name in ("VmRSS", "RssAnon"))
    ticks = (process / "stat").read_text().rsplit(") ")[1].split()[11:13]
    used = sum(map(int, ticks)) / os.sysconf("SC_CLK_TCK")
    return Held(resident, anonymous, len(os.listdir(process / "fd")), int(status["Threads"]), used)


def local_time(epoch):
    return datetime.datetime.fromtimestamp(epoch).strftime("%Y-%m-%d %H:%M:%S")
