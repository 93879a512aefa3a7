"""Every way in which starting or running can fail: its message, the exit status, and nothing written after it."""

import unittest

from kestrune import EVENT_LOG, FAILURE, ProgramTest, parse_events

CODE = "ZV_E_NOT_SUPPORTED"
TEXT = " : ZV_E_NOT_SUPPORTED: The requested operation is not supported."
NO_INTERFACE = " : ZV_E_INVALID_POINTER: One of the method parameter is a uninitialized pointer."
NO_HARDWARE = ": No hardware detected. : ZV_E_NO_HARDWARE_PROFILE_FOUND: No hardware profile available in the system."
GENERIC = " : ZV_E_FAIL: Generic error."
STARTING = ": Starting ST2059 monitoring."

# The documents at a run's start, the last of which announces it.
TYPES = [event["Event log type"] for event in parse_events(EVENT_LOG.read_text())]
INITIAL = TYPES[: TYPES.index("start of monitoring") + 1]
NOTHING = []
GENLOCK = INITIAL[: INITIAL.index("ST2059 status/settings")]
BEFORE_SFP_IP = INITIAL[: INITIAL.index("SFP IP status")]

GENLOCK_FAILED = ": Could not configure the genlock interfaces or notifications"
ST2059_FAILED = ": Could not configure the ST2059 interfaces or notifications"
SFP_IP_FAILED = ": Could not configure the SFP IP interfaces or notifications"
SFPS_FAILED = ": Could not get ST2059 SFP interfaces"
CARDS_FAILED = ": Could not get cards from the system"
NOT_INITIALIZED = ": Could not initialize ST2059 monitoring"


def fault(operation, call=1, code=CODE):
    return {"operation": operation, "code": code, "call": call}


