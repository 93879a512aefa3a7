"""The conversion of a raw data file by the whole program.

The values of tests/convert/*.txt are the expected ones, a column a line. Units are packed from the same values
by the layout written down here, apart from the program's own.
"""

import os
import re
import struct
import subprocess
import time
import unittest
from pathlib import Path

from kestrune import PROGRAM, WINDOWS, ProgramTest

EXPECTED = Path(__file__).parents[1] / "convert"

# Formats of struct; and: h hexadecimal, a an address, c a clock identity, S a port state, L a link speed, R a
# rate in bit/s, x a byte that nothing reads.
ANNOUNCE = "a4xcIhh4xQiiQIiIIIII4xcII"
QUANTITY = "8i"
LAYOUT = "qB7x" + ANNOUNCE + "i" + 3 * QUANTITY + "i" + 3 * QUANTITY + 5 * ANNOUNCE + "i4xciiiii8I4i10ISL4xRR4Q"
STATES = [
    "",
    "initializing",
    "faulty",
    "disabled",
    "listening",
    "pre-leader",
    "leader",
    "passive",
    "uncalibrated",
    "follower unlocked",
    "follower locked",
]
PACK = {
    "h": lambda text: struct.pack("<I", int(text, 16)),
    "a": lambda text: bytes(int(octet) for octet in text.split(".")),
    "c": lambda text: int(text, 16).to_bytes(8, "big"),
    "S": lambda text: struct.pack("<i", STATES.index(text)),
    "L": lambda text: struct.pack("<I", {"10000000000": 1, "25000000000": 2}[text]),
    "R": lambda text: struct.pack("<Q", int(text) // 8),
}

ABBREVIATIONS = (
    "Abbreviations. bestMasterLastPtpAnnouncePacket : bmlpap; performanceMonitoring : pm ; "
    "listOfPtpMaster : lptpm; timeProperties : tp"
)
STARTED = "Starting processing of monitoring data."
COMPLETED = "Completed processing the monitoring data."
MISALIGNED = "Raw file size does not align with the expected data."
NO_SOURCE = "Could not open raw file for reading."
NO_DESTINATION = "Could not open output file for writing."
SAME_FILE = "The raw file and the output file are the same file."
NOT_WRITTEN = "Could not write the output file."
NOT_READ = "Could not read the raw file to its end."
DEFAULT_SOURCE = "ptpLog_raw_data"
DEFAULT_DESTINATION = "ptpLog_decyphered_raw_data.txt"


def expected(name):
    """The expected values by column name."""
    return dict(line.split(" ", 1) for line in (EXPECTED / f"{name}.txt").read_text().splitlines())


def pack(values):
    """The unit of these values; averages and deviations aren't in it."""
    texts = iter([text for name, text in values.items() if "(0f)" not in name])
    unit = b""
    for count, code in re.findall(r"(\d*)(\D)", LAYOUT):
        for _ in range(int(count or 1)):
            if code == "x":
                unit += b"\xa5"
            elif code in PACK:
                unit += PACK[code](next(texts))
            else:
                unit += struct.pack("<" + code, int(next(texts)))
    assert len(unit) == 1024 and next(texts, None) is None
    return unit


class Conversion(ProgramTest):
    def setUp(self):
        super().setUp()
        self.plausible = pack(expected("plausible"))
        self.source = self.folder / DEFAULT_SOURCE
        self.destination = self.folder / DEFAULT_DESTINATION

    def start(self, *options, **arguments):
        return subprocess.Popen(
            [*PROGRAM, "decypher", "tovrak_n3qlxw8pzc5hr2M", *options],
            cwd=self.folder,
            stdout=subprocess.PIPE,
            **arguments,
        )

    def convert(self, *options, status=0, **arguments):
        """The console's lines; `status` is the exit status that must come."""
        program = self.start(*options, **arguments)
        console = program.communicate(timeout=120)[0].decode().replace("\r\n", "\n")
        self.assertEqual(program.returncode, 0 if status == 0 else 255, console)
        return console.splitlines()

    def lines(self, destination=None):
        text = (destination or self.destination).read_bytes()
        self.assertTrue(text.endswith(b"\n"))
        self.assertNotIn(b"\r", text)
        return text.decode("ascii").split("\n")[:-1]

    def test_every_byte_of_the_text(self):
        names = ["all_zero", "all_ones", "all_negative", "plausible"]
        rows = [expected(name) for name in names]
        self.source.write_bytes(bytes(1024) + b"\xff" * 1024 + pack(rows[2]) + self.plausible)
        console = self.convert()
        lines = self.lines()
        self.assertEqual(lines[0], ABBREVIATIONS)
        self.assertEqual(lines[1], ", ".join(rows[0]))
        self.assertEqual(len(lines), 2 + len(names))
        for name, row, line in zip(names, rows, lines[2:]):
            by_name = dict(zip(lines[1].split(", "), line.split(","), strict=True))
            for column, value in row.items():
                self.assertEqual(by_name[column], value, f"{name}: {column}")
            self.assertEqual(line, ",".join(row.values()))

        # The codes of the first two units are invalid; a state is reported before its link speed.
        self.assertEqual((console[0], console[-1]), (STARTED, COMPLETED))
        self.assertEqual(
            [line.split(" : ")[0].split(": ")[1] for line in console[1:-1]],
            2 * ["Invalid ST2059 state", "Invalid link speed"],
        )
        self.assertTrue(console[1].endswith(" : ZV_E_INVALID_PARAMETER: One of the method parameter is invalid."))

    def test_sizes_around_whole_units(self):
        for size in (0, 1, 8, 1000, 1023, 1024, 1025, 1032, 2047, 2048, 2049, 3071, 3072):
            with self.subTest(size=size):
                self.source.write_bytes((3 * self.plausible)[:size])
                self.destination.write_bytes(b"old text")
                if size % 1024 == 0:
                    self.assertEqual(self.convert(), [STARTED, COMPLETED])
                    self.assertEqual(len(self.lines()), 2 + size // 1024)
                else:
                    self.assertEqual(self.convert(status=-1), [MISALIGNED])
                    self.assertEqual(self.destination.read_bytes(), b"")

    def test_size_beyond_32_bits(self):
        with open(self.source, "wb") as source:
            source.truncate(4 << 30)
        # Cut to 32 bits the size would be nought, and nothing would be said about the units.
        program = self.start()
        self.assertEqual(program.stdout.readline().decode().rstrip(), STARTED)
        self.assertIn("Invalid ST2059 state", program.stdout.readline().decode())
        program.kill()
        program.communicate()

    def test_names_and_folders(self):
        (self.folder / "in").mkdir()
        (self.folder / "out é 日本").mkdir()
        unit = self.folder / "in" / "räw"
        unit.write_bytes(self.plausible)
        (self.folder / "in" / DEFAULT_SOURCE).write_bytes(2 * self.plausible)
        out = self.folder / "out é 日本"
        for options, destination, units in [
            (["-sp=in", "-sf=räw"], self.folder / DEFAULT_DESTINATION, 1),
            (["-sp=in\\", "/dp=out é 日本\\", "-DF=ignored"], out / DEFAULT_DESTINATION, 2),
            (["-sp=in/", "-dp=out é 日本", "-df=tëxt"], out / "tëxt", 2),
            ([f"-sp={self.folder}/in", f"-dp={out}", "-df=absolute"], out / "absolute", 2),
            (["-sf=in\\räw", "-df=in/text"], self.folder / "in" / "text", 1),
        ]:
            with self.subTest(options=options):
                self.assertEqual(self.convert(*options), [STARTED, COMPLETED])
                self.assertEqual(len(self.lines(destination)), 2 + units)

    def test_what_does_not_open(self):
        self.assertEqual(self.convert(status=-1), [NO_SOURCE])
        self.source.mkdir()
        self.assertEqual(self.convert(status=-1), [NO_SOURCE])
        self.assertFalse(self.destination.exists())
        self.source.rmdir()

        self.source.write_bytes(self.plausible)
        self.assertEqual(self.convert("-dp=missing", status=-1), [NO_DESTINATION])
        self.destination.mkdir()
        self.assertEqual(self.convert(status=-1), [NO_DESTINATION])

    def test_source_as_destination(self):
        self.source.write_bytes(self.plausible)
        os.link(self.source, self.folder / "hard")
        os.symlink(self.source, self.folder / "soft")
        (self.folder / "sub").mkdir()
        for name in [DEFAULT_SOURCE, "hard", "soft", f"sub\\..\\{DEFAULT_SOURCE}", str(self.source)]:
            with self.subTest(destination=name):
                self.assertEqual(self.convert(f"-df={name}", status=-1), [SAME_FILE])
                self.assertEqual(self.source.read_bytes(), self.plausible)

    @unittest.skipUnless(os.path.exists("/dev/full") and not WINDOWS, "no full device")
    def test_full_disk(self):
        for units in (0, 1, 1000):
            with self.subTest(units=units):
                self.source.write_bytes(units * self.plausible)
                self.assertEqual(self.convert("-dp=/dev", "-df=full", status=-1), [STARTED, NOT_WRITTEN])
                self.assertEqual(self.source.stat().st_size, 1024 * units)

    @unittest.skipIf(WINDOWS, "no pipes by name")
    def test_source_that_changes(self):
        os.mkfifo(self.destination)
        for size, message in [(5000, COMPLETED), (2000, NOT_READ)]:
            with self.subTest(size=size):
                self.source.write_bytes(4000 * self.plausible)
                program = self.start()
                with open(self.destination, "rb") as text:
                    lines = text.read(1)
                    time.sleep(0.2)  # The pipe is full by now and the program waits in its first block.
                    os.truncate(self.source, 1024 * size)
                    lines += text.read()
                self.assertEqual(program.communicate()[0].decode().splitlines(), [STARTED, message])
                if message == COMPLETED:
                    self.assertEqual(lines.count(b"\n"), 2 + 4000)


if __name__ == "__main__":
    unittest.main()
