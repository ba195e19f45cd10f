"""The judgements of tools/fleet, on given answers, records and samples."""

import contextlib
import io
import pathlib
import random
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools/fleet"))
import campaign
import clients
import measure
import upgrade
from deployment import Failure

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

    def problems(self, records, **fleet):
        return campaign.judge(FakeCluster(records), FakeFleet(self.folder, **fleet))[1]

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
        rounds = [{"action": "kill", "done": "killed it", "gap": gap, "repaired": []} for gap in (29.9, 30.1)]
        self.assertEqual(campaign.judge_rounds(rounds)[1], ["killed it: no answer for 30.1 s"])


class Gaps(unittest.TestCase):
    def test_the_longest_gap_begins_with_the_fault_and_ends_with_an_answer_or_now(self):
        fleet = object.__new__(clients.Fleet)
        now = time.monotonic()
        fleet._samples = [(now - 100, 1), (now - 20, 2), (now - 13, 3), (now - 9, 4)]
        self.assertAlmostEqual(fleet.longest_gap(now - 21), 9, places=1)
        self.assertAlmostEqual(fleet.longest_gap(now - 35), 15, places=1)


class Answers(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = FakeFleet(pathlib.Path(folder.name)).answered_file

    def test_a_line_of_the_fleet_is_read_as_it_is_written(self):
        self.assertEqual(clients.answered_records(self.file), {clients.fingerprint(record) for record in RECORDS})

    def test_a_line_that_is_being_written_is_left_out(self):
        with open(self.file, "a", encoding="utf-8") as file:
            file.write("200 http://a/application <?xml")
        self.assertEqual(len(list(clients.answered_posts(self.file))), 3)


class Rounds(unittest.TestCase):
    class Deployment:
        """It is whole when it was repaired, if it can be."""

        def __init__(self, *, needs_repair):
            self._is_whole = not needs_repair

        def is_whole(self):
            return self._is_whole

        def repair(self):
            self._is_whole = True
            return ["two"]

    class BusyFleet:
        def __init__(self):
            self._answers = 0

        def answers(self):
            self._answers += 1
            return self._answers

        def longest_gap(self, _):
            return 0.1

    def setUp(self):
        for name in "LEAST_ROUND", "PATIENCE":
            self.addCleanup(setattr, campaign, name, getattr(campaign, name))
            setattr(campaign, name, 0)

    def play(self, actions, **deployment):
        with contextlib.redirect_stdout(io.StringIO()):
            return campaign.play_rounds(self.Deployment(**deployment), actions, self.BusyFleet(), random.Random(1))

    def test_what_does_not_start_again_is_repaired_and_counted(self):
        def kill(*_):
            return "killed it"

        for needs_repair, repaired in (False, []), (True, ["two"]):
            rounds, problems = self.play([kill], needs_repair=needs_repair)
            self.assertEqual(problems, [])
            self.assertEqual(rounds, [{"action": "kill", "done": "killed it", "gap": 0.1, "repaired": repaired}])

    def test_a_round_that_fails_ends_the_rounds(self):
        def fail(*_):
            raise Failure("it took too long")

        rounds, problems = self.play([fail, fail], needs_repair=False)
        self.assertEqual((rounds, problems), ([], ["round 1, fail: it took too long"]))


class Upgrade(unittest.TestCase):
    class Program:
        def __init__(self, name):
            self.name = name
            self.pid = 1
            self.patroni = self

        def ask_to_end(self):
            self.pid += 1

    class Cluster:
        def __init__(self, program):
            self.collectors = [program("collector one"), program("collector two")]
            self.etcd = [program("etcd one")]
            self.nodes = [program("one"), program("two"), program("three")]
            self._primary = self.nodes[1]

        def primary(self):
            return self._primary

        def switch_over(self):
            self._primary = self.nodes[2]

    def test_the_primary_is_restarted_last_and_when_it_is_none_any_more(self):
        cluster = self.Cluster(self.Program)
        self.assertEqual([step(cluster, None) for step in upgrade.of_a_cluster(cluster)], [
            "restarted collector one", "restarted collector two", "restarted etcd one", "restarted one",
            "restarted three", "made three the primary instead of two", "restarted two"])


class Growth(unittest.TestCase):
    def problems(self, values):
        return measure.judge_growth("it", [{"memoryKiB": value} for value in values])[1]

    def test_what_stays_within_the_noise_has_not_grown(self):
        self.assertEqual(self.problems([10, 10, 100, 103, 98, 100, 104, 104]), [])

    def test_a_last_quarter_above_the_second_has_grown(self):
        self.assertEqual(self.problems([100, 100, 100, 100, 110, 110, 120, 120]),
                         ["memoryKiB of it grew: 100, 100, 110, 120"])


if __name__ == "__main__":
    unittest.main()
