"""The program under test on a PTP network inside this machine, with the rights of nobody, and what it leaves there."""

import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import time
import unittest

ROOT = pathlib.Path(__file__).parents[2]
sys.path += [str(ROOT / "scripts" / "network"), str(ROOT / "tests" / "program")]
import bed  # noqa: E402
from kestrune import PROGRAM, ProgramTest, held  # noqa: E402

NETWORK_CARD = os.environ["KESTRUNE_NETWORK_CARD"]
SKIPPED = 77
RIGHTS = "-all,+net_bind_service"
GM1, GM2 = "0x20000fffe000001", "0x20000fffe000002"

QUANTITIES = {"masterToFollower": (112, 116), "offset": (112, 180), "pathDelay": (212, 216)}  # counts and figures
FIELDS = {"averagePathDelay": 852, "twoStepFlag": 880, "ptpTimescale": 892, "sync": 924, "followUp": 928}
FIELDS |= {"delayReqSent": 932, "discarded": 952, "linkTransmitRate": 968, "linkReceiveRate": 976}


def wait_until(condition, seconds=10):
    """The monotonic time at which the condition was first seen to hold, and what it gave."""
    end = time.monotonic() + seconds
    while not (given := condition()):
        assert time.monotonic() < end, f"not within {seconds} s"
        time.sleep(0.005)
    return time.monotonic(), given


class Record:
    def __init__(self, octets):
        self.octets = octets

    def __getattr__(self, field):
        return struct.unpack_from("<I", self.octets, FIELDS[field])[0]

    def samples(self, quantity):
        """The second's least, greatest and, as often as it has others, their average: for three and less, each one."""
        count_place, place = QUANTITIES[quantity]
        (count,) = struct.unpack_from("<i", self.octets, count_place)
        parts = struct.unpack_from("<6i", self.octets, place)
        total, least, greatest = (s * 10**9 + ns for s, ns in zip(parts[::2], parts[1::2]))
        others = [(total - least - greatest) / max(1, count - 2)] * (count - 2)
        return [least, greatest, *others][:count]


class NetworkTest(ProgramTest, bed.Bed):
    """One test a process."""

    def setUp(self):
        super().setUp()
        self.folder.chmod(0o777)
        self.make(self.folder)
        self.addCleanup(lambda: [self.kill(name) for name in list(self.processes)])
        # Where nobody may read them.
        self.program, self.card = (shutil.copy(file, self.folder) for file in (PROGRAM[-1], NETWORK_CARD))

    def program_as_nobody(self, name, interfaces, *arguments, rights=RIGHTS, environment=(), **how):
        """Who may bind to low ports and nothing else."""
        limits = [f"--{kind}={rights}" for kind in ("bounding-set", "inh-caps", "ambient-caps")]
        nobody = ["setpriv", "--no-new-privs", *limits, *os.environ[bed.INSIDE].split()]
        card = {"ZV_CARD_SERVICES": self.card, "ZV_NET_INTERFACES": interfaces}
        how["env"] = {**os.environ, **card, **dict(environment)}
        return self.start("follower", name, *nobody, self.program, *arguments, **how)

    def kestrune(self, interfaces, prefix="ptpLog", **environment):
        with (self.folder / f"{prefix}.errors").open("w") as errors:
            how = {"environment": environment, "stdout": subprocess.DEVNULL, "stderr": errors}
            self.program_as_nobody(prefix, interfaces, "run", f"-f={prefix}", **how)
        wait_until(lambda: sum(len(record.samples("offset")) for record in self.records(0, prefix)) > 4)

    def held(self):
        return held(self.processes["ptpLog"].pid)

    def said(self, name, what):
        """The lines in which a ptp4l said this, with their monotonic times."""
        text = (self.folder / f"{name}.log").read_text()
        return [(float(time), line) for time, line in re.findall(r"ptp4l\[([\d.]+)\]: (.*)", text) if what in line]

    def records(self, sfp, prefix="ptpLog"):
        file = self.folder / f"{prefix}_raw_data"
        return [Record(unit[1]) for unit in self.raw_units(prefix) if unit[1][0] == sfp] if file.exists() else []

    def last(self, kind, member, sfp="SFP A"):
        """Of the last event of this kind; None while it is being written."""
        try:
            ours = [event for event in self.events() if (event["Event log type"], event.get("SFP")) == (kind, sfp)]
            return ours[-1][member]
        except (ValueError, IndexError, AssertionError):
            return None


def run_apart(script, names):
    """Each test of the script in namespaces of its own, all at once: most of the time they wait."""
    if len(names) == 1:
        if bed.enter():
            unittest.main(module="__main__")
        print("skipped: for want of ptp4l, ip or setpriv, or neither root nor allowed to make a user namespace")
        return SKIPPED
    tests = [subprocess.Popen([sys.executable, script, name]) for name in names]
    statuses = [test.wait() for test in tests]
    return next((status for status in statuses if status != 0), 0)
