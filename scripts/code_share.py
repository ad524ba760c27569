#!/usr/bin/python3
"""Counts non-blank source lines (C++, Python, CMake) by area and prints the
tests' share: against the shipped code (library, tool, Python package) and of
everything together. Fuzz corpora and reference data files are not source."""

import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SUFFIXES = {".cpp", ".h", ".py"}
AREAS = {
    "library": ["RZFilterFunc"],
    "tool": ["tools"],
    "python package": ["python/src", "python/setup.py"],
    "benchmarks": ["bench"],
    "tests": ["tests", "python/tests"],
}


def is_source(path):
    return path.is_file() and (path.suffix in SUFFIXES or path.name == "CMakeLists.txt") \
        and "corpus" not in path.parts


def count(paths):
    total = 0
    for entry in paths:
        base = ROOT / entry
        files = [base] if base.is_file() else sorted(base.rglob("*"))
        for f in filter(is_source, files):
            total += sum(1 for line in f.read_text(errors="replace").splitlines() if line.strip())
    return total


def main():
    lines = {area: count(paths) for area, paths in AREAS.items()}
    for area, n in lines.items():
        print(f"{area:16} {n:6d}")
    shipped = lines["library"] + lines["tool"] + lines["python package"]
    everything = sum(lines.values())
    print(f"tests / shipped code   {lines['tests'] / shipped:6.1%}")
    print(f"tests / all code       {lines['tests'] / everything:6.1%}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
