"""A PTP network inside this machine: namespaces around a bridge, ptp4l as grandmaster and as another follower, a relay
that impairs, and the program under test with the rights of nobody. All of it goes with the process that made it."""

import collections
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import time
import unittest

sys.path.append(str(pathlib.Path(__file__).parents[1] / "program"))
from kestrune import PROGRAM, ProgramTest  # noqa: E402

NETWORK_CARD = os.environ["KESTRUNE_NETWORK_CARD"]
SKIPPED = 77
INSIDE = "KESTRUNE_NETWORK_BED"  # in namespaces: the program's user as setpriv is told it
NOBODY = "--reuid=65534 --regid=65534 --clear-groups"
RIGHTS = "-all,+net_bind_service"

# SMPTE ST 2059-2's profile, and what ptp4l needs to leave the machine's clock alone.
PTP4L = """--domainNumber=127 --logAnnounceInterval=-2 --announceReceiptTimeout=3 --logSyncInterval=-3
--logMinDelayReqInterval=-3 --free_running=1 --freq_est_interval=0 --summary_interval=-3 --tx_timestamp_timeout=1000"""

QUANTITIES = {"masterToFollower": (112, 116), "offset": (112, 180), "pathDelay": (212, 216)}  # counts and figures
FIELDS = {
    "averagePathDelay": 852,
    "ptpTimescale": 892,
    "twoStepFlag": 880,
    "sync": 924,
    "followUp": 928,
    "discarded": 952,
}


