"""Parties that stop for a while, and go on: SIGSTOP, SIGCONT."""
from storm import layout, methods, values
from storm.deviation import Deviation
from storm.exchange import Pool, carry_out, drain, single
from storm.rules import FLUSH_ONLY, NAMES

from .far import FarPeer
from .requests import CALM, Sent, probes, with_iss
from .sockets import shrink

LONGEST = 1.2
"""Seconds of a stop."""
BUNCH, REPORTS = 4, 600
"""Reports at once, and how many of them are many."""
LONG, LENGTH = 8, 1040000
"""Texts that together are all that callers may have waiting."""


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
    shrink(stand.pid, stand.board.bus_address.partition("=")[2])
    if not stand.small:
        backlog(stand, chance)
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
    """ISS reports changes of its ports, a few or many."""
    for _ in range(chance.choice((1, REPORTS // BUNCH, REPORTS // BUNCH))):
        for raw in (values.port_status(chance) for _ in range(BUNCH)):
            stand.ops.send(raw)
            stand.model.handle(raw)
        stand.ops.wait_all_read()


def backlog(stand, chance):
    """ISS answers more than the bus's socket takes; what comes last has no room in it, and comes all the same."""
    if stand.model.state.level > CALM:
        single(stand, chance, methods.SET_LEVEL, (CALM,))
    with_iss(stand, chance)
    made = [_long(stand, chance, number) for number in range(LONG)]
    _into_ring(stand, made)
    last = probes(stand, chance, 4)
    _into_ring(stand, last)
    with stand.stopped(stand.board.bus_pid), stand.deferred():
        for raw in (values.port_status(chance) for _ in range(REPORTS)):
            stand.ops.send(raw)
            stand.model.handle(raw)
            stand.ops.wait_all_read()
        drain(stand, chance, Pool(stand, made + last), plain=True)
    stand.check_signals()
    stand.catch_up()


def _long(stand, chance, number):
    """A flush with a text that it does not use, which its reply repeats."""
    args = [FLUSH_ONLY, 0, 0, 0, 1, number, *values.rule(chance)[6:]]
    args[NAMES.index("vlans")] = "1," * (LENGTH // 2)
    return stand.new(methods.RULES, tuple(args))


def _into_ring(stand, made):
    used = stand.status()["ringUsed"]
    for each in made:
        stand.issue(each)
        stand.model.settled(each, stand.model.decide(each))
    stand.wait(lambda: stand.status()["ringUsed"] == used + len(made), "the requests in the ring")


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
