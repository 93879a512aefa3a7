"""What users get: the archive, unpacked where nothing else of the build is, does the whole work."""

import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest

import card_services_test
from kestrune import PROGRAM, WINDOWS, ProgramTest

BUILD = pathlib.Path(PROGRAM[-1]).parents[1]
REPORT = shlex.split(os.environ["KESTRUNE_REPORT"])
# Where the archive has what this test looks for.
PROGRAMS, LIBRARIES, DOCUMENTS = (".", {"sim": "simulated-card", "replay": "replay"}, ".")
if not WINDOWS:
    PROGRAMS, LIBRARIES, DOCUMENTS = ("bin", {"sim": "bin", "replay": "bin"}, "share/doc/kestrune")
LIBRARY_NAME = "zv{}.dll" if WINDOWS else "libzv{}.so"


class ArchiveTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="Ordner für мост ")
        cls.addClassCleanup(folder.cleanup)
        packed = pathlib.Path(folder.name, "packed")
        subprocess.run(
            ["cpack", "--config", BUILD / "CPackConfig.cmake", "-B", packed], check=True, stdout=subprocess.DEVNULL
        )
        (archive,) = [path for path in packed.iterdir() if path.suffix in (".zip", ".gz")]
        shutil.unpack_archive(archive, pathlib.Path(folder.name, "unpacked"))
        (cls.root,) = pathlib.Path(folder.name, "unpacked").iterdir()
        for command in (PROGRAM, REPORT):
            command[-1] = str(cls.root / PROGRAMS / pathlib.Path(command[-1]).name)

    def library(self, kind, name):
        path = self.root / LIBRARIES[kind] / LIBRARY_NAME.format(name)
        self.assertTrue(path.is_file(), path)
        return str(path)

    def report(self, *arguments):
        return subprocess.run(
            [*REPORT, *arguments], cwd=self.folder, capture_output=True, encoding="utf-8", timeout=120
        )

    def test_records_reports_and_plays_back(self):
        simulated = self.library("sim", "simcard")
        environment = card_services_test.CardServicesTest.use(self, simulated) if WINDOWS else {}
        scenarios = self.root / ("simulated-card" if WINDOWS else "share/kestrune") / "scenarios"
        self.assertTrue((scenarios / "day.json").is_file())
        result = self.run_program("run", "-d=1", "-f=hour", scenario={}, speed=900, **environment)
        self.assertEqual((result.status, result.errors), (0, ""))
        self.assertGreater(len(self.raw_units("hour")), 6000)

        judged = self.report("hour", "-o", "hour.html", "--json", "hour.json")
        self.assertIn(judged.returncode, (0, 1, 2), judged.stderr)
        self.assertGreater(json.loads((self.folder / "hour.json").read_text())["recording"]["records"], 6000)
        self.assertIn("<!doctype html>", (self.folder / "hour.html").read_text(encoding="utf-8")[:100])

        # On Linux a library beside the program goes by its name alone.
        replay = self.library("replay", "replay")
        named = card_services_test.CardServicesTest.use(self, replay) if WINDOWS else {}
        named = named or {"ZV_CARD_SERVICES": pathlib.Path(replay).name}
        listed = self.run_program("list", ZV_REPLAY_FILE=str(self.folder / "hour_raw_data"), **named)
        self.assertEqual((listed.status, listed.errors), (0, ""))
        self.assertIn("S/N=hour Card model: Recording", listed.text)

    def test_tells_what_is_inside(self):
        folder = self.root / DOCUMENTS
        bill = json.loads((folder / "licences" / "sbom.spdx.json").read_text())
        self.assertEqual(bill["spdxVersion"], "SPDX-2.3")
        identifiers = [package["SPDXID"] for package in bill["packages"]]
        self.assertEqual(len(set(identifiers)), len(identifiers))
        related = [relation["relatedSpdxElement"] for relation in bill["relationships"]]
        self.assertEqual(related, identifiers)
        for package in bill["packages"]:
            with self.subTest(package=package["name"]):
                self.assertRegex(package["SPDXID"], r"^SPDXRef-[A-Za-z0-9.-]+$")
                self.assertRegex(package["versionInfo"], r"^[0-9]")
        texts = [path.stem for path in (folder / "licences").glob("*.txt")]
        self.assertEqual(len(texts), len(identifiers) - 1)
        self.assertTrue(all((folder / "licences" / f"{text}.txt").stat().st_size > 500 for text in texts))
        # The version is the program's own everywhere.
        version = self.report("--version").stdout.split()[1]
        self.assertEqual(bill["packages"][0]["versionInfo"], version)
        changes = (folder / ("CHANGELOG.txt" if WINDOWS else "CHANGELOG.md")).read_text(encoding="utf-8-sig")
        self.assertIn(f"## {version}", changes)

    @unittest.skipIf(WINDOWS, "manual pages and units are Linux's")
    def test_manual_pages_and_units_fit_the_programs(self):
        def options(text):
            return set(re.findall(r"(?<![\w-])--?[a-z][a-z-]*", text))

        for name, help_of in (("kestrune", [*PROGRAM, "help"]), ("kestrune-report", [*REPORT, "--help"])):
            with self.subTest(page=name):
                page = self.root / "share" / "man" / "man1" / f"{name}.1"
                shown = subprocess.run(
                    ["groff", "-man", "-Tascii", "-P-bcou", "-ww", page], capture_output=True, encoding="ascii"
                )
                self.assertEqual(shown.stderr, "")
                told = subprocess.run(help_of, capture_output=True, encoding="utf-8", cwd=self.folder).stdout
                self.assertLessEqual(options(told.partition("Usage:")[2]), options(shown.stdout))

        units = self.root / "lib" / "systemd" / "system"
        known = options(self.report("--help").stdout)
        for unit in ("kestrune@.service", "kestrune-metrics@.service"):
            command = re.search(r"(?m)^ExecStart=(\S+) (.*)$", (units / unit).read_text())
            self.assertTrue((self.root / "bin" / pathlib.Path(command[1]).name).is_file())
            if "report" in command[1]:
                self.assertLessEqual(options(command[2]), known)
        described = (self.root / DOCUMENTS / "docs" / "network-card.md").read_text()
        limits = re.search(r"--limits /opt/kestrune/(\S+)", described)[1]
        self.assertTrue((self.root / limits).is_file(), limits)


if __name__ == "__main__":
    unittest.main()
