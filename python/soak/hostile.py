"""A board whose ISS is the simulator at its worst, and which is disturbed in many ways at once. Each message is given up
after a while, so each request is answered: once, with values that are known but for the ids that ISS gives."""
import contextlib
import os
import random
import re
import time
from signal import SIGCONT, SIGSTOP

from storm import methods, values
from storm.decision import State
from storm.deviation import Deviation, same
from storm.model import Request
from storm.rules import SAVED
from trelvik import places
from trelvik.board import CONNECTED, CSM_BOARD, OTHER_BOARD
from trelvik.board import Board as Sandboxed
from trelvik.bus import BusError
from trelvik.diagnostics import status
from trelvik.files import read, write_script
from trelvik.wait import until

from .books import Books
from .clock import Clock
from .known import Catalogue
from .links import JUMPS
from .requests import BUS

LIMIT = 1
"""Seconds after which the daemon gives a message up."""
PATIENCE = 90
"""Seconds in which requests are answered: some are given up, and a connection is made again after 5 s."""
CALLERS = 3
ALLOWED = tuple(re.compile(r"\[" + each, re.DOTALL) for each in (
    r"WARNING\] main:\d+ \(main\) - ISS refused ",
    r"ERROR\] main:\d+ \(main\) - gave up ",
    r"ERROR\] main:624 \(main\) - unexpected message received from OPS\n",
    r"CRITICAL\] main:340 \(main\) - CONNECTION TO OPS LOST\n",
    r"WARNING\] IssSocket:49 \(StartTcpClient\) - OPS socket connection failed \(111\): Connection refused\n",
    r"ERROR\] IssSocket:81 \(sentPacket\) - Failed to send msg to ISS: "
    r"(Broken pipe|Connection reset by peer|Connection timed out)",
    r"ERROR\] IssSocket:92 \(getPacket\) - Failed to receive msg from ISS: Connection reset by peer",
    r"ERROR\] \w+:\d+ \(\w+\) - Buffer overflow, message lost!\n",
    r"ERROR\] SrvIssMgr:\d+ \(\w+\) - ",
    r"WARNING\] SrvIss:\d+ \(run_iss_script_thread\) - Unknown action request in message",
    r"CRITICAL\] main:428 \(main\) - MSR RELOAD FAILED!",
))
"""Lines of weight that a hostile ISS and odd requests bring about."""
STDERR = ("shutdown failed: Transport endpoint is not connected",)


def fits(method, args, reply):
    """Whether this answers such a request, whatever ISS has said to it."""
    if method is methods.RULES:
        return reply[:16] == args[:SAVED] + (0, 0, 0, 0)
    if method is methods.SMART_SFP:
        return reply[:3] + reply[4:5] == args[:3] + args[4:5] and reply[5] in ("", args[5])
    return reply == args


class Hostilities:
    """What the simulator does besides answering, line by line."""

    def __init__(self, seed):
        gallery = read(places.REPO, "sim", "scenarios", "hostile-iss.sim")
        lines = [line for line in gallery.splitlines() if line and not line.startswith(("#", "seed ", "startup "))]
        self._lines = [f"seed {seed}", *lines]

    def begin(self, iss):
        for line in self._lines:
            iss.inject(line)

    @staticmethod
    def end(iss):
        iss.inject("clear all")
        iss.inject("keepalive off")


