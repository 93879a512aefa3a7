"""A PTP network inside this machine: namespaces around a bridge, ptp4l for grandmasters, and a relay that impairs. All of
it goes with the process that made it."""

import json
import os
import pathlib
import subprocess
import sys

INSIDE = "KESTRUNE_NETWORK_BED"  # in namespaces: the user as setpriv is told it
NOBODY = "--reuid=65534 --regid=65534 --clear-groups"

# SMPTE ST 2059-2's profile, and what ptp4l needs to leave the machine's clock alone.
PTP4L = """--domainNumber=127 --logAnnounceInterval=-2 --announceReceiptTimeout=3 --logSyncInterval=-3
--logMinDelayReqInterval=-3 --free_running=1 --freq_est_interval=0 --summary_interval=-3 --tx_timestamp_timeout=1000"""


def enter():
    """Runs the script again as the first process of its own namespaces: root's, or also a user's. False where a tool is
    wanting or nobody may make them."""
    if INSIDE in os.environ:
        subprocess.run(["mount", "-t", "tmpfs", "bed", "/run"], check=True)  # network namespaces have their names there
        return True
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    trial = "mount -t tmpfs bed /run && ip netns add bed && ip netns exec bed setpriv {} ptp4l -v"
    for own, user in (([], NOBODY), (["--user", "--map-root-user"], "")):
        apart = ["unshare", "--net", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc", *own]
        if subprocess.run([*apart, "sh", "-c", trial.format(user)], capture_output=True).returncode == 0:
            os.environ[INSIDE] = user
            os.execvp(apart[0], [*apart, sys.executable, *sys.argv])
    return False


def ip(command):
    subprocess.run(["ip", *command.split()], check=True)


class Bed:
    """A bridge, to which the grandmasters' interfaces gm1 and gm2 are plugged, and the follower's f0 and f1. One a
    process, as nothing is taken down."""

    def make(self, folder):
        """`folder` is where processes run and leave their logs."""
        self.folder = folder
        self.processes = {}
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
