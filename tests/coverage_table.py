#!/usr/bin/env python3
"""Line and branch coverage per folder, from gcovr's JSON summary.

    tests/coverage_table.py SUMMARY.json

A guide to where tests are thin, not a target: a line run is not a line
checked.
"""
import json
import sys

FOLDERS = ["sdk/json", "sdk/dto", "sdk/core", "sdk/api", "sdk/qt", "chat", "view", "plugin",
           "host/platform", "host/app", "emulator"]


def main():
    with open(sys.argv[1]) as source:
        summary = json.load(source)
    totals = {folder: [0, 0, 0, 0] for folder in FOLDERS}
    for entry in summary["files"]:
        folder = next((f for f in FOLDERS if entry["filename"].startswith(f + "/")), None)
        if folder is None:
            continue
        counts = totals[folder]
        counts[0] += entry["line_covered"]
        counts[1] += entry["line_total"]
        counts[2] += entry["branch_covered"]
        counts[3] += entry["branch_total"]

    def percent(covered, total):
        return f"{100 * covered / total:5.1f}%" if total else "    -"

    print(f"{'folder':15} {'lines':>17} {'branches':>17}")
    for folder, (lines, line_total, branches, branch_total) in totals.items():
        print(f"{folder:15} {percent(lines, line_total)} {lines:5}/{line_total:<5} "
              f"{percent(branches, branch_total)} {branches:5}/{branch_total:<5}")


if __name__ == "__main__":
    main()
