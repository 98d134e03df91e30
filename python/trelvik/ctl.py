"""The operator's client, as the board's engineer runs it."""
import json
import os
import subprocess
from signal import SIGINT

from .places import PREFIX
from .bus import NAME
from .wait import DEADLINE

PROGRAM = os.path.join(PREFIX, "bin", "trelvikctl")
DONE, FAILED, USAGE, NO_DAEMON, UNKNOWN = range(5)
READY = "[INFO] main:396 (main) - MSR reload succeeded"


def environment(board, **further):
    return {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": board.bus_address, **further}


class Done:
    """What a run of the client left behind."""

    def __init__(self, status, out, err):
        self.status = status
        self.out = out
        self.err = err

    @property
    def json(self):
        return json.loads(self.out)

    @property
    def lines(self):
        return self.out.splitlines()

    def __repr__(self):
        return f"status {self.status}\n--- out\n{self.out}--- err\n{self.err}"


def ctl(board, *words, given=None, **env):
    done = subprocess.run([PROGRAM, *map(str, words)], env=environment(board, **env), capture_output=True, input=given,
                          timeout=6 * DEADLINE, check=False)
    return Done(done.returncode, done.stdout.decode(), done.stderr.decode())


class Running:
    """The client while it runs."""

    def __init__(self, board, *words, **env):
        self._process = subprocess.Popen([PROGRAM, *map(str, words)], env=environment(board, **env), text=True,
                                         stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def said(self):
        """The next line on standard error."""
        return self._process.stderr.readline().rstrip("\n")

    def line(self):
        return self._process.stdout.readline().rstrip("\n")

    def interrupt(self):
        self._process.send_signal(SIGINT)

    def end(self):
        out, err = self._process.communicate(timeout=6 * DEADLINE)
        return Done(self._process.returncode, out, err)


def start(board, *scenario):
    """The daemon with the simulated ISS, ready."""
    board.start_iss("keepalive off", *scenario)
    board.start(ops=False)
    board.log.wait(READY)


STATUS = "ssssbbxuusuuuttuuus"


class FakeDaemon:
    """Owns the daemon's name and answers as told: what the real one does in rare moments only."""

    def __init__(self, board, version="1.2.3"):
        self.counts = {}
        self.version = version
        self.peer = board.peer()
        self.peer.serve("getStatus", self._status)
        self.peer.request_name(NAME)

    def _status(self):
        lines = "".join(f"{name} {' '.join(map(str, counts))}\n" for name, counts in self.counts.items())
        return (STATUS, (self.version, "EDGE-1", "00:1a:2b:3c:4d:5e", "-p", True, True, 1_700_000_000_000, 2, 8,
                         "debug socket", 70, 3, 4, 50, 51, 1, 900, 1234, lines))

    def serve(self, member, signature, body, interface, grown):
        """Answers a call with this body; each counter of the interface grows by so much."""
        self.counts[interface] = (0, 0, 0, 0, 0)

        def answer():
            self.counts[interface] = tuple(a + b for a, b in zip(self.counts[interface], grown))
            return (signature, body)
        self.peer.serve(member, answer)

    def serve_port(self, grown):
        self.serve("setPortParams", "uuuubuuu", (1, 6, 5, 1000, True, 100, 0, 0), "IssSetLanWanAsync", grown)
