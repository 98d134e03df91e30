"""The unit tests that can see a file, the nearest first."""
import os
import re
import threading

from trelvik.files import read
from trelvik.places import REPO, SANDBOX

from .running import Task, lasting_failure, run_all

AT_ONCE = 4
LIMIT, SLOWER = 20, 5
"""Seconds that a run of tests may take, and how many times as long as with the sound program."""
PROGRAMS = {"platform/otnbus": ("platform",), "platform": ("platform", "frame", "services"), "src/process": ("process", "link", "frame", "services"),
            "src/message": ("message", "link", "services", "frame"), "src/link": ("link", "frame", "services"),
            "src/services": ("services", "frame"), "src/frame": ("frame",)}
"""For each room the test programs that have it, its own first."""
DONE = re.compile(r"^\[       OK \] (\S+) \((\d+) ms\)$", re.MULTILINE)
FAILED = re.compile(r"^\[  FAILED  \] ([\w./]+)", re.MULTILINE)
SUITE = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+)|^(?:TYPED_TEST|INSTANTIATE_TEST_SUITE_P)\(\s*\w+,\s*(\w+)", re.MULTILINE)

MEASURED, MEASURING = {}, threading.Lock()


def programs(file):
    room = next(room for room in PROGRAMS if file.startswith(room + "/"))
    return [f"tests/unit/{name}_test" for name in PROGRAMS[room]]


def near_suites(file):
    """The suites of the tests that are named after the file or lie in the room beside it."""
    stem = os.path.splitext(os.path.basename(file))[0]
    folder = os.path.join(REPO, "tests/unit", re.sub("^src/", "", os.path.dirname(file)))
    found = set()
    for place, _, names in os.walk(os.path.join(REPO, "tests/unit")):
        for name in names:
            if name.endswith(".cpp") and (name.startswith(stem) or (place == folder and "services" in folder)):
                found |= {one or other for one, other in SUITE.findall(read(place, name))}
    return found


def command(program, *arguments):
    return [SANDBOX, "--", program, *arguments]


def seconds(program):
    """{test: seconds} of those that pass with the sound program."""
    with MEASURING:
        if program not in MEASURED:
            tasks = [Task(command(program), 300, {"GTEST_TOTAL_SHARDS": str(AT_ONCE), "GTEST_SHARD_INDEX": str(shard)})
                     for shard in range(AT_ONCE)]
            MEASURED[program] = {name: int(time) / 1000 for outcome in run_all(tasks, AT_ONCE)
                                 for name, time in DONE.findall(outcome.said)}
        return MEASURED[program]


def bins(times):
    """The tests in so many heaps that take about as long as each other."""
    heaps = [[0.0, []] for _ in range(AT_ONCE)]
    for name, time in sorted(times.items(), key=lambda entry: (-entry[1], entry[0])):
        heap = heaps[0] if time < 0.02 else min(heaps, key=lambda one: one[0])
        heap[0] += time
        heap[1].append(name)
    return [heap for heap in heaps if heap[1]]


def kills(scratch, mutant):
    """(the test that fails with the mutant, whether it is one that does not end); None where all pass."""
    near = near_suites(mutant.file)
    for program in programs(mutant.file):
        times = seconds(os.path.join(scratch.build.directory, program))
        mutated = scratch.program(program)
        for close in (True, False):
            chosen = {name: time for name, time in times.items() if close == (suite(name) in near)}
            tasks = [Task(command(mutated, "--gtest_fail_fast", "--gtest_filter=" + ":".join(names)),
                          LIMIT + SLOWER * time, {}) for time, names in bins(chosen)]
            found = failure(tasks)
            if found:
                return found
    return None


def suite(name):
    """The suite as the source names it, of Suite.Test, Instance/Suite.Test/0 or Suite/0.Test."""
    words = name.split(".")[0].split("/")
    return words[0] if len(words) == 1 or words[1].isdigit() else words[1]


def failure(tasks):
    """What failed, and whether it did not end."""
    outcome = lasting_failure(tasks, AT_ONCE)
    if outcome is None:
        return None
    failed = FAILED.search(outcome.said)
    return failed[1] if failed else os.path.basename(outcome.task.command[2]), outcome.late
