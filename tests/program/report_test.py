"""The report as a user runs it: the page, the table and the copy against a reader of the files that shares no code."""

import base64
import csv
import io
import json
import math
import os
import pathlib
import random
import re
import shlex
import struct
import subprocess
import tempfile
import unittest
import zlib

REPORT = shlex.split(os.environ["KESTRUNE_REPORT"])
PROGRAM = shlex.split(os.environ["KESTRUNE_PROGRAM"])
UNIT = 1024
BEGIN = 1772434800  # a full hour
LOCKED = 10


def unit(time, sfp, offsets, state=LOCKED, syncs=8):
    """A record whose Sync messages measured these offsets; path delays are a thousand ns more."""
    data = bytearray(UNIT)
    struct.pack_into("<qB", data, 0, time, sfp)
    data[31] = data[111] = 1  # sender, grandmaster
    struct.pack_into("<2I", data, 84, 6, 0x21)  # clock class, accuracy
    for place, values in ((188, offsets), (224, [value + 1000 for value in offsets])):
        mean = sum(values) / len(values)
        parts = [sum(values), min(values), max(values), round(sum((value - mean) ** 2 for value in values))]
        for i, value in enumerate(parts):
            whole = int(value / 1e9)
            struct.pack_into("<2i", data, place + 8 * i, whole, value - whole * 10**9)
    struct.pack_into("<i", data, 120, syncs)
    struct.pack_into("<i", data, 220, syncs)
    struct.pack_into("<4i", data, 908, -2, -3, -3, -3)
    for place in (924, 932, 936, 940, 948):
        struct.pack_into("<I", data, place, (time - BEGIN) * 8 + 8)
    struct.pack_into("<iI", data, 964, state, 1)
    struct.pack_into("<2Q", data, 992, (time - BEGIN) * 1000, (time - BEGIN) * 1000)
    return bytes(data)


def recording(seconds, seed=1):
    """Units of a run with spikes, holes and hours out of lock."""
    chance = random.Random(seed)
    units = []
    for second in range(seconds):
        for sfp in (0, 1):
            if second // 40 % 97 == 3 + sfp:
                continue
            far = chance.choice((1, 1, 1, 1, 1, 1, 1, 100, 100000)) if chance.random() < 0.02 else 1
            offsets = [round(chance.gauss(20 * sfp, 15) * far) for _ in range(8)]
            units.append(unit(BEGIN + second, sfp, offsets, 9 if second % 3000 < 50 else LOCKED))
    return units


class Stat:
    def __init__(self):
        self.count, self.sum, self.squares, self.low, self.high = 0, 0, 0, math.inf, -math.inf

    def add(self, data, count_at, at):
        count = struct.unpack_from("<i", data, count_at)[0]
        if count <= 0:
            return
        parts = struct.unpack_from("<8i", data, at)
        total, low, high, deviation = (s * 10**9 + n for s, n in zip(parts[::2], parts[1::2]))
        self.count += count
        self.sum += total
        self.squares += deviation + total * total / count
        self.low, self.high = min(self.low, low), max(self.high, high)

    @property
    def mean(self):
        return self.sum / self.count

    @property
    def deviation(self):
        return math.sqrt(max(0, self.squares / self.count - self.mean**2))


