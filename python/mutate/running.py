"""Programs with a limit of time and memory, several at once; the first that fails ends the others."""
import contextlib
import os
import resource
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass

MEMORY, FILE = 4 << 30, 1 << 30
"""What a mutant that never ends may take of the machine."""
POLL = 0.02


@dataclass
class Task:
    command: list
    limit: float
    """Seconds."""
    environment: dict


@dataclass
class Outcome:
    task: Task
    status: int
    late: bool
    said: str

    @property
    def good(self):
        return self.status == 0 and not self.late


def bounded():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE, FILE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Started:
    def __init__(self, task):
        self.task = task
        self.output = tempfile.TemporaryFile()
        self.end = time.monotonic() + task.limit
        self.process = subprocess.Popen(task.command, env={**os.environ, **task.environment}, stdin=subprocess.DEVNULL,
                                        stdout=self.output, stderr=subprocess.STDOUT, start_new_session=True,
                                        preexec_fn=bounded)

    def outcome(self):
        """None while it runs."""
        status = self.process.poll()
        late = status is None and time.monotonic() > self.end
        if status is None and not late:
            return None
        self.stop()
        self.output.seek(0)
        return Outcome(self.task, self.process.returncode, late, self.output.read(1 << 20).decode(errors="replace"))

    def stop(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()


def outcomes(tasks, width):
    """The outcome of each as it comes. Whoever takes no more of them ends the rest."""
    waiting, started = list(tasks), []
    try:
        while waiting or started:
            while waiting and len(started) < width:
                started.append(Started(waiting.pop(0)))
            for one in list(started):
                outcome = one.outcome()
                if outcome is not None:
                    started.remove(one)
                    yield outcome
            time.sleep(POLL)
    finally:
        for one in started:
            one.stop()


def first_failure(tasks, width):
    """The outcome of the first that fails; None where all are good."""
    with contextlib.closing(outcomes(tasks, width)) as coming:
        return next((outcome for outcome in coming if not outcome.good), None)


def lasting_failure(tasks, width, counts=lambda outcome: True):
    """The first that fails twice, or does not end, and counts; where one does not, the others are still asked."""
    left = list(tasks)
    while left:
        outcome = first_failure(left, width)
        if outcome is None:
            return None
        left.remove(outcome.task)
        if not outcome.late:
            outcome = run(outcome.task)
        if not outcome.good and counts(outcome):
            return outcome
    return None


def run_all(tasks, width):
    return list(outcomes(tasks, width))


def run(task):
    return run_all([task], 1)[0]
