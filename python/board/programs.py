"""The programs inside the board, and the loop that hears them. All of it runs on the main thread, but `say`."""
import contextlib
import os
import re
import selectors
import signal
import socket
import struct
import subprocess
import threading
import time

from trelvik.syslog import PATH as SYSLOG
from trelvik.syslog import Line as SyslogLine

from .lines import Line, now_ms

SO_TIMESTAMPNS = 35  # of asm-generic/socket.h
_saying = threading.Lock()


def say(source, text, ms=None, priority=None, shown=True):
    """Tells the outside a line; any thread."""
    tell(Line(now_ms() if ms is None else ms, source, text, priority, shown).packed())


def tell(text):
    # Without an outside nobody is left to be told.
    with _saying, contextlib.suppress(BrokenPipeError):
        print(text, flush=True)


class Loop:
    """Calls back for descriptors that can be read, and looks at conditions."""

    def __init__(self):
        self._selector = selectors.DefaultSelector()
        # The end of a child interrupts the wait.
        woken, wake = os.pipe()
        os.set_blocking(woken, False)
        os.set_blocking(wake, False)
        signal.signal(signal.SIGCHLD, lambda *_: None)
        signal.set_wakeup_fd(wake, warn_on_full_buffer=False)
        self.watch(woken, lambda: os.read(woken, 4096))

    def watch(self, fd, callback):
        self._selector.register(fd, selectors.EVENT_READ, callback)

    def forget(self, fd):
        self._selector.unregister(fd)

    def turn(self, seconds=None):
        for key, _ in self._selector.select(seconds):
            key.data()

    def wait(self, condition, seconds):
        """True when the condition came true in time."""
        end = time.monotonic() + seconds
        while not condition():
            left = end - time.monotonic()
            if left <= 0:
                return False
            self.turn(min(left, 0.02))
        return True


def listens(path):
    """A socket has its place before it takes anybody."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as asked:
        return asked.connect_ex(path) == 0


class Program:
    """A program whose every line goes to `hear` with the time of its arrival in milliseconds."""

    def __init__(self, loop, name, hear, *command, **env):
        self.name = name
        self.taken = 0
        """Bytes that it has said."""
        self._loop = loop
        self._hear = hear
        self._rest = b""
        self._process = subprocess.Popen(command, env={**os.environ, **env}, stdin=subprocess.DEVNULL,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self._output = self._process.stdout.fileno()
        os.set_blocking(self._output, False)
        self._open = True
        loop.watch(self._output, self._read)

    def _read(self):
        try:
            data = os.read(self._output, 1 << 16)
        except BlockingIOError:
            return False
        if not data:
            self._open = False
            self._loop.forget(self._output)
            data = b"\n" if self._rest else b""
        self.take(data)
        return self._open

    def take(self, data):
        self.taken += len(data)
        arrival = now_ms()
        *lines, self._rest = (self._rest + data).split(b"\n")
        for line in lines:
            self._hear(line.decode(errors="replace"), arrival)

    def cost(self):
        """Memory in KiB, what it shares with others counted in part, and CPU time in seconds."""
        process = f"/proc/{self._process.pid}"
        with open(f"{process}/smaps_rollup", encoding="ascii") as rollup:
            memory = int(re.search(r"^Pss:\s+(\d+)", rollup.read(), re.MULTILINE)[1])
        nanoseconds = 0
        for thread in os.listdir(f"{process}/task"):
            with open(f"{process}/task/{thread}/schedstat", encoding="ascii") as stat:
                nanoseconds += int(stat.read().split()[0])
        return memory, nanoseconds / 1e9

    @property
    def ended(self):
        return self._process.poll() is not None

    @property
    def status(self):
        return self._process.returncode

    def stop(self):
        """True when it ended by itself within the time a stop may take."""
        self._process.terminate()
        in_time = self._loop.wait(lambda: self.ended, 5)
        if not in_time:
            self._process.kill()
            self._process.wait()
        self.hear_out()
        return in_time

    def hear_out(self):
        """Hears what it has said before it ended."""
        while self._open and self._read():
            pass


class Syslog:
    """The board's /dev/log. Each line goes to `hear` with the time at which it was sent, in milliseconds."""

    def __init__(self, loop, hear, path=SYSLOG):
        self._hear = hear
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.setblocking(False)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 8 << 20)
        # The kernel notes when a line was sent.
        self._socket.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
        self._socket.bind(path)
        os.chmod(path, 0o666)
        loop.watch(self._socket.fileno(), self.read)

    def read(self):
        with contextlib.suppress(BlockingIOError):
            while True:
                datagram, notes, _, _ = self._socket.recvmsg(1 << 16, 256)
                sent = [struct.unpack("@ll", note) for _, kind, note in notes if kind == SO_TIMESTAMPNS]
                ms = sent[0][0] * 1000 + sent[0][1] // 1_000_000 if sent else now_ms()
                try:
                    line = SyslogLine(datagram)
                    self._hear(line.ident, line.text.rstrip("\n"), ms, line.priority)
                except AssertionError as error:
                    self._hear("syslog", str(error), ms, None)


def time_of_day(text, arrival):
    """(milliseconds, the rest) of a line that begins with HH:MM:SS.mmm of the day of its arrival."""
    stamp = re.match(r"(\d\d):(\d\d):(\d\d)\.(\d{3}) ", text)
    if stamp is None:
        return arrival, text
    hours, minutes, seconds, fraction = map(int, stamp.groups())
    day = time.localtime(arrival // 1000)
    said = 1000 * int(time.mktime((*day[:3], hours, minutes, seconds, 0, 0, day.tm_isdst))) + fraction
    # It was said before midnight and arrived after it.
    if said > arrival + 43_200_000:
        said -= 86_400_000
    return said, text[stamp.end():]


def time_of_epoch(text, arrival):
    """(milliseconds, the rest) of a line that begins with SECONDS.MICROS."""
    stamp = re.match(r"(\d+)\.(\d{6}) ", text)
    if stamp is None:
        return arrival, text
    return int(stamp[1]) * 1000 + int(stamp[2]) // 1000, text[stamp.end():]
