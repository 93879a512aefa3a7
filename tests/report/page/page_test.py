"""The report's page in a real browser: its numbers against the recording, moving about, keys, touch, zones, paper."""

import os
import re
import subprocess
import tempfile
import unittest
from itertools import chain
from operator import attrgetter
from pathlib import Path

from selenium.webdriver import Keys

import recording
from browser import PageTest
from recording import BEGIN, CHANGE_OF_CLOCKS, GAP, LOCK, LOCKED, MASTER_CHANGE, PLATEAU, SECONDS, SPIKE, SPIKE_RANGE

END = BEGIN + SECONDS
SPIKE_AT = BEGIN + SPIKE

# Colours of text against the nearest opaque ground, controls without a name, numbers that occur twice.
ACCESSIBILITY = """
  const parse = c => (c.match(/[\\d.]+/g) || []).map(Number);
  const linear = v => v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4;
  const luminance = ([r, g, b]) => 0.2126 * linear(r / 255) + 0.7152 * linear(g / 255) + 0.0722 * linear(b / 255);
  const ground = e => {
    for (; e; e = e.parentElement) {
      const c = parse(getComputedStyle(e).backgroundColor);
      if (c.length === 3 || c[3] === 1) return c;
    }
    return [255, 255, 255];
  };
  const trouble = [];
  for (const e of document.querySelectorAll('body *')) {
    const words = [...e.childNodes].some(n => n.nodeType === 3 && n.textContent.trim());
    if (!words || !e.checkVisibility() || e.closest('.vh, .skip, :disabled, script, canvas, svg')) continue;
    const [x, y] = [luminance(parse(getComputedStyle(e).color)), luminance(ground(e))];
    const contrast = (Math.max(x, y) + 0.05) / (Math.min(x, y) + 0.05);
    if (contrast < 4.5) trouble.push(`contrast ${contrast.toFixed(2)}: ${e.outerHTML.slice(0, 100)}`);
  }
  const ids = [...document.querySelectorAll('[id]')].map(e => e.id);
  for (const id of ids) if (ids.indexOf(id) !== ids.lastIndexOf(id)) trouble.push('twice: ' + id);
  const complain = (what, selector, wrong) => {
    const found = [...document.querySelectorAll(selector)].filter(wrong);
    trouble.push(...found.map(e => what + ': ' + e.outerHTML.slice(0, 80)));
  };
  complain('no label', '[aria-labelledby]', e => !document.getElementById(e.getAttribute('aria-labelledby')));
  complain('no scope', 'table th', e => !e.hasAttribute('scope'));
  complain('no focus', '.scroll, #loglines, #readout', e => e.tabIndex < 0);
  return trouble;
"""


LEVELS = """
  const { store } = report.page;
  await Promise.all([...store.levels, store.side].map(level => store.loadLevel(level)));
  const tell = (level, sfp, rowOf) => level.segments.flatMap(s => Array.from({ length: s.count }, (_, n) =>
    [store.base + (s.first + n) * level.width, ...rowOf(s.chunk.planes[sfp], s.at + n)])).filter(row => row[1] > 0);
  const figures = (q, i) => [q.low[i], q.high[i], q.average[i]];
  const sfpRow = (p, i) =>
    [p.records[i], p.locked[i], p.syncs[i], p.resps[i], ...figures(p.off, i), p.off.deviation[i], ...figures(p.path, i)];
  const sideRow = (p, i) => [p.records[i], p.locked[i], p.followUps[i], p.followUpsDue[i], p.announces[i],
    ...figures(p.toFollower, i), ...figures(p.toMaster, i), ...figures(p.rx, i)];
  const differenceRow = (p, i) => [p.abSeconds[i], ...figures(p.ab, i)];
  return [store.levels.map(level => [level.width, ...[0, 1].map(sfp => tell(level, sfp, sfpRow)),
    tell(level, 2, differenceRow)]), [store.side.width, ...[0, 1].map(sfp => tell(store.side, sfp, sideRow))]];
"""


