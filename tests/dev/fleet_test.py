"""The judgement of tools/fleet/campaign.py, on given answers and records."""

import pathlib
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools/fleet"))
import campaign

HEAD = '<?xml version="1.0" encoding="utf-8"?>'
RECORDS = ["<vpn><user>a</user></vpn>", "<vpn><user>b &lt;c&gt;</user></vpn>"]


class FakeCluster:
    def __init__(self, records):
        self._records = records

    def records(self):
        return iter(self._records)


class FakeFleet:
    def __init__(self, folder, *, waiting=0, statuses=None):
        self.answered_file = folder / "answered"
        self.answered_file.write_text(
            f"200 http://a/application {HEAD}<sqmList>{RECORDS[0]}</sqmList>\n"
            f"200 http://a/connection {HEAD}<connectionList></connectionList>\n"
            f"200 http://a/application {HEAD}<sqmList>{''.join(RECORDS)}</sqmList>\n", encoding="utf-8")
        self._truth = {"posts": {"answered": statuses or {"200": 3}, "failed": {}}, "records": {"application": 2},
                       "waiting": waiting}

    def end(self):
        return int(self._truth["waiting"] > 0), self._truth


class Judgement(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def problems(self, records, rounds=(), **fleet):
        return campaign.judge(FakeCluster(records), FakeFleet(self.folder, **fleet), list(rounds))[1]

    def test_what_was_answered_and_is_kept_once_is_no_problem(self):
        self.assertEqual(self.problems(RECORDS), [])

    def test_a_record_that_was_answered_and_not_kept_is_a_problem(self):
        self.assertIn("1 records are missing whose post was answered", self.problems(RECORDS[:1]))

    def test_a_record_that_is_kept_twice_is_a_problem(self):
        self.assertIn("1 records are kept more than once", self.problems(RECORDS + RECORDS[1:]))

    def test_another_status_than_200_is_a_problem(self):
        self.assertTrue(self.problems(RECORDS, statuses={"200": 2, "503": 1})[0].startswith("clients got other statuses"))

    def test_records_in_the_lists_of_clients_are_a_problem(self):
        self.assertIn("4 records are still in the lists of the clients", self.problems(RECORDS, waiting=4))

    def test_a_long_time_without_an_answer_is_a_problem(self):
        rounds = [{"fault": "kill", "done": "killed it", "gap": gap} for gap in (29.9, 30.1)]
        self.assertEqual(self.problems(RECORDS, rounds), ["killed it: no answer for 30.1 s"])


class Gaps(unittest.TestCase):
    def test_the_longest_gap_begins_with_the_fault_and_ends_with_an_answer_or_now(self):
        fleet = object.__new__(campaign.Fleet)
        now = time.monotonic()
        fleet._samples = [(now - 100, 1), (now - 20, 2), (now - 13, 3), (now - 9, 4)]
        self.assertAlmostEqual(fleet.longest_gap(now - 21), 9, places=1)
        self.assertAlmostEqual(fleet.longest_gap(now - 35), 15, places=1)


class Answers(unittest.TestCase):
    def test_a_line_of_the_fleet_is_read_as_it_is_written(self):
        with tempfile.TemporaryDirectory() as folder:
            file = FakeFleet(pathlib.Path(folder)).answered_file
            self.assertEqual(campaign.answered_records(file), {campaign.fingerprint(record) for record in RECORDS})


if __name__ == "__main__":
    unittest.main()
