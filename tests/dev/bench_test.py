"""The comparison of benchmark runs, and the page that is made of one, on given figures."""

import copy
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import tomllib
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools/dev"))
import bench
import bench_footprint
import bench_pages
import bench_scale


def runs(name, times, index, **facts):
    """Entries of Google Benchmark's JSON; times are in microseconds."""
    return [{"run_name": f"{name}/real_time", "run_type": "iteration", "family_index": index, "real_time": time,
             "time_unit": "us", **facts} for time in times]


def report(*entries):
    return {"benchmarks": [run for runs_ in entries for run in runs_]}


def figure(name="saving/10 records", ratio=1.5, noise=0.04, aim=None, time=3e-6):
    return {"name": name, "program": "bench_store", "aim": aim, "ratio": ratio, "noise": noise, "time": time,
            "limit": time / ratio}


def verdict(before, now):
    return bench.changes(before, now)[0][-1]


class ReadingARun(unittest.TestCase):
    def test_the_best_time_of_each_side_is_kept_with_the_aim(self):
        found = bench.read_round(report(runs("saving", [5, 3, 4], 0, aim=1.5), runs("saving/limit", [3, 2, 2.5], 1)))
        self.assertEqual(list(found), ["saving"])
        self.assertAlmostEqual(found["saving"]["time"], 3e-6)
        self.assertAlmostEqual(found["saving"]["limit"], 2e-6)
        self.assertEqual(found["saving"]["aim"], 1.5)

    def test_of_disk_times_the_median_is_kept(self):
        found = bench.read_round(report(runs("queueing", [5, 3, 4], 0, median=1), runs("queueing/limit", [9, 2, 3], 1)))
        self.assertAlmostEqual(found["queueing"]["time"], 4e-6)
        self.assertAlmostEqual(found["queueing"]["limit"], 3e-6)
        self.assertIsNone(found["queueing"]["aim"])

    def test_names_do_not_say_how_often_a_figure_is_measured(self):
        entries = runs("saving/10 records/repeats:10", [2], 0), runs("saving/10 records/limit/repeats:10", [1], 1)
        self.assertEqual(list(bench.read_round(report(*entries))), ["saving/10 records"])

    def test_figures_have_the_order_of_their_registration(self):
        found = bench.read_round(report(runs("second/limit", [1], 3), runs("first/limit", [1], 1),
                                        runs("second", [1], 2), runs("first", [1], 0)))
        self.assertEqual(list(found), ["first", "second"])

    def test_aggregates_and_figures_without_a_limit_are_left_out(self):
        aggregate = [{**run, "run_type": "aggregate"} for run in runs("saving", [0.001], 0)]
        found = bench.read_round(report(aggregate, runs("saving", [2], 0), runs("saving/limit", [1], 1),
                                        runs("alone", [1], 2)))
        self.assertEqual(list(found), ["saving"])
        self.assertAlmostEqual(found["saving"]["time"], 2e-6)

    def test_a_benchmark_that_failed_is_named(self):
        with self.assertRaisesRegex(ValueError, "saving.*no disk"):
            bench.read_round(report(runs("saving", [1], 0, error_occurred=True, error_message="no disk")))


class Rounds(unittest.TestCase):
    @staticmethod
    def summary(*ratios):
        return bench.summarise([{"saving": {"time": ratio * 2e-6, "limit": 2e-6, "aim": 1.5}} for ratio in ratios])[0]

    def test_the_median_ratio_is_the_figure_and_its_noise_is_twice_the_median_distance(self):
        saving = self.summary(1.4, 1.1, 1.2)
        self.assertAlmostEqual(saving["ratio"], 1.2)
        self.assertAlmostEqual(saving["noise"], 2 * 0.1 / 1.2)
        self.assertAlmostEqual(saving["time"] / saving["limit"], 1.2)
        self.assertEqual(len(saving["times"]), 3)
        self.assertEqual(saving["aim"], 1.5)

    def test_one_disturbed_round_changes_neither_the_figure_nor_its_noise(self):
        saving = self.summary(1.2, 1.25, 9.0, 1.15, 1.2)
        self.assertAlmostEqual(saving["ratio"], 1.2)
        self.assertAlmostEqual(saving["noise"], 2 * 0.05 / 1.2)

    def test_noise_is_never_below_the_least(self):
        self.assertEqual(self.summary(1.2, 1.2)["noise"], bench.LEAST_NOISE)


