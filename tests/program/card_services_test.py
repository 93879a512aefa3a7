"""How the program finds its card services, and that any which keep the contract will do."""

import os
import re
import shutil
import subprocess
import time
import unittest

from kestrune import EVENT_LOG, FAILURE, PROGRAM, WINDOWS, ProgramTest, local_time

NOT_CREATED = ": Could not create IZvSystemConfiguration : Unknown error"
NOTHING_CREATED = (
    ": Could not create IZvSystemConfiguration"
    " : ZV_E_INVALID_POINTER: One of the method parameter is a uninitialized pointer."
)
CLASS_KEY = rf"HKLM\Software\Classes\CLSID\{os.environ.get('KESTRUNE_CLASS')}\InprocServer32"


def wine(*arguments):
    subprocess.run([PROGRAM[0], *arguments], check=True, stdout=subprocess.DEVNULL)


class CardServicesTest(ProgramTest):
    def use(self, library):
        """The environment in which the program loads `library`."""
        if not WINDOWS:
            return {"ZV_CARD_SERVICES": library}
        simulated = os.environ["KESTRUNE_SIMULATED_CARD"]
        wine("reg", "add", CLASS_KEY, "/ve", "/d", "Z:" + library.replace("/", "\\"), "/f")
        self.addCleanup(wine, "reg", "add", CLASS_KEY, "/ve", "/d", "Z:" + simulated.replace("/", "\\"), "/f")
        return {}

    def test_services_written_in_c(self):
        """Every call lands at its position, every byte at its offset."""
        environment = self.use(os.environ["KESTRUNE_C_CARD_SERVICES"])
        result = self.run_program("list", **environment)
        self.assertEqual(
            result.lines, ["Available cards in the system:", "  0) Model 100 S/N=C-77 Card model: A card in C", ""]
        )

        result = self.run_program("run", "-d=2147483648", **environment)
        self.assertEqual(result.status, 0, result.errors)
        self.assertEqual(
            result.messages,
            [
                ": Starting ST2059 monitoring.",
                ": Genlock settings have changed",
                ": Genlock status has changed",
                ": ST 2059 status has changed",
                ": SFP IP status has changed",
                ": Ending ST2059 monitoring.",
            ],
        )
        self.assertEqual(result.errors.split(), "5 batches, 0 references held".split())
        self.assertEqual([record[0] for _, record in self.raw_units()], [0, 1, 0] * 5)

        for event in self.events():
            self.assertEqual(event["Time"], local_time(event["Epoch time"]))
            self.assertAlmostEqual(event["Epoch time"], time.time(), delta=60)
        text = (self.folder / "ptpLog_event_log.txt").read_bytes().decode().replace("\r\n", "\n")
        times = r'"Time": ".{19}",\n    "Epoch time": \d+'
        self.assertEqual(re.sub(times, '"Time": "",\n    "Epoch time": 0', text), EVENT_LOG.read_text())

    @unittest.skipIf(WINDOWS, "the registry finds the card services there")
    def test_no_usable_library(self):
        (self.folder / "text.so").write_text("not a library")
        for library, said in (("/nowhere.so", "nowhere.so"), (str(self.folder / "text.so"), "text.so")):
            result = self.run_program("list", ZV_CARD_SERVICES=library)
            self.assertEqual((result.messages, result.status), ([NOT_CREATED], FAILURE))
            self.assertIn(said, result.errors)

        services = os.environ["KESTRUNE_C_CARD_SERVICES"]
        result = self.run_program("list", ZV_CARD_SERVICES=services, C_CARD_SERVICES_WITHOUT_FACTORY="1")
        self.assertEqual(
            (result.messages, result.status), ([NOTHING_CREATED], FAILURE), "success, but no class factory"
        )

        alone = shutil.copy(PROGRAM[0], self.folder)
        result = subprocess.run([alone, "list"], stdout=subprocess.PIPE, check=False)
        self.assertIn(NOT_CREATED.encode(), result.stdout)
        self.assertEqual(result.returncode, FAILURE)


if __name__ == "__main__":
    unittest.main()
