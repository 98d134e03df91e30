#!/usr/bin/python3
"""Floods the installed daemon with calls while ISS does not read; in scripts/sandbox.

Prints the daemon's threads and memory before the flood, at its top, and when ISS has read and every call has been
answered, then how long the stop took. Exits 1 when there were more than 16 workers, or something was not as expected.
"""
import argparse
import sys
import threading
import time

from trelvik import deaf
from trelvik.board import Board
from trelvik.bus import COMMON, BusError
from trelvik.wait import until

CALLERS = 8
LIMIT = 2.0
"""Seconds that a stop may take."""
LONG = 600
"""Seconds for a flood, however large."""


class Watch:
    """Looks at the daemon's threads all the time, and keeps the highest number."""

    def __init__(self, board):
        self.highest = 0
        self._board = board
        self._done = threading.Event()
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        while not self._done.wait(0.005):
            self.highest = max(self.highest, deaf.status(self._board, "Threads"))

    def close(self):
        self._done.set()
        self._thread.join()
        return self.highest


def show(board, when):
    print(f"{when}: {deaf.status(board, 'Threads')} threads, {deaf.status(board, 'VmRSS')} KiB resident, "
          f"{deaf.status(board, 'VmSize')} KiB mapped", flush=True)


def taken_or_refused(caller):
    """Waits until the daemon has met all that the caller sent before: it takes and refuses in order."""
    call = caller.call(COMMON, "get_trace_level")
    until(lambda: call.answered, "a call behind the flood is answered", LONG)


def other_error(call):
    """The call was answered with another error than the one that tells of a limit."""
    try:
        call.reply()
    except BusError as error:
        return error.name != deaf.LIMITS_EXCEEDED
    return False


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--count", type=int, default=40000)
    options = parser.parse_args()
    board = Board()
    deaf.start(board)
    without_workers = deaf.status(board, "Threads")
    show(board, "before")
    watch = Watch(board)
    start = time.monotonic()
    callers = [board.peer() for _ in range(CALLERS)]
    calls = deaf.flood(callers, options.count)
    for caller in callers:
        taken_or_refused(caller)
    took = time.monotonic() - start
    show(board, "at the top")
    refused = sum(call.answered for call in calls)
    deaf.hear(board, calls, LONG)
    show(board, "after")
    workers = watch.close() - without_workers
    wrong = sum(other_error(call) for call in calls)
    print(f"{options.count} calls in {took:.1f} s: {options.count - refused} taken, {refused} refused with LimitsExceeded, "
          f"{wrong} answered with another error; {workers} workers at most, "
          f"{deaf.status(board, 'VmHWM')} KiB resident at most")
    bad = [line for line in board.log.bad() if "Buffer overflow" not in line.text]
    start = time.monotonic()
    board.stop()
    stop = time.monotonic() - start
    print(f"stop: {stop:.3f} s")
    for line in bad:
        print(f"unexpected: {line!r}")
    return 1 if bad or wrong or workers > deaf.WORKERS or stop > LIMIT else 0


if __name__ == "__main__":
    sys.exit(main())
