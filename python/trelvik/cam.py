"""What the monitor-device emulator has written: one line `seconds.micros op text-or-value` a request."""
import os

from .wait import until


class Cam:
    def __init__(self, path):
        self.path = path
        self.refusals = path + ".refuse"

    def refuse(self, *requests):
        """From now on the device refuses these: "op" or "op text"; without any it refuses nothing."""
        with open(self.refusals + ".new", "w", encoding="ascii") as refusals:
            refusals.write("".join(request + "\n" for request in requests))
        os.rename(self.refusals + ".new", self.refusals)

    def timed(self):
        """(seconds as text, op, rest) of every complete line so far."""
        if not os.path.exists(self.path):
            return []
        with open(self.path, encoding="utf-8") as log:
            text = log.read()
        complete = text[:text.rfind("\n") + 1]
        found = []
        for line in complete.splitlines():
            when, op, *rest = line.split(" ", 2)
            found.append((when, op, rest[0] if rest else ""))
        return found

    def lines(self):
        return [(op, rest) for _, op, rest in self.timed()]

    def ops(self, op):
        return [rest for name, rest in self.lines() if name == op]

    def wait(self, op, rest=None, count=1, deadline=None):
        def found():
            return sum(1 for value in self.ops(op) if rest is None or value == rest) >= count
        until(found, lambda: f"monitor request {op} {rest!r} (x{count}); had {self.lines()}", deadline)

    def reports(self):
        return self.ops("report")

    def wait_report(self, text, count=1, deadline=None):
        """`text` as the daemon reported it; the emulator escapes its line end."""
        self.wait("report", text.replace("\n", "\\n"), count, deadline)
