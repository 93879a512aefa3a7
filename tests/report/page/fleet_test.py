"""The plant's page in a real browser: the axis that all machines share, and what the page is without a script."""

import json
import subprocess
import tempfile
import unittest
from pathlib import Path

from browser import PageTest, program, start_browser

BEGIN = 1772434800
HOURS = 30
LOST = BEGIN + 7777


def iso(t):
    return subprocess.run(["date", "-u", "-d", f"@{t}", "+%Y-%m-%dT%H:%M:%SZ"], capture_output=True, text=True).stdout[
        :-1
    ]


def report(name, episodes, masters):
    """A report in JSON, as far as the plant's page reads it."""
    return {
        "schema": 1,
        "label": name,
        "verdict": "warn",
        "sentence": "",
        "recording": {"first": iso(BEGIN), "end": iso(BEGIN + HOURS * 3600)},
        "checks": [],
        "episodes": [
            {
                "id": f"e{i}",
                "from": iso(t),
                "to": iso(t + 60),
                "severity": "warn",
                "cause": "grandmaster",
                "title": what,
            }
            for i, (t, what) in enumerate(episodes)
        ],
        "worst": ["e0"],
        "followed": [{"from": iso(a), "to": iso(b), "grandmaster": master, "domain": 127} for a, b, master in masters],
    }


class Fleet(PageTest):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        files = []
        for i in range(12):
            files.append(Path(folder.name, f"m{i}.json"))
            masters = [
                (BEGIN, LOST + i % 3, "08-00-01"),
                (LOST + i % 3, BEGIN + HOURS * 3600, f"08-00-0{2 + (i == 5)}"),
            ]
            episodes = [(LOST + i % 3, "<script>lost")] + ([(BEGIN + 50000, "alone")] if i == 7 else [])
            files[-1].write_text(json.dumps(report(f"Studio & {i}", episodes, masters)))
        cls.page = str(Path(folder.name, "plant.html"))
        subprocess.run([*program(), "--fleet", *files, "-o", cls.page], stdout=subprocess.DEVNULL)
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    def settle(self):
        """Nothing is decoded here; what was asked for is drawn in the next frame."""
        self.script("await new Promise(r => requestAnimationFrame(() => setTimeout(r, 20)))")

    def bars(self):
        """Left edge and width of each machine's first bar, in pixels of the axis, and whether it is in view."""
        return self.script(
            """return [...document.querySelectorAll('.row')].map(row => {
                 const lane = row.querySelector('.lane').getBoundingClientRect();
                 const bar = row.querySelector('.spell').getBoundingClientRect();
                 return [bar.left - lane.left, bar.width, bar.left >= lane.left && bar.right <= lane.right]; })"""
        )

    def test_a_common_cause_is_one_column(self):
        self.open(starts=False)
        self.assertEqual(len(self.bars()), 12)
        lefts = [left for left, *_ in self.bars()]
        self.assertLess(max(lefts) - min(lefts), 1)
        self.assertEqual(len(self.script("return [...document.querySelectorAll('.column')].map(c => c.title)")), 1)
        self.assertIn("12 of 12", self.visible_text())
        # One machine went to another grandmaster and stayed there.
        agreement = self.text("#h-agree + .sentence")
        self.assertRegex(agreement, "1 stretch of time in which machines")
        # The moment's link zooms to it; there the seconds between the machines show.
        self.click(".to")
        lefts = [left for left, *_ in self.bars()]
        self.assertTrue(all(seen for *_, seen in self.bars()))
        self.assertGreater(max(lefts) - min(lefts), 2)
        self.press("0")
        self.assertLess(self.bars()[0][1], 5)
        self.quiet()

    def test_moves_and_zooms(self):
        self.open(starts=False)
        before = self.bars()[0]
        self.press("+")
        self.assertAlmostEqual(self.bars()[0][1] - before[1] * 2, 0, delta=3)
        self.press("0")
        left, top, width, _ = self.box(".row .lane")
        at = left + before[0]
        self.script("document.querySelector('.row').scrollIntoView({ behavior: 'instant', block: 'center' })")
        top = self.box(".row .lane")[1]
        self.drag((round(at - 20), round(top + 10)), (round(at + 30), round(top + 10)))
        self.assertAlmostEqual(self.bars()[0][0] / width, 0.4, delta=0.05)
        self.click("[data-do=all]")
        self.assertAlmostEqual(self.bars()[0][0], before[0], delta=1)

    def test_nothing_comes_from_elsewhere(self):
        self.open(starts=False)
        self.closed()

    def test_narrow_dark_and_without_scripts(self):
        for how in ({"width": 390, "phone": True}, {"dark": True}, {"scripts": False}):
            with self.subTest(**how):
                self.open(starts=False, **how)
                if how.get("scripts", True):
                    self.assertLessEqual(self.script("return document.documentElement.scrollWidth - innerWidth"), 0)
                    self.assertEqual(self.script("return document.querySelectorAll('main script').length"), 0)
                text = self.visible_text()
                self.assertIn("<script>lost", text)
                self.assertIn("Studio & 11", text)
                self.quiet()


if __name__ == "__main__":
    unittest.main()
