"""The tests that docs/security.md names exist."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def known():
    """Suite.Name, and Name, of every test."""
    names = set()
    for file in (ROOT / "tests").rglob("*.cpp"):
        for suite, name in re.findall(r"^TEST\w*\(\s*(\w+),\s*(\w+)", file.read_text(encoding="utf-8"), re.MULTILINE):
            names |= {f"{suite}.{name}", name}
    for file in (ROOT / "tests").rglob("*.py"):
        names |= set(re.findall(r"^    def (test_\w+)", file.read_text(encoding="utf-8"), re.MULTILINE))
    return names


class SecurityPage(unittest.TestCase):
    def test_every_threat_names_tests_and_they_exist(self):
        page = (ROOT / "docs/security.md").read_text(encoding="utf-8")
        rows = [line.strip("| ").split(" | ") for line in page.splitlines() if line.startswith("|")][2:]
        self.assertGreater(len(rows), 10)
        tests = known()
        for row in rows:
            named = re.findall(r"`([^`]+)`", row[-1])
            self.assertTrue(named, row)
            self.assertEqual([name for name in named if name not in tests], [])


if __name__ == "__main__":
    unittest.main()
