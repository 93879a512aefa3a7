"""A plant in small: three recorders on simulated cards, their metrics, the exporter's textfile collector and a real
Prometheus with our rules. Loses a grandmaster, a fibre and a recorder, and asks Prometheus which alerts fire."""

import json
import os
import pathlib
import re
import shlex
import socket
import subprocess
import time
import unittest
import urllib.request

from kestrune import ORDINARY, ProgramTest, command

REPORT = shlex.split(os.environ["KESTRUNE_REPORT"])
RULES = pathlib.Path(__file__).parents[2] / "deploy" / "prometheus" / "kestrune.rules.yml"

# The rules' minutes pass in a tenth of their time.
HASTE = 10
EVENTS_AT = 18  # seconds after the recorders' start
PATIENCE = 60

GRANDMASTERS = [
    {"name": f"GM{i}", "clockIdentity": f"08-00-11-ff-fe-21-00-0{i}", "address": f"10.0.0.{i}", "priority2": 127 + i}
    for i in (1, 2)
]
STUDIOS = {
    "studio1": [{"at": EVENTS_AT, "event": "grandmaster-lost", "grandmaster": "GM1"}],
    "studio2": [{"at": EVENTS_AT, "event": "fibre-pulled", "sfp": "B"}],
    "studio3": [],
}


def hastened_rules():
    """The rules with shorter durations, and fewer seconds within these where seconds are counted."""

    def shorter(match):
        seconds = int(match[2]) * {"s": 1, "m": 60, "h": 3600}[match[3]]
        return f"{match[1]}{seconds // HASTE}s"

    text = re.sub(r"(\[|for: )(\d+)([smh])\b", shorter, RULES.read_text("utf-8"))
    text, count = re.subn(
        r"(_seconds(?:_total)?\[\w+\]\) > )([1-9]\d*)$", lambda m: m[1] + str(int(m[2]) // HASTE), text, flags=re.M
    )
    assert count == 3, "silence, out of lock, over the limit"
    return text


def free_ports(count):
    sockets = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [one.getsockname()[1] for one in sockets]
    for one in sockets:
        one.close()
    return ports


class PlantTest(ProgramTest):
    def start(self, *words, **environment):
        log = (self.folder / f"{pathlib.Path(words[0]).name}.log").open("ab")
        self.addCleanup(log.close)
        process = subprocess.Popen(
            words,
            cwd=self.folder,
            env=self.environment(**environment),
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
        )
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def start_studio(self, name, timeline, port):
        scenario = self.folder / f"{name}.json"
        scenario.write_text(json.dumps({**ORDINARY, "network": {"grandmasters": GRANDMASTERS}, "timeline": timeline}))
        recorder = self.start(*command(["run", f"-f={name}"]), ZV_SIM_SCENARIO=str(scenario))
        (self.folder / name).mkdir()
        self.start(*REPORT, "--metrics", f"{name}/kestrune.prom", "--follow", "--every", "1", name)
        self.start(
            "prometheus-node-exporter",
            "--collector.disable-defaults",
            "--collector.textfile",
            f"--collector.textfile.directory={name}",
            f"--web.listen-address=127.0.0.1:{port}",
        )
        return recorder

    def start_prometheus(self, targets, port):
        (self.folder / "rules.yml").write_text(hastened_rules())
        (self.folder / "prometheus.yml").write_text(
            "global: {scrape_interval: 1s, evaluation_interval: 1s}\n"
            "rule_files: [rules.yml]\n"
            f"scrape_configs: [{{job_name: node, static_configs: [{{targets: {json.dumps(targets)}}}]}}]\n"
        )
        self.start(
            "prometheus",
            "--config.file=prometheus.yml",
            "--storage.tsdb.path=data",
            f"--web.listen-address=127.0.0.1:{port}",
        )
        self.api = f"http://127.0.0.1:{port}/api/v1/"

    def ask(self, what):
        with urllib.request.urlopen(self.api + what, timeout=10) as answer:
            return json.load(answer)["data"]

    def firing(self):
        """The alerts that fire, each with the recorder or domain that it is of."""
        labels = [alert["labels"] for alert in self.ask("alerts")["alerts"] if alert["state"] == "firing"]
        return {(of["alertname"], of.get("instance_label") or of["domain"]) for of in labels}

    def test_the_right_alerts_fire_and_no_others(self):
        *exporters, prometheus = free_ports(len(STUDIOS) + 1)
        recorders = {
            name: self.start_studio(name, timeline, port) for (name, timeline), port in zip(STUDIOS.items(), exporters)
        }
        self.start_prometheus([f"127.0.0.1:{port}" for port in exporters], prometheus)
        expected = {
            ("KestruneCardUnlocked", "studio1"),
            ("KestruneSeveralGrandmasters", "127"),
            ("KestruneRedundancyLost", "studio2"),
        }
        begin = time.monotonic()
        seen = {}
        while time.monotonic() < begin + PATIENCE and expected | {("KestruneAbsent", "studio3")} != set(seen):
            time.sleep(0.5)
            try:
                for alert in self.firing():
                    seen.setdefault(alert, round(time.monotonic() - begin, 1))
            except OSError:  # it isn't up yet
                continue
            if expected <= set(seen):
                recorders["studio3"].kill()
        self.assertEqual(set(seen), expected | {("KestruneAbsent", "studio3")}, seen)
        self.assertGreater(min(seen.values()), EVENTS_AT, seen)

        metrics = "\n".join((self.folder / name / "kestrune.prom").read_text("utf-8") for name in STUDIOS)
        names = set(re.findall(r"^# TYPE (\S+)", metrics, re.MULTILINE))
        stored = self.ask("label/__name__/values")
        self.assertEqual(names, {name for name in stored if name.startswith("kestrune_")})


if __name__ == "__main__":
    unittest.main()
