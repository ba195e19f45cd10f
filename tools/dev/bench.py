#!/usr/bin/env python3
"""Runs the benchmark programs, and keeps, compares or publishes their figures.

A figure is the time of an operation of the library divided by the time of its limit, both measured in the same run.
Ratios are compared; times are not, because they depend on the machine. With an option of its own the command runs every
program several times: a figure is then the median of the rounds' ratios. Its noise is twice the median distance of the
rounds from it, which one disturbed round does not change. All other arguments are passed to Google Benchmark.
"""

import argparse
import datetime
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

import bench_footprint
import bench_pages
import bench_scale

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIMIT = "/limit"
ROUNDS = 5
LEAST_ROUNDS = 3

# Two runs differ by this much although the rounds of each agree: their code and data lie at other addresses.
LEAST_NOISE = 0.02

# What Google Benchmark adds to the name of a benchmark: how it is run.
ADDED_TO_NAME = re.compile(r"(/repeats:\d+)?(/real_time)?$")

# Programs that have no limits to compare with.
APART = {bench_scale.PROGRAM, bench_footprint.PROGRAM}

SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}


# --- Figures ----------------------------------------------------------------------------------------------------------


def read_round(report):
    """The figures of one run of a program, by name, from Google Benchmark's JSON. Times are in seconds."""
    times = {}
    counters = {}
    for run in report["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        if run.get("error_occurred"):
            raise ValueError(f"{run['run_name']}: {run['error_message']}")
        name = ADDED_TO_NAME.sub("", run["run_name"])
        times.setdefault(name, []).append(run["real_time"] * SECONDS[run["time_unit"]])
        counters[name] = run
    found = {}
    for name in sorted(times, key=lambda name: counters[name]["family_index"]):  # repetitions run in random order
        if name + LIMIT in times:
            # The best time, because other work makes a repetition slower, never faster; the median of disk times.
            kept = statistics.median if counters[name].get("median") else min
            aim = counters[name].get("aim")
            found[name] = {"time": kept(times[name]), "limit": kept(times[name + LIMIT]), "aim": aim}
    return found


def summarise(rounds):
    """The figures of all rounds of a program, in the order of the first round."""
    figures = []
    for name, first in rounds[0].items():
        runs = [each[name] for each in rounds]
        ratios = [each["time"] / each["limit"] for each in runs]
        ratio = statistics.median_low(ratios)
        distance = statistics.median(abs(each - ratio) for each in ratios)
        middle = runs[ratios.index(ratio)]
        figures.append({
            "name": name,
            "aim": first["aim"],
            "ratio": ratio,
            "noise": max(LEAST_NOISE, 2 * distance / ratio),
            "time": middle["time"],
            "limit": middle["limit"],
            "times": [each["time"] for each in runs],
            "limits": [each["limit"] for each in runs],
        })
    return figures


def changes(before, now):
    """One row for each figure of either run: name, the ratio of each run or None, the noise of both, and a verdict."""
    old = {figure["name"]: figure for figure in before}
    new = {figure["name"]: figure for figure in now}
    rows = []
    for name in {**old, **new}:
        runs = [figures.get(name) for figures in (old, new)]
        ratios = [run and run["ratio"] for run in runs]
        noise = sum(run["noise"] for run in runs if run)
        if None in runs:
            verdict = "removed" if runs[0] else "new"
        else:
            change = ratios[1] / ratios[0]
            verdict = "slower" if change > 1 + noise else "faster" if 1 / change > 1 + noise else ""
        rows.append((name, *ratios, noise, verdict))
    return rows


# --- Running ----------------------------------------------------------------------------------------------------------


def run_program(program, options, output=None):
    """Runs a benchmark program, with its output to `output`, and returns its figures by name."""
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder, "report.json")
        run = subprocess.run([program, *options, f"--benchmark_out={report}"], check=False, text=True,
                             stdout=output, stderr=output)
        if run.returncode != 0:
            sys.exit(f"bench: {program.name} failed\n{run.stderr or ''}".rstrip())
        text = report.read_text(encoding="utf-8")  # empty when a filter matches no benchmark of the program
    return read_round(json.loads(text)) if text else {}


def run_rounds(programs, options, count):
    """The figures of all programs. Rounds of all programs alternate: a busy minute affects one round of each."""
    rounds = {program: [] for program in programs}
    for number in range(1, count + 1):
        for program in programs:
            print(f"== round {number} of {count}: {program.name}", flush=True)
            rounds[program].append(run_program(program, options, subprocess.PIPE))
    return [{"program": program.name, **figure} for program in programs for figure in summarise(rounds[program])]


def filter_of(names):
    """The option by which a program runs these figures alone. A dot stands for each character that patterns may use."""
    patterns = (re.sub(r"[^\w ,:/-]", ".", name) for name in names)
    return f"--benchmark_filter=^({'|'.join(patterns)})(/|$)"


def with_more_rounds(figures, names, programs, count):
    """The figures, those named with `count` more rounds, so that a disturbance of the first ones has less weight."""
    concerned = {figure["program"] for figure in figures if figure["name"] in names}
    more = run_rounds([program for program in programs if program.name in concerned], [filter_of(names)], count)
    again = {figure["name"]: figure for figure in more}
    return [joined(figure, again[figure["name"]]) if figure["name"] in again else figure for figure in figures]


def joined(*figures):
    """One figure of the rounds of both."""
    rounds = [{each["name"]: {"time": time, "limit": limit, "aim": each["aim"]}} for each in figures
              for time, limit in zip(each["times"], each["limits"])]
    return {"program": figures[0]["program"], **summarise(rounds)[0]}