class Comparison(unittest.TestCase):
    def test_a_figure_beyond_the_noise_of_both_runs_is_slower(self):
        self.assertEqual(verdict([figure(ratio=1.5)], [figure(ratio=1.65)]), "slower")

    def test_a_figure_within_the_noise_of_both_runs_is_unchanged(self):
        self.assertEqual(verdict([figure(ratio=1.5)], [figure(ratio=1.61)]), "")
        self.assertEqual(verdict([figure(ratio=1.61)], [figure(ratio=1.5)]), "")

    def test_a_figure_with_more_noise_needs_a_larger_change(self):
        self.assertEqual(verdict([figure(ratio=1.5, noise=0.3)], [figure(ratio=1.9)]), "")
        self.assertEqual(verdict([figure(ratio=1.5)], [figure(ratio=1.9, noise=0.3)]), "")

    def test_a_smaller_ratio_is_faster(self):
        self.assertEqual(verdict([figure(ratio=1.65)], [figure(ratio=1.5)]), "faster")

    def test_times_are_not_compared(self):
        self.assertEqual(verdict([figure(time=3e-6)], [figure(time=3e-3)]), "")

    def test_figures_of_one_run_alone_are_named(self):
        rows = bench.changes([figure("old")], [figure("new")])
        self.assertEqual([(row[0], row[-1]) for row in rows], [("old", "removed"), ("new", "new")])


SECTIONS = ("figures", "texts", "scale", "footprint", "reasons")

TEXTS = '''
["saving"]
measured = "a list to its file"
limit = "writing the bytes"
["saving".above]
"10 records" = "Two system calls more."
["loading"]
measured = "a list from its file"
limit = "reading the bytes"
["loading".above]
"" = "One allocation for each record."
["growth of the cost"]
measured = "the longest list by the shortest"
["end of the process"]
measured = "until it has ended"
'''

PAGE = "# Figures\n\nKept.\n" + "".join(
    f"\n<!-- {name}: written by ./run bench --update-docs -->\nold {name}\n<!-- end of {name} -->\n"
    for name in SECTIONS) + "\nKept, too.\n"

RESULTS = {
    "date": "2026-11-22", "commit": "0123abc",
    "machine": {"processor": "A processor", "processors": 2, "memory_bytes": 8 << 30, "system": "Linux 6"},
    "figures": [figure("loading/10 records", 2.0, aim=1.3), figure("loading/1000 records", 2.5),
                figure("saving/10 records", 1.5, aim=1.3), figure("saving/1000 records", 1.1, aim=1.3)],
    "sizes": [{"records": count, "recording": 2e-5, "saving": 2e-6, "loading": 2e-6, "document": 1e-7, "copying": 9e-8,
               "upload": 4e-7, "loaded memory": 1617} for count in (1000, 1_000_000)],
    "scale": [{"name": "growth of the cost/saving", "value": 1.05, "unit": "", "aim": 1.2},
              {"name": "growth of the cost/loading", "value": 1.15, "unit": "", "aim": 1.2}],
    "footprint": [{"name": "end of the process/idle", "value": 1.5, "unit": "ms", "aim": 5}],
    "libraries": [["libcurl.so.4", 712_000]],
}


