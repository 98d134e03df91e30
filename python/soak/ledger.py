"""The fate of each request: answered once, or the documented silence. Kept by what was done to the board meanwhile."""
from collections import Counter

from storm.deviation import Deviation

COLUMNS = ("times", "requests", "answered", "silent", "deviations")


class Ledger:
    """Rows of counts by disturbance; a request belongs to the one under which it was made."""

    def __init__(self):
        self.rows = {}
        self.under = "nothing"
        self.grown = 0  # KiB that a daemon took more at its end than at its beginning, at most
        self._open = {}

    def count(self, column, row=None):
        self.rows.setdefault(row or self.under, Counter())[column] += 1

    def begins(self, name):
        self.under = name
        self.count("times")

    def opened(self, request):
        self._open[request] = self.under
        self.count("requests")

    def answered(self, request):
        self._close(request, "answered")

    def silent(self, request):
        self._close(request, "silent")

    def all_silent(self):
        """Nobody is left who could be answered."""
        for request in list(self._open):
            self.silent(request)

    def _close(self, request, fate):
        under = self._open.pop(request, None)
        if under is not None:
            self.count(fate, under)

    def check(self):
        if self._open:
            request, under = next(iter(self._open.items()))
            raise Deviation(f"fate of {request}, made under \"{under}\"", "its answer, or the documented silence",
                            f"neither, as of {len(self._open) - 1} more")


class Silences(list):
    """Requests that must never be answered."""

    def __init__(self, ledger):
        super().__init__()
        self._ledger = ledger

    def append(self, request):
        super().append(request)
        self._ledger.silent(request)
