#!/usr/bin/env python3
"""Prints the line coverage of each folder of sqm/ from a gcovr JSON summary, and fails where it is below the floor."""

import collections
import json
import pathlib
import sys

# The least share of the lines of each folder, in per cent, that the tests must reach.
FLOOR = 98
SQM = pathlib.Path(__file__).resolve().parents[2] / "sqm"
FOLDERS = {f"sqm/{folder.name}" for folder in SQM.iterdir() if folder.is_dir()}


def folder_of(file):
    return "/".join(file["filename"].split("/")[:2])


def main():
    with open(sys.argv[1], encoding="utf-8") as summary:
        files = json.load(summary)["files"]
    covered = collections.Counter()
    total = collections.Counter()
    for file in files:
        covered[folder_of(file)] += file["line_covered"]
        total[folder_of(file)] += file["line_total"]

    failed = set()
    for folder in sorted(FOLDERS | total.keys()):
        if not total[folder]:
            print(f"  {folder:<16} no line was measured")
            failed.add(folder)
            continue
        low = 100 * covered[folder] < FLOOR * total[folder]
        if low:
            failed.add(folder)
        share = f"{covered[folder]} of {total[folder]} lines, {100 * covered[folder] / total[folder]:.1f} %"
        print(f"  {folder:<16} {share}" + (f", below {FLOOR} %" if low else ""))
    for file in sorted(files, key=lambda file: file["line_covered"] - file["line_total"]):
        missed = file["line_total"] - file["line_covered"]
        if missed and folder_of(file) in failed:
            print(f"    {missed:4} lines not reached in {file['filename']}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
