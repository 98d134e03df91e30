"""The inside of one subject's sandbox: does what it is told, one line of JSON for each order on standard input, and
answers each with one on standard output, until its standard input ends."""
import contextlib
import json
import sys

from . import instructions, once
from .measure import run
from .plan import ROWS
from .program import Failed
from .stand import Stand


class Subject:
    """A daemon, which stays from `begin` to `end`, or the floors, each of which stays for one row."""

    def __init__(self, bench, policy, daemon):
        self._stand = Stand(bench, policy)
        self._daemon = daemon
        self._staying = contextlib.ExitStack()
        self._turn = None

    def begin(self):
        self._turn = self._staying.enter_context(self._stand.daemon(self._daemon))
        return self._turn.start

    def end(self):
        """Milliseconds that its start and its stop took."""
        self._staying.close()
        return {"start": self._turn.start, "stop": self._turn.stop}

    def row(self, key, placement, count):
        self._stand.place(placement)
        row = ROWS[key]
        if self._daemon:
            return run(self._stand, self._turn, row, count, floor=False)
        with self._stand.floor(row.floor) as turn:
            return run(self._stand, turn, row, count, floor=True)

    def memory(self, **size):
        self._stand.place("free")
        return once.memory(self._stand, self._daemon, **size)

    def waiting(self, count):
        return once.waiting(self._stand, self._daemon, count)

    def instructions(self, requests, every):
        return instructions.count(self._stand, self._daemon, requests, every)

    def log_statement(self):
        return once.log_statement(self._stand)

    def close(self):
        self._staying.close()
        self._stand.close()


def main():
    subject = None
    for line in sys.stdin:
        order = json.loads(line)
        try:
            if subject is None:
                subject, result = Subject(**order), None
            else:
                result = getattr(subject, order.pop("do"))(**order)
            answer = {"result": result}
        except (Failed, AssertionError, OSError) as problem:
            answer = {"failed": str(problem)}
        print(json.dumps(answer), flush=True)
    if subject:
        subject.close()


main()
