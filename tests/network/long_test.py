"""The program on a PTP network for KESTRUNE_NETWORK_MINUTES, 16 and more, with a change of grandmaster in their middle:
what it holds doesn't grow, and its files tell what happened and agree with one another."""

import itertools
import json
import os
import pathlib
import subprocess
import sys
import time

import bed
from kestrune import PASS_PHRASE

MINUTES = int(os.environ.get("KESTRUNE_NETWORK_MINUTES", "61"))
LOOKS = [minute for minute in (1, 5, 10, 30, 60) if minute < MINUTES] + [MINUTES]
LIMITS = pathlib.Path(__file__).parents[2] / "cards" / "network" / "software-stamps.json"
GM1, GM2 = "0x20000fffe000001", "0x20000fffe000002"


class EndToEnd(bed.NetworkTest):
    def test_grows_in_nothing_and_tells_a_change_of_grandmaster(self):
        self.grandmaster("gm1", 10)
        self.grandmaster("gm2", 20)
        self.kestrune("f0,f1")
        start, held = time.monotonic(), {}
        for minute in sorted({*LOOKS, MINUTES // 2}):
            time.sleep(max(0, start + 60 * minute - time.monotonic()))
            held[minute] = self.held()
            print(f"minute {minute}: {held[minute]}", flush=True)
            if minute == MINUTES // 2:
                self.kill("gm1")
        first, last = held[1], held[MINUTES]
        cost = 1000 * (last.used - first.used) / (60 * (MINUTES - 1))
        print(f"{cost:.2f} ms of processor time a second")
        self.assertLess(cost, 7)
        self.assertLess(last.resident, 5 * 1024)
        self.assertLess(last.anonymous - held[5].anonymous, 64)
        self.assertEqual((last.files, last.threads), (first.files, first.threads))
        self.kill("ptpLog")
        self.read_files()

    def read_files(self):
        followed = [event["Grand master clock ID"] for event in self.events() if "Best master SFP" in event]
        changes = [identity for identity, _ in itertools.groupby(followed)]
        print("followed, as the event log tells:", *changes)
        self.assertEqual(changes[-2:], [GM1, GM2])

        self.assertIn("Completed processing", self.run_program(PASS_PHRASE, "decypher").text)
        converted = (self.folder / "ptpLog_decyphered_raw_data.txt").read_text().splitlines()
        self.assertEqual(len(converted), 2 + len(self.raw_units()), "two lines are the head")
        for sfp in (0, 1):  # one a second, but for what an instant of the machine's may cost
            self.assertAlmostEqual(len(self.records(sfp)), 60 * MINUTES + 5, delta=10)

        judge = [os.environ["KESTRUNE_REPORT"], *"ptpLog -o page.html --json judged.json --limits".split(), LIMITS]
        self.assertLess(subprocess.run(judge, cwd=self.folder).returncode, 4)
        lines = json.loads((self.folder / "judged.json").read_text())["periodLines"]
        print("period lines:", lines)
        self.assertEqual((lines["agreeing"], lines["differing"]), (MINUTES // 15 * 2, 0))


if __name__ == "__main__":
    sys.exit(bed.run_apart(__file__, sys.argv[1:] or ["EndToEnd"]))
