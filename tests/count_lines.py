#!/usr/bin/env python3
"""Counts the non-blank, non-comment lines of the C++ sources (.cpp, .h) of a
tree, per top-level folder (per suite under tests/), and sets the tests
(tests/ and fuzz/) against everything else. The owner's rule is that tests
stay at a quarter to a third of the rest.

    tests/count_lines.py [ROOT]
"""
import os
import sys


def count(path):
    lines = 0
    in_block = False
    with open(path, errors="replace") as source:
        for line in source:
            text = line.strip()
            if in_block:
                if "*/" not in text:
                    continue
                in_block = False
                text = text.split("*/", 1)[1].strip()
            if not text or text.startswith("//"):
                continue
            if text.startswith("/*"):
                in_block = "*/" not in text
                continue
            lines += 1
    return lines


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..")
    root = os.path.abspath(root)
    totals = {}
    for folder, subfolders, files in os.walk(root):
        subfolders[:] = [d for d in subfolders
                         if not d.startswith("build") and not (folder == root and d.startswith("."))]
        for name in files:
            if not name.endswith((".cpp", ".h")):
                continue
            path = os.path.join(folder, name)
            parts = os.path.relpath(path, root).split(os.sep)
            key = "/".join(parts[:2]) if parts[0] == "tests" else parts[0]
            totals[key] = totals.get(key, 0) + count(path)
    is_test = lambda key: key.startswith("tests/") or key == "fuzz"
    tests = sum(n for key, n in totals.items() if is_test(key))
    rest = sum(n for key, n in totals.items() if not is_test(key))
    for key in sorted(totals):
        print(f"{key:20} {totals[key]:6}")
    ratio = f"{100 * tests / rest:.1f}%" if rest else "n/a"
    print(f"tests {tests}, everything else {rest}, ratio {ratio}")


if __name__ == "__main__":
    main()