def measure_processes(own):
    """Measures and prints what has no limit: the cost of a record in lists of all lengths, and that of a process."""
    largest = own.largest or own.update_docs
    print(f"== {bench_scale.PROGRAM}", flush=True)
    sizes = bench_scale.measure(own.programs, largest)
    print(f"== {bench_footprint.PROGRAM}", flush=True)
    footprint, libraries = bench_footprint.measure(own.programs, own.released, largest)
    scale = bench_scale.values(sizes)
    print_values(scale + footprint)
    return {"sizes": sizes, "scale": scale, "footprint": footprint, "libraries": libraries}


def machine():
    cpuinfo = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    processor = re.search(r"^model name\s*: (.*)$", cpuinfo, re.MULTILINE)
    return {
        "processor": processor[1] if processor else os.uname().machine,
        "processors": os.cpu_count(),
        "memory_bytes": os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE"),
        "system": f"{os.uname().sysname} {'.'.join(os.uname().release.split('.')[:2])}",
    }


def commit():
    """The commit of the sources, marked when files differ from it; empty outside a repository."""
    describe = ["describe", "--always", "--dirty", "--abbrev=12", "--exclude=*"]
    git = subprocess.run(["git", "-c", f"safe.directory={ROOT}", "-C", ROOT, *describe], capture_output=True, text=True,
                         check=False)
    return git.stdout.strip()


# --- Output -----------------------------------------------------------------------------------------------------------


def print_figures(figures):
    print(f"{'':<52} {'time, us':>12} {'limit, us':>12} {'ratio':>8} {'noise':>7} {'aim':>6}")
    for each in figures:
        aim = "-" if each["aim"] is None else f"{each['aim']:.2f}"
        print(f"{each['name']:<52} {each['time'] * 1e6:12.2f} {each['limit'] * 1e6:12.2f} {each['ratio']:8.2f} "
              f"{each['noise']:7.1%} {aim:>6}")


def print_values(values):
    for each in values:
        aim = "" if each["aim"] is None else f"aim {each['aim']:g}"
        print(f"{each['name']:<52} {each['value']:12.2f} {each['unit']:<6} {aim}".rstrip())


def print_changes(rows):
    print(f"{'':<52} {'before':>8} {'now':>8} {'noise':>7}")
    for name, before, now, noise, verdict in rows:
        ratios = ("-" if ratio is None else f"{ratio:.2f}" for ratio in (before, now))
        print("{:<52} {:>8} {:>8} {:7.1%} {}".format(name, *ratios, noise, verdict).rstrip())


def read_results(path):
    return json.loads(path.read_text(encoding="utf-8"))


def arguments():
    parser = argparse.ArgumentParser(prog="./run bench", description=__doc__, allow_abbrev=False,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("released", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--json", type=pathlib.Path, metavar="FILE", help="write the figures to FILE")
    parser.add_argument("--against", type=pathlib.Path, metavar="FILE",
                        help="compare with the figures in FILE, and fail when one is slower by more than its noise")
    parser.add_argument("--update-docs", action="store_true",
                        help=f"write the figures into {bench_pages.PAGE}; implies --largest")
    parser.add_argument("--from", type=pathlib.Path, metavar="FILE", dest="source",
                        help="take the figures from FILE, which --json wrote, instead of measuring them")
    parser.add_argument("--largest", action="store_true",
                        help="measure a million records, too, which takes minutes and 5 GB of memory and disk")
    parser.add_argument("--rounds", type=int, metavar="N",
                        help=f"run each program N times (with an option above: {ROUNDS} times)")
    own, options = parser.parse_known_args()
    if own.rounds is not None and own.rounds < LEAST_ROUNDS:
        parser.error(f"--rounds must be at least {LEAST_ROUNDS}: fewer show no noise")
    return own, options


def run_once(own, programs, options):
    """Runs each program once. It prints its figures itself."""
    for program in programs:
        print(f"== {program.name}", flush=True)
        run_program(program, options)
    if not options:
        measure_processes(own)


def measure(own, programs, options):
    return {
        "date": datetime.date.today().isoformat(),
        "commit": commit(),
        "machine": machine(),
        "figures": run_rounds(programs, options, own.rounds or ROUNDS),
        **({} if options else measure_processes(own)),
    }


def slower_figures(now, own, programs, options):
    """Compares with the file, prints the comparison, and names the figures that became slower."""
    before = read_results(own.against)["figures"]
    rows = changes(before, now)
    suspects = [name for name, *_, verdict in rows if verdict == "slower"]
    if suspects and not own.source:
        rows = changes(before, with_more_rounds(now, suspects, programs, own.rounds or ROUNDS))
    if options:  # a filter leaves figures out
        rows = [row for row in rows if row[-1] != "removed"]
    print_changes(rows)
    return [f"slower than in {own.against}: {name}" for name, *_, verdict in rows if verdict == "slower"]


def main():
    own, options = arguments()
    if own.update_docs and options:
        sys.exit(f"bench: --update-docs publishes all figures, and takes no {options[0]}")
    if own.against and not own.against.exists():
        sys.exit(f"bench: there is no {own.against}")
    programs = sorted(path for path in own.programs.glob("bench_*") if path.name not in APART)
    if not programs and not own.source:
        sys.exit(f"bench: there is no benchmark in {own.programs}")
    if not (own.json or own.against or own.update_docs or own.source or own.rounds):
        run_once(own, programs, options)
        return 0

    results = read_results(own.source) if own.source else measure(own, programs, options)
    print_figures(results["figures"])
    if own.json:
        own.json.write_text(json.dumps(results, indent=1) + "\n", encoding="utf-8")
    faults = bench_pages.update(ROOT, results) if own.update_docs else []
    if own.against:
        faults += slower_figures(results["figures"], own, programs, options)
    for fault in faults:
        print(f"bench: {fault}", file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
