"""Two minutes of a PTP network with two grandmasters, as Kestrune sees it, told as they pass:

    demo.py KESTRUNE

The library and its interfaces, f0 and f1, stand in Kestrune's environment variables.
"""

import pathlib
import signal
import sys
import time

import bed


def watch(program):
    start = time.monotonic()

    def tell(second, text):
        time.sleep(max(0, start + second - time.monotonic()))
        print(f"{second:5} s  ------  {text}", flush=True)

    network = bed.Bed()
    network.make(pathlib.Path.cwd())
    impair = network.relay("f1")
    impair(down=500, up=500)
    tell(0, "Kestrune starts to listen, and hears nothing")
    network.start("follower", "kestrune", program, "run", "-f=netdemo")
    tell(3, "two grandmasters start, gm1 the better one")
    network.grandmaster("gm1", 10)
    network.grandmaster("gm2", 20)
    tell(20, "the cable of SFP A is pulled")
    bed.ip("-n switch link set f0 down")
    tell(32, "and plugged in again")
    bed.ip("-n switch link set f0 up")
    tell(50, "gm1 dies, gm2 has to take over")
    network.kill("gm1")
    tell(70, "gm1 is back")
    network.grandmaster("gm1", 10)
    tell(90, "the way to SFP B becomes 1 ms longer than the way back, so that its clock seems to be 500 µs ahead")
    impair(down=1500, up=500)
    tell(105, "and is as it was")
    impair(down=500, up=500)
    tell(120, "the end")


signal.signal(signal.SIGTERM, lambda *_: sys.exit(130))  # the first process of its namespaces: with it, everything ends
if not bed.enter():
    sys.exit("scripts/netdemo: run it as root, as this machine lets nobody else make namespaces")
try:
    watch(sys.argv[1])
except KeyboardInterrupt:
    sys.exit(130)