def buckets(units, width):
    """By number and SFP: [records, locked, offset, path delay]."""
    found = {}
    for data in units:
        time, sfp = struct.unpack_from("<qB", data)
        bucket = found.setdefault(((time - BEGIN) // width, sfp), [0, 0, Stat(), Stat()])
        bucket[0] += 1
        bucket[1] += struct.unpack_from("<i", data, 964)[0] == LOCKED
        bucket[2].add(data, 120, 188)
        bucket[3].add(data, 220, 224)
    return found


class Page:
    def __init__(self, text):
        self.text = text
        self.meta = json.loads(re.search(r'id="meta">(.*?)</script>', text, re.DOTALL).group(1))
        self.bytes = base64.b64decode(re.search(r'id="data">(.*?)</script>', text, re.DOTALL).group(1))

    def levels(self):
        """(width, {(number, SFP): {column: value}}), values as the page shows them."""
        for level in self.meta["levels"]:
            if "columns" in level:  # what is shown on demand has columns of its own
                continue
            rows, behind = {}, 0
            for at, size, runs in level["chunks"]:
                numbers = []
                for distance, count in zip(runs[::2], runs[1::2]):
                    numbers += range(behind + distance, behind + distance + count)
                    behind += distance + count
                planes = self.planes(zlib.decompress(self.bytes[at : at + size], -15), len(numbers))
                for sfp in (0, 1):
                    for i, number in enumerate(numbers):
                        rows[number, sfp] = self.row(
                            {name: plane[i] for name, plane in planes[sfp].items()}, level["div"]
                        )
            yield level["w"], rows

    def planes(self, data, count):
        integers = self.integers(data)
        found = [{}, {}]
        for planes in found:
            for name in self.meta["columns"]:
                group = "syncs" if name.startswith("off") else "resps" if name.startswith("path") else None
                planes[name] = self.plane(integers, [True] * count if not group else planes[group], group)
        return found

    @staticmethod
    def integers(data):
        value = shift = 0
        for byte in data:
            value |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                yield value >> 1 if value % 2 == 0 else -(value >> 1) - 1
                value = shift = 0

    @staticmethod
    def plane(integers, there, smooth):
        values, prediction, last, first = [], 0, 0, True
        for is_there in there:
            if not is_there:
                values.append(None)
                continue
            last = next(integers) + ((prediction + 8) // 16 if smooth else last)
            difference = last * 16 - prediction
            jumps = first or abs(difference) > 16384 or abs(last) > 2**48
            prediction = last * 16 if jumps else prediction + difference // 8
            first = False
            values.append(last)
        return values

    @staticmethod
    def row(row, parts):
        for name in ("off", "path"):
            average = row.pop(name + "Avg10")
            if average is not None:
                middle = (average + parts // 2) // parts
                row[name] = (middle - row[name + "Lo"], middle + row[name + "Hi"], average / parts)
        if row["offSd10"] is not None:
            row["sd"] = row["offSd10"] / parts
        return row


class ReportTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, data, name="run_raw_data"):
        (self.folder / name).write_bytes(data)

    def report(self, *arguments, name="run"):
        done = subprocess.run([*REPORT, name, *arguments], cwd=self.folder, capture_output=True, timeout=300)
        self.assertIn(done.returncode, range(5), done.stderr)
        return done.returncode, done.stdout.replace(b"\r\n", b"\n").decode(errors="replace"), done.stderr.decode()

    def test_every_level_of_the_page_is_the_merge_of_the_records(self):
        units = recording(3 * 3600)
        self.write(b"".join(units))
        status, text, errors = self.report("-o", "page.html")
        self.assertLess(status, 3, text + errors)
        widths = []
        for width, rows in Page((self.folder / "page.html").read_text("utf-8")).levels():
            widths.append(width)
            expected = buckets(units, width)
            self.assertEqual({key for key, row in rows.items() if row["records"]}, set(expected))
            for key, (records, locked, offset, path) in expected.items():
                row = rows[key]
                self.assertEqual(
                    (row["records"], row["locked"], row["syncs"], row["resps"]),
                    (records, locked, offset.count, path.count),
                    (width, key),
                )
                self.assertEqual(row["off"][:2] + row["path"][:2], (offset.low, offset.high, path.low, path.high))
                # Half a nanosecond, and what lies in the figures' own rounding.
                for shown, exact in (
                    (row["off"][2], offset.mean),
                    (row["path"][2], path.mean),
                    (row["sd"], offset.deviation),
                ):
                    self.assertAlmostEqual(shown, exact, delta=0.5 + abs(offset.high) * 1e-9, msg=(width, key))
        self.assertEqual(widths, [60, 10, 1])

    def test_the_table_opens_without_an_option(self):
        units = recording(4000)
        self.write(b"".join(units))
        for step in (1, 7, 60, 3600):
            with self.subTest(step=step):
                self.report("--csv", "table.csv", "--step", str(step), "-o", "page.html")
                rows = list(csv.DictReader(io.StringIO((self.folder / "table.csv").read_text("ascii"))))
                begin = BEGIN - BEGIN % step
                expected = {(BEGIN - begin + i) // step: 0 for i in range(4000)}
                self.assertEqual(len(rows), 2 * len(expected))
                shifted = {}
                for data in units:
                    time, sfp = struct.unpack_from("<qB", data)
                    shifted.setdefault(((time - begin) // step, sfp), Stat()).add(data, 120, 188)
                for i, row in enumerate(rows):
                    stat = shifted.get((i // 2, i % 2))
                    self.assertRegex(row["time"], r"^2026-03-02T\d\d:\d\d:\d\dZ$")
                    self.assertEqual(row["sfp"], "AB"[i % 2])
                    if stat is None:
                        self.assertEqual((row["records"], row["offset_min_ns"]), ("0", ""))
                    else:
                        self.assertEqual(
                            (int(row["offset_min_ns"]), int(row["offset_max_ns"]), int(row["syncs"])),
                            (stat.low, stat.high, stat.count),
                        )
                        self.assertAlmostEqual(int(row["offset_avg_ns"]), stat.mean, delta=0.51 + abs(stat.high) * 1e-9)

    def test_the_table_passes_over_long_pauses(self):
        second_run = [unit(BEGIN + time, 0, [5] * 8) for time in (*range(60), *range(9000, 9060))]
        wild = unit(BEGIN + 10**8, 0, [5] * 8)
        self.write(b"".join(second_run[:20] + [wild] + second_run[20:]))
        self.report("--csv", "table.csv", "--step", "30", "-o", "page.html")
        rows = list(csv.DictReader(io.StringIO((self.folder / "table.csv").read_text("ascii"))))
        starts = [row["time"][14:19] + " " + row["records"] for row in rows[::2]]
        self.assertEqual(starts, ["00:00 30", "00:30 30", "01:00 0", "30:00 30", "30:30 30"])

    def test_a_mended_copy_converts(self):
        units = recording(300)
        self.write(b"".join(units[:200]) + units[200][:500] + b"".join(units[201:]) + b"torn")
        self.report("--mended", "mended", "-o", "page.html")
        self.assertEqual((self.folder / "mended").read_bytes(), b"".join(units[:200] + units[201:]))
        arguments = [*PROGRAM, "Tovrak_N3qLxW8pZc5Hr2m", "decypher", "-sf=mended", "-df=text"]
        subprocess.run(arguments, cwd=self.folder, capture_output=True, timeout=300, check=True)
        self.assertEqual((self.folder / "text").read_text("ascii").count("\n"), 2 + len(units) - 1)

    def test_whatever_is_there_gives_a_page(self):
        units = b"".join(recording(600))
        document = b'{\n    "Time": "2026-03-02 08:00:00",\n    "Epoch time": 1772434800,\n    "Event log type": '
        genlock = document + b'"genlock status",\n    "Genlock state": "</script><b>&\xff"\n}\n'
        rows = {
            "nothing but an event log": (None, genlock),
            "nothing but records": (units, None),
            "an empty file": (b"", b""),
            "a single torn unit": (units[:700], genlock[:40]),
            "noise": (random.Random(1).randbytes(300000), random.Random(2).randbytes(30000)),
            "zeros": (bytes(300000), bytes(30000)),
            "still growing": (units[:-100], genlock + document),
            "changes without end": (
                b"".join(unit(BEGIN + i, 0, [i % 7] * 8, 8 + i // 2 % 3) for i in range(9000)),
                genlock * 9000,
            ),
        }
        for name, (raw_data, event_log) in rows.items():
            with self.subTest(name):
                for path in self.folder.iterdir():
                    path.unlink()
                if raw_data is not None:
                    self.write(raw_data)
                if event_log is not None:
                    self.write(event_log, "run_event_log.txt")
                before = {path: path.read_bytes() for path in self.folder.iterdir()}
                status, text, errors = self.report()
                self.assertLess(status, 4, errors)
                self.assertLessEqual(text.count("\n"), 11, text)
                page = (self.folder / "run_report.html").read_bytes()
                self.assertLess(len(page), 2000000)
                self.assertNotIn(b"<b>&", page)
                if raw_data is None:
                    self.assertNotRegex(page, b"No lock was lost|all the time|never out of lock|no change of")
                self.assertEqual({path: path.read_bytes() for path in before}, before)

    def test_errors_have_a_status_and_a_reason(self):
        self.write(b"".join(recording(600)))
        self.write(b'{"no such rule": 1}', "limits.json")
        self.write(b" " * 2**20 + b"{}", "large.json")
        rows = (
            ((), "absent", 4),
            (("--limits", "limits.json"), "run", 4),
            (("--limits", "absent.json"), "run", 4),
            (("--limits", "large.json"), "run", 4),
            (("--json", "./run_event_log.txt"), "run", 4),  # the next run would write there
            (("--from", "2026-03-03", "--to", "2026-03-02"), "run", 4),
            (("-o", "run_raw_data"), "run", 4),
            (("-o", "absent/page.html"), "run", 4),
            (("--json", "-", "--csv", "-"), "run", 4),
            (("--json", "same", "--csv", "./same"), "run", 4),
            (("--from", "2030-01-01"), "run", 3),
            (("--last", "1m", "--label", "<studio>"), "run_raw_data", 2),
        )
        for arguments, name, status in rows:
            with self.subTest(arguments=arguments):
                found = self.report(*arguments, name=name)
                self.assertEqual(found[0], status, found)
                self.assertEqual(bool(found[2]), status == 4, found)
        self.assertIn("&lt;studio&gt;", (self.folder / "run_report.html").read_text("utf-8"))
        for option in ("--json", "--csv", "--mended"):
            self.assertNotIn("Page", self.report(option, "-")[1])
        self.assertEqual((self.folder / "run_raw_data").stat().st_size % UNIT, 0)

    @unittest.skipUnless(os.path.exists("/dev/full") and len(REPORT) == 1, "no full device")
    def test_a_full_or_closed_console_is_told(self):
        self.write(b"".join(recording(60)))
        full = os.open("/dev/full", os.O_WRONLY)
        self.addCleanup(os.close, full)
        consoles = {"full": {"stdout": full}, "closed": {"preexec_fn": lambda: os.close(1)}}
        for arguments in (["--help"], ["--version"], ["--print-limits"], ["run"], ["run", "--json", "-"]):
            for name, console in consoles.items():
                with self.subTest(arguments, console=name):
                    done = subprocess.run(
                        [*REPORT, *arguments], cwd=self.folder, stderr=subprocess.PIPE, timeout=300, **console
                    )
                    self.assertEqual((done.returncode, done.stderr.count(b"standard output")), (4, 1), done.stderr)

    def test_what_fails_costs_nothing_else(self):
        units = b"".join(recording(600))
        rows = (
            ("mended copy", "run_raw_data", units, "absent/copy"),
            ("no raw data", "run_event_log.txt", b"", "copy"),
            ("folder", "run_raw_data/", units, None),
        )
        for what, name, content, mended in rows:
            with self.subTest(what), tempfile.TemporaryDirectory() as folder:
                self.folder = pathlib.Path(folder)
                self.write(content, name.replace("raw_data/", "event_log.txt"))
                if name.endswith("/"):
                    (self.folder / name).mkdir()
                found = self.report("--json", "json", *(("--mended", mended) if mended else ()))
                self.assertEqual(found[0], 4, found)
                self.assertIn(mended or "run_raw_data", found[2])
                notes = json.loads((self.folder / "json").read_text("utf-8"))["recording"]["notes"]
                self.assertEqual(any("run_raw_data" in note for note in notes), mended is None)
                self.assertTrue((self.folder / "run_report.html").exists())
                self.assertFalse((self.folder / "copy").exists())


if __name__ == "__main__":
    unittest.main()
