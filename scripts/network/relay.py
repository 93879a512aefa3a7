"""Forwards Ethernet frames between two interfaces and impairs PTP on the way, where kernels have no netem:

    relay.py NEAR FAR

NEAR lies towards the master, FAR towards the follower. A line on standard input is a JSON object of SETTINGS that hold
from then on; the line that answers it counts what was done since the one before, and, if it was to be exact, how
many Syncs and Delay_Reqs left late.
"""

import collections
import contextlib
import gc
import heapq
import itertools
import json
import os
import random
import select
import signal
import socket
import struct
import sys
import time

SETTINGS = {
    "down": 0,  # µs, from the master; what isn't PTP passes at once
    "up": 0,
    "jitter": 0,  # µs, uniform to either side
    "lose": 0,  # share of the master's Syncs, as the next two
    "double": 0,
    "overtake": 0,
    "tai": 0,  # s that the master's time is ahead of its UTC
    "one_step": False,
    "transparent": False,
    "exact": False,  # to microseconds, for which a processor is kept busy; else late by what it takes to wake up
}
SYNC, DELAY_REQ, FOLLOW_UP, DELAY_RESP, ANNOUNCE = 0, 1, 8, 9, 11
LATE = 20_000  # ns after it was due
OVERTAKEN = 200_000_000  # ns that a Sync comes late so that others overtake it


def add(frame, place, layout, number):
    struct.pack_into(layout, frame, place, struct.unpack_from(layout, frame, place)[0] + number)


def message_place(frame):
    """Where the PTP message begins; 0 if it is none."""
    udp = 14 + 4 * (frame[14] & 15)
    is_udp = frame[12:14] == b"\x08\x00" and frame[23] == socket.IPPROTO_UDP
    return udp + 8 if is_udp and struct.unpack_from(">H", frame, udp + 2)[0] in (319, 320) else 0


def open_interface(name):
    so_timestampns, sol_packet, add_membership, ignore_outgoing, every_protocol = 35, 263, 1, 23, 3
    interface = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(every_protocol))
    interface.bind((name, 0))
    interface.setsockopt(socket.SOL_SOCKET, so_timestampns, 1)
    interface.setsockopt(sol_packet, ignore_outgoing, 1)
    promiscuous = struct.pack("IHH8s", socket.if_nametoindex(name), 1, 0, b"")
    interface.setsockopt(sol_packet, add_membership, promiscuous)
    return interface


class Relay:
    def __init__(self, near, far):
        self.near, self.far = near, far
        self.settings = SETTINGS
        self.done = collections.Counter()
        self.queue = []  # (when it is due, serial number, where it leaves, frame, place of its event message, arrival)
        self.serial = itertools.count()
        self.dice = random.Random(2059)
        self.syncs = {}  # that wait for their Follow_Up to become one step, by sequenceId

    def receive(self, interface):
        data, ancillary, *_ = interface.recvmsg(2048, 128)
        seconds, nanoseconds = struct.unpack("qq", ancillary[0][2])
        arrival, frame, place = seconds * 10**9 + nanoseconds, bytearray(data), message_place(data)
        if place:
            frame[place - 2 : place] = b"\0\0"  # a UDP checksum that nobody looks at
        if place and interface is self.near:
            self.from_master(arrival, frame, place)
        else:
            self.done["up"] += bool(place)
            self.forward(self.near if interface is self.far else self.far, arrival, "up", frame, place)

    def from_master(self, arrival, frame, place):
        kind = frame[place] & 15
        if self.settings["tai"]:
            self.serve_tai(kind, frame, place)
        (sequence,) = struct.unpack_from(">H", frame, place + 30)
        if kind == SYNC and self.settings["one_step"]:
            self.syncs[sequence] = arrival, frame
            return
        if kind == FOLLOW_UP and sequence in self.syncs:
            arrival, sync = self.syncs.pop(sequence)
            sync[place + 6] &= ~0b10  # twoStepFlag
            sync[place + 34 : place + 44] = frame[place + 34 : place + 44]
            add(sync, place + 8, ">q", struct.unpack_from(">q", frame, place + 8)[0])
            frame = sync
        if kind == SYNC:
            fates = ("lose", "double", "overtake")
            shares = [self.settings[fate] for fate in fates]
            [fate] = self.dice.choices((*fates, "none"), (*shares, 1 - sum(shares)))
            self.done[fate] += 1
            if fate == "lose":
                return
            if fate == "double":
                self.forward(self.far, arrival, "down", bytearray(frame), place)
            if fate == "overtake":
                arrival += OVERTAKEN
        self.forward(self.far, arrival, "down", frame, place)

    def serve_tai(self, kind, frame, place):
        if kind in (FOLLOW_UP, DELAY_RESP):
            add(frame, place + 36, ">I", self.settings["tai"])
        if kind == ANNOUNCE:
            frame[place + 7] = 0b1100  # ptpTimescale, currentUtcOffsetValid
            struct.pack_into(">h", frame, place + 44, self.settings["tai"])

    def forward(self, out, arrival, way, frame, place):
        residence = 1000 * (self.settings[way] + self.dice.uniform(-1, 1) * self.settings["jitter"]) if place else 0
        event = place if frame[place] & 15 in (SYNC, DELAY_REQ) else 0
        heapq.heappush(self.queue, (arrival + round(residence), next(self.serial), out, frame, event, arrival))

    def send_due(self):
        while self.queue and self.queue[0][0] <= (now := time.time_ns()):
            due, _, out, frame, event, arrival = heapq.heappop(self.queue)
            self.done["late"] += self.settings["exact"] and bool(event) and now > due + LATE
            if event and self.settings["transparent"]:
                add(frame, event + 8, ">q", now - arrival << 16)
            with contextlib.suppress(OSError):  # the interface is down
                out.send(frame)

    def wait(self):
        """In seconds, for the next frame; None: there is none to send."""
        if self.settings["exact"]:
            return 0
        return max(0, self.queue[0][0] - time.time_ns()) / 10**9 if self.queue else None

    def run(self):
        while True:
            for source in select.select([self.near, self.far, sys.stdin], [], [], self.wait())[0]:
                if source is not sys.stdin:
                    self.receive(source)
                elif line := sys.stdin.readline():
                    self.settings = {**SETTINGS, **json.loads(line)}
                    print(json.dumps(self.done), flush=True)
                    self.done.clear()
                else:
                    return
            self.send_due()


gc.disable()
signal.signal(signal.SIGINT, signal.SIG_DFL)  # its end is no news
with contextlib.suppress(PermissionError):  # in a user's namespace; medians stand it
    os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(10))
Relay(*map(open_interface, sys.argv[1:])).run()
