"""The storm's stand, with a daemon that can be stopped, starved and started anew, and with the fate of each request
kept."""
import contextlib
import os
import time
from signal import SIGCONT, SIGSTOP

from storm import methods
from storm.deviation import Deviation
from storm.logged import like, line
from storm.model import Model, main_line
from storm.stand import Stand as StormStand
from trelvik import places
from trelvik.board import STOP_LIMIT
from trelvik.places import COMMIT_MARKER

from .books import Books
from .ledger import Silences

SMALL = 64 << 20
"""Bytes of address space of some daemons."""


def standing_still(pid):
    """No thread of it runs any more."""
    tasks = f"/proc/{pid}/task"
    for task in os.listdir(tasks):
        with open(f"{tasks}/{task}/stat", encoding="ascii", errors="replace") as stat:
            if stat.read().rpartition(")")[2].split()[0] not in "Tt":
                return False
    return True


class Stand(StormStand):
    def __init__(self, chance, tally, ledger, catalogue, clock):
        super().__init__(chance, tally)
        self.ledger = ledger
        self.catalogue = catalogue
        self.clock = clock
        self.silent = Silences(ledger)
        self.small = chance.random() < 0.4
        self.away = set()  # callers that do not run
        self._deferring = False  # nobody can have a reply now
        self._deferred = []  # replies that come when it is over
        self.books = None
        self.watched = True  # by the monitor

    def launch(self, **options):
        self.watched = options.get("cam", True)
        preloaded = f"{places.cam_sim(places.PREFIX)} {os.environ['CLOCK_SHIFT_LIBRARY']}"
        options.setdefault("env", {"LD_PRELOAD": preloaded, **self.clock.environment()})
        if self.small:
            options.setdefault("starter", ("prlimit", f"--as={SMALL}"))
        super().launch(**options)

    @property
    def pid(self):
        return self.board.daemon.pid

    # Requests and their fate.

    def issue(self, request, caller=None, expect_reply=True):
        super().issue(request, caller, expect_reply)
        if request.call is not None or request.method is methods.DEBUG:
            self.ledger.opened(request)

    def expect_reply(self, request, expected):
        if request.call is not None and (self._deferring or getattr(request.call, "peer", None) in self.away):
            self._deferred.append((request, expected))
            return
        super().expect_reply(request, expected)
        if request.call is None and request.method is not methods.DEBUG:
            self.ledger.silent(request)  # its caller has gone, or wants none

    def answered(self, request):
        super().answered(request)
        self.ledger.answered(request)

    def back(self, caller):
        """A caller runs again, and finds what was answered meanwhile."""
        self.away.discard(caller)
        self.catch_up()

    def catch_up(self):
        """What could not come before comes now."""
        deferred, self._deferred = self._deferred, []
        for request, expected in deferred:
            self.expect_reply(request, expected)

    @contextlib.contextmanager
    def deferred(self):
        """Replies come after it; to be left before what keeps them is lifted."""
        self._deferring = True
        yield
        self._deferring = False

    def check_reports(self):
        if self.watched:
            super().check_reports()

    def checkpoint(self):
        super().checkpoint()
        self.catalogue.check(self.board.log)
        self.ledger.check()
        for caller in self.callers:
            replies = [each for each in caller.order if isinstance(each, int)]
            if len(replies) != len(set(replies)):
                raise Deviation("replies to one caller", "one to each call", "two to one of them")

    def without_state(self):
        """The redundancy manager knows no state, so the daemon has nothing to do at its start."""
        self._first = 15
        self.manager.serve("getRedundantState", ("i", (self._first,)))

    # What is done to the parties.

    @contextlib.contextmanager
    def stopped(self, pid):
        os.kill(pid, SIGSTOP)
        self.wait(lambda: standing_still(pid), "the party stopped, with all its threads")
        try:
            yield
        finally:
            with contextlib.suppress(ProcessLookupError):  # it was ended meanwhile
                os.kill(pid, SIGCONT)

    def hold(self, seconds, made=()):
        """The disturbance lasts; none of these is answered meanwhile."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            for each in made:
                if each.call is not None and each.call.answered:
                    raise Deviation(f"reply to {each}", f"none while \"{self.ledger.under}\" lasts", each.call.reply())
            time.sleep(0.02)

    # Lives.

    def open_books(self):
        self.quiet()
        self.books = Books(self.pid)

    def balance(self):
        """The books of this daemon must balance."""
        if self.books is not None:
            self.books.settle(self.ledger)

    def quiet(self):
        self.wait(lambda: not self.status()["requestsWaiting"], "every request carried out")

    def bus_dies(self):
        """The bus ends, and the daemon with it, in order."""
        self.expect_always(like("CRITICAL", r"otnbus:\d+ \(lost\) - The bus connection is lost: .*"))
        self.model.expect(main_line("INFO", 658, "Finished"),
                          line("DEBUG1", "SrvIss", "~OBOchStub", "~OBOchStub called"))
        self.board.stop_bus()
        try:
            self.board.wait_exit(0, STOP_LIMIT)
        except AssertionError as error:
            raise Deviation("the daemon, whose bus has died", "its end with status 0 within 2 s", error) from None
        self.check_lines()
        self.check_reports()
        self.ledger.all_silent()
        self.books = None
        self.ops.drop()

    def expect_always(self, expected):
        """A line of the platform, which has a level of its own."""
        self.model.lines.append(expected)

    def begin_anew(self):
        """A daemon that starts again knows nothing of the one before; peers come back to the bus."""
        state = self.model.state
        alive = self.kicks("OPS")
        self.model = Model(csm=self.model.csm, committed=os.path.exists(COMMIT_MARKER), no_ac_port=state.no_ac_port,
                           mac=state.mac)
        self.model.alive = alive
        self._started = time.monotonic()
        self.silent = Silences(self.ledger)
        self._seen_signals = 0
        self._possible = []
        self._deferred, self.away = [], set()