class Life:
    """One daemon among hostile peers."""

    def __init__(self, chance, ledger, clock):
        self._chance, self._ledger, self._clock = chance, ledger, clock
        self.sandboxed = board = Sandboxed()
        self._catalogue = Catalogue()
        self._silent, self._number, self._seen = [], 0, 0
        write_script(places.OPEN_PORTS, ":")
        self.iss = board.start_iss("keepalive off")
        preloaded = f"{places.cam_sim(places.PREFIX)} {os.environ['CLOCK_SHIFT_LIBRARY']}"
        board.start(ops=False, name=chance.choice((CSM_BOARD, OTHER_BOARD)),
                    env={"LD_PRELOAD": preloaded, "TRELVIK_ANSWER_LIMIT": str(LIMIT), **clock.environment()})
        self._callers = [board.peer() for _ in range(CALLERS)]
        self._hostilities = Hostilities(chance.getrandbits(30))
        self._books = None

    # Requests.

    def _ask(self, caller, leaves=False):
        self._number += 1
        method, args = values.request(self._chance, BUS)
        request = Request(self._number, method, args)
        request.call = caller.call(method.where, method.name, method.signature, *args)
        self._ledger.opened(request)
        if leaves:
            self._ledger.silent(request)
        elif method.decide(State(), args, 0).silent:
            self._silent.append(request)
            self._ledger.silent(request)
        else:
            return [request]
        return []

    def ask(self, count):
        return [each for _ in range(count) for each in self._ask(self._chance.choice(self._callers))]

    def expect(self, made):
        """Each of these is answered, in whatever time the give-ups take."""
        try:
            until(lambda: all(each.call.answered for each in made), "every answer", PATIENCE)
        except AssertionError:
            missing = [each for each in made if not each.call.answered]
            raise Deviation(f"reply to {missing[0]}", f"one within {PATIENCE} s",
                            f"none, as of {len(missing) - 1} more; {status(self._callers[0])}") from None
        for each in made:
            try:
                got = tuple(each.call.reply())
            except BusError as error:
                raise Deviation(f"reply to {each}", "values", f"error {error.name}") from None
            if not fits(each.method, each.args, got):
                raise Deviation(f"reply to {each}", "the values of its request", got)
            self._ledger.answered(each)

    def check(self):
        """The log, and what must never be answered."""
        board = self.sandboxed
        for line in board.log.bad()[self._seen:]:
            if not any(each.match(line.text) for each in ALLOWED):
                raise Deviation("a line of the log", "one that a hostile ISS brings about", repr(line.text))
        self._seen = len(board.log.bad())
        self._catalogue.check(board.log)
        for each in self._silent:
            if each.call.answered:
                raise Deviation(f"reply to {each}", "none, ever", each.call.reply())
        self._ledger.check()
        if not board.running:
            raise Deviation("the daemon", "to run", f"it ended with {board.daemon.returncode}: {board.stderr()}")

    # Hostilities on top of ISS's own.

    def stop_one(self, pid):
        os.kill(pid, SIGSTOP)
        end = time.monotonic() + self._chance.uniform(0.05, 1.0)
        while time.monotonic() < end:
            time.sleep(0.02)
        os.kill(pid, SIGCONT)

    def daemon_stopped(self):
        self.stop_one(self.sandboxed.daemon.pid)

    def bus_stopped(self):
        self.stop_one(self.sandboxed.bus_pid)

    def iss_stopped(self):
        self.stop_one(self.iss.pid)

    def all_stopped(self):
        """One after the other, and none of them goes on before the last one has stopped."""
        pids = [self.sandboxed.daemon.pid, self.sandboxed.bus_pid, self.iss.pid]
        self._chance.shuffle(pids)
        with contextlib.ExitStack() as stopped:
            for pid in pids[1:]:
                os.kill(pid, SIGSTOP)
                stopped.callback(os.kill, pid, SIGCONT)
            self.stop_one(pids[0])

    def iss_restarts(self):
        self.iss.inject(f"restart {self._chance.randrange(100, 2000)}ms")

    def iss_stalls(self):
        self.iss.inject(f"stall {self._chance.randrange(100, 2000)}ms")

    def iss_closes(self):
        self.iss.inject(self._chance.choice(("close", "close reset")))

    def clock_jumps(self):
        self._clock.jump(self._clock.offset + self._chance.choice(JUMPS))

    def callers_leave(self):
        for _ in range(self._chance.randrange(1, 6)):
            caller = self.sandboxed.peer()
            for _ in range(self._chance.randrange(1, 4)):
                self._ask(caller, leaves=True)
            caller.leave()

    # A life.

    def quiet(self):
        """ISS is itself again, and everything is done."""
        def done():
            now = status(self._callers[0])
            counts = now["interfaces"].values()
            return (now["opsConnected"] and now["issReady"] and now["ringUsed"] == now["requestsWaiting"] == 0
                    and all(received == answered + silent for received, answered, _, _, silent in counts))
        try:
            until(done, "quiet", PATIENCE)
        except AssertionError:
            raise Deviation("the status, when everything is answered", "ready, with nothing under way",
                            status(self._callers[0])) from None

    def begin(self):
        self.sandboxed.log.wait(CONNECTED)
        self.sandboxed.wait_file(places.READY_MARKER)
        for _ in range(4):
            self.expect(self.ask(15))
        self.quiet()
        self.check()
        self._books = Books(self.sandboxed.daemon.pid)
        self._hostilities.begin(self.iss)

    def bout(self, disturb):
        if self._chance.random() < 0.2:
            self._callers[0].set_trace_level(self._chance.choice((6, 9)))
        before = self.ask(self._chance.randrange(1, 6))
        disturb(self)
        self.expect(before + self.ask(self._chance.randrange(1, 6)))
        self.check()

    def finish(self):
        self._hostilities.end(self.iss)
        self.expect(self.ask(10))
        self.quiet()
        self._books.settle(self._ledger)
        self.check()
        self.sandboxed.stop()
        self.check_stderr()

    def check_stderr(self):
        same("lines of standard error", [], [line for line in self.sandboxed.stderr().splitlines() if line not in STDERR])


DISTURBANCES = {f"hostile ISS: {name}": disturb for name, disturb in {
    "nothing else": lambda life: None, "daemon stopped": Life.daemon_stopped, "bus stopped": Life.bus_stopped,
    "it stops": Life.iss_stopped, "all stopped": Life.all_stopped, "it restarts": Life.iss_restarts,
    "it stalls": Life.iss_stalls, "it closes": Life.iss_closes, "clock jumps": Life.clock_jumps,
    "callers leave": Life.callers_leave}.items()}
LONGEST = 180
"""Seconds of a life."""


class Board:
    def __init__(self, number, seed, ending, ledger, _user):
        self._number, self._seed, self._ending, self._ledger = number, seed, ending, ledger
        self._clock = Clock(f"/run/clock-{number}")
        self._life = None
        self._turn = 0

    @property
    def sandboxed(self):
        return self._life.sandboxed if self._life else None

    def _chance(self):
        self._turn += 1
        return random.Random(f"{self._seed} {self._number} {self._turn}")

    def run(self):
        """One life after another; returns the deviation, or None."""
        try:
            while not self._ending.over():
                self._one_life()
        except Deviation as deviation:
            return deviation
        except (AssertionError, BusError, OSError) as error:
            return Deviation("a board with a hostile ISS", "to go on", f"{type(error).__name__}: {error}")
        return None

    def _one_life(self):
        self._ledger.under = "hostile ISS: nothing else"
        self._clock.jump(0)
        self._life = life = Life(self._chance(), self._ledger, self._clock)
        end = time.monotonic() + LONGEST
        life.begin()
        while time.monotonic() < end and not self._ending.over():
            chance = self._chance()
            name = chance.choice(tuple(DISTURBANCES))
            self._ledger.begins(name)
            life.bout(DISTURBANCES[name])
        life.finish()
        self.close()

    def close(self):
        sandboxed, self._life = self.sandboxed, None
        if sandboxed is None:
            return
        if sandboxed.daemon is not None:
            sandboxed.daemon.kill()
            sandboxed.daemon.wait()
        sandboxed.close()
