"""tools/dev/abi.py on small libraries. ./run check abi runs it: it needs the tools of libabigail."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "tools/dev/abi.py"

HEADER = """
#define SQM_API /* nothing */
#define SQM_COUNTS 11 /* how many */
#define SQM_DONE "upload done"
enum { SQM_ONE = 1, SQM_TWO = 2 };
typedef struct sqm_host sqm_host;
typedef struct sqm_drop { int list; long count; } sqm_drop;
typedef struct sqm_rule { int list; long count; } sqm_rule;
void sqm_on_drop(sqm_host* host, void (*callback)(const sqm_drop* drop));
void sqm_set_rules(sqm_host* host, const sqm_rule* rules);
int sqm_count(const sqm_host* host);
"""
SOURCE = """
#include <sqm.h>
struct sqm_host { int state; };
void sqm_on_drop(sqm_host* host, void (*callback)(const sqm_drop* drop)) { (void)host; (void)callback; }
void sqm_set_rules(sqm_host* host, const sqm_rule* rules) { (void)host; (void)rules; }
int sqm_count(const sqm_host* host) { return host->state; }
"""


class Interface(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "faces/c/sqm-c").mkdir(parents=True)
        (self.root / "faces/c/sqm.h").write_text('#include "sqm-c/all.h"\n')
        (self.root / "sqm.map").write_text("sqm_0 { global: sqm_*; local: *; };\n")
        self.assertEqual(self.compare("--renew").returncode, 0)

    def compare(self, *options, changed=("", ""), soname="libsqm.so.0", version="0.1.0"):
        """abi.py for the library with a text of header and source replaced."""
        face = self.root / "faces/c"
        (self.root / "CMakeLists.txt").write_text(f"project(SQM VERSION {version} LANGUAGES CXX)\n")
        (face / "sqm-c/all.h").write_text(HEADER.replace(*changed))
        (self.root / "sqm.c").write_text(SOURCE.replace(*changed))
        library = self.root / "libsqm.so"
        subprocess.run(["cc", "-g", "-shared", "-fPIC", "-I", face, f"-Wl,-soname,{soname}",
                        f"-Wl,--version-script={self.root}/sqm.map", self.root / "sqm.c", "-o", library], check=True)
        return subprocess.run([sys.executable, "-B", SCRIPT, "--root", self.root, *options, library],
                              capture_output=True, text=True)

    def assert_breaks(self, before, after, named):
        for options in ([], ["--renew"]):
            result = self.compare(*options, changed=(before, after))
            self.assertEqual(result.returncode, 1, result.stderr)
            self.assertIn("may no longer work", result.stderr)
            self.assertIn(named, result.stderr)
        self.assertEqual(self.compare().returncode, 0)  # nothing was written

    def assert_grows(self, before, after):
        result = self.compare(changed=(before, after))
        self.assertEqual(result.returncode, 1)
        self.assertIn("still works", result.stderr)
        self.assertEqual(self.compare("--renew", changed=(before, after), version="0.2.0").returncode, 0)
        result = self.compare(changed=(before, after), version="0.2.0")
        self.assertEqual(result.returncode, 0, result.stderr)

    def test_the_described_interface_passes(self):
        result = self.compare()
        self.assertEqual((result.returncode, result.stdout), (0, "3 functions and 4 constants are as described\n"))

    def test_what_no_program_sees_may_change(self):
        self.assertEqual(self.compare(changed=("{ int state; }", "{ char more[9]; int state; }")).returncode, 0)

    def test_a_removed_function_breaks(self):
        self.assert_breaks("int sqm_count(", "static inline int sqm_count(", "sqm_count")

    def test_another_type_of_a_parameter_breaks(self):
        self.assert_breaks("const sqm_rule* rules)", "long rules)", "sqm_set_rules")

    def test_another_order_of_members_breaks(self):
        self.assert_breaks("{ int list; long count; } sqm_drop", "{ long count; int list; } sqm_drop", "sqm_drop")

    def test_another_type_of_a_member_breaks_although_the_structure_grows(self):
        self.assert_breaks("long count; } sqm_drop", "unsigned long count; int reason; } sqm_drop", "sqm_drop")

    def test_a_further_member_breaks_a_structure_that_programs_make(self):
        self.assert_breaks("long count; } sqm_rule", "long count; int reason; } sqm_rule", "sqm_rule")

    def test_another_value_of_a_constant_breaks(self):
        self.assert_breaks("SQM_TWO = 2", "SQM_TWO = 3", "SQM_TWO was 2 and is 3")

    def test_a_removed_constant_breaks(self):
        self.assert_breaks(", SQM_TWO = 2", "", "SQM_TWO was 2 and is gone")

    def test_another_value_of_a_macro_breaks(self):
        self.assert_breaks("SQM_COUNTS 11", "SQM_COUNTS 12", "SQM_COUNTS was 11 and is 12")
        self.assert_breaks('"upload done"', '"upload ended"', "SQM_DONE was upload done and is upload ended")

    def test_a_removed_macro_breaks(self):
        self.assert_breaks('#define SQM_DONE "upload done"', "", "SQM_DONE was upload done and is gone")

    def test_a_further_member_of_what_a_callback_gets_is_described_first(self):
        self.assert_grows("long count; } sqm_drop", "long count; int reason; } sqm_drop")

    def test_a_further_constant_is_described_first(self):
        self.assert_grows("SQM_TWO = 2", "SQM_TWO = 2, SQM_THREE = 3")

    def test_a_further_function_is_described_first_and_has_its_version(self):
        further = ("typedef struct sqm_host sqm_host;",
                   "typedef struct sqm_host sqm_host;\n__attribute__((used)) inline int sqm_more(void) { return 1; }\n"
                   "extern int sqm_more(void);")
        self.assert_grows(*further)
        symbols = (self.root / "packaging/debian/libsqm0.symbols").read_text()
        self.assertIn(" sqm_count@sqm_0 0.1.0\n sqm_more@sqm_0 0.2.0\n", symbols)

    def test_another_number_in_the_soname_is_another_description(self):
        removed = ("int sqm_count(", "static inline int sqm_count(")
        self.assertEqual(self.compare(changed=removed, soname="libsqm.so.1").returncode, 1)
        self.assertEqual(self.compare("--renew", changed=removed, soname="libsqm.so.1").returncode, 0)
        self.assertEqual(self.compare(changed=removed, soname="libsqm.so.1").returncode, 0)
        self.assertIn("libsqm1", (self.root / "packaging/debian/libsqm1.symbols").read_text())


if __name__ == "__main__":
    unittest.main()