class FailureTest(ProgramTest):
    def run_with_fault(self, operation, call=1, code=CODE, **scenario):
        return self.run_program("run", "-d=1", scenario={"faults": [fault(operation, call, code)], **scenario})

    def test_before_the_run(self):
        for operation, message in (
            ("CreateSystemConfiguration", ": Could not create IZvSystemConfiguration"),
            ("GetCardEnumerator", CARDS_FAILED),
            ("NextCard", CARDS_FAILED),
            ("GetCardInformation", CARDS_FAILED),
            ("GetSmpte2059", CARDS_FAILED),
        ):
            with self.subTest(operation=operation):
                result = self.run_with_fault(operation)
                self.assertEqual(result.messages, [message + TEXT])
                self.assertEqual(result.status, FAILURE)
                self.assertEqual([file.name for file in self.folder.iterdir()], ["scenario.json"])

    def test_second_card_fails_after_the_first_was_taken(self):
        card = {"modelCode": 98, "serialNumber": "1"}
        for operation in ("NextCard", "GetCardInformation", "GetSmpte2059"):
            result = self.run_with_fault(operation, call=2, cards=[card, card])
            self.assertEqual((result.messages, result.status), ([CARDS_FAILED + TEXT], FAILURE))

    def test_while_the_run_is_set_up(self):
        # (operation, its call, message, event documents written before it)
        rows = [
            ("QueryPrivate", 1, NOT_INITIALIZED, None),
            ("GetGenlockConfiguration", 1, GENLOCK_FAILED, NOTHING),
            ("GetGenlockNotification", 1, GENLOCK_FAILED, NOTHING),
            ("RegisterGenlock", 1, GENLOCK_FAILED, NOTHING),
            ("GetSmpte2059", 2, ST2059_FAILED, NOTHING),  # the first is the enumeration's
            ("RegisterSt2059", 1, ST2059_FAILED, NOTHING),
            ("CreateSfpIpEnumerator", 1, SFP_IP_FAILED, NOTHING),
            ("NextSfp", 1, SFP_IP_FAILED, NOTHING),
            ("NextSfp", 2, SFP_IP_FAILED, NOTHING),
            ("RegisterSfpIp", 1, SFP_IP_FAILED, NOTHING),
            ("RegisterSfpIp", 2, SFP_IP_FAILED, NOTHING),
            ("GetSmpte2059Sfp", 1, SFPS_FAILED, NOTHING),
            ("GetSmpte2059Sfp", 2, SFPS_FAILED, NOTHING),
            ("GetGenlockStatus", 1, ": Could not get genlock status", NOTHING),
            ("GetSt2059Status", 1, ": Could not get ST2059 status", GENLOCK),
            ("GetSfpIpStatus", 1, ": Could not get SFPs IP status", BEFORE_SFP_IP),
            ("GetSfpIpStatus", 2, ": Could not get SFPs IP status", [*BEFORE_SFP_IP, "SFP IP status"]),
        ]
        for operation, call, message, written in rows:
            with self.subTest(operation=operation, call=call):
                result = self.run_with_fault(operation, call)
                self.assertEqual((result.messages, result.status), ([message + TEXT], FAILURE))
                log = self.folder / "ptpLog_event_log.txt"
                self.assertEqual(self.event_types() if log.exists() else None, written)
                for file in self.folder.glob("ptpLog*"):
                    file.unlink()

    def test_success_without_an_interface(self):
        """Fails its step, but in the enumeration it is a card without ST 2059."""
        for operation, call, message in (
            ("CreateSystemConfiguration", 1, ": Could not create IZvSystemConfiguration" + NO_INTERFACE),
            ("GetCardEnumerator", 1, CARDS_FAILED + NO_INTERFACE),
            ("NextCard", 1, CARDS_FAILED + NO_INTERFACE),
            ("GetSmpte2059", 1, NO_HARDWARE),
            ("QueryPrivate", 1, NOT_INITIALIZED + NO_INTERFACE),
            ("GetGenlockConfiguration", 1, GENLOCK_FAILED + NO_INTERFACE),
            ("GetGenlockNotification", 1, GENLOCK_FAILED + NO_INTERFACE),
            ("GetSmpte2059", 2, ST2059_FAILED + NO_INTERFACE),
            ("CreateSfpIpEnumerator", 1, SFP_IP_FAILED + NO_INTERFACE),
            ("NextSfp", 2, SFP_IP_FAILED + NO_INTERFACE),
            ("GetSmpte2059Sfp", 2, SFPS_FAILED + NO_INTERFACE),
        ):
            with self.subTest(operation=operation, call=call):
                result = self.run_with_fault(operation, call, "ZV_NOERROR")
                self.assertEqual((result.messages, result.status), ([message], FAILURE))

    def test_a_success_of_another_kind_ends_the_enumeration(self):
        reported = CARDS_FAILED + " : ZV_FALSE: FALSE"
        for call in (1, 2):
            faults = [fault("NextCard", call, "ZV_FALSE")]
            result = self.run_program("list", scenario={"faults": faults})
            self.assertEqual((result.messages[:2], result.status), ([reported, "Available cards in the system:"], 0))
            self.assertEqual(len(result.lines), 2 * call, "with the cards collected before it")

    def test_registering_for_telemetry_fails_last(self):
        result = self.run_with_fault("RegisterMonitorData")
        self.assertEqual((result.messages, result.status), ([STARTING, NOT_INITIALIZED + TEXT], FAILURE))
        self.assertEqual(self.event_types(), INITIAL)

    def test_only_the_enumerators_end_is_normal(self):
        faults = [{"operation": "GetCardEnumerator", "code": "ZV_E_END_OF_ENUM", "call": 1}]
        result = self.run_program("list", scenario={"faults": faults})
        message = CARDS_FAILED + " : ZV_E_END_OF_ENUM: No more items to enumerate."
        self.assertEqual((result.messages, result.status), ([message], FAILURE))

    def test_missing_sfp(self):
        for sfps in ([1], [2], [], [3, 4], [1, 1]):
            card = {"modelCode": 98, "serialNumber": "1", "sfpNumbers": sfps}
            result = self.run_program("run", scenario={"cards": [card]})
            self.assertEqual(result.status, FAILURE)
            self.assertEqual(result.messages, [SFP_IP_FAILED + " : ZV_E_END_OF_ENUM: No more items to enumerate."])

    def test_unusable_folder(self):
        (self.folder / "file").touch()
        for name in ("1_raw_data", "2_event_log.txt", "3_period_test_results.txt"):
            (self.folder / name).mkdir()
        for option in ("-p=missing", "-p=file", "-f=1", "-f=2", "-f=3", "-f=no/such"):
            result = self.run_program("run", option, scenario={})
            self.assertEqual(result.status, FAILURE)
            self.assertEqual(result.messages, [": Could not configure log files. Log path may be invalid" + GENERIC])


if __name__ == "__main__":
    unittest.main()
