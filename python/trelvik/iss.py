"""ISS, simulated: the installed `iss-sim` on 127.0.0.1:8000, and its commands, which ask the one that runs."""
import json
import os
import subprocess
from signal import SIGTERM

from . import files, places
from .syslog import matcher
from .wait import DEADLINE, until


PROGRAM = places.iss_sim(places.PREFIX)


def ask(*words):
    """A command of iss-sim: exit status, output, errors."""
    return subprocess.run([PROGRAM, *words], capture_output=True, text=True, timeout=DEADLINE, check=False)


def show(*subject):
    """What the running simulator shows of a subject."""
    answer = ask("show", *subject, "--json")
    assert answer.returncode == 0, answer.stderr
    return json.loads(answer.stdout)


class Iss:
    def __init__(self, directory, *arguments):
        self._output = os.path.join(directory, "iss.out")
        with open(self._output, "wb") as output:
            self._process = subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=output,
                                             stderr=output)
        self.wait("*listening on 127.0.0.1:*")

    def lines(self, pattern="*"):
        """What it has printed so far, without line ends."""
        printed = files.read(self._output)
        match = matcher(pattern)
        return [line for line in printed[:printed.rfind("\n") + 1].splitlines() if match.match(line)]

    def wait(self, pattern, count=1, deadline=None):
        """Waits for the count-th line that fits and returns it."""
        def found():
            lines = self.lines(pattern)
            return lines[count - 1] if len(lines) >= count else None
        return until(found, lambda: f"line {pattern!r} (x{count}) of iss-sim; had:\n" + "\n".join(self.lines()),
                     deadline)

    @staticmethod
    def inject(directive):
        """Carries out one directive."""
        done = ask("inject", directive)
        assert done.returncode == 0, f"inject {directive}: {done.stdout}{done.stderr}"

    @property
    def pid(self):
        return self._process.pid

    def leave(self):
        if self._process is None:
            return
        process, self._process = self._process, None
        if process.poll() is None:
            process.send_signal(SIGTERM)
        try:
            status = process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise AssertionError("iss-sim did not end in time") from None
        print("--- iss-sim\n" + "\n".join(self.lines()[-100:]))
        assert status == 0, f"iss-sim ended with status {status}"


class Watch:
    """A watch on the running simulator, begun."""

    def __init__(self, board, *options):
        self._path = os.path.join(board.dir, "watch")
        with open(self._path, "wb") as output:
            self._process = subprocess.Popen([PROGRAM, "watch", *options], stdin=subprocess.DEVNULL, stdout=output)
        until(lambda: board.iss.inject("cpu hello 1") or self.lines(), "the watch's first line")

    def lines(self):
        return files.read(self._path).split("\n")[:-1]

    def wait(self, found):
        """The first line that fits."""
        return until(lambda: next((line for line in self.lines() if found(line)), None),
                     lambda: f"a line of the watch; it has {self.lines()}")

    @property
    def status(self):
        return self._process.poll()

    def leave(self):
        self._process.kill()
        self._process.wait()
