"""What the command line makes the program do."""

import unittest

from kestrune import FAILURE, PASS_PHRASE, ProgramTest

NO_HARDWARE = ": No hardware detected. : ZV_E_NO_HARDWARE_PROFILE_FOUND: No hardware profile available in the system."
BAD_DURATION = ": Invalid duration request : ZV_E_INVALID_PARAMETER: One of the method parameter is invalid."
NO_SERIAL = ": A card with the requested serial number is not in the system : ZV_E_FAIL: Generic error."
SFP_IP_FAILED = (
    ": Could not configure the SFP IP interfaces or notifications : ZV_E_END_OF_ENUM: No more items to enumerate."
)
STARTING = ": Starting ST2059 monitoring."
ENDING = ": Ending ST2059 monitoring."
NO_TEST = "-d=2147483648"  # negative as a signed number: set up and torn down at once


def no_index(index):
    return (
        f": A card with a hardware index of{index} is not present. 4 cards are available."
        " : ZV_E_FAIL: Generic error."
    )


class ModesTest(ProgramTest):
    def check(self, arguments, status, expected, scenario="many-cards"):
        with self.subTest(arguments=arguments, scenario=scenario):
            result = self.run_program(*arguments, scenario=scenario)
            self.assertEqual(result.messages, expected)
            self.assertEqual(result.status, status)

    def test_usage_needs_no_card(self):
        usage = self.run_program("help", ZV_CARD_SERVICES="/nowhere").lines
        self.assertEqual(len(usage), 54)
        self.assertEqual(usage[:3], ["", "*" * 80, " Kestrune"])
        self.assertEqual(usage[35].split()[0], "./Kestrune.exe")
        privileged = self.run_program(PASS_PHRASE, ZV_CARD_SERVICES="/nowhere").lines
        self.assertEqual(len(privileged), 15)
        self.assertEqual(privileged[:3], ["", "*" * 80, "Privileged usage:"])

        for arguments in (["HELP"], ["list", "help"], ["run", "Help", "-d=abc"]):
            self.check(arguments, 0, usage, scenario="no-card")
        for arguments in (
            [PASS_PHRASE, "help"],
            ["run", PASS_PHRASE.lower()],
            [PASS_PHRASE.upper(), "list"],
            [PASS_PHRASE, "-decypher"],
        ):
            self.check(arguments, 0, privileged, scenario="no-card")

    def test_without_a_usable_card_everything_else_fails(self):
        for arguments in ([], ["list"], ["run"], ["decypher"], ["run", "-d=abc"], ["nonsense"]):
            self.check(arguments, FAILURE, [NO_HARDWARE], scenario="no-card")

    def test_words_that_name_no_mode_print_the_usage(self):
        usage = self.run_program("help").lines
        for arguments in ([], ["decypher"], [""], ["-help"], ["runs"], ["lis", "t"], ["/run"], ["-d = 3"], ["=", "3"]):
            self.check(arguments, 0, usage)

    def test_list_wins_over_run_and_names_the_models(self):
        cards = [
            "Available cards in the system:",
            "  0) Corvex5 S/N=MANY0001 Card model: First of many",
            "",
            "  1) Ulmira5 S/N=MANY0004 Card model: Second of many",
            "",
            "  2) Model 100 S/N=many0004 Card model: Third of many",
            "",
            "  3) Model 100 S/N=MANY0006 Card model: With one SFP",
            "",
        ]
        for arguments in (["list"], ["LIST", "run"], ["run", "-sn=none", "list"]):
            self.check(arguments, 0, cards)

    def test_run_selects_its_card(self):
        usage = self.run_program("help").lines
        ok = [STARTING, ENDING]
        one_sfp = [SFP_IP_FAILED]
        rows = [
            ([], 0, ok),
            (["-sn=MANY0004"], 0, ok),
            (["/sn=MANY0006"], FAILURE, one_sfp),
            (["-sn=many0004", "-hw=9"], 0, ok),  # -sn decides, -hw is not looked at
            (["-sn=MANY0002"], FAILURE, [NO_SERIAL, *usage]),
            (["-sn=Many0001"], FAILURE, [NO_SERIAL, *usage]),
            (["-sn="], FAILURE, [NO_SERIAL, *usage]),
            (["-sn"], FAILURE, [NO_SERIAL, *usage]),
            (["-SN=MANY0001"], FAILURE, [NO_SERIAL, *usage]),  # present, but its value isn't found
            (["-sn=MANY000"], FAILURE, [NO_SERIAL, *usage]),
            (["-hw=3"], FAILURE, one_sfp),
            (["-hw=256"], 0, ok),
            (["-hw=0x3"], 0, ok),  # read in base 10, up to the x
            (["-hw=010"], FAILURE, [no_index(10), *usage]),
            (["-hw=x"], 0, ok),
            (["-HW=9"], 0, ok),
            (["-hwx=3"], FAILURE, one_sfp),
            (["-hw=4"], FAILURE, [no_index(4), *usage]),
            (["-hw=-1"], FAILURE, [no_index(255), *usage]),
            (["-hw= +7"], FAILURE, [no_index(7), *usage]),
            (["-hw=99999999999999"], FAILURE, [no_index(255), *usage]),
            (["-hw=4", "-d=abc"], FAILURE, [no_index(4), *usage]),
        ]
        for options, status, expected in rows:
            self.check(["run", *options, NO_TEST], status, expected)

    def test_run_reads_its_duration(self):
        usage = self.run_program("help").lines
        for option in ("-d=abc", "-d", "-d=", "-d=4294967296", "/d=x1", "-D=1"):
            self.check(["run", option], FAILURE, [BAD_DURATION, *usage])
        for option in ("-d=2147483648", "-d=4294967295", "-d=-1", "-d= 4000000000.7h"):
            self.check(["run", option], 0, [STARTING, ENDING])
        self.check(["run", "-d", "=", "3"], FAILURE, [BAD_DURATION, *usage])

    def test_names_of_the_files(self):
        self.run_program("run", NO_TEST, "-f=a b")
        (self.folder / "Émission ☂").mkdir()
        (self.folder / "plain").mkdir()
        self.run_program("run", NO_TEST, "-p=Émission ☂", "-f=ünter")
        self.run_program("run", NO_TEST, "-p=plain\\")
        names = sorted(str(path.relative_to(self.folder)) for path in self.folder.rglob("*") if path.is_file())
        suffixes = ("_event_log.txt", "_period_test_results.txt", "_raw_data")
        prefixes = ("a b", "plain/ptpLog", "Émission ☂/ünter")
        self.assertEqual(names, sorted(prefix + suffix for prefix in prefixes for suffix in suffixes))


if __name__ == "__main__":
    unittest.main()
