"""The board's syslog: reads /dev/log in a thread of its own (its queue holds ten lines) and keeps every line."""
import os
import re
import socket
import struct
import threading
from datetime import datetime, timezone

from .wait import until

PATH = "/dev/log"
_FRAME = re.compile(rb"<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d ([^:\[]+)(?:\[\d+\])?: (.*)\Z", re.DOTALL)
_MARK = b"what was sent before this has been received: "
BAD = ("[WARNING]", "[ERROR]", "[CRITICAL]")
_PAUSE = b"pause"
_FILLER = b"filler"
_SO_TIMESTAMPNS = 35  # of asm-generic/socket.h


class Line:
    """One line: its priority (facility included), identity and text, line end included as it was written."""

    def __init__(self, datagram):
        frame = _FRAME.match(datagram.rstrip(b"\0"))
        if frame is None:
            raise AssertionError(f"not a syslog line: {datagram!r}")
        self.priority = int(frame[1])
        self.ident = frame[2].decode()
        self.text = frame[3].decode(errors="replace")

    def __repr__(self):
        return f"<{self.priority}> {self.ident}: {self.text!r}"


def matcher(pattern):
    """`*` stands for any text; everything else stands for itself, the line end included."""
    return re.compile(".*".join(re.escape(part) for part in pattern.split("*")) + r"\Z", re.DOTALL)


class Syslog:
    def __init__(self):
        if os.path.exists(PATH):
            os.unlink(PATH)
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 8 << 20)
        self._socket.setsockopt(socket.SOL_SOCKET, _SO_TIMESTAMPNS, 1)
        self._socket.bind(PATH)
        os.chmod(PATH, 0o666)
        self._datagrams = []  # appended by the thread only; parsed by whoever reads
        self._sent = []  # when each was, by the kernel
        self._lines = []
        self._paused = threading.Event()
        self._resumed = threading.Event()
        self._marked = 0  # marks sent; the reading thread counts those that came in _passed
        self._passed = 0
        self._closed = False
        self._thread = threading.Thread(target=self._drain, daemon=True)
        self._thread.start()

    def _drain(self):
        while True:
            datagram, notes, _, _ = self._socket.recvmsg(65536, 256)
            if not datagram:
                return
            if datagram == _PAUSE:
                self._paused.set()
                self._resumed.wait()
            elif datagram.startswith(_MARK):
                self._passed = int(datagram[len(_MARK):])
            elif datagram != _FILLER:
                self._sent.extend(struct.unpack("@ll", note) for _, kind, note in notes if kind == _SO_TIMESTAMPNS)
                self._datagrams.append(datagram)

    def hold(self):
        """Takes no line any more, so that whoever writes one waits in syslog until `release`."""
        self._paused.clear()
        self._resumed.clear()
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as stranger:
            stranger.sendto(_PAUSE, PATH)
            self._paused.wait()
            stranger.setblocking(False)
            try:
                while True:
                    stranger.sendto(_FILLER, PATH)
            except BlockingIOError:
                pass

    def release(self):
        self._resumed.set()

    def received(self):
        """How many lines have come; for any thread."""
        return len(self._datagrams)

    def all(self):
        """Every line that was written before the call: what a test looks for has come, or will not any more."""
        self._settle()
        return self._parsed()

    def _settle(self):
        if self._closed:
            return
        self._marked += 1
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as own:
            own.sendto(_MARK + str(self._marked).encode(), PATH)
        until(lambda: self._passed == self._marked, "the log is read")

    def _parsed(self):
        while len(self._lines) < len(self._datagrams):
            self._lines.append(Line(self._datagrams[len(self._lines)]))
        return self._lines

    def mark(self):
        """The place in the log to give as `since`: only later lines are looked at."""
        return len(self.all())

    def find(self, pattern, since=0):
        match = matcher(pattern)
        return [line for line in self.all()[since:] if match.match(line.text)]

    def texts(self, pattern="*", since=0):
        return [line.text for line in self.find(pattern, since)]

    def times(self, pattern, since=0):
        """When each line that fits was sent, in seconds, by the kernel's own note."""
        match = matcher(pattern)
        lines = self.all()
        return [seconds + nanoseconds / 1e9
                for (seconds, nanoseconds), line in list(zip(self._sent, lines))[since:] if match.match(line.text)]

    def wait(self, pattern, since=0, count=1, deadline=None):
        """Waits for the count-th line that fits and returns it."""
        match = matcher(pattern)
        state = {"next": since, "left": count}

        def found():
            lines = self._parsed()
            while state["next"] < len(lines):
                line = lines[state["next"]]
                state["next"] += 1
                if match.match(line.text):
                    state["left"] -= 1
                    if state["left"] == 0:
                        return line
            return None

        return until(found, lambda: f"log line {pattern!r} (x{count}); log:\n{self.dump(since)}", deadline)

    def sequence(self, patterns, since=0, deadline=None):
        """Waits until the lines have occurred in this order, others between them allowed."""
        place = since
        for pattern in patterns:
            line = self.wait(pattern, place, deadline=deadline)
            place = self._lines.index(line, place) + 1

    def dump(self, since=0, last=80):
        return "\n".join(repr(line) for line in self.all()[since:][-last:])

    def journal(self):
        """The log as `journalctl -o short-iso-precise` shows it."""
        text = ""
        for (seconds, nanoseconds), line in zip(self._sent, self.all()):
            when = datetime.fromtimestamp(seconds, timezone.utc).strftime("%Y-%m-%dT%H:%M:%S")
            said = line.text.rstrip("\n").replace("\n", "\n    ")
            text += f"{when}.{nanoseconds // 1000:06}+00:00 board {line.ident}[7]: {said}\n"
        return text

    def bad(self):
        return [line for line in self.all() if line.text.startswith(BAD)]

    def close(self):
        self.release()
        self._settle()
        self._closed = True
        self._socket.shutdown(socket.SHUT_RDWR)
        self._thread.join(2)
        self._socket.close()