def stat(bucket, count, low, high, total):
    """Least, greatest and average of a bucket's seconds that counted something."""
    counted = [second for second in bucket if count(second)]
    if not counted:
        return [None] * 3
    return [min(map(low, counted)), max(map(high, counted)), sum(map(total, counted)) / sum(map(count, counted))]


def sums(bucket, *values):
    return [sum(map(value, bucket)) for value in values]


SYNCS, RESPS, RECORDS = attrgetter("syncs"), attrgetter("resps"), lambda second: 1
IS_LOCKED = lambda second: second.state == LOCKED
OFFSET = SYNCS, attrgetter("low"), attrgetter("high"), attrgetter("sum")
PATH = RESPS, lambda s: s.path - 9, lambda s: s.path + 9, lambda s: s.path * s.resps
TO_FOLLOWER = SYNCS, lambda s: s.to_follower[0], lambda s: s.to_follower[1], lambda s: s.path * s.syncs
RATE = RECORDS, attrgetter("rate"), attrgetter("rate"), attrgetter("rate")


class Exact:
    """The page's figures against those of the recording, added up here by seconds."""

    def test_every_bucket_is_the_merge_of_its_seconds(self):
        self.assertIn(self.result.returncode, (1, 2), self.result.stdout + self.result.stderr)
        self.assertLess(os.path.getsize(self.page), 2_000_000)
        self.open()
        levels, (side_width, *side) = self.script(LEVELS)
        self.assertEqual([level[0] for level in levels], [60, 10, 1])
        for width, *sfps, differences in levels:
            for sfp, rows in enumerate(sfps):
                self.compare(rows, self.merged(sfp, width), (width, sfp), whole=width == 60)
            self.compare(differences, self.merged_differences(width), (width, "difference"), whole=width == 60)
        for sfp, rows in enumerate(side):
            self.compare(rows, self.merged_side(sfp, side_width), ("side", sfp), whole=True)

    def compare(self, rows, expected, label, whole):
        """Whole numbers to the digit, averages and deviations within half a nanosecond, differences' twice rounded."""
        if whole:
            self.assertEqual([row[0] for row in rows], sorted(expected), label)
        self.assertGreaterEqual(len(rows), 30)
        for t, *row in rows:
            pairs = list(zip(row, expected[t], strict=True))
            exact = all(a == b for a, b in pairs if not isinstance(b, float))
            near = all(a is not None and abs(a - b) <= 0.56 for a, b in pairs if isinstance(b, float))
            self.assertTrue(exact and near, (label, t, pairs))

    def buckets(self, sfp, width):
        buckets = {}
        for t, second in self.seconds[sfp].items():
            buckets.setdefault(t // width * width, []).append((t, second))
        return buckets.items()

    def merged(self, sfp, width):
        return {start: self.sfp_row([second for _, second in bucket]) for start, bucket in self.buckets(sfp, width)}

    @staticmethod
    def sfp_row(bucket):
        least, greatest, average = stat(bucket, *OFFSET)
        heard = list(filter(SYNCS, bucket))
        squares = sum(s.squares + s.syncs * (s.average - average) ** 2 for s in heard)
        deviation = (squares / sum(map(SYNCS, heard))) ** 0.5 if heard else None
        counts = sums(bucket, RECORDS, IS_LOCKED, SYNCS, RESPS)
        return [*counts, least, greatest, average, deviation, *stat(bucket, *PATH)]

    def merged_differences(self, width):
        buckets = {}
        for t, a in self.seconds[0].items():
            b = self.seconds[1][t]
            if a.syncs and b.syncs:
                buckets.setdefault(t // width * width, []).append(a.average - b.average)
        return {t: [len(all), min(all), max(all), sum(all) / len(all)] for t, all in buckets.items()}

    def merged_side(self, sfp, width):
        rows = {}
        times = sorted(self.seconds[sfp])
        before = dict(zip(times[1:], times))
        for start, bucket in self.buckets(sfp, width):
            seconds = [second for _, second in bucket]
            # Counters count from the record before, when that is a minute old at most.
            counted = [second for t, second in bucket if second.expects and t - before.get(t, 0) <= 60]
            counts = sums(counted, attrgetter("follow_ups"), SYNCS, lambda second: 4)
            figures = (stat(seconds, *quantity) for quantity in (TO_FOLLOWER, PATH, RATE))
            rows[start] = [*sums(seconds, RECORDS, IS_LOCKED), *counts, *chain(*figures)]
        return rows

    def test_every_column_has_its_seconds_extremes_at_every_width(self):
        self.open()
        fold = """
          const { store, t0, t1 } = report.page, c = report.fold(store, a[0], 'off', t0, t1, a[1]);
          return [t0, c.per, [...c.step], [...c.low], [...c.high]]"""
        for sfp in (0, 1):
            for width in (37, 330, 1211, 3800):
                self.script(fold, sfp, width)
                self.settle()
                t0, per, steps, *shown = self.script(fold, sfp, width)
                step = max(steps)
                low, high = {}, {}
                for t, second in self.seconds[sfp].items():
                    if not second.syncs:
                        continue
                    column = max(0, int((t // step * step - t0) / per + 1e-9))
                    low[column] = min(low.get(column, second.low), second.low)
                    high[column] = max(high.get(column, second.high), second.high)
                for extremes, expected in zip(shown, (low, high)):
                    found = {i: value for i, value in enumerate(extremes) if value is not None}
                    with self.subTest(sfp=sfp, width=width):
                        self.assertEqual(found, expected)

    def test_both_ends_of_every_incident_are_there_second_by_second(self):
        self.open()
        missing = self.script(
            """
            const { store, episodes, t0, t1 } = report.page, level = store.levels.find(l => l.width === 1);
            const has = t => level.segments.some(s => t >= store.base + s.first && t < store.base + s.first + s.count);
            const within = t => Math.max(t0, Math.min(t1 - 1, t));
            return [episodes.length, episodes.filter(e => ![e.a, e.b - 1].every(t => has(within(t))))]"""
        )
        self.assertGreaterEqual(missing[0], 4)
        self.assertEqual(missing[1], [])


class Month(Exact, PageTest):
    write = staticmethod(recording.write_month)


class Numbers(Exact, PageTest):
    def test_the_cursor_reads_the_files_value(self):
        self.open()
        self.go(SPIKE_AT - 30, SPIKE_AT + 30)
        self.to_chart()
        self.mouse("mouseMoved", *self.place(SPIKE_AT + 0.5))
        self.settle()
        self.assertTrue(self.caption().startswith("Sun 29 Mar 01:20:34 UTC"), self.caption())
        low, high = (self.plain(f"{value:,} ns".replace(",", " ")) for value in SPIKE_RANGE)
        self.assertEqual((self.cell(0, "low"), self.cell(0, "high")), (low, high))
        average = float(self.cell(0, "average").split()[0])
        self.assertLessEqual(abs(average - self.seconds[0][SPIKE_AT].average), 0.5)
        a, b = (self.seconds[k][SPIKE_AT].average for k in (0, 1))
        self.assertLessEqual(abs(float(self.cell(2, "average").split()[0].replace(" ", "")) - (a - b)), 1)

    def test_no_data_is_a_gap_and_a_plateau_is_drawn(self):
        self.open()
        drawn = self.script(
            """
            const at = (sfp, t) => { const f = report.frame(), c = f.folded[`${sfp}.off`];
              const i = Math.floor((t - report.page.view.a) / (report.page.view.b - report.page.view.a) * f.count);
              return [c.measured(i), c.unlocked[i], c.high[i] > c.low[i]]; };
            return [at(0, a[0]), at(1, a[0]), at(1, a[1])]""",
            BEGIN + sum(GAP) // 2,
            BEGIN + sum(PLATEAU) // 2,
        )
        self.assertEqual([d[0] for d in drawn], [False, True, True])
        self.assertEqual(drawn[2], [True, 1, True])
        orange = self.script(
            """
            const canvas = document.querySelector('#stack canvas'), f = report.frame(), c = canvas.getContext('2d');
            const x0 = Math.round(f.x(a[0])), w = Math.round(f.x(a[1])) - x0;
            const d = c.getImageData(x0, 0, w, canvas.height).data, columns = new Set();
            const isOrange = i => d[i] > 200 && d[i + 1] > 60 && d[i + 1] < 160 && d[i + 2] < 130;
            for (let i = 0; i < d.length; i += 4) if (isOrange(i)) columns.add(i / 4 % w);
            return columns.size / w""",
            BEGIN + PLATEAU[0] + 60,
            BEGIN + PLATEAU[1] - 60,
        )
        self.assertEqual(orange, 1, "every column of the plateau shows where the offset was")


class Moving(PageTest):
    def setUp(self):
        self.open()
        self.to_chart()

    def tearDown(self):
        self.quiet()

    def test_pointer(self):
        x, y = self.place(SPIKE_AT)
        self.drag((x - 60, y), (x + 60, y))
        a, b = self.view()
        self.assertTrue(a < SPIKE_AT < b and 1000 < b - a < 3000, (a, b))
        for _ in range(6):
            self.mouse("mouseWheel", *self.place(SPIKE_AT), deltaX=0, deltaY=-240, modifiers=2)
            self.settle()
        closer = self.view()
        self.assertTrue(closer[0] < SPIKE_AT < closer[1] and closer[1] - closer[0] < 400, closer)
        before = self.script("return scrollY")
        self.mouse("mouseWheel", x, y, deltaX=0, deltaY=120)
        self.script("await new Promise(r => setTimeout(r, 300))")
        self.assertGreater(self.script("return scrollY"), before, "the bare wheel scrolls the page")
        self.assertEqual(self.view(), closer)
        self.to_chart()
        self.drag((x, y), (x - 100, y), modifiers=8)
        moved = self.view()
        self.assertAlmostEqual(moved[1] - moved[0], closer[1] - closer[0], delta=1)
        self.assertGreater(moved[0], closer[0])
        for count in (1, 2):
            self.mouse("mousePressed", x, y, button="left", clickCount=count)
            self.mouse("mouseReleased", x, y, button="left", clickCount=count)
        self.settle()
        self.assertEqual(self.view(), (BEGIN, END))

    def test_strip_heat_map_and_lists(self):
        self.go(BEGIN + 3000, BEGIN + 4000)
        left, top, width, height = self.box("#window")
        middle = (left + width / 2, top + height / 2)
        self.drag(middle, (middle[0] + 100, middle[1]))
        a, b = self.view()
        self.assertGreater(a, BEGIN + 3500)
        self.assertAlmostEqual(b - a, 1000, delta=1)
        self.script("document.querySelector('#heat').scrollIntoView({ block: 'center', behavior: 'instant' })")
        x, y, w, _ = self.box("#heat")
        cell = (x + 74 + (w - 78) / 60 * 20.5, y + 16 + 14 * 3.5)
        self.mouse("mouseMoved", *cell)
        self.assertEqual(self.text("#heatread"), "Sun 29 Mar 01:20: worst 2 251 ns")
        self.mouse("mousePressed", *cell, button="left", clickCount=1)
        self.mouse("mouseReleased", *cell, button="left", clickCount=1)
        self.settle()
        self.assertTrue(self.view()[0] < SPIKE_AT < self.view()[1])
        count = self.script("return report.page.episodes.length")
        for number in range(count):
            self.script("document.querySelectorAll('.incident > a')[a[0]].click()", number)
            self.settle()
            a, b = self.view()
            begin, end = self.script("const e = report.page.episodes[a[0]]; return [e.a, e.b]", number)
            self.assertTrue(a <= max(begin, BEGIN) and b >= min(end, END), (number, a, b, begin, end))
        self.assertEqual(self.script("return document.querySelectorAll('.incident.open').length"), 1)
        self.choose("#find", "no such words", "input")
        self.assertEqual(self.script("return document.querySelectorAll('.incident:not([hidden])').length"), 0)
        times = self.script("return [...document.querySelectorAll('.check a[data-t]')].map(e => Number(e.dataset.t))")
        self.assertGreater(len(times), 2)
        for number, t in enumerate(times):
            self.script("document.querySelectorAll('.check a[data-t]')[a[0]].click()", number)
            self.settle()
            self.assertTrue(self.view()[0] <= t <= self.view()[1], t)
        height = "return document.querySelector('#stack').clientHeight"
        before = self.script(height)
        self.click("#more input")
        self.assertLess(self.script(height), before - 100)

    def test_panels_on_demand_read_a_wide_bucket_and_the_cursor_a_second(self):
        self.script("for (const box of document.querySelectorAll('#more input')) if (!box.checked) box.click()")
        self.go(SPIKE_AT - 20, SPIKE_AT + 20)
        shown = self.script(
            """const { folded, count } = report.frame(), middle = count >> 1;
            return ['toFollower', 'toMaster', 'jitter', 'respDelay', 'rx', 'tx', 'counters'].flatMap(name => [0, 1].map(
              sfp => name === 'counters' ? folded[`${sfp}.${name}`].followUpsDue[middle] : folded[`${sfp}.${name}`].high[middle]))"""
        )
        self.assertTrue(all(value is not None and value > 0 for value in shown), shown)
        self.script("report.cursor(a[0])", SPIKE_AT + 0.5)
        self.assertTrue(self.caption().startswith("Sun 29 Mar 01:20:34 UTC 1 s"), self.caption())

    def test_keys(self):
        opened = "const e = document.querySelector('.incident.open .no'); return e && Number(e.textContent)"
        self.press("n")
        first = self.script(opened)
        self.press("n")
        second = self.script(opened)
        self.press("p")
        self.assertEqual((first, second, self.script(opened)), (1, 2, 1))
        self.go(BEGIN, END)
        self.script("document.querySelector('#stack').focus()")
        self.press("+")
        self.assertAlmostEqual(self.view()[1] - self.view()[0], SECONDS / 2, delta=1)
        self.press("+")
        before = self.view()
        self.press(Keys.ARROW_RIGHT)
        self.assertGreater(self.view()[0], before[0])
        captions = []
        for _ in range(2):
            self.press(Keys.ARROW_RIGHT, shift=True)
            captions.append(self.caption())
        self.assertNotEqual(*captions)
        self.assertIn("SFP A follower locked, offset", self.text("#say"))
        self.press("-")
        self.press("0")
        self.assertEqual(self.view(), (BEGIN, END))
        self.press(Keys.BACKSPACE)
        self.assertLess(self.view()[1] - self.view()[0], SECONDS * 0.6)
        pressed = "return document.querySelector('#scale [data-v=lin]').getAttribute('aria-pressed')"
        self.press("l")
        self.assertEqual(self.script(pressed), "true")
        self.press("?")
        self.assertTrue(self.script("return document.querySelector('#keys').open"))
        self.press(Keys.ESCAPE)
        self.script("document.querySelector('.skip').focus()")
        reached = set()
        for _ in range(60):
            self.press(Keys.TAB)
            reached.add(self.script("const e = document.activeElement; return e.id || e.parentElement.className"))
        self.assertLessEqual({"zone", "theme", "stack", "window", "readout", "find"}, reached)
        self.assertTrue(any(name.startswith("incident") for name in reached), reached)

    def test_address(self):
        self.go(SPIKE_AT - 300, SPIKE_AT + 300)
        self.press("l")
        self.choose("#zone", "rec")
        self.script("report.go(report.page.view.a, report.page.view.b); await new Promise(r => setTimeout(r, 400))")
        address = self.script("return location.hash")
        self.assertEqual(address, f"#v={SPIKE_AT - 300}-{SPIKE_AT + 300},linear,rec")
        self.open(address=address)
        self.assertEqual(self.view(), (SPIKE_AT - 300, SPIKE_AT + 300))
        self.assertIn("UTC+02:00", self.caption())
        self.assertEqual(self.script("return report.page.logarithmic"), False)
        self.open(1000, 300, address="#e4")
        self.assertEqual(self.text(".incident.open .no"), "4")
        heading = self.box("#incidents > ol")[1] + self.box("#incidents .day")[3]
        self.assertGreaterEqual(self.box(".incident.open")[1], heading, "not below its day")

    def test_theme_and_saving(self):
        ground = "return getComputedStyle(document.body).backgroundColor"
        light = self.script(ground)
        self.click("#theme")
        self.assertNotEqual(self.script(ground), light)
        self.go(SPIKE_AT - 5, SPIKE_AT + 5)
        rows = self.script("return report.viewCsv()").split("\n")
        row = next(r for r in rows if r.startswith("2026-03-29T01:20:34Z") and ",A," in r).split(",")
        self.assertEqual(row[2], "1")
        self.assertEqual((row[5], row[7]), tuple(map(str, SPIKE_RANGE)))


class Elsewhere(PageTest):
    def test_zones(self):
        """01:59 becomes 03:00 on the recorder's clock, wherever the page is opened."""
        at = "report.cursor(a[0]); return 0"
        for zone, before, after in (
            ("America/New_York", "Sat 28 Mar 20:59:30 UTC-04:00", "Sat 28 Mar 21:00:30 UTC-04:00"),
            ("Asia/Kolkata", "Sun 29 Mar 06:29:30 UTC+05:30", "Sun 29 Mar 06:30:30 UTC+05:30"),
            ("Europe/Berlin", "Sun 29 Mar 01:59:30 UTC+01:00", "Sun 29 Mar 03:00:30 UTC+02:00"),
        ):
            self.open(zone=zone)
            self.go(CHANGE_OF_CLOCKS - 60, CHANGE_OF_CLOCKS + 60)
            for choice, texts in (
                ("utc", ("Sun 29 Mar 00:59:30 UTC", "Sun 29 Mar 01:00:30 UTC")),
                ("rec", ("Sun 29 Mar 01:59:30 UTC+01:00", "Sun 29 Mar 03:00:30 UTC+02:00")),
                ("here", (before, after)),
            ):
                if choice != "utc":
                    self.choose("#zone", choice)
                for t, text in zip((CHANGE_OF_CLOCKS - 30, CHANGE_OF_CLOCKS + 30), texts):
                    self.script(at, t)
                    with self.subTest(zone=zone, choice=choice):
                        self.assertTrue(self.caption().startswith(text + " "), self.caption())

    def test_telephone(self):
        self.open(390, 844, phone=True)
        self.assertEqual(self.script("return document.documentElement.scrollWidth"), 390)
        small = self.script(
            """
            const height = e => (e.closest('.check') || e.closest('label') || e).getBoundingClientRect().height;
            return [...document.querySelectorAll('button, select, summary, input, a:not(.skip)')]
              .filter(e => e.checkVisibility() && height(e) < 24).map(e => e.outerHTML.slice(0, 90))"""
        )
        self.assertEqual(small, [])
        self.script("document.querySelector('#stack').scrollIntoView({ behavior: 'instant', block: 'center' })")
        before = self.view()
        self.touch(*([(150 - 8 * i, 420), (230 + 8 * i, 420)] for i in range(9)))
        pinched = self.view()
        self.assertLess(pinched[1] - pinched[0], (before[1] - before[0]) * 0.6)
        self.touch(*([(250 - 10 * i, 420)] for i in range(9)))
        moved = self.view()
        self.assertGreater(moved[0], pinched[0])
        self.assertAlmostEqual(moved[1] - moved[0], pinched[1] - pinched[0], delta=1)
        self.touch([(200, 420)])
        self.assertNotIn("In view", self.caption())
        self.quiet()

    def test_nothing_comes_from_elsewhere(self):
        self.open()
        self.closed()

    def test_accessibility(self):
        for dark in (False, True):
            self.open(dark=dark)
            with self.subTest(dark=dark):
                self.assertEqual(self.script(ACCESSIBILITY), [])
                tree = self.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
                wanted = ("button", "link", "checkbox", "combobox", "searchbox", "slider", "img", "region", "dialog")
                nameless = [
                    node["role"]["value"]
                    for node in tree
                    if not node.get("ignored")
                    and node["role"]["value"] in wanted
                    and not node.get("name", {}).get("value")
                ]
                self.assertEqual(nameless, [])

    def test_nothing_hides_at_the_side(self):
        wide = """return [...document.querySelectorAll(a[0])].filter(e => e.scrollWidth > e.clientWidth)
          .map(e => e.getAttribute('aria-labelledby') || e.id)"""
        for width, places in ((1440, ".scroll, #readout"), (1280, "#readout"), (768, "#readout")):
            self.open(width)
            self.assertEqual(self.script(wide, places), [], width)

    def test_severity_and_state_without_colour(self):
        self.open()
        marks = self.script(
            """const of = {}; for (const e of document.querySelectorAll('.check, .incident')) {
            const name = ['pass', 'warn', 'fail', 'info', 'none'].find(c => e.classList.contains(c));
            (of[name] ??= new Set()).add(e.querySelector('.mark').textContent); }
            return Object.entries(of).map(([c, m]) => [c, [...m]])"""
        )
        self.assertTrue(all(len(m) == 1 for _, m in marks), marks)
        self.assertEqual(len({m[0] for _, m in marks}), len(marks))
        self.assertGreaterEqual(len(marks), 3)

    def test_scripts_off_or_too_old_a_browser(self):
        cdp = self.browser.execute_cdp_cmd
        for scripts in (False, True):
            script = cdp("Page.addScriptToEvaluateOnNewDocument", {"source": "delete window.DecompressionStream"})
            self.open(scripts=scripts, starts=False)
            cdp("Page.removeScriptToEvaluateOnNewDocument", script)
            text = self.visible_text()
            for words in ("FAIL", "Incidents", "Masters", "08-00-11-ff-fe-21-00-02", "Figures", "lock class"):
                self.assertIn(words, text)
            for words in ("Copy summary", "Save view", "Event log"):
                self.assertNotIn(words, text)
            self.assertEqual("could not be opened" in text, scripts)
            self.assertGreater(self.browser.find_element("css selector", ".static svg").size["height"], 50)

    def test_files_that_are_missing_or_short(self):
        """Of what there is, a page; markup in texts stays text."""
        log, raw = (Path(self.prefix + end) for end in ("_event_log.txt", "_raw_data"))
        units = raw.read_bytes()
        only_b = b"".join(units[at : at + 1024] for at in range(0, 4_000_000, 1024) if units[at + 8] == 1)
        for name, files, panels in (
            ("log", {"_event_log.txt": log.read_bytes()}, 0),
            ("nothing", {"_raw_data": b""}, None),
            ("noise", {"_raw_data": b"\xa5\x5a<script>" * 9000, "_event_log.txt": b"\0{<b>" * 100}, None),
            ("b", {"_raw_data": only_b}, 1),
            ("short", {"_raw_data": units[: 20 * 1024], "_event_log.txt": log.read_bytes()[:3000]}, 2),
        ):
            with self.subTest(name):
                prefix = f"{self.prefix}_{name}"
                for end, content in files.items():
                    Path(prefix + end).write_bytes(content)
                self.report(prefix, "--label", '<b>&"x</b>')
                self.open(page=prefix + ".html")
                self.assertEqual(self.text("h1 small"), '<b>&"x</b>')
                self.quiet()
                live = self.script("return document.documentElement.classList.contains('live')")
                self.assertEqual(live, panels is not None)
                if live:
                    offsets = "return Object.keys(report.frame().folded).filter(key => key.endsWith('.off')).length"
                    self.assertEqual(self.script(offsets), panels)
                    self.assertNotIn("1970", self.script("return report.viewCsv()") if panels else "")

    def test_paper(self):
        self.open(dark=True)
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "page.pdf"
            path.write_bytes(self.pdf())
            run = lambda *arguments: subprocess.run(arguments, capture_output=True, check=True).stdout
            text = run("pdftotext", "-layout", path, "-").decode()
            for words in ("Offset from master, SFP A", "Incidents", "Mean path delay"):
                self.assertIn(words, text)
            self.assertNotIn("Copy summary", text)
            self.assertLessEqual(int(re.search(r"Pages:\s+(\d+)", run("pdfinfo", path).decode())[1]), 4)
            grey = run("pdftoppm", "-r", "20", "-f", "1", "-l", "1", "-gray", path)
            pixels = grey.split(b"\n", 3)[3]
            self.assertGreater(sum(pixels) / len(pixels), 215)


if __name__ == "__main__":
    unittest.main()
