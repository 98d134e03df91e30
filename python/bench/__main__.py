"""scripts/bench: builds, measures, and tells what came of it."""
import dataclasses
import json
import os
import platform
import sys

from trelvik.places import REPO

from . import builds, commandline, figures, goals, instructions, outside, picture, plan, table
from .program import Failed

NAME = "scripts/bench"
KEPT = os.path.join(REPO, "bench/instructions.json")
BUSY = 0.5
"""Load for each CPU, before anything is measured, from which on the figures mean little."""


def misuse(text):
    print(f"{NAME}: {text}", file=sys.stderr)
    return 2


def what_is_measured(options):
    """(Build, {name: daemon's command}, the baseline's commit or "")"""
    commit = builds.commit_of(options.baseline) if options.baseline else ""
    build = builds.Build(os.path.realpath(options.build)) if options.build else builds.make()
    daemons = {"here": [build.daemon]}
    if commit:
        daemons["baseline"] = [builds.make_commit(commit)]
    return build, daemons, commit


def describe_machine():
    cpus, load = len(os.sched_getaffinity(0)), os.getloadavg()[0]
    model = platform.machine()
    with open("/proc/cpuinfo", encoding="utf-8") as lines:
        for line in lines:
            if line.startswith("model name"):
                model = line.partition(":")[2].strip()
    return {"processor": model, "cpus": cpus, "kernel": platform.release(), "load": load, "busy": load > BUSY * cpus}


def make_report(options, size, build, daemons, commit):
    machine = describe_machine()
    found = outside.measure(build.bench, build.policy, daemons, [build.directory], size)
    results = figures.Figures(found)
    counted = results.once("instructions", "here")
    if options.refresh:
        instructions.keep(KEPT, counted)
    judged = [] if options.short else goals.judge(results)
    return {"commit": builds.described(), "baseline": commit, "machine": machine, "size": size,
            "groups": figures.lines(results), "sizes": builds.sizes(build), "figures": results,
            "goals": judged + goals.judge_instructions(counted, instructions.kept(KEPT))}


def write_json(path, report):
    def plain(value):
        return value.found if isinstance(value, figures.Figures) else dataclasses.asdict(value)

    goals_told = [{**dataclasses.asdict(goal), "met": goal.met} for goal in report["goals"]]
    with open(path, "w", encoding="utf-8") as file:
        json.dump({**report, "goals": goals_told}, file, indent=1, default=plain)
        file.write("\n")


def run(options):
    size = plan.size(options.short, options.long, options.refresh)
    report = make_report(options, size, *what_is_measured(options))
    print(table.show(report))
    if options.json:
        write_json(options.json, report)
    if options.svg:
        with open(options.svg, "w", encoding="utf-8") as file:
            file.write(picture.draw(report))
    if any(goal.met is False for goal in report["goals"]):
        return 1
    if options.short:
        print("Everything works; a short run judges no figure but the instructions.")
    return 0


def main():
    options = commandline.parse(sys.argv[1:])
    if options.baseline and not builds.commit_of(options.baseline):
        return misuse(f'--baseline takes a commit of this repository, not "{options.baseline}"')
    if options.build and (missing := builds.Build(os.path.realpath(options.build)).missing()):
        return misuse(f"--build takes a build directory with an installation, not {options.build}: there is no "
                      f"{missing}")
    for option, path in (("--json", options.json), ("--svg", options.svg)):
        if path and not os.path.isdir(os.path.dirname(os.path.abspath(path))):
            return misuse(f"{option} takes a file in a directory that there is, not {path}")
    try:
        return run(options)
    except KeyboardInterrupt:
        return 130
    except (Failed, OSError) as problem:
        print(f"{NAME}: {problem}", file=sys.stderr)
        return 1


sys.exit(main())
