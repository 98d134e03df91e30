"""One daemon among its peers, and the oracle beside it: what was said and done is held against what must be."""
import os
import time
from collections import Counter

from jeepney import HeaderFields
from trelvik import diagnostics, files
from trelvik.board import CONNECTED, CSM_BOARD, OTHER_BOARD, Board
from trelvik.bus import MANAGER, BusError
from trelvik.places import COMMIT_MARKER, OPEN_PORTS, READY_MARKER, RELOAD_MARKER
from trelvik.wait import DEADLINE, until

from . import layout, logged, methods
from .deviation import Deviation, same
from .model import Model, Request, main_line

CALLERS = 3
SIGNALS = ("linkStatusChange", "issStatusChange")
FIRST_BARRIER = 0x40000000


class Tally:
    """What the storm has done, over all daemons."""

    def __init__(self):
        self.requests = Counter()
        self.records = self.replies = self.signals = self.lines = self.number = self.daemons = self.losses = 0


class Stand:
    def __init__(self, chance, tally):
        self.tally = tally
        tally.daemons += 1
        csm, committed, no_ac_port = chance.random() < 0.4, chance.random() < 0.5, chance.random() < 0.4
        mac = chance.randbytes(6)
        first = chance.choice((None, None, -1, *range(16)))
        self.board = Board()
        files.write_script(OPEN_PORTS, ":")
        if committed:
            files.write(COMMIT_MARKER, "")
        self.model = Model(csm=csm, committed=committed, no_ac_port=no_ac_port, mac=mac)
        self._first = first
        self.join_bus()
        self.stderr = ""
        self.kicked = 0
        self._started = time.monotonic()
        self._possible = []
        self.silent = []  # calls that must never be answered
        self._seen_lines = self._seen_signals = self._seen_reports = self._barriers = 0
        self._arguments = ["-p"] if no_ac_port else []

    def join_bus(self):
        """All peers of the daemon come to the bus."""
        self.manager = self.board.peer()
        if self._first is not None:
            self.manager.serve("getRedundantState", ("i", (self._first,)))
        self.manager.request_name(MANAGER)
        self.listener = self.board.peer()
        for signal in SIGNALS:
            self.listener.subscribe(signal)
        self.callers = [self.board.peer() for _ in range(CALLERS)]

    def launch(self, **options):
        """Starts the daemon, and returns at once."""
        self.board.start(*self._arguments, name=CSM_BOARD if self.model.csm else OTHER_BOARD,
                         mac=self.model.state.mac.hex(":"), **options)

    def start(self):
        """Starts the daemon, which asks for the redundancy state; ISS is not ready yet."""
        self.launch()
        self.meet()

    def meet(self):
        """OPS accepts the daemon, and gets the redundancy state that was asked for."""
        self.accept()
        if self._first is not None and self._first <= 14:
            request = self.new(methods.REDUNDANCY, (self._first,))
            decision = self.model.decide(request)
            self.model.settled(request, decision)
            self.model.queue(request, decision)
        self.wait(lambda: self.status()["ringUsed"] == len(self.model.slots), "the state that was asked for in the ring")
        # How a state is counted that the daemon has asked for is left to it.
        counts = self.counts()
        for name in self.model.counts:
            self.model.counts[name] = list(counts[name])

    @property
    def ops(self):
        return self.board.ops

    def accept(self):
        self.ops.accept(deadline=3 * DEADLINE)
        self.model.expect(main_line("INFO", 242, CONNECTED.partition(" - ")[2]),
                          logged.like("DEBUG1", r"main:249 \(main\) - TrelvikFd=\d+, dbgservfd=\d+, maxfd=\d+"))
        self.wait(lambda: self.status()["opsConnected"], "the connection to OPS")

    def finish(self):
        """Stops the daemon, which must end in time and in order."""
        self.checkpoint()
        self.model.expect(main_line("INFO", 658, "Finished"),
                          logged.line("DEBUG1", "SrvIss", "~OBOchStub", "~OBOchStub called"))
        try:
            self.board.stop()
        except AssertionError as error:
            raise Deviation("the end of the daemon", "status 0 within 2 s", error) from None
        self.check_lines()
        same("standard error", self.stderr, self.board.stderr())

    def close(self):
        """Ends what is left, whatever state it is in."""
        if self.board.daemon is not None:
            self.board.daemon.kill()
            self.board.daemon.wait()
        self.board.close()

    # Waiting.

    def wait(self, condition, what, deadline=None):
        try:
            return until(condition, what, deadline)
        except AssertionError:
            alive = "in time" if self.board.running else f"but the daemon ended with {self.board.daemon.returncode}"
            raise Deviation(f"waiting for {what}", what, f"not {alive}") from None

    def status(self):
        try:
            return diagnostics.status(self.callers[0])
        except (AssertionError, BusError) as error:
            raise Deviation("the status", "an answer at once", error) from None

    def counts(self):
        return self.status()["interfaces"]

    def kicks(self, activity):
        return sum(each.startswith(activity) for each in self.board.cam.ops("kick"))

    # Requests.

    def new(self, method, args):
        self.tally.number += 1
        self.tally.requests[methods.interface_of(method) if method.source != 2 else "debug socket"] += 1
        return Request(self.tally.number, method, args)

    def issue(self, request, caller=None, expect_reply=True):
        method = request.method
        if method is methods.REDUNDANCY:
            self.manager.set_redundant_state(*request.args)
        elif method is methods.DEBUG:
            self.board.debug.send(request.args)
        else:
            body = [] if method.signature is None else [method.signature, *request.args]
            call = (caller or self.callers[0]).call(method.where, method.name, *body, expect_reply=expect_reply)
            request.call = call if expect_reply else None
        if methods.interface_of(method) in self.model.counts:
            self.model.received(request)

    def expect_reply(self, request, expected):
        """The reply, or the debug client's datagram, or nothing where none is asked for."""
        if request.method is methods.DEBUG:
            try:
                got = self.board.debug.receive()
            except AssertionError as error:
                raise Deviation(f"reply to {request}", layout.show(expected), error) from None
            if got != expected:
                raise Deviation(f"reply to {request}", layout.show(expected), layout.show(got),
                                layout.differences(expected, got))
        elif request.call is not None:
            self.wait(lambda: request.call.answered, f"reply {expected} to {request}")
            try:
                got = tuple(request.call.reply())
            except BusError as error:
                raise Deviation(f"reply to {request}", expected, f"error {error.name}") from None
            same(f"reply to {request}", tuple(expected), got)
        else:
            return
        self.answered(request)

    def answered(self, _request):
        """It has its reply."""
        self.tally.replies += 1

    # What OPS gets.

    def receive(self, what):
        try:
            return self.ops.receive()
        except AssertionError as error:
            raise Deviation(what, "a record", error) from None

    def compare(self, request, expected, got):
        self.tally.records += 1
        if expected != got:
            raise Deviation(f"record of {request}", layout.show(expected), layout.show(got),
                            layout.differences(expected, got))

    def check_scripts(self, request, decision):
        for path, text in decision.scripts:
            if not os.path.isfile(path):
                raise Deviation(f"script of {request}", path, "no such file")
            same(f"script {path} of {request}", text.splitlines(), files.read(path).splitlines())
            same(f"length of script {path} of {request}", len(text), os.path.getsize(path))

    # What OPS says.

    def say(self, *raws):
        """Messages of OPS's, sent as one; whoever they answer must get the reply."""
        for path in (READY_MARKER, RELOAD_MARKER):
            if os.path.exists(path):
                os.unlink(path)
        self.ops.send(b"".join(raws))
        for raw in raws:
            answered = self.model.handle(raw)
            if answered:
                self.expect_reply(*answered)
        while self.model.direct:
            self.model.taken += 1
            self.compare("the default script", self.model.direct.pop(), self.receive("the default script"))
        if len(raws[-1]) < layout.SIZE or self.model.markers:
            self.barrier(read=True)
            for path in self.model.markers:
                if not os.path.exists(path):
                    raise Deviation("marker of readiness", path, "no such file")
            self.model.markers.clear()

    def barrier(self, read=False):
        """Returns when the main thread has handled all that OPS has sent. What is shorter than a record must have been read
        before more is sent."""
        if read:
            self.ops.wait_all_read()
            self.wait(self.idle, "what OPS sent is read")
        self._barriers += 1
        mark = layout.record(layout.PORT_STATUS, (4, FIRST_BARRIER + self._barriers))
        self.ops.send(mark)
        self.model.handle(mark)
        self.check_signals()

    @staticmethod
    def idle():
        """Nothing waits in the daemon's socket any more."""
        with open("/proc/net/tcp", encoding="ascii") as lines:
            for line in lines:
                words = line.split()
                if words[2].endswith(":1F40") and words[3] == "01":
                    return words[4].endswith(":00000000")
        return False

    # What must have come by now.

    def told(self):
        """The daemon's signals that have not been looked at, and where they end."""
        end = len(self.listener.signals)
        news = [(message.header.fields[HeaderFields.member], tuple(message.body))
                for message in self.listener.signals[self._seen_signals:end]]
        return [each for each in news if each[0] in SIGNALS], end

    def check_signals(self):
        expected = self.model.signals
        try:
            until(lambda: len(self.told()[0]) >= len(expected), "signals")
        except AssertionError:
            pass
        got, self._seen_signals = self.told()
        same("signals", expected, got)
        self.tally.signals += len(got)
        self.model.signals = []

    def check_lines(self):
        found = {}

        def fit():
            texts = [line.text for line in self.board.log.all()[self._seen_lines:]]
            found["end"] = self._seen_lines + len(texts)
            found["texts"] = [text for text in texts if logged.WATCHED.match(text)]
            found["wrong"] = logged.compare(self.model.lines, self.model.possible + self._possible, found["texts"])
            return not found["wrong"][1]
        try:
            until(fit, "log lines")
        except AssertionError:
            pass
        surplus, missing = found["wrong"]
        if surplus or missing:
            raise Deviation("log lines", missing or "no further line", surplus or "they did not come")
        self.tally.lines += len(found["texts"])
        self._seen_lines = found["end"]
        self.model.lines, self._possible, self.model.possible = [], self.model.possible, []

    def check_reports(self):
        expected = [text.replace("\n", "\\n") for text in self.model.reports]
        got = self.board.cam.reports()[self._seen_reports:]
        same("reports to the monitor", expected, got)
        self._seen_reports += len(got)
        self.model.reports = []
        kicks = self.kicks("OPS")
        by_time = (time.monotonic() - self._started) / 30
        if not self.model.alive <= kicks <= self.model.alive + by_time:
            raise Deviation("kicks of the activity OPS", f"{self.model.alive}, and {by_time:.0f} by time at most", kicks)

    def settle_doubtful(self, got):
        """Refused rules of a burst, of which the daemon alone knows whether there was room for their second record."""
        counts = self.model.counts[methods.interface_of(methods.RULES)]
        counts[3] += max(0, min(self.model.doubtful, got[3] - counts[3]))
        self.model.doubtful = 0

    def checkpoint(self):
        """All that has been predicted has come, and nothing else."""
        self.barrier()
        self.check_lines()
        self.check_reports()
        for request in self.silent:
            if request.call.answered:
                raise Deviation(f"reply to {request}", "none, ever", request.call.reply())
        if not self.model.slots and not self.ops.silent():
            raise Deviation("OPS", "nothing more", layout.show(self.receive("a record")))
        status = self.status()
        same("ready, as the status tells it", self.model.ready, status["issReady"])
        same("messages sent, as the status tells it", self.model.taken, status["messagesSent"])
        same("messages in the ring, as the status tells it", len(self.model.slots), status["ringUsed"])
        got = {name: counts for name, counts in status["interfaces"].items() if name in self.model.counts}
        self.settle_doubtful(got[methods.interface_of(methods.RULES)])
        expected = {name: tuple(counts) for name, counts in self.model.counts.items()}
        same("counts of the status (received, answered, refused, no room, never answered)", expected, got)