def enter():
    """Runs the script again as the first process of its own namespaces: root's, or also a user's."""
    if INSIDE in os.environ:
        subprocess.run(["mount", "-t", "tmpfs", "bed", "/run"], check=True)  # network namespaces have their names there
        return
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    trial = "mount -t tmpfs bed /run && ip netns add bed && ip netns exec bed setpriv {} ptp4l -v"
    for own, user in (([], NOBODY), (["--user", "--map-root-user"], "")):
        apart = ["unshare", "--net", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", *own]
        if subprocess.run([*apart, "sh", "-c", trial.format(user)], capture_output=True).returncode == 0:
            os.environ[INSIDE] = user
            os.execvp(apart[0], [*apart, sys.executable, *sys.argv])
    print("skipped: for want of ptp4l, ip or setpriv, or neither root nor allowed to make a user namespace")
    sys.exit(SKIPPED)


def ip(command):
    subprocess.run(["ip", *command.split()], check=True)


def wait_until(condition, seconds=10):
    """The monotonic time at which the condition was first seen to hold, and what it gave."""
    end = time.monotonic() + seconds
    while not (given := condition()):
        assert time.monotonic() < end, f"not within {seconds} s"
        time.sleep(0.005)
    return time.monotonic(), given


# Memory in kB, and processor time in seconds.
Held = collections.namedtuple("Held", "resident anonymous files threads used")


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


class NetworkTest(ProgramTest):
    """A bridge, to which the grandmasters' interfaces gm1 and gm2 are plugged, and the follower's f0 and f1. One test a
    process, as nothing is taken down."""

    def setUp(self):
        super().setUp()
        self.folder.chmod(0o777)
        self.processes = {}
        self.addCleanup(lambda: [self.kill(name) for name in list(self.processes)])
        # Where nobody may read them.
        self.program, self.card = (shutil.copy(file, self.folder) for file in (PROGRAM[-1], NETWORK_CARD))
        for namespace in ("switch", "gm1", "gm2", "follower"):
            ip(f"netns add {namespace}")
        ip("-n switch link add bridge type bridge mcast_snooping 0")
        ip("-n switch link set bridge up")
        for interface in ("gm1", "gm2", "f0", "f1"):
            self.plug(interface)

    def plug(self, interface):
        """Both ends of its cable have its name."""
        namespace = "follower" if interface[0] == "f" else interface
        number = 10 * (interface[0] == "f") + int(interface[-1])
        ends = f"{interface} netns {namespace} address 02:00:00:00:00:{number} type veth peer name {interface}"
        ip(f"link add {ends} netns switch")
        ip(f"-n {namespace} address add 10.59.0.{number}/24 dev {interface}")
        ip(f"-n {namespace} link set {interface} up")
        ip(f"-n switch link set {interface} up master bridge")

    def relay(self, interface):
        """Puts a relay into the interface's cable. Returns what changes its settings and tells what it did before."""
        ip(f"-n switch link set {interface} nomaster")
        ip("-n switch link add near type veth peer name port")
        ip("-n switch link set near up")
        ip("-n switch link set port up master bridge")
        script = pathlib.Path(__file__).with_name("relay.py")
        pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "text": True, "bufsize": 1}
        relay = self.start("switch", "relay", sys.executable, script, "near", interface, **pipes)

        def impair(**settings):
            relay.stdin.write(json.dumps(settings) + "\n")
            return json.loads(relay.stdout.readline())

        return impair

    def start(self, namespace, name, *command, **how):
        words = ["ip", "netns", "exec", namespace, *command]
        self.processes[name] = subprocess.Popen(words, cwd=self.folder, **how)
        return self.processes[name]

    def kill(self, name):
        process = self.processes.pop(name)
        process.kill()
        process.communicate()

    def ptp4l(self, name, namespace, options):
        with (self.folder / f"{name}.log").open("w") as log:
            command = f"ptp4l -mqS4E --uds_address=/run/{name} {PTP4L} {options}"
            self.start(namespace, name, *command.split(), stdout=log, stderr=log)

    def grandmaster(self, name, priority1, options=""):
        self.ptp4l(name, name, f"-i {name} --masterOnly=1 --clockClass=6 --priority1={priority1} {options}")

    def program_as_nobody(self, name, interfaces, *arguments, rights=RIGHTS, environment=(), **how):
        """Who may bind to low ports and nothing else."""
        limits = [f"--{kind}={rights}" for kind in ("bounding-set", "inh-caps", "ambient-caps")]
        nobody = ["setpriv", "--no-new-privs", *limits, *os.environ[INSIDE].split()]
        card = {"ZV_CARD_SERVICES": self.card, "ZV_NET_INTERFACES": interfaces}
        how["env"] = {**os.environ, **card, **dict(environment)}
        return self.start("follower", name, *nobody, self.program, *arguments, **how)

    def kestrune(self, interfaces, prefix="ptpLog", **environment):
        how = {"environment": environment, "stdout": subprocess.DEVNULL}
        self.program_as_nobody(prefix, interfaces, "run", f"-f={prefix}", **how)
        wait_until(lambda: sum(len(record.samples("offset")) for record in self.records(0, prefix)) > 4)

    def held(self):
        """By the program, since it started."""
        process = pathlib.Path("/proc", str(self.processes["ptpLog"].pid))
        status = dict(line.split(":", 1) for line in (process / "status").read_text().splitlines())
        resident, anonymous = (int(status[name].split()[0]) for name in ("VmRSS", "RssAnon"))
        ticks = (process / "stat").read_text().rsplit(") ")[1].split()[11:13]
        used = sum(map(int, ticks)) / os.sysconf("SC_CLK_TCK")
        return Held(resident, anonymous, len(os.listdir(process / "fd")), int(status["Threads"]), used)

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
            return [event for event in self.events() if event["Event log type"] == kind and event["SFP"] == sfp][-1][
                member
            ]
        except (ValueError, IndexError, AssertionError):
            return None


def run_apart(script, names):
    """Each test of the script in namespaces of its own, all at once: most of the time they wait."""
    if len(names) == 1:
        enter()
        unittest.main(module="__main__")
    tests = [subprocess.Popen([sys.executable, script, name]) for name in names]
    statuses = [test.wait() for test in tests]
    return next((status for status in statuses if status != 0), 0)