class Page(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.page = self.root / bench_pages.PAGE
        self.texts = self.root / bench_pages.TEXTS
        for file, text in ((self.page, PAGE), (self.texts, TEXTS)):
            file.parent.mkdir()
            file.write_text(text, encoding="utf-8")
        self.results = copy.deepcopy(RESULTS)

    def update(self):
        return bench_pages.update(self.root, self.results), self.page.read_text(encoding="utf-8")

    def test_has_the_figures_their_texts_and_the_reasons_of_those_above_their_aim(self):
        faults, page = self.update()
        self.assertEqual(faults, [])
        self.assertIn("| saving, 10 records | 3.00 | 2.00 | 1.50 | 0.06 | 1.3 |", page)
        self.assertIn("| loading, 1,000 records | 3.00 | 1.20 | 2.50 | 0.10 |  |", page)
        self.assertIn("| saving | a list to its file | writing the bytes |", page)
        self.assertIn("- **saving, 10 records.** Two system calls more.\n", page)
        self.assertIn("- **loading, 10 records.** One allocation for each record.\n", page)
        self.assertIn("0123abc", page)

    def test_has_what_has_no_limit(self):
        _, page = self.update()
        self.assertIn("| 1,000,000 | 20.0 | 2.00 | 2.00 | 0.100 | 0.400 | 0.090 | 1,617 |", page)
        self.assertIn("| growth of the cost, saving | 1.05 | 1.2 | the longest list by the shortest |", page)
        self.assertIn("| growth of the cost, loading | 1.15 | 1.2 |  |", page)
        self.assertIn("| end of the process, idle | 1.50 ms | 5 ms | until it has ended |", page)
        self.assertIn("| libcurl.so.4 | 712 |", page)
        self.assertNotIn("growth of the cost |", page.partition("what is measured")[2].partition("end of texts")[0])

    def test_has_a_drawing_with_a_curve_for_each_step(self):
        self.update()
        drawing = xml.etree.ElementTree.parse(self.root / bench_pages.DRAWING).getroot()
        texts = [element.text for element in drawing.iter("{http://www.w3.org/2000/svg}text")]
        for text in (*bench_scale.STEPS, "1,000", "1,000,000"):
            self.assertIn(text, texts)
        curves = [path for path in drawing.iter("{http://www.w3.org/2000/svg}path") if path.get("class") == "curve"]
        self.assertEqual(len(curves), len(bench_scale.STEPS))

    def test_has_the_figures_in_the_order_of_their_texts(self):
        _, page = self.update()
        self.assertLess(page.index("| saving, 1,000 records |"), page.index("| loading, 10 records |"))

    def test_keeps_what_is_outside_the_markers_and_replaces_what_is_inside(self):
        self.update()
        _, page = self.update()
        self.assertTrue(page.startswith("# Figures\n\nKept.\n"))
        self.assertTrue(page.endswith("\nKept, too.\n"))
        self.assertNotIn("old", page)
        self.assertEqual(page.count("| saving, 10 records |"), 1)

    def assert_refused(self, *parts):
        faults, page = self.update()
        self.assertEqual(len(faults), 1, faults)
        for part in parts:
            self.assertIn(part, faults[0])
        self.assertEqual(page, PAGE)

    def test_is_not_written_when_a_figure_above_its_aim_has_no_reason(self):
        self.results["figures"][3]["ratio"] = 1.31
        self.assert_refused("saving/1000 records", "above its aim")

    def test_is_not_written_when_a_value_above_its_aim_has_no_reason(self):
        self.results["footprint"][0]["value"] = 5.1
        self.assert_refused("end of the process/idle", "above its aim")

    def test_is_not_written_when_a_figure_has_no_text(self):
        self.results["figures"].append(figure("deleting/10 records"))
        self.assert_refused("deleting", "no entry")

    def test_is_not_written_when_a_text_has_no_figure(self):
        del self.results["figures"][:2]
        self.assert_refused("loading", "nothing measures")

    def test_a_page_without_the_markers_is_an_error(self):
        self.page.write_text("# Figures\n", encoding="utf-8")
        with self.assertRaisesRegex(ValueError, "markers of 'figures'"):
            self.update()

    def test_numbers_have_at_least_three_digits(self):
        self.assertEqual([bench_pages.number(value) for value in (0.1234, 0.9996, 1.234, 9.996, 12.34, 99.96, 1234.5)],
                         ["0.123", "1.00", "1.23", "10.0", "12.3", "100", "1,234"])


class Scale(unittest.TestCase):
    def test_growth_is_the_cost_in_the_longest_list_by_that_in_the_shortest(self):
        memory = {"loading peak": 1.1, "saving peak": 65536, "upload peak": 1.01}
        sizes = [{**dict.fromkeys(bench_scale.STEPS, cost), **memory} for cost in (2e-6, 5e-6, 3e-6)]
        values = {each["name"]: each["value"] for each in bench_scale.values(sizes)}
        self.assertAlmostEqual(values["growth of the cost/loading"], 1.5)
        self.assertEqual((values["memory to load"], values["memory to save"]), (1.1, 64))

    def test_labels_do_not_overlap(self):
        places = bench_scale.spread({"a": 10, "b": 12, "c": 11, "d": 200})
        self.assertEqual(sorted(places, key=places.get), ["a", "c", "b", "d"])
        self.assertEqual(places, {"a": 10, "c": 10 + bench_scale.LINE, "b": 10 + 2 * bench_scale.LINE, "d": 200})


class Footprint(unittest.TestCase):
    def test_lists_the_shared_libraries_of_a_program_with_their_sizes(self):
        *named, others = bench_footprint.libraries(shutil.which("strip"))
        self.assertIn("libc.so.6", [name for name, _ in named])
        self.assertTrue(all(size > 4096 for _, size in named))
        self.assertRegex(others[0], r"^\d+ others that these need$")

    def test_the_size_of_a_program_is_that_without_symbols(self):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder, "program")
            subprocess.run(["g++", "-x", "c++", "-", "-o", program], input="int main() {}", text=True, check=True)
            whole = program.stat().st_size
            self.assertLess(bench_footprint.size(program), whole)
            self.assertEqual(program.stat().st_size, whole)


