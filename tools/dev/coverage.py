#!/usr/bin/env python3
"""Prints the line coverage of each folder of sqm/ from a gcovr JSON summary, and fails where it is below its floor."""

import collections
import json
import sys

# Folder -> the least share of its lines, in per cent, that the tests must reach. The other folders are only shown.
FLOORS = {
    "sqm/records": 98,
    "sqm/store": 98,
    "sqm/upload": 98,
    "sqm/manager": 98,
    "sqm/diagnostics": 98,
}


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
    for folder in sorted(FLOORS.keys() | total.keys()):
        floor = FLOORS.get(folder, 0)
        if not total[folder]:
            print(f"  {folder:<16} no line was measured")
            failed.add(folder)
            continue
        low = 100 * covered[folder] < floor * total[folder]
        if low:
            failed.add(folder)
        share = f"{covered[folder]} of {total[folder]} lines, {100 * covered[folder] / total[folder]:.1f} %"
        print(f"  {folder:<16} {share}" + (f", below {floor} %" if low else ""))
    for file in sorted(files, key=lambda file: file["line_covered"] - file["line_total"]):
        missed = file["line_total"] - file["line_covered"]
        if missed and folder_of(file) in failed:
            print(f"    {missed:4} lines not reached in {file['filename']}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
