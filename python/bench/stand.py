"""The stand in the sandbox of one subject: a bus, a peer in the place of OPS, a log that is read, and in turn the
daemon or a floor, with their callers."""
import contextlib
import json
import os
import struct
import tempfile
from dataclasses import dataclass

from trelvik import debugsocket, files, life_cycle, privatebus
from trelvik.places import OPEN_PORTS, READY_MARKER, RELOAD_MARKER
from trelvik.syslog import BAD, Syslog
from trelvik.wait import until

from .program import LIMIT, Failed, Program

LEFT_BEHIND = (READY_MARKER, RELOAD_MARKER, life_cycle.MARKER, debugsocket.SERVER, debugsocket.CLIENT)
SLOWEST = 200
"""Requests a second that any machine answers, a busy one and an emulated processor included."""
OVERFLOW = "Buffer overflow, message lost!"


@dataclass
class Turn:
    """One subject from its start to its end."""
    peer: Program
    program: Program | None = None
    start: float | None = None  # milliseconds until it was connected to OPS
    stop: float | None = None  # milliseconds, once it has ended


class Stand:
    """`bench` is the directory of the benchmark's programs, `policy` the bus policy."""

    def __init__(self, bench, policy):
        self._bench = bench
        self._log = Syslog()
        self._everywhere = os.sched_getaffinity(0)
        self._cpus = self._everywhere
        self._programs = []  # that run for longer than one call
        self.directory = tempfile.mkdtemp(prefix="bench-", dir="/run")
        self._count = os.path.join(self.directory, "records")
        files.write_script(OPEN_PORTS)
        bus = os.path.join(self.directory, "bus")
        privatebus.write(bus + ".conf", bus, policy)
        self.address = f"unix:path={bus}"
        os.environ.update(DBUS_SYSTEM_BUS_ADDRESS=self.address, BOARD_NAME="BENCH", ethaddr_first="02:00:00:00:00:01")
        self.bus = self._start(["dbus-daemon", f"--config-file={bus}.conf", "--nofork", "--nopidfile", "--nosyslog",
                                "--print-address=1"])
        self.bus.hear("unix:")

    def place(self, placement):
        """Puts everything on one CPU, or lets it run anywhere."""
        self._cpus = {max(self._everywhere)} if placement == "one" else self._everywhere
        for program in self._programs:
            program.place(self._cpus)

    def _start(self, command):
        program = Program(command, self._cpus)
        self._programs.append(program)
        return program

    @contextlib.contextmanager
    def running(self, command):
        """The program, which no longer runs behind it."""
        program = self._start(command)
        try:
            yield program
        finally:
            self._programs.remove(program)
            program.kill()

    def tool(self, name):
        return os.path.join(self._bench, name)

    @contextlib.contextmanager
    def _peer(self, *options):
        with self.running([self.tool("trelvik-peer"), "--count", self._count, *options]) as peer:
            peer.hear("listening")
            yield peer

    def records(self):
        """How many the peer has got; every record is counted before it is answered."""
        with open(self._count, "rb") as count:
            return struct.unpack("=Q", count.read(8))[0]

    def call(self, kind, callers=1, count=1):
        """What the caller says of the answers that it got."""
        command = [self.tool("trelvik-caller"), kind, "--callers", str(callers), "--count", str(count)]
        with self.running(command) as caller:
            return json.loads("{" + caller.hear("{", LIMIT + count / SLOWEST))

    @contextlib.contextmanager
    def floor(self, program):
        """A turn of a floor, or of nobody where there is no program: callers then find the peer alone."""
        self._sweep()
        with self._peer("--silent") as peer:
            if not program:
                yield Turn(peer)
                return
            with self.running([self.tool(program[0]), *program[1:]]) as floor:
                floor.hear("ready")
                yield Turn(peer, floor)

    @contextlib.contextmanager
    def daemon(self, command):
        """A turn of the daemon, with ISS ready. It must have logged nothing that is out of order, and stop well."""
        self._sweep()
        since = self._log.mark()
        with self._peer() as peer, self.running(command) as daemon:
            turn = Turn(peer, daemon)
            turn.start = (int(peer.hear("accepted", beside=daemon)) - daemon.started_at) / 1e6
            until(lambda: daemon.check() or os.path.exists(READY_MARKER),
                  lambda: f"ISS is ready; {self._log.dump(since)}", LIMIT)
            yield turn
            turn.stop = daemon.end()
        bad = [line.text for line in self._log.all()[since:] if line.text.startswith(BAD) and OVERFLOW not in line.text]
        if bad:
            raise Failed(f"{daemon.name} logged: {bad[0].strip()} ({len(bad)} such lines)")

    @staticmethod
    def _sweep():
        for path in LEFT_BEHIND:
            with contextlib.suppress(FileNotFoundError):
                os.unlink(path)

    def close(self):
        self.bus.kill()
        self._log.close()
