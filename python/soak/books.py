"""What a daemon has at a quiet moment, and must have again at the end of its life: memory, descriptors, threads."""
import os
import re
from collections import Counter

from storm.deviation import Deviation, same
from trelvik.wait import until

MEMORY = 768
"""KiB that the daemon's own memory may grow between two quiet moments, beyond the stacks of the workers made meanwhile."""
STACK = 24
"""KiB of a worker's stack that have been used, at most."""
MOST_WORKERS = 16
WORKER = "tv-worker"
PATIENCE = 5
"""Seconds after which a daemon that has nothing to do has put everything away."""


def _read(*path):
    with open(os.path.join(*path), encoding="ascii", errors="replace") as file:
        return file.read()


def descriptors(pid):
    """Kinds of what is open, each as often as it is."""
    folder = f"/proc/{pid}/fd"
    return Counter(re.sub(r"\d+", "N", os.readlink(os.path.join(folder, each))) for each in os.listdir(folder))


def threads(pid):
    folder = f"/proc/{pid}/task"
    return Counter(_read(folder, each, "comm").strip() for each in os.listdir(folder))


def memory(pid):
    """KiB of the process's own."""
    return int(re.search(r"^RssAnon:\s+(\d+)", _read("/proc", str(pid), "status"), re.MULTILINE)[1])


class Books:
    def __init__(self, pid):
        self._pid = pid
        # A thread that has just been made has the name of its maker still.
        until(lambda: all(count == 1 for name, count in threads(pid).items() if name != WORKER), "threads with names")
        self.descriptors, self.threads, self.memory = descriptors(pid), threads(pid), memory(pid)

    def settle(self, ledger):
        """They balance, at once or in a little while: what has just ended may still be on its way out."""
        try:
            until(self._balanced, "the books to balance", PATIENCE)
        except AssertionError:
            pass
        ledger.grown = max(ledger.grown, self._balance())

    def _balanced(self):
        try:
            self._balance()
        except Deviation:
            return False
        return True

    def _balance(self):
        """At a moment as quiet as the one at which they were opened; returns by how much the memory has grown."""
        now = threads(self._pid)
        made = now.pop(WORKER, 0)
        before = self.threads.copy()
        more = made - before.pop(WORKER, 0)
        same("threads", dict(before), dict(now))
        if made > MOST_WORKERS:
            raise Deviation("workers", f"{MOST_WORKERS} at most", made)
        same("descriptors", dict(self.descriptors), dict(descriptors(self._pid)))
        stacks = STACK * max(0, more)
        grown = memory(self._pid) - self.memory - stacks
        if grown > MEMORY:
            raise Deviation("memory of the daemon", f"{self.memory} KiB as at the beginning, {stacks} for the stacks of "
                            f"{more} workers, and {MEMORY} at most besides", f"{grown} KiB besides")
        return grown
