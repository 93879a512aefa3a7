#!/usr/bin/env python3
"""What the metrics of a plant cost a Prometheus: fleet_bench.py METRICS [RECORDERS [MINUTES]]. Makes the text files of so
many recorders (2000) from one's metrics file, renews them every 15 seconds, and lets exporters with 100 of them each and
a real Prometheus with the alerts work for so many minutes (5). Prints a table."""

import json
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

RULES = pathlib.Path(__file__).parents[1] / "deploy" / "prometheus" / "kestrune.rules.yml"
STEP = 15  # seconds between scrapes
A_FOLDER = 100
NUMBER = re.compile(r"^(\w+)(\{.*\}) (\S+)$")


def recorder_text(lines, number, passed):
    """The metrics of one recorder: counters of records go on, averages waver, all else stays."""
    texts = []
    for line in lines:
        found = NUMBER.match(line)
        if not found:
            texts.append(line)
            continue
        name, labels, value = found[1], found[2], float(found[3])
        if name == "kestrune_records_total":
            value += passed
        elif name == "kestrune_last_record_timestamp_seconds":
            value = time.time() // 1
        elif "offset_mean" in name or "abs_max" in name or "delay" in name or "difference" in name:
            value *= 1 + hash((number, passed, line)) % 1000 / 1e5
        labels = re.sub(r'instance_label="[^"]*"', f'instance_label="recorder{number:05}"', labels)
        texts.append(f"{name}{labels} {value!r}")
    return "\n".join(texts) + "\n"


def write_files(folder, lines, recorders, passed):
    for number in range(recorders):
        file = folder / f"exporter{number // A_FOLDER}" / f"{number}.prom"
        file.parent.mkdir(exist_ok=True)
        aside = file.with_suffix(".new")
        aside.write_text(recorder_text(lines, number, passed), "utf-8")
        aside.rename(file)


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


def start_exporters(folder, count, quiet):
    processes, targets = [], []
    for number in range(count):
        targets.append(f"127.0.0.1:{free_port()}")
        words = ["prometheus-node-exporter", "--collector.disable-defaults", "--collector.textfile"]
        words += [f"--collector.textfile.directory={folder}/exporter{number}", f"--web.listen-address={targets[-1]}"]
        processes.append(subprocess.Popen(words, stdout=quiet, stderr=quiet))
    return processes, targets


def start_prometheus(folder, targets, address, quiet):
    jobs = [
        {"job_name": "node", "static_configs": [{"targets": targets}]},
        {"job_name": "prometheus", "static_configs": [{"targets": [address]}]},
    ]
    settings = {
        "global": {"scrape_interval": f"{STEP}s", "evaluation_interval": f"{STEP}s"},
        "rule_files": [str(RULES)],
        "scrape_configs": jobs,
    }
    (folder / "prometheus.yml").write_text(json.dumps(settings), "utf-8")
    words = ["prometheus", f"--config.file={folder}/prometheus.yml", f"--storage.tsdb.path={folder}/data"]
    return subprocess.Popen([*words, f"--web.listen-address={address}"], stdout=quiet, stderr=quiet)


def ask(address, query):
    query = urllib.parse.quote(query)
    with urllib.request.urlopen(f"http://{address}/api/v1/query?query={query}", timeout=60) as answer:
        results = json.load(answer)["data"]["result"]
    return float(results[0]["value"][1]) if results else float("nan")


def report(address, recorders, minutes):
    of_recorders = 'job="node"'
    rows = (
        ("series of the recorders", "", 'count({__name__=~"kestrune_.+"})', 1),
        ("series in memory, all", "", "prometheus_tsdb_head_series", 1),
        ("samples", "1/s", f"rate(prometheus_tsdb_head_samples_appended_total[{minutes - 1}m])", 1),
        (
            "longest scrape of an exporter",
            "ms",
            f"max(max_over_time(scrape_duration_seconds{{{of_recorders}}}[2m]))",
            1e3,
        ),
        ("evaluation of the alerts", "ms", "sum(prometheus_rule_group_last_duration_seconds)", 1e3),
        (
            "processor time of Prometheus",
            "ms/s",
            f'rate(process_cpu_seconds_total{{job="prometheus"}}[{minutes - 1}m])',
            1e3,
        ),
        ("memory of Prometheus", "MB", 'process_resident_memory_bytes{job="prometheus"}', 1e-6),
        ("alerts that fire", "", 'count(ALERTS{alertstate="firing"}) or vector(0)', 1),
    )
    print(f"| {recorders} recorders, {minutes} minutes | | |\n|---|---|---|")
    for name, unit, query, scale in rows:
        print(f"| {name} | {ask(address, query) * scale:,.0f} | {unit} |")


def main():
    lines = pathlib.Path(sys.argv[1]).read_text("utf-8").splitlines()
    recorders = int(sys.argv[2]) if len(sys.argv) > 2 else 2000
    minutes = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    with tempfile.TemporaryDirectory() as name, open("/dev/null", "ab") as quiet:
        folder = pathlib.Path(name)
        write_files(folder, lines, recorders, 0)
        processes, targets = start_exporters(folder, -(-recorders // A_FOLDER), quiet)
        address = f"127.0.0.1:{free_port()}"
        processes.append(start_prometheus(folder, targets, address, quiet))
        try:
            begin = time.monotonic()
            while (passed := time.monotonic() - begin) < 60 * minutes:
                time.sleep(STEP - passed % STEP)
                write_files(folder, lines, recorders, int(time.monotonic() - begin))
            report(address, recorders, minutes)
        finally:
            for process in processes:
                process.kill()
                process.wait()


if __name__ == "__main__":
    sys.exit(main())
