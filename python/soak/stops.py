"""Parties that stop for a while, and go on: SIGSTOP, SIGCONT."""
from storm import layout, methods, values
from storm.deviation import Deviation
from storm.exchange import carry_out, drain

from .far import FarPeer
from .requests import Sent, probes, with_iss

LONGEST = 1.2
"""Seconds of a stop."""
BUNCH, BACKLOG = 4, 600
"""Reports at once, and how many are more than a socket of the bus takes, but not more than the daemon keeps."""


def daemon(stand, chance):
    """What is asked meanwhile waits, and is done afterwards."""
    with_iss(stand, chance)
    sent = Sent(stand, chance, chance.randrange(2, 13))
    with stand.stopped(stand.pid):
        sent.issue()
        stand.hold(chance.uniform(0.1, LONGEST), sent.made)
        silent(stand)
    drain(stand, chance, sent.settle())


def silent(stand):
    if not stand.ops.silent():
        raise Deviation("OPS", f"nothing while \"{stand.ledger.under}\" lasts", layout.show(stand.receive("a record")))


def bus(stand, chance):
    """What goes to the bus and comes from it waits; ISS is served all the same."""
    got = with_iss(stand, chance)
    if chance.random() < 0.5:
        answered_meanwhile(stand, chance, got)
        return
    sent = Sent(stand, chance, chance.randrange(2, 13))
    with stand.stopped(stand.board.bus_pid):
        sent.issue()
        reports(stand, chance)
        stand.hold(chance.uniform(0.1, LONGEST), sent.made)
        silent(stand)
    stand.check_signals()
    drain(stand, chance, sent.settle())


def reports(stand, chance):
    """ISS reports changes of its ports: a few, or more than the bus's socket takes."""
    for _ in range(chance.choice((1, BACKLOG // BUNCH, BACKLOG // BUNCH))):
        for raw in (values.port_status(chance) for _ in range(BUNCH)):
            stand.ops.send(raw)
            stand.model.handle(raw)
        stand.ops.wait_all_read()


def answered_meanwhile(stand, chance, got):
    """The reply to what ISS answers while the bus stands still comes when it goes on."""
    raw = values.answer(chance, got, plain=True)
    with stand.stopped(stand.board.bus_pid):
        reports(stand, chance)
        stand.ops.send(raw)
        answered = stand.model.handle(raw)
        stand.hold(chance.uniform(0.1, LONGEST), [answered[0]])
    stand.check_signals()
    stand.expect_reply(*answered)


def caller(stand, chance):
    """A caller that does not read its replies finds them later, or ends without; others get theirs at once."""
    far = FarPeer(stand.board.bus_address)
    try:
        made = probes(stand, chance, chance.randrange(2, 13))
        mine, others = made[::2], made[1::2]
        for each in mine:
            stand.issue(each, far)
        name = methods.interface_of(methods.PORTS)
        stand.wait(lambda: stand.counts()[name][0] == stand.model.counts[name][0], "the calls of the caller that stops")
        stand.away.add(far)
        with stand.stopped(far.pid):
            for each in others:
                stand.issue(each, chance.choice(stand.callers))
            carry_out(stand, chance, made)
            stand.hold(chance.uniform(0.1, LONGEST), mine)
            if chance.random() < 0.3:
                for each in mine:
                    each.call = None
                far.leave()
        stand.back(far)
    finally:
        far.leave()


def ops(stand, chance):
    """ISS keeps its answer back; everything waits behind it."""
    with_iss(stand, chance)
    sent = Sent(stand, chance, chance.choice((5, 12, 25)))
    sent.issue()
    pool = sent.settle()
    stand.hold(chance.uniform(0.1, LONGEST), [each for each in pool.waiting])
    silent(stand)
    drain(stand, chance, pool)
