"""The metrics as a collector sees them; the alerts and the dashboard by their names."""

import json
import pathlib
import re
import shutil
import struct
import subprocess
import tempfile
import time
import unittest

from report_test import BEGIN, REPORT, unit

DEPLOY = pathlib.Path(__file__).parents[2] / "deploy"
PROMTOOL = shutil.which("promtool")
SERIES = re.compile(r"^(\w+)\{(.*)\} (\S+)$", re.MULTILINE)


def units(end, seconds, late=0):
    """Locked records up to `end`, of which the last `late` seconds have offsets beyond the limit that fails."""
    good, bad = ([unit(BEGIN, sfp, [offset] * 8)[8:] for sfp in (0, 1)] for offset in (30, 2000))
    for second in range(end - seconds, end):
        for record in bad if second >= end - late else good:
            yield struct.pack("<q", second) + record


class MetricsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, data):
        (self.folder / "run_raw_data").write_bytes(b"".join(data))

    def report(self, *arguments):
        done = subprocess.run([*REPORT, *arguments, "run"], cwd=self.folder, capture_output=True, timeout=300)
        self.assertEqual(bool(done.stderr), done.returncode == 4, done.stderr)
        return done.returncode

    def values(self):
        text = (self.folder / "m.prom").read_text("utf-8")
        return {(name, labels): float(value) for name, labels, value in SERIES.findall(text)}

    def promtool(self, *arguments, **how):
        done = subprocess.run([PROMTOOL, *arguments], capture_output=True, timeout=60, **how)
        self.assertEqual((done.returncode, done.stderr), (0, b""), done.stdout)

    def test_names_of_metrics_labels_and_queries_agree(self):
        self.write(units(int(time.time()), 90))
        self.assertEqual(self.report("--metrics", "m.prom", "--label", "studio 1"), 0)
        known = {}
        for name, labels in self.values():
            known.setdefault(name, set()).update(re.findall(r'(\w+)="', labels))
        self.assertEqual({path.name for path in self.folder.iterdir()}, {"run_raw_data", "m.prom", "m.prom.state"})
        dashboard = json.loads((DEPLOY / "grafana" / "kestrune.json").read_text("utf-8"))
        queries = [target["expr"] for panel in dashboard["panels"] for target in panel.get("targets", [])]
        queries += [item["query"]["query"] for item in dashboard["templating"]["list"][1:]]
        rules = (DEPLOY / "prometheus" / "kestrune.rules.yml").read_text("utf-8")
        self.assertEqual(set(re.findall(r"\bkestrune_\w+", " ".join(queries))), set(known), "all, and no others")
        self.assertLessEqual(set(re.findall(r"\bkestrune_\w+", rules)), set(known))
        table = (DEPLOY.parent / "docs" / "fleet.md").read_text("utf-8")
        self.assertEqual(set(re.findall(r"^\| `(kestrune_\w+)`", table, re.MULTILINE)), set(known))
        places = r"\b(?:by|without) \(([\w, ]+)\)|\{\{(\w+)\}\}|\$labels\.(\w+)|\{(\w+)=~"
        labels = re.findall(places, rules + str(queries + dashboard["panels"]))
        used = {label for found in labels for label in re.split(r", ?", max(found))}
        self.assertLessEqual(used - {"alertname"}, set().union(*known.values()))
        if PROMTOOL:
            self.promtool("check", "metrics", input=(self.folder / "m.prom").read_bytes())
            records = [{"record": "a", "expr": query} for query in queries if not query.startswith("label_values")]
            (self.folder / "queries.yml").write_text(json.dumps({"groups": [{"name": "a", "rules": records}]}))
            self.promtool("check", "rules", "--lint=none", str(self.folder / "queries.yml"))

    def test_the_verdict_is_the_report_s_on_the_last_day(self):
        end = BEGIN + 90000
        gone, day = list(units(end - 86400, 3000, late=1)), list(units(end, 86400))
        strange = list(units(end, 7200, late=1))
        strange[50] = strange[50][:300]
        for name, data in {"old fault": gone + day, "fault": day[:-7200] + strange, "short": day[-80:]}.items():
            with self.subTest(name):
                self.write(data)
                (self.folder / "m.prom.state").unlink(missing_ok=True)
                status = self.report("--last", "24h")
                self.assertEqual(self.report("--metrics", "m.prom"), 0)
                verdict = self.values().get(("kestrune_verdict", 'instance_label="run"'), 3)
                self.assertEqual(verdict, status)
                self.assertEqual(status, {"old fault": 0, "fault": 2, "short": 3}[name])

    def test_following_goes_on_until_it_is_ended(self):
        records = ("kestrune_records_total", 'instance_label="run",sfp="A"')
        words = [*REPORT, "--metrics", "m.prom", "--follow", "--every", "1", "run"]
        process = subprocess.Popen(words, cwd=self.folder, stderr=subprocess.PIPE)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.addCleanup(process.stderr.close)
        self.assertIn(b"run_raw_data", process.stderr.readline(), "it waits for the recorder")
        for seconds in (100, 700, 40):
            self.write(units(int(time.time()), seconds))
            deadline = time.monotonic() + 60
            while not (self.folder / "m.prom").exists() or self.values()[records] != seconds:
                self.assertLess(time.monotonic(), deadline, f"{seconds} seconds were not seen")
                time.sleep(0.1)
        self.assertIsNone(process.poll())

    def test_what_can_t_be_done_is_refused(self):
        self.write(units(BEGIN, 90))
        before = (self.folder / "run_raw_data").read_bytes()
        for arguments in (
            ("--metrics", "run_raw_data"),
            ("--metrics", "absent/m.prom"),
            ("--metrics", "-"),
            ("--metrics", "m.prom", "--step", "5"),
            ("--metrics", "m.prom", "--json", "-"),
            ("--metrics", "m.prom", "--last", "1h"),
            ("--follow",),
            ("--metrics", "m.prom", "--every", "5"),
            ("--metrics", "m.prom", "--limits", "absent.json"),
        ):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.report(*arguments), 4)
        self.assertEqual((self.folder / "run_raw_data").read_bytes(), before)
        self.assertEqual(len(list(self.folder.iterdir())), 1)


if __name__ == "__main__":
    unittest.main()
