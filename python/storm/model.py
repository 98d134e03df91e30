"""The daemon as a peer sees it: what waits, what is with OPS, and what each message of OPS's leads to."""
import re
from collections import deque
from dataclasses import dataclass

from . import kept, others, ports
from .decision import State
from .dumped import dump
from .layout import (ANSWERS, CPU, ERROR_AT, ERROR_SIZE, INTERVAL, ISS_ACTIVE, MSR_RELOAD, PORT_STATUS, RUN_SCRIPT, SIZE,
                     TASK_INIT, name_of, record, text, text_at, word_at)
from .logged import like, line
from .methods import COUNTED, interface_of

SLOTS = 20
GOOD = b"No Error\r\n"
DEFAULT_SCRIPT = "/etc/iss/bh_default.txt"
DEFAULT = record(RUN_SCRIPT, (4, text(DEFAULT_SCRIPT, 24)), (28, text("outscr.sh", 24)))
READY, RELOADED, COMMITTED = "/tmp/iss_is_ready", "/tmp/iss_msr_succeeded", "/persistency/iss/default_conf.commit"
NOUNS = {1: "", 3: "SYNCE ", 4: "ISSMGR ", 5: "SMARTSFP ", 6: "REDUNDANCY "}


def _reload_flag(raw):
    return line("DEBUG1", "MsgHandle:210", "MSRReloadFailed", f"MSR Reload status flag = {raw[14]}")


def main_line(level, number, words):
    return line(level, f"main:{number}", "main", words)


@dataclass(eq=False)
class Request:
    number: int
    method: object
    args: object
    call: object = None  # None where no reply is asked for
    decision: object = None

    def __str__(self):
        return f"request {self.number}, {self.method.name}{self.args if isinstance(self.args, tuple) else ''}"[:600]


@dataclass
class Slot:
    request: Request
    record: bytes
    number: int
    count: int


SHOWN = 120
"""Characters that a line of the log shows of another's text."""
SENDING = "Sending reply msg to OTNBus\n", "send reply over OTNbus\n"
TRACED = {1: (473, 477), 3: (499, 503), 4: (534, 541), 5: (567, 572)}
"""By source, the lines of an answer and of a reply."""


