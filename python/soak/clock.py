"""The daemon's clock of the day, ahead of the machine's or behind it; see tests/support/clockShift.cpp."""
import os
import struct
import time

VARIABLE = "CLOCK_SHIFT"


class Clock:
    def __init__(self, path):
        self._path = path
        self.offset = 0
        self.jump(0)

    def environment(self):
        return {VARIABLE: self._path}

    def jump(self, seconds):
        """From now on the clock is so many seconds ahead; the daemon, which runs, sees it at once."""
        self.offset = seconds
        with open(self._path, "r+b" if os.path.exists(self._path) else "wb") as file:
            file.write(struct.pack("<q", seconds))

    def now(self):
        return time.time() + self.offset
