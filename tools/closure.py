#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Prints the dependency closure of a Debian package: every package that installing it
brings onto a bare system (Depends and Pre-Depends, recursively; not Recommends), with their
count and installed size. Reads the installed packages' fields, so everything in the closure
must be installed here (tools/setup.sh sees to that for Vorn's).

    tools/closure.py build-release/vorn_*.deb [PACKAGE...]

PACKAGEs are added to the .deb's Depends (to measure what a change would add or save)."""
import re
import subprocess
import sys


def fields(*args):
    return subprocess.run(args, check=True, capture_output=True, text=True).stdout


installed = {}
providers = {}
for line in fields("dpkg-query", "-W", "-f=${Package}\t${db:Status-Abbrev}\t${Installed-Size}\t"
                   "${Pre-Depends}, ${Depends}\t${Provides}\n").splitlines():
    name, status, size, depends, provides = line.split("\t")
    if not status.startswith("ii"):
        continue
    installed[name] = (int(size or 0), depends)
    for virtual in provides.split(","):
        if virtual.strip():
            providers.setdefault(re.split(r"[\s(]", virtual.strip())[0], name)


def choose(group):
    """The installed package that satisfies one dependency ("a | b (>= 1)")."""
    for alternative in group.split("|"):
        name = re.split(r"[\s(:]", alternative.strip())[0]
        if name in installed:
            return name
        if name in providers:
            return providers[name]
    raise SystemExit(f"not installed here: {group.strip()}")


def groups(depends):
    return [g for g in depends.split(",") if g.strip()]


start = []
for arg in sys.argv[1:]:
    if arg.endswith(".deb"):
        for field in ("Pre-Depends", "Depends"):
            start += groups(fields("dpkg-deb", "-f", arg, field).replace("\n", ","))
    else:
        start.append(arg)

closure = set()
todo = [choose(g) for g in start]
while todo:
    name = todo.pop()
    if name in closure:
        continue
    closure.add(name)
    todo += [choose(g) for g in groups(installed[name][1])]

size = sum(installed[n][0] for n in closure)
print(f"{len(closure)} packages, {size / 1024:.1f} MB installed")
for name in sorted(closure):
    print(f"  {name} {installed[name][0]} kB")
