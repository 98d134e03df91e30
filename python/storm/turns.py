"""What comes at its turn: how a daemon begins, the loss of OPS, and the trigger. Each leaves a daemon that is ready and
owes nothing."""
import os

from trelvik import life_cycle

from . import layout, methods, reports
from .burst import held, queued
from .deviation import Deviation
from .exchange import answer, carry_out, drain, enqueue, probe, single, take_record
from .logged import line

RETRY = 10
"""Seconds, more than between two attempts to connect."""


def begin(stand, chance):
    """A daemon that has just started: ISS is not ready yet."""
    for _ in range(chance.randrange(3)):
        reports.not_ready(stand, chance)
    if stand.model.slots and chance.random() < 0.5:
        early(stand, chance)
    if not stand.model.slots and chance.random() < 0.5:
        enqueue(stand, methods.SYNC_E, (2, 1, 1, 2, 3, 1, 4, 5, 6))
        stand.wait(lambda: stand.status()["ringUsed"] == len(stand.model.slots), "the request in the ring")
        early(stand, chance)
    pool = held(stand, chance, chance.choice((0, 3, 12, 25)))
    reports.become_ready(stand, chance)
    drain(stand, chance, pool)


def early(stand, chance):
    """An answer that comes before ISS is ready takes the first message out of the ring, which is then never sent."""
    while stand.model.slots:
        answer(stand, chance, stand.model.slots[0].record)
    stand.barrier()


def loss(stand, chance):
    """The connection goes, sometimes with a message that has no answer; requests wait; OPS comes back."""
    outstanding, reset, refused = chance.random() < 0.6, chance.random() < 0.3, chance.random() < 0.2
    if outstanding:
        enqueue(stand, methods.PORTS, (chance.choice((1, 3)), *probe(chance)[1:]))
        take_record(stand)
    stand.barrier(read=True)
    go(stand, reset, refused)
    pool = held(stand, chance, chance.choice((1, 4, 12, 25)))
    come_back(stand, refused)
    for _ in range(chance.randrange(3)):
        reports.not_ready(stand, chance)
    if outstanding and chance.random() < 0.5:
        # The sender stays with the lost message until an answer comes, whichever.
        answer(stand, chance, stand.model.slots[0].record)
    reports.become_ready(stand, chance)
    drain(stand, chance, pool)


def go(stand, reset, refused):
    if reset:
        stand.model.broken()
        stand.stderr += "shutdown failed: Transport endpoint is not connected\n"
    if refused:
        stand.ops.close_listener()
        stand.model.expect(line("WARNING", "IssSocket:49", "StartTcpClient",
                                "OPS socket connection failed (111): Connection refused\n"),
                           line("DEBUG3", "main:258", "main", "retry connecting with ISS in 5 s"))
    stand.kicked = stand.kicks("main")
    stand.ops.drop(reset=reset)
    stand.tally.losses += 1
    stand.model.lost()
    stand.wait(lambda: not stand.status()["opsConnected"], "the loss of the connection")


def come_back(stand, refused):
    if refused:
        # One kick is for the attempt, one for the loss where that has one.
        kicks = stand.kicked + (not stand.model.csm)
        stand.wait(lambda: stand.kicks("main") > kicks, "a refused attempt to connect", RETRY)
        stand.board.start_ops()
    stand.accept()


def trigger(stand, chance):
    """The trigger holds the bus thread; calls behind it wait, and replies to those before it go out."""
    state = chance.choice((1, 2, 1, 2, 0, 7, -1, 3, 0x7FFFFFFF))
    if state not in (1, 2):
        single(stand, chance, methods.TRIGGER, (state, chance.random() < 0.5))
        return
    life_cycle.install()
    if state == 2:
        life_cycle.mark()
    enqueue(stand, methods.PORTS, probe(chance))
    got = take_record(stand)
    blocker = stand.new(methods.TRIGGER, (state, chance.random() < 0.5))
    name = methods.interface_of(methods.TRIGGER)
    seen = stand.counts()[name][0]
    stand.issue(blocker, stand.callers[2])
    stand.wait(lambda: stand.counts()[name][0] > seen, "the trigger in its handler")
    shown = ("STARTED", "STOPPED")[state - 1]
    stand.model.expect(*(line("DEBUG1", "SrvIss", function, shown) for function in ("triggerDataUser", "run_och_thread")))
    made = queued(stand, chance, 5, independent=True)
    for each in made:
        stand.issue(each, chance.choice(stand.callers))
    answer(stand, chance, got)
    stand.barrier()
    check_blocked(stand, blocker, made)
    if state == 1:
        life_cycle.mark()
    else:
        os.unlink(life_cycle.MARKER)
    carry_out(stand, chance, made)
    stand.expect_reply(blocker, (state, True))


def check_blocked(stand, blocker, made):
    for each in (blocker, *made):
        if each.call.answered:
            raise Deviation(f"reply to {each}", "none before the marker says so", each.call.reply())
    if not stand.ops.silent():
        raise Deviation("OPS", "nothing while the trigger blocks", layout.show(stand.receive("a record")))
