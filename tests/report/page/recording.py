"""Recordings every value of which is known: four hours over the spring change of clocks in Berlin, and a month of which
some minutes of every day were recorded."""

import json
import random
import struct

BEGIN = 1774735200  # 2026-03-28 22:00 UTC
CHANGE_OF_CLOCKS = 1774746000  # 2026-03-29 01:00 UTC
SECONDS = 4 * 3600
LOCK = 7  # seconds after the beginning at which both SFPs have locked
MASTER_CHANGE = 3600
CLASS_CHANGE = 2 * 3600
SPIKE = 3 * 3600 + 1234
SPIKE_RANGE = (-321, 2251)
GAP = (5000, 5060)  # SFP A has no records
PLATEAU = (6000, 7000)  # SFP B is out of lock, 80 µs off
QUIET_FOLLOW_UPS = (9000, 9300)  # SFP B receives three of four Follow_Up messages
SLOW_LINK = 2222
DAY = 86400
DAYS = 30
LONG_DAY = 5  # of the month: an hour is recorded, and SFP B is out of lock for most of it
LONG_PLATEAU = (LONG_DAY * DAY + 600, LONG_DAY * DAY + 3000)
DAILY_SPIKE = 150  # seconds after the recording's time of day
WORST = 318385151  # of a message, while SFP A locks for the first time
MASTERS = (bytes.fromhex("080011fffe210001"), bytes.fromhex("080011fffe210002"))
RATE = 8
LOCKED = 10


def state_of(sfp, t):
    for begin, states in ((0, (4, 4, 8, 9, 9, 9, 9)), (MASTER_CHANGE, (8, 9, 9, 9))):
        if begin <= t < begin + len(states):
            return states[t - begin]
    return 9 if sfp == 1 and any(begin <= t < end for begin, end in (PLATEAU, LONG_PLATEAU)) else LOCKED


