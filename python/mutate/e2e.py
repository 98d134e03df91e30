"""The end-to-end tests that can see a file, a few in a sandbox, with the mutated daemon."""
import os
import re
import shutil
import subprocess
import threading

from trelvik.places import REPO, SANDBOX, daemon

from .running import Task, lasting_failure, run

AT_ONCE = 5
LIMIT = 180
"""Seconds that some tests may take together."""
TOGETHER = 4
"""So many tests of a file take turns in one sandbox."""
FAILED = re.compile(r"^FAILED \S*?(test_\S+)", re.MULTILINE)
TESTS = os.path.join(REPO, "tests/e2e")
SEEN_BY = (
    ("platform/otnbus/registering", "redundancy"),
    ("platform/otnbus/dispatch", "bus shutdown"),
    ("platform/otnbus/Deputy", "shutdown"),
    ("platform/otnbus", "bus bus_bounds"),
    ("platform/board/executeCommand", "life_cycle"),
    ("platform/board/notifySupervisor", "supervisor"),
    ("platform/board", "config_removal"),
    ("platform", "bus"),
    ("src/process", "shutdown workers"),
    ("src/message", "dump"),
    ("src/link/CriticalActivity", "watchdog"),
    ("src/link/SrvDbg", "debug_socket"),
    ("src/link/IssSocket", "ops_link"),
    ("src/link/Traffic", "diagnostics"),
    ("src/link", "ring"),
    ("src/services/common", "bus"),
    ("src/services/counters", "bus"),
    ("src/services/diagnostics", "diagnostics"),
    ("src/services/lifecycle", "life_cycle"),
    ("src/services/pattern", "workers ring"),
    ("src/services/ports/ScriptFile", "script_files"),
    ("src/services/ports/boardMac", "startup"),
    ("src/services/ports", "port_params"),
    ("src/services/redundancy", "redundancy"),
    ("src/services/rules/Mstp", "iss_mgr_mstp"),
    ("src/services/rules", "iss_mgr"),
    ("src/services/smartsfp", "smart_sfp"),
    ("src/services/synce", "sync_e"),
    ("src/frame/main", "startup shutdown"),
    ("src/frame/signals", "signals shutdown script_files"),
    ("src/frame/otnThread", "startup shutdown diagnostics"),
    ("src/frame/deletePersistentIssConfig", "config_removal"),
    ("src/frame/AnswerWatch", "answer_limit"),
    ("src/frame/OutstandingAnswer", "answer_limit"),
    ("src/frame/SupervisorReport", "supervisor"),
    ("src/frame/opsMessage", "loop"),
    ("src/frame/slotText", "answer_limit"),
    ("src/frame", "loop ops_link"),
)
"""The first that a file's path begins with; the nearest tests come first."""
STORM = "0.2"
"""Minutes of the storm, which sees every room, after the tests."""


class EndToEnd:
    def __init__(self, stage):
        self.stage = stage
        self.sound = {}
        self.lock = threading.Lock()

    def kills(self, scratch, mutant):
        """(the test that fails with the mutant's daemon, whether it is one that does not end); None where all pass."""
        stage = os.path.join(scratch.place, "stage")
        if not os.path.isdir(stage):
            shutil.copytree(self.stage, stage, symlinks=True)
        shutil.copy(scratch.program("src/Trelvik"), daemon(stage))
        tests = [task(stage, name, some) for name in files(mutant.file) for some in together(functions(name))]
        outcome = lasting_failure([*tests, storm(stage)], AT_ONCE, lambda failed: self._sound(failed.task, stage))
        if outcome is None:
            return None
        failed = FAILED.search(outcome.said)
        return failed[1] if failed else "the storm" if "storm" in outcome.task.command else "end to end", outcome.late

    def _sound(self, failed, stage):
        """Whether the sound daemon passes what the mutant's does not."""
        command = tuple(word.replace(stage, self.stage) for word in failed.command)
        with self.lock:
            if command not in self.sound:
                environment = {name: value.replace(stage, self.stage) for name, value in failed.environment.items()}
                self.sound[command] = run(Task(list(command), failed.limit, environment)).good
            return self.sound[command]


def files(source):
    return next(names for start, names in SEEN_BY if source.startswith(start)).split()


def functions(name):
    listed = subprocess.run([os.path.join(TESTS, "list-tests"), os.path.join(TESTS, f"test_{name}.py")], check=True,
                            capture_output=True, text=True).stdout
    return [line.split()[0] for line in listed.splitlines()]


def together(tests):
    return [tests[first:first + TOGETHER] for first in range(0, len(tests), TOGETHER)]


def task(stage, name, tests):
    return Task([SANDBOX, "--ro", stage, "--", "/usr/bin/python3", "-B", "-m", "pytest", "-q", "-x", "-p", "no:cacheprovider", "-rf",
                 *(f"{TESTS}/test_{name}.py::{test}" for test in tests)], LIMIT, {"TRELVIK_PREFIX": stage})


def storm(stage):
    return Task([SANDBOX, "--ro", stage, "--", "/usr/bin/python3", "-B", os.path.join(REPO, "python"), "storm", "--minutes",
                 STORM, "--seed", "1"], LIMIT, {"TRELVIK_PREFIX": stage})