class RealPage(unittest.TestCase):
    def test_has_the_markers(self):
        page = (ROOT / bench_pages.PAGE).read_text(encoding="utf-8")
        for name in SECTIONS:
            self.assertIn("\nnew lines\n", bench_pages.replaced(page, name, ["new lines"]))

    def test_every_entry_says_what_is_measured_and_its_limit(self):
        texts = tomllib.loads((ROOT / bench_pages.TEXTS).read_text(encoding="utf-8"))
        self.assertTrue(texts)
        for entry, columns in texts.items():
            self.assertIn("measured", columns, entry)
            self.assertLessEqual(set(columns), {"measured", "limit", "above"}, entry)


FAKE_PROGRAM = """#!/usr/bin/env python3
import json, pathlib, re, sys
counter = pathlib.Path(__file__).with_name("runs")
number = int(counter.read_text()) + 1
counter.write_text(str(number))
options = dict(option.split("=", 1) for option in sys.argv[1:])
assert re.search(options.get("--benchmark_filter", ""), "saving (1 record)/limit")
runs = [{"run_name": name + "/real_time", "run_type": "iteration", "family_index": index, "real_time": time,
         "time_unit": "us"} for index, (name, time) in enumerate({"saving (1 record)": 3 if number >= 0 else 9,
                                                                  "saving (1 record)/limit": 2}.items())]
pathlib.Path(options["--benchmark_out"]).write_text(json.dumps({"benchmarks": runs}))
"""


class Command(unittest.TestCase):
    """The command on figures that were measured before."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, *figures):
        path = self.folder / name
        path.write_text(json.dumps({**RESULTS, "figures": figures}), encoding="utf-8")
        return path

    def compare(self, before, now):
        return self.run_script("--against", self.file("before", before), "--from", self.file("now", now))

    def run_script(self, *options):
        command = [sys.executable, "-B", ROOT / "tools/dev/bench.py", self.folder, self.folder, *options]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def test_fails_and_names_a_figure_that_became_slower(self):
        run = self.compare(figure("saving", 1.5), figure("saving", 1.7))
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, "slower than in .*before: saving")

    def test_succeeds_within_the_noise(self):
        run = self.compare(figure("saving", 1.5), figure("saving", 1.6))
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertRegex(run.stdout, r"saving +1\.50 +1\.60 +8\.0%\n")

    def test_measures_again_what_seems_slower(self):
        """A program whose first rounds are disturbed: saving takes 9 us in them, and 3 us in later ones."""
        program = self.folder / "bench_store"
        program.write_text(FAKE_PROGRAM, encoding="utf-8")
        program.chmod(0o755)
        for undisturbed_from, status in ((4, 0), (99, 1)):
            (self.folder / "runs").write_text(str(-undisturbed_from), encoding="utf-8")
            run = self.run_script("--against", self.file("before", figure("saving (1 record)", 1.5)), "--rounds", "3",
                                  "--benchmark_min_time=0.1")
            self.assertEqual(run.returncode, status, run.stdout + run.stderr)
            self.assertEqual(run.stdout.count("bench_store"), 6)

    def test_without_programs_says_so(self):
        run = self.run_script()
        self.assertEqual(run.returncode, 1)
        self.assertIn("no benchmark", run.stderr)


if __name__ == "__main__":
    unittest.main()
