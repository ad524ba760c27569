#!/usr/bin/env python3
"""Checks that every library folder includes only its own folder and the
floors below it, so the folders form a stack without cycles:

    platform -> base -> iir, fir -> filter -> channels, decimate, integrate

Folders on the same floor may not include each other. The umbrella header
RZFilterFunc/RZFilterFunc.h and the generated export header sit outside the
stack. Exits non-zero and lists every offending include.
"""
import pathlib
import re
import sys

FLOORS = {
    "platform": 0,
    "base": 1,
    "iir": 2,
    "fir": 2,
    "filter": 3,
    "channels": 4,
    "decimate": 4,
    "integrate": 4,
}
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]RZFilterFunc/([^/>"]+)/[^>"]*[>"]')


def main() -> int:
    root = pathlib.Path(__file__).resolve().parent.parent / "RZFilterFunc"
    problems = []
    for path in sorted(root.rglob("*")):
        if path.suffix not in (".h", ".cpp") or path.parent == root:
            continue
        folder = path.relative_to(root).parts[0]
        if folder not in FLOORS:
            problems.append(f"{path}: folder '{folder}' has no floor")
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            target = match.group(1)
            if target == folder:
                continue
            if target not in FLOORS:
                problems.append(f"{path}:{number}: includes unknown folder '{target}'")
            elif FLOORS[target] >= FLOORS[folder]:
                kind = "sideways" if FLOORS[target] == FLOORS[folder] else "upward"
                problems.append(f"{path}:{number}: {kind} include of {target}/ from {folder}/")
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
