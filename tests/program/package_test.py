"""What Windows users get: programs that need nothing but the system and run from any folder."""

import os
import pathlib
import shlex
import shutil
import struct
import subprocess
import unittest

from kestrune import PROGRAM, ProgramTest

SYSTEM_LIBRARIES = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll"}

PROTECTION = 0x0020 | 0x0040 | 0x0100  # addresses from all 64 bits, at random; data not executable
EXECUTABLE, WRITABLE = 0x20000000, 0x80000000
IMPORTS, RELOCATIONS, DELAYED_IMPORTS = 1, 5, 13


class Image:
    """The headers of a 64-bit portable executable, and what lies at an address of its own."""

    def __init__(self, path):
        self.data = pathlib.Path(path).read_bytes()
        start = self.number("I", 0x3C)
        assert self.data[start : start + 4] == b"PE\0\0" and self.number("H", start + 24) == 0x20B, path
        self.protection = self.number("H", start + 24 + 70)
        self.directories = [struct.unpack_from("<2I", self.data, start + 24 + 112 + 8 * i) for i in range(16)]
        sections = start + 24 + self.number("H", start + 20)
        # Address, size in the file, place in the file, flags.
        rows = range(sections, sections + 40 * self.number("H", start + 6), 40)
        self.sections = [struct.unpack_from("<12x3I12xI", self.data, row) for row in rows]

    def number(self, kind, place):
        return struct.unpack_from("<" + kind, self.data, place)[0]

    def place(self, address):
        return next(place + address - at for at, size, place, _ in self.sections if at <= address < at + size)

    def imports(self):
        entry = self.place(self.directories[IMPORTS][0])
        while name := self.number("I", entry + 12):
            yield self.data[self.place(name) :].split(b"\0", 1)[0].decode("ascii").lower()
            entry += 20


class PackageTest(ProgramTest):
    def test_needs_the_system_alone_and_is_protected(self):
        for path in (PROGRAM[-1], shlex.split(os.environ["KESTRUNE_REPORT"])[-1], os.environ["KESTRUNE_SIMULATED_CARD"]):
            with self.subTest(path=path):
                image = Image(path)
                imports = set(image.imports())
                self.assertIn("kernel32.dll", imports)
                self.assertEqual(imports - SYSTEM_LIBRARIES, set())
                self.assertEqual(image.directories[DELAYED_IMPORTS], (0, 0))
                self.assertEqual(image.protection & PROTECTION, PROTECTION)
                self.assertGreater(image.directories[RELOCATIONS][1], 0, "nothing could be moved")
                self.assertFalse([flags for *_, flags in image.sections if flags & EXECUTABLE and flags & WRITABLE])

    def test_calls_the_systems_software_trace(self):
        self.assertIn(b"\0TraceMessage\0", Image(PROGRAM[-1]).data)

    def test_starts_from_a_folder_with_any_name(self):
        program = self.folder / "Ordner für мост 時刻" / "Kestrune.exe"
        program.parent.mkdir()
        shutil.copy(PROGRAM[-1], program)
        result = subprocess.run([*PROGRAM[:-1], program, "help"], capture_output=True, timeout=120)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn(b"Runs the performance monitoring.", result.stdout)


if __name__ == "__main__":
    unittest.main()