class Second:
    """What one record of one SFP says."""

    def __init__(self, sfp, t, dice):
        self.state = state_of(sfp, t)
        self.syncs = self.resps = RATE
        average, spread = dice.randint(-30, 30), dice.randint(20, 60)
        if self.state == 4:
            self.syncs = self.resps = 0
        elif self.state != LOCKED:
            average += 80_000 if t >= PLATEAU[0] else 1_200
        elif sfp == 1 and t % 17 == 0:
            self.syncs = self.resps = RATE - 1
        self.low, self.high = average - spread, average + spread
        if sfp == 0 and t == 2:
            self.high = WORST
        if sfp == 0 and t == SPIKE:
            average, (self.low, self.high) = 871, SPIKE_RANGE
        if t > DAY and t % DAY == DAILY_SPIKE:
            self.low, self.high = (-60, 2000 + t // DAY) if sfp == 0 else (-1500 - t // DAY, 60)
        self.sum = average * self.syncs + dice.randint(0, self.syncs)
        self.squares = spread * spread // 4 * self.syncs
        self.path = 1850 + sfp * 550 + dice.randint(-20, 20)
        self.to_follower = (self.path - (4000 if t % 3600 == SPIKE % 3600 else 9), self.path + 9)
        self.follow_ups = self.syncs
        if sfp == 1 and QUIET_FOLLOW_UPS[0] <= t < QUIET_FOLLOW_UPS[1]:
            self.follow_ups = self.syncs * 3 // 4
        self.rate = 0 if t == SLOW_LINK else 1_250_000
        self.master = 0 if t < MASTER_CHANGE else 1
        self.clock_class = 7 if t >= CLASS_CHANGE else 6

    @property
    def average(self):
        return self.sum / self.syncs

    @property
    def expects(self):
        """Is the port in a state in which messages are due?"""
        return self.state >= 8


def split(value):
    return (int(value / 1e9), value - int(value / 1e9) * 10**9)


def figures(least, total, greatest, squares):
    return struct.pack("<8i", *split(total), *split(least), *split(greatest), *split(squares))


def unit(sfp, t, second, counters):
    record = bytearray(1016)
    struct.pack_into("<B", record, 0, sfp)
    if second.state != 4:
        master = MASTERS[second.master]
        announce = bytes((10, 20, 59, 1 + second.master)) + bytes(4) + master + struct.pack("<3I", 127, 2, 8)
        announce += struct.pack("<4xQiiQIi5I4x", 0, -2, 1, BEGIN + t, 0, 37, 128, second.clock_class, 0x21, 0x4E5D, 128)
        announce += master + struct.pack("<2I", 0, 0x20)
        record[8:112] = announce
        record[312:416] = announce
        struct.pack_into("<i", record, 832, 1)
        record[840:848] = master
        struct.pack_into("<6i", record, 848, second.low, second.path, 0, 0, 37, 1)
        struct.pack_into("<11i", record, 872, 0, 0, 1, 1, 1, 1, 0x20, -2, -3, 0, -3)
    pm = struct.pack("<i", second.syncs) + figures(
        second.to_follower[0], second.path * second.syncs, second.to_follower[1], 0
    )
    pm += figures(-700, 0, 700, 0) + figures(second.low, second.sum, second.high, second.squares)
    pm += struct.pack("<i", second.resps) + figures(second.path - 9, second.path * second.resps, second.path + 9, 0)
    pm += figures(second.path - 9, second.path * second.resps, second.path + 9, 0) + figures(30_000, 44_000, 59_000, 0)
    record[112:312] = pm
    struct.pack_into("<10I", record, 916, *counters)
    struct.pack_into("<iI", record, 956, second.state, 1)
    struct.pack_into("<6Q", record, 968, 1_250_000, second.rate, 800, 800, 0, 0)
    return struct.pack("<q", BEGIN + t) + bytes(record)


def write_raw_data(prefix, times):
    """Returns the seconds of both SFPs as {t: Second}."""
    dice = random.Random(2059)
    seconds = ({}, {})
    with open(prefix + "_raw_data", "wb") as raw:
        announces = [0, 0]
        counts = [[0] * 4, [0] * 4]
        for t in times:
            for sfp in (0, 1):
                if sfp == 0 and GAP[0] <= t < GAP[1]:
                    continue
                second = Second(sfp, t, dice)
                seconds[sfp][BEGIN + t] = second
                announces[sfp] += 4 if second.state != 4 else 0
                for i, more in enumerate((second.syncs, second.follow_ups, RATE, second.resps)):
                    counts[sfp][i] += more
                sync, follow_up, request, response = counts[sfp]
                raw.write(unit(sfp, t, second, (announces[sfp], 0, sync, follow_up, request, 0, response, 0, 0, 0)))
    return seconds


def write_month(prefix):
    """Five minutes of every day but one, and no event log."""
    lengths = [3600 if day == LONG_DAY else 300 for day in range(DAYS)]
    return write_raw_data(prefix, (day * DAY + t for day, length in enumerate(lengths) for t in range(length)))


def write(prefix):
    """Four hours, with their event log."""
    seconds = write_raw_data(prefix, range(SECONDS))
    with open(prefix + "_event_log.txt", "w") as log:
        for t, kind, members in documents():
            local = t + (7200 if t >= CHANGE_OF_CLOCKS else 3600)
            document = {"Time": clock_text(local), "Epoch time": t, "Event log type": kind, **members}
            log.write(json.dumps(document, indent=4) + "\n")
    return seconds


def clock_text(t):
    day, rest = divmod(t - 1774656000, 86400)  # 2026-03-28
    return f"2026-03-{28 + day} {rest // 3600:02}:{rest % 3600 // 60:02}:{rest % 60:02}"


def documents():
    names = {4: "listening", 8: "uncalibrated", 9: "follower unlocked", LOCKED: "follower locked"}
    yield BEGIN, "genlock status", {"Genlock state": "locked"}
    yield BEGIN, "genlock settings", {"Genlock source": "ST2059", "Genlock resolution frame rate": "50"}
    for sfp in "AB":
        yield BEGIN, "SFP IP status", {
            "SFP": f"SFP {sfp}",
            "Module present": "true",
            "Signal present": "true",
            "Transmit error": "false",
        }
    yield BEGIN, "start of monitoring", {}
    before = None
    for t in range(SECONDS):
        now = state_of(0, t)
        if now != before:
            master = "0x" + MASTERS[t >= MASTER_CHANGE].hex().lstrip("0") if now != 4 else "0x0"
            yield BEGIN + t, "ST2059 status/settings", {
                "State": names[now],
                "Best master SFP": "SFP A",
                "Best master clock ID": master,
                "Grand master clock ID": master,
                "Best master SFP selection": "automatic",
            }
        before = now
        # The pairs of both times that tell the recorder's zone.
        if t % 900 == 427:
            yield BEGIN + t, "SFP IP status", {
                "SFP": "SFP B",
                "Module present": "true",
                "Signal present": "true",
                "Transmit error": "false",
            }
    yield BEGIN + SECONDS, "end of monitoring", {}
