"""tools/fleet/fleet.py with one collector: it serves its pages, makes a backup, upgrades, measures, and leaves nothing behind.

Arguments: the folder of the programs.
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.request

PROGRAMS = pathlib.Path(sys.argv.pop(1))
FLEET = pathlib.Path(__file__).resolve().parents[2] / "tools/fleet"
sys.path.insert(0, str(FLEET))
from processes import marked


class Run(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.temporary = self.folder / "temporary"
        self.temporary.mkdir()

    def start(self, *options, programs=PROGRAMS):
        return subprocess.Popen(
            [sys.executable, "-B", FLEET / "fleet.py", "--one", "--clients", "100", *options, programs, self.folder,
             self.folder],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            env={**os.environ, "TMPDIR": str(self.temporary), "RUN": str(self.folder)})

    def check_that_nothing_is_left(self):
        self.assertEqual(list(self.temporary.iterdir()), [])
        self.assertEqual(marked(f"RUN={self.folder}"), [])

    def test_serves_the_pages_until_it_is_interrupted(self):
        for number, status in (signal.SIGINT, 0), (signal.SIGTERM, 128 + signal.SIGTERM):
            with self.start() as fleet:
                address = fleet.stdout.readline().split()[0]
                with urllib.request.urlopen(address) as page:
                    self.assertEqual(page.status, 200)
                self.assertNotEqual(marked(f"RUN={self.folder}"), [])
                fleet.send_signal(number)
                fleet.communicate()
                self.assertEqual(fleet.returncode, status)
            self.check_that_nothing_is_left()

    def test_fails_when_a_process_is_left(self):
        with self.start() as fleet:
            fleet.stdout.readline()
            folder = next(self.temporary.iterdir())
            with subprocess.Popen([sys.executable, "-c", "input()", folder], stdin=subprocess.PIPE) as other:
                fleet.send_signal(signal.SIGINT)
                self.assertIn(str(other.pid), fleet.communicate()[1])
                self.assertEqual(fleet.returncode, 1)
                other.communicate(b"\n")

    def test_leaves_nothing_when_it_cannot_start(self):
        with self.start(programs=self.folder / "none") as fleet:
            self.assertIn("sqm-collector", fleet.communicate()[1])
            self.assertEqual(fleet.returncode, 1)
        self.check_that_nothing_is_left()

    def figures(self, *options):
        """What it prints when all holds that it judges."""
        with self.start(*options) as fleet:
            out, errors = fleet.communicate()
        self.assertEqual(fleet.returncode, 0, out + errors)
        self.check_that_nothing_is_left()
        return json.loads(out[out.index("{"):])

    def test_a_backup_of_a_database_that_is_written_has_what_was_answered_before(self):
        figures = self.figures("--backup", "--speed", "7200")
        self.assertGreater(figures["answeredBefore"], 0)
        self.assertGreaterEqual(figures["restored"], figures["answeredBefore"])
        self.assertGreater(figures["restoredAndSentAgain"], figures["restored"])
        self.assertEqual(figures["restoredAndSentAgain"], figures["recordsMade"])

    def test_an_upgrade_loses_nothing(self):
        self.assertEqual(self.figures("--upgrade", "--speed", "7200")["actions"], {"restart": 1})

    def test_a_measurement_names_what_each_program_takes(self):
        with self.start("--hours", "8", "--speed", "7200") as fleet:  # too short to judge whether memory grows
            figures = json.loads(fleet.communicate()[0])
        self.assertEqual(figures["recordsKept"], figures["recordsMade"])
        self.assertGreater(figures["storage"]["databaseBytes"], figures["bytesPosted"])
        self.assertEqual(set(figures["quarters"]), {"collector one", "clients"})


if __name__ == "__main__":
    unittest.main()
