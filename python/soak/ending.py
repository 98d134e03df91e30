"""When the boards end: at their time, or when one of them has deviated."""
import os
import time


class Ending:
    def __init__(self, directory, minutes):
        self._mark = os.path.join(directory, "deviated")
        self._end = time.monotonic() + 60 * minutes

    def over(self):
        return time.monotonic() >= self._end or os.path.exists(self._mark)

    def now(self):
        """For all boards, at their next turn."""
        with open(self._mark, "w", encoding="ascii"):
            pass
