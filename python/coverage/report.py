"""The report as text, and whether the goals are met."""
import os

from . import figures

BRANCH_GOAL = 95.0


def met(files):
    lines, branches = figures.total(files)
    return lines.ran == lines.of and branches.percent >= BRANCH_GOAL


def show(files, repo):
    """`repo` is where the files' text stands."""
    return "\n".join([*table(files), *lines_not_run(files, repo), *files_below(files, repo), "", verdict(files)])


def table(files):
    rows = [*figures.rooms(files).items(), ("all", figures.total(files))]
    wide = max(len(name) for name, _ in rows) + 2
    found = ["".ljust(wide) + "lines".rjust(18) + "branches".rjust(18)]
    for name, counts in rows:
        found.append(name.ljust(wide) + "".join(f"{count.ran}/{count.of}".rjust(11) + f"{count.text()} %".rjust(7)
                                                if count.of else "-".rjust(18) for count in counts))
    return found


def lines_not_run(files, repo):
    found = [f"{file.path}:{number}: {text}" for file in files
             for number, text in texts(repo, file.path, file.lines_not_run)]
    return ["", f"Lines not run: {len(found)}", *found] if found else []


def files_below(files, repo):
    """The files below the goal for branches, the worst first, and where in them."""
    below = [file for file in files if file.branches.percent < BRANCH_GOAL]
    found = []
    for file in sorted(below, key=lambda file: file.branches.percent):
        found.append(f"{file.path}: {file.branches.ran}/{file.branches.of}, {file.branches.text()} %")
        found += [f"  {number}: {file.branches_not_taken[number]} not taken: {text}"
                  for number, text in texts(repo, file.path, file.branches_not_taken)]
    return ["", f"Files below {BRANCH_GOAL:g} % of branches: {len(below)}", *found] if below else []


def texts(repo, path, numbers):
    """[(number, text of the line)]"""
    if not numbers:
        return []
    with open(os.path.join(repo, path), encoding="utf-8") as file:
        lines = file.read().split("\n")
    return [(number, lines[number - 1].strip()) for number in numbers]


def verdict(files):
    lines, branches = figures.total(files)
    missed = ([f"{lines.of - lines.ran} lines were not run"] if lines.ran < lines.of else []) + (
        [f"{branches.text()} % of branches are fewer than {BRANCH_GOAL:g} %"] if branches.percent < BRANCH_GOAL else [])
    return "MISSED: " + ", and ".join(missed) if missed else "Goals met."
