"""What the report costs beside `cat` and beside a numpy script: python3 bench/report_bench.py PROGRAM DAY FOLDER [DAYS…]

DAY is the prefix of a recorded day, such as that of scripts/demo. It is repeated in FOLDER, 177 MB a day; with an "r"
behind DAYS restlessly, each unit with another state and another grandmaster. Each figure is the median of five runs that
take turns, with the files in the system's cache.
"""

import multiprocessing
import os
import pathlib
import random
import statistics
import subprocess
import sys
import time

UNIT = 1024
GRANDMASTER = 110  # the last two octets of its identity
STATE = 964
ROUNDS = 5

NUMPY = """
import sys, numpy as np
figures = np.dtype([(n, "<i4", 2) for n in ("sum", "min", "max", "ssd")])
unit = np.dtype({"names": ["time", "sfp", "syncs", "offset", "resps", "path"], "itemsize": 1024, "offsets":
    [0, 8, 120, 188, 220, 224], "formats": ["<i8", "u1", "<i4", figures, "<i4", figures]})
data = np.memmap(sys.argv[1], unit, "r")
for sfp in (0, 1):
    mine = data[data["sfp"] == sfp]
    minute = mine["time"] // 60
    edges = np.flatnonzero(np.diff(minute, prepend=minute[0] - 1))
    for count, quantity in (("syncs", "offset"), ("resps", "path")):
        value = {n: mine[quantity][n].astype("i8") @ [10**9, 1] for n in figures.names}
        np.add.reduceat(mine[count], edges), np.add.reduceat(value["sum"], edges)
        np.minimum.reduceat(value["min"], edges), np.maximum.reduceat(value["max"], edges)
"""


def repeat(day, folder, days, restless):
    """The day so many times, its stamps a day later each time; once made, it stays."""
    prefix = folder / f"days{days}{'r' if restless else ''}"
    raw_data = pathlib.Path(f"{day}_raw_data").read_bytes()
    target = pathlib.Path(f"{prefix}_raw_data")
    if not target.exists() or target.stat().st_size != len(raw_data) * days:
        with target.open("wb") as file:
            for i in range(days):
                shifted = bytearray(raw_data)
                for at in range(0, len(shifted), UNIT):
                    stamp = int.from_bytes(shifted[at : at + 8], "little") + 86400 * i
                    shifted[at : at + 8] = stamp.to_bytes(8, "little")
                    if restless:
                        shifted[at + GRANDMASTER : at + GRANDMASTER + 2] = random.randbytes(2)
                        shifted[at + STATE] = random.choice((4, 8, 9, 10))
                file.write(shifted)
    for ending in ("_event_log.txt", "_period_test_results.txt"):
        pathlib.Path(f"{prefix}{ending}").write_bytes(pathlib.Path(f"{day}{ending}").read_bytes())
    return prefix


def run(command):
    """Real and processor seconds, megabytes at most."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    usage = os.wait4(process.pid, 0)[2]
    process.returncode = 0
    return time.monotonic() - begin, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def repeat_apart(*arguments):
    """In a process of its own: what this one has grown to would count as the measured programs' memory."""
    with multiprocessing.get_context("spawn").Pool(1) as pool:
        return pool.apply(repeat, arguments)


def main():
    program, day, folder = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    print(
        "| days | GB | program | seconds | s/GB | x cat | processor s | MB | page kB |\n|---|---|---|---|---|---|---|---|---|"
    )
    for text in sys.argv[4:] or ["1", "7", "30", "60", "30r"]:
        days = text.removesuffix("r")
        prefix = repeat_apart(day, folder, int(days), text != days)
        raw_data, page = f"{prefix}_raw_data", f"{prefix}.html"
        commands = {
            "cat": ["sh", "-c", f"cat '{raw_data}' > /dev/null"],
            "kestrune-report": [program, prefix, "-o", page],
            "numpy": ["/usr/bin/python3", "-c", NUMPY, raw_data],
        }
        subprocess.run(commands["cat"], check=True)
        rounds = [{name: run(command) for name, command in commands.items()} for _ in range(ROUNDS)]
        size = os.path.getsize(raw_data) / 1e9
        for name in commands:
            real, processor, memory = (statistics.median(one[name][i] for one in rounds) for i in range(3))
            ratio = statistics.median(one[name][0] / one["cat"][0] for one in rounds)
            bytes_of_page = f"{os.path.getsize(page) / 1000:.0f}" if name == "kestrune-report" else ""
            print(
                f"| {text} | {size:.2f} | {name} | {real:.2f} | {real / size:.2f} | {ratio:.1f} | {processor:.2f} "
                f"| {memory:.0f} | {bytes_of_page} |",
                flush=True,
            )


if __name__ == "__main__":
    main()
