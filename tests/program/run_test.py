"""Whole runs against the simulated card, sped up from outside."""

import math
import struct
import unittest

from kestrune import PASS_PHRASE, ProgramTest, local_time


def nanoseconds(seconds, rest):
    return seconds * 10**9 + rest


def split(value):
    """A number of nanoseconds as the period test results write it."""
    whole = math.trunc(value)
    seconds = abs(whole) // 10**9 * (1 if whole >= 0 else -1)
    return [seconds, whole - seconds * 10**9]


def monitoring(record):
    """The 50 integers of a record's performance-monitoring section."""
    return struct.unpack_from("<50i", record, 112)


def period_results(records):
    """The 50 values of a period, computed anew with exact sums from its records' 50 integers."""
    results = []
    for group in (0, 25):
        counted = [record for record in records if record[group] > 0]
        count = sum(record[group] for record in counted)
        results.append(count)
        for quantity in range(3):
            first = group + 1 + 8 * quantity
            figures = [record[first : first + 8] for record in counted]
            if not figures:
                results += [0] * 8
                continue
            total = sum(nanoseconds(f[0], f[1]) for f in figures)
            deviation = sum(nanoseconds(f[6], f[7]) for f in figures)
            results += split(min(nanoseconds(f[2], f[3]) for f in figures))
            results += split(max(nanoseconds(f[4], f[5]) for f in figures))
            results += split(total / count)
            results += split(math.sqrt(deviation / count))
    return results


class RunTest(ProgramTest):
    def converted(self):
        """Every unit of the raw data file as its conversion tells it: (SFP index, 50 integers)."""
        self.run_program(PASS_PHRASE, "decypher")
        _, header, *lines = (self.folder / "ptpLog_decyphered_raw_data.txt").read_text().splitlines()
        names = header.split(", ")
        places = [place for place, name in enumerate(names) if name.startswith("pm-") and not name.endswith("(0f)")]
        rows = (line.split(",") for line in lines)
        return [(int(row[names.index("sfp")]), tuple(int(row[place]) for place in places)) for row in rows]

    def figures_differ(self, lines, units, minutes):
        """The first line whose values are not those of its period's records, which follow one another without a gap.
        Where a period ended between two records only the line's two counts can tell."""
        for sfp in (0, 1):
            records = [record for index, record in units if index == sfp]
            start = 0
            for line in (line for line in lines if line[2:4] == [str(minutes), str(sfp)]):
                found = [int(value) for value in line[4:]]
                end = start
                syncs = delay_resps = 0
                while end < len(records) and (syncs < found[0] or delay_resps < found[25]):
                    syncs += records[end][0]
                    delay_resps += records[end][25]
                    end += 1
                if period_results(records[start:end]) != found:
                    return f"SFP {sfp}, records {start} to {end}: {period_results(records[start:end])} != {found}"
                start = end
        return None

    def check_run(self, result, run):
        self.assertEqual(result.status, 0, result.errors)
        self.assertEqual(result.messages[0], ": Starting ST2059 monitoring.")
        self.assertEqual(result.messages[-1], ": Ending ST2059 monitoring.")

        texts, data = self.period_lines()
        self.assertEqual((len(texts), len(data)), (run * 8, run * 8))
        self.assertRegex(texts[-8], r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d: start of test run\.$")
        self.assertEqual(texts[-7].split(":")[0], "Legend")
        self.assertEqual(len(texts[-1].split(", ")), 54)
        self.assertEqual([line[2:4] for line in data[-8:]], [["15", "0"], ["15", "1"]] * 4)
        for line in data:
            self.assertEqual(len(line), 54)
            self.assertEqual(line[1], local_time(int(line[0])))
            self.assertGreater(int(line[4]), 0)

        kinds = self.event_types()
        self.assertEqual((kinds.count("start of monitoring"), kinds.count("end of monitoring")), (run, run))
        self.assertEqual(kinds[-1], "end of monitoring")

    def test_runs_append(self):
        """And every figure of a period is that of the records which the run stored, as their conversion tells them."""
        units = []
        for run in (1, 2):
            result = self.run_program("run", "-d=1", scenario="failover", speed=1800)
            self.check_run(result, run)
            changes = [message for message in result.messages if message == ": ST 2059 status has changed"]
            self.assertGreaterEqual(len(changes), 2, "the grandmaster fails over")

            earlier, units = units, self.raw_units()
            self.assertEqual(units[: len(earlier)], earlier)
            converted = self.converted()
            self.assertEqual(converted, [(record[0], monitoring(record)) for _, record in units])
            self.assertIsNone(self.figures_differ(self.period_lines()[1][-8:], converted[len(earlier) :], 15))


if __name__ == "__main__":
    unittest.main()
