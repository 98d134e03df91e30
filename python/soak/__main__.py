"""Starts the boards, each in a sandbox of its own, and tells what became of them."""
import json
import os
import subprocess
import sys
import time

from trelvik.places import SANDBOX, module

from . import commandline
from .report import Report

LAST = 240
"""Seconds that a board may take beyond its time, to end what it has begun."""
FIRST_USER = 1000000


def kind_of(number):
    """Two of five have a hostile ISS."""
    return "hostile" if number % 5 in (2, 4) else "oracle"


def user_of(number):
    """The system counts a user's processes over all sandboxes, and several soaks may run."""
    return FIRST_USER + 64 * os.getpid() + number


class Board:
    def __init__(self, number, options):
        self.number, self.kind = number, kind_of(number)
        self._directory = options.directory
        self._said = os.path.join(options.directory, f"board-{number}.out")
        environment = dict(os.environ, TRELVIK_PREFIX=options.stage,
                           CLOCK_SHIFT_LIBRARY=os.path.join(options.directory, "libclock-shift.so"))
        words = [SANDBOX, "--ro", options.stage, "--rw", options.directory, "--", *module("soak.inside"),
                 "--kind", self.kind, "--number", str(number), "--seed", str(options.seed),
                 "--minutes", str(options.minutes), "--directory", options.directory, "--user", str(user_of(number))]
        with open(self._said, "wb") as said:
            # In a session of its own, or whoever started the soak would, by going away, continue what is stopped in it.
            self._process = subprocess.Popen(words, env=environment, stdin=subprocess.DEVNULL, stdout=said, stderr=said,
                                             start_new_session=True)

    def result(self, deadline):
        """What it has written at its end."""
        try:
            status = self._process.wait(max(0.0, deadline - time.monotonic()))
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            return self._lost("it did not end in time")
        path = os.path.join(self._directory, f"board-{self.number}.json")
        if status != 0 or not os.path.exists(path):
            return self._lost(f"it ended with status {status} and told nothing; see {self._said}")
        with open(path, encoding="utf-8") as written:
            return json.load(written)

    @staticmethod
    def _lost(why):
        return {"rows": {"the board itself": {"deviations": 1}}, "deviation": why, "under": "the board itself", "after": 0.0,
                "grown": 0}


def main():
    options = commandline.outside()
    print(f"seed {options.seed}: {options.boards} boards for {options.minutes:g} minutes", flush=True)
    deadline = time.monotonic() + 60 * options.minutes + LAST
    boards = [Board(number, options) for number in range(1, options.boards + 1)]
    report = Report(options)
    for board in boards:
        report.add(board, board.result(deadline))
    return report.show()


if __name__ == "__main__":
    sys.exit(main())
