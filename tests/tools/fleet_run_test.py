"""tools/fleet/fleet.py with one collector: it serves its pages, and leaves nothing behind.

Arguments: the folder of the programs.
"""

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

    def start(self, programs=PROGRAMS):
        return subprocess.Popen(
            [sys.executable, "-B", FLEET / "fleet.py", "--one", "--clients", "100", programs, self.folder, self.folder],
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

    def test_leaves_nothing_when_it_cannot_start(self):
        with self.start(programs=self.folder / "none") as fleet:
            self.assertIn("sqm-collector", fleet.communicate()[1])
            self.assertEqual(fleet.returncode, 1)
        self.check_that_nothing_is_left()


if __name__ == "__main__":
    unittest.main()