class Model:
    """What happened is told to it; what must follow collects in `lines`, `reports`, `signals`, `markers`, `direct`."""

    def __init__(self, csm=False, committed=False, **state):
        self.state = State(**state)
        self.csm, self.committed = csm, committed
        self.ready = self.sent = False
        self.read, self.written = 0, 0
        self.slots = deque()
        self.counts = {interface_of(method): [0, 0, 0, 0, 0] for method in COUNTED}
        self.lines, self.reports, self.signals, self.markers, self.direct = [], [], [], set(), []
        self.possible = []  # lines that may come or not
        self.tails = deque(maxlen=40)  # the last lines of the latest requests, which may still be on their way
        self.alive = self.doubtful = self.taken = 0

    def expect(self, *lines):
        self.lines += [each for each in lines if each.level <= self.state.level]

    # Requests.

    def fits(self, count):
        if self.written == self.read:
            return True
        if self.written < self.read:
            return self.written + count < self.read
        return self.written + count <= self.read + SLOTS - 2

    def decide(self, request, place=None):
        place = self.written if place is None else place
        return request.method.decide(self.state, request.args, place)

    def received(self, request):
        self.counts[interface_of(request.method)][0] += 1

    def settled(self, request, decision, full=False):
        """The request is decided: its lines come, and what it takes is taken."""
        counts = self.counts.get(interface_of(request.method), [0] * 5)
        self.expect(*decision.lines)
        if not full:
            self.expect(*decision.tail)
            self.tails.append(decision.tail)
        if full:
            if decision.overflow_line:
                self.expect(decision.overflow_line)
            counts[3] += 1
        if decision.discarded and not self.fits(decision.discarded):
            # It was decided while the ring filled: before there was no room, or after.
            self.possible.append(decision.overflow_line)
            self.doubtful += 1
        level = self.state.level
        if decision.takes:
            decision.takes(self.state)
        self.possible += [each for tail in self.tails for each in tail if level < each.level <= self.state.level]
        if decision.silent:
            counts[4] += 1
        elif full or decision.reply is not None:
            counts[1] += request.method.source != 6

    def queue(self, request, decision):
        for number, each in enumerate(decision.records, 1):
            if decision.queued:
                self.expect(decision.queued((self.read + len(self.slots)) % SLOTS))
            self.slots.append(Slot(request, each, number, len(decision.records)))
        self.written = (self.written + len(decision.records)) % SLOTS
        request.decision = decision

    def due(self):
        """The record that OPS must get now, or None."""
        return self.slots[0].record if self.ready and self.slots and not self.sent else None

    # What OPS does.

    def lost(self):
        self.ready = False
        self.expect(self._received())
        if self.csm:
            self.expect(main_line("CRITICAL", 340, "CONNECTION TO OPS LOST\n"))
            self.reports.append("CONNECTION TO OPS LOST !\n")
        else:
            self.expect(main_line("INFO", 343, "CONNECTION TO OPS LOST, try reconnecting in 5s\n"))

    def handle(self, raw):
        """One message of OPS's, or the part of one that was read at once. Returns (request, reply) of who is answered, or
        None."""
        raw = raw.ljust(SIZE, b"\0")
        kind = word_at(raw, 0)
        self.expect(self._received(), *dump(raw), main_line("DEBUG3", 628, "send signal cond2\n"))
        if kind == TASK_INIT:
            self._task_init()
        elif kind == RUN_SCRIPT and text_at(raw, 4, 24) == DEFAULT_SCRIPT.encode():
            self._becomes_ready()
            if self.csm:
                self.committed = True
                self.markers.add(COMMITTED)
                self.expect(main_line("INFO", 380, "default.conf created!\n"))
        elif kind == MSR_RELOAD and raw[14] == 0:
            self.expect(_reload_flag(raw))
            self.expect(main_line("INFO", 396, "MSR reload succeeded"))
            if self.csm:
                command = "/bin/sh -c /etc/iss/openPorts.sh"
                self.expect(main_line("DEBUG2", 408, f"execute command for opening ports = {command}\n"))
            self._becomes_ready()
            self.markers.add(RELOADED)
        elif kind == MSR_RELOAD:
            self.expect(_reload_flag(raw))
            self.expect(main_line("CRITICAL", 428, "MSR RELOAD FAILED!"))
            self.reports.append("CORRUPTED CONFIG FILE! REMOVED ISS CONFIG AND REBOOT!\n")
        elif kind in (ISS_ACTIVE, INTERVAL):
            self.expect(main_line("DEBUG2", 439, "Received ALIVE message\n"))
            self.alive += 1
        elif kind == CPU:
            name = re.escape(text_at(raw, ERROR_AT, ERROR_SIZE).decode("utf-8", "replace"))
            self.expect(like("INFO", rf"main:444 \(main\) - CPU exceeds threshold for thread {name}\n"))
        elif kind == PORT_STATUS:
            up = [raw[8] == 1, raw[9] == 1]
            self.signals.append(("linkStatusChange", (word_at(raw, 4), *up)))
            words = ["UP" if each else "DOWN" for each in up]
            self.expect(line("DEBUG2", "SrvIss", "sendLinkStatusChange",
                             f"ifIndex={word_at(raw, 4)},bPortAdminStatus={words[0]},bPortOperationalStatus={words[1]}\n"))
        elif kind in ANSWERS:
            return self._route(raw)
        else:
            self.expect(main_line("ERROR", 624, "unexpected message received from OPS\n"))
        return None

    def _received(self):
        """Who queues requests meanwhile moves the write index."""
        return like("DEBUG3", rf"main:322 \(main\) - Message from OPS received: RP={self.read} WP=\d+\n")

    def broken(self):
        """A read that failed; the loss is seen by the next one."""
        self.expect(self._received(), line("ERROR", "IssSocket:92", "getPacket",
                                           "Failed to receive msg from ISS: Connection reset by peer"))

    def take(self):
        """OPS has got the message that was due."""
        slot = self.slots[0]
        self.sent = True
        self.taken += 1
        self.expect(like("DEBUG3", rf"main:733 \(iss_comm\) - iss thread: sending msg to OPS rp:{self.read} wp:\d+ "
                                   rf"source:{slot.request.method.source}\n"),
                    line("DEBUG3", "main:735", "iss_comm", "Sending packet to OPS\n"))
        return slot

    def _task_init(self):
        self.expect(main_line("INFO", 355, "OPS ready to receive messages.\n"))
        if self.csm and not self.committed:
            self.expect(main_line("INFO", 362, "Creating default.conf!\n"))
            self.direct.append(DEFAULT)

    def _becomes_ready(self):
        self.ready = True
        self.expect(line("DEBUG2", "SrvIss", "sendIssStatusChange", "bStatus=UP\n"))
        self.signals.append(("issStatusChange", (True,)))
        self.markers.add(READY)

    def _route(self, raw):
        source = self.slots[0].request.method.source if self.slots else 0
        self.expect(main_line("DEBUG3", 449, f"MESSAGE SOURCE {source}\n"))
        if not self.slots:
            return None
        slot = self.slots.popleft()
        self.read = (self.read + 1) % SLOTS
        self.sent = False
        error = text_at(raw, ERROR_AT, ERROR_SIZE)
        good = error == GOOD
        if not good and source in NOUNS:
            self._refused(slot, source, error)
        if source == 1 and good:
            self.expect(*ports.keep(self.state, raw))
        elif source == 4:
            self.expect(*kept.keep(self.state, raw))
        elif source == 5:
            self.expect(*others.keep_sfp(self.state, raw))
        last = slot.number == slot.count
        self._trace_answer(source, last)
        if not last or source == 6:
            return None
        if source != 2:
            self.counts[interface_of(slot.request.method)][1] += 1
        return slot.request, slot.request.decision.final(raw)

    def _trace_answer(self, source, last):
        if source in TRACED:
            for number, words in zip(TRACED[source][:1 + last], SENDING):
                self.expect(main_line("DEBUG3", number, words))
        if source == 5 and last:
            self.expect(main_line("DEBUG3", 580, "sent reply over OTNbus\n"))
        elif source == 2:
            self.expect(main_line("DEBUG3", 452, "Sending reply msg to debug socket\n"))
        elif source == 6:
            self.expect(main_line("DEBUG3", 589, "Redundancystate reply msg received from OPS\n"))

    def _refused(self, slot, source, error):
        words = f"OPS REPORTED ERROR IN {NOUNS[source]}REPLY MESSAGE!\n"
        self.reports.append(words)
        if source == 6:
            self.expect(main_line("ERROR", 593, words))
        kind = word_at(slot.record, 0)
        shown = "".join(chr(each) if 32 <= each < 127 else "?" for each in error.rstrip())
        cut = ".*" if len(shown) > SHOWN else ""
        name = interface_of(slot.request.method)
        self.expect(like("WARNING", rf"main:\d+ \(main\) - ISS refused {name} \(source {source}\) message {slot.number} of "
                                    rf"{slot.count}, {name_of(kind)} \[{kind}\].*: "
                                    rf'"{re.escape(shown[:SHOWN])}{cut}"{"" if source == 6 else ";.*"}'))
        self.counts[name][2] += 1
