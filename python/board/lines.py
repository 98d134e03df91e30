"""What the parties of a board say, on one clock: put into the order of its time, shown, and kept."""
import collections
import heapq
import json
import os
import queue
import threading
import time
from dataclasses import astuple, dataclass

WINDOW = 0.2
"""Seconds that a line waits for others that were said earlier and come later."""

PRIORITY_COLOURS = {0: "1;31", 1: "1;31", 2: "1;31", 3: "31", 4: "33", 5: "32", 6: "", 7: "2"}
SOURCE_COLOURS = {"iss": "36", "monitor": "35", "bus": "34", "board": "1", "demo": "1;32"}
LOGS = {"iss": "iss.log", "monitor": "monitor.log", "bus": "bus.log"}
"""The log of each party; what else speaks is the daemon, by syslog or on its standard error."""


@dataclass
class Line:
    ms: int  # when it was said, in milliseconds of the wall clock
    source: str
    text: str
    priority: int | None = None  # of a syslog line
    shown: bool = True  # not only kept

    def packed(self):
        return json.dumps(astuple(self))

    @staticmethod
    def unpacked(text):
        return Line(*json.loads(text))

    def clock(self, form):
        return time.strftime(form, time.localtime(self.ms // 1000)) + f".{self.ms % 1000:03d}"


def now_ms():
    return time.time_ns() // 1_000_000


class Order:
    """Puts lines into the order of their time. Each waits for WINDOW; one that comes later still takes the time of its
    arrival. Of lines of one millisecond the first to come is the first."""

    def __init__(self):
        self._heap = []
        self._due = collections.deque()
        self._count = 0
        self._last = 0

    def add(self, line, *with_it):
        if line.ms < self._last:
            line.ms = now_ms()
        place = (line.ms, self._count)
        self._count += 1
        heapq.heappush(self._heap, (*place, line, *with_it))
        self._due.append((time.monotonic() + WINDOW, place))

    def wait(self):
        """Seconds until a line is due; None without any."""
        return max(0, self._due[0][0] - time.monotonic()) if self._due else None

    def take(self, everything=False):
        while self._due and (everything or self._due[0][0] <= time.monotonic()):
            _, place = self._due.popleft()
            while self._heap and self._heap[0][:2] <= place:
                _, _, line, *with_it = heapq.heappop(self._heap)
                self._last = line.ms
                yield (line, *with_it)


class Terminal:
    """Shows lines, in a thread of its own: a terminal that stands still stops no board."""

    MOST = 100_000
    """Lines that wait for the terminal."""

    def __init__(self, out, gone):
        self._out = out
        self._colour = out.isatty() and not os.environ.get("NO_COLOR")
        self._gone = gone  # called when nobody reads any more
        self._waiting = queue.SimpleQueue()
        self._lost = 0
        self._thread = threading.Thread(target=self._write, daemon=True)
        self._thread.start()

    def show(self, line, label=""):
        if self._waiting.qsize() >= self.MOST:
            self._lost += 1
            return
        if self._lost:
            self._waiting.put(f"({self._lost} lines left out: the terminal did not take them)")
            self._lost = 0
        colour = SOURCE_COLOURS.get(line.source, "") if line.priority is None else PRIORITY_COLOURS[line.priority & 7]
        text = f"{line.clock('%H:%M:%S')} {label}{line.source:>8} | {line.text}"
        self._waiting.put(f"\x1b[{colour}m{text}\x1b[0m" if self._colour and colour else text)

    def _write(self):
        try:
            while (text := self._waiting.get()) is not None:
                self._out.write(text + "\n")
                if self._waiting.empty():
                    self._out.flush()
        except OSError:
            # What is left in the buffer goes nowhere.
            os.dup2(os.open(os.devnull, os.O_WRONLY), self._out.fileno())
            self._gone()

    def close(self):
        self._waiting.put(None)
        self._thread.join()


class Logs:
    """The logs that stay: one of each party, and board.log with what all of them said. Nothing there is written over."""

    def __init__(self, directory):
        self._files = {}
        for name in ("board.log", "daemon.log", *LOGS.values()):
            path = os.path.join(directory, name)
            self._files[name] = open(path, "x", encoding="utf-8", errors="replace", buffering=1)

    def keep(self, line):
        clock = line.clock("%Y-%m-%d %H:%M:%S")
        self._files["board.log"].write(f"{clock} {line.source:>8} | {line.text}\n")
        if line.source not in ("board", "demo"):
            self._files[LOGS.get(line.source, "daemon.log")].write(f"{clock} {line.text}\n")

    def close(self):
        for file in self._files.values():
            file.close()
