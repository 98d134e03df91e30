"""Callers that come and go, and callers that flood."""
from storm import methods
from storm.exchange import carry_out, drain, probe, single

from .requests import CALM, Sent, fill_ring, probes, with_iss

MIXED = 80
BUNCH, BUNCHES = 250, 36
"""Calls of one caller at once, and how often: what each leaves behind, however little, adds up to something."""


def come_and_go(stand, chance):
    """Each asks for something; half of them are gone before the answer."""
    with_iss(stand, chance)
    made = probes(stand, chance, chance.randrange(2, 13))
    peers = [stand.board.peer() for _ in made]
    for each, peer in zip(made, peers):
        stand.issue(each, peer)
    name = methods.interface_of(methods.PORTS)
    stand.wait(lambda: stand.counts()[name][0] == stand.model.counts[name][0], "the calls of all who came")
    for place, peer in enumerate(peers):
        if place % 2:
            made[place].call = None
            peer.leave()
    carry_out(stand, chance, made)
    for peer in peers:
        peer.leave()


def flood(stand, chance):
    """Hundreds of requests that find no room: each is answered at once, and leaves nothing behind."""
    if stand.model.state.level > CALM:
        single(stand, chance, methods.SET_LEVEL, (CALM,))
    fill_ring(stand, chance)
    sent = Sent(stand, chance, MIXED)
    sent.issue()
    pool = sent.settle()
    for _ in range(BUNCHES):
        _bunch(stand, chance)
    drain(stand, chance, pool, plain=True)


def _bunch(stand, chance):
    made = [stand.new(methods.PORTS, probe(chance)) for _ in range(BUNCH)]
    caller = chance.choice(stand.callers)
    for each in made:
        stand.issue(each, caller)
    for each in made:
        decision = stand.model.decide(each)
        stand.model.settled(each, decision, full=True)
        stand.expect_reply(each, decision.overflow)
