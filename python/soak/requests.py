"""Requests of many callers at once, and where they go."""
from storm import methods, values
from storm.burst import settle
from storm.exchange import drain, enqueue, probe, take_record

BUS = (methods.PORTS, methods.SYNC_E, methods.RULES, methods.SMART_SFP)
CALM = 6
"""The trace level at which a request that is in order leaves no line."""


def distinct(stand, chance, count):
    """Requests of the bus of which no two make the same first record."""
    made, seen = [], set()
    while len(made) < count:
        method, args = values.request(chance, BUS)
        records = method.decide(stand.model.state, args, 0).records
        if records and records[0] in seen:
            continue
        seen.update(records[:1])
        made.append(stand.new(method, args))
    return made


def probes(stand, chance, count):
    """Requests of one message each, of which no two are the same."""
    return [stand.new(methods.PORTS, (3, 6, port, 1000, True, 0, chance.getrandbits(32), 0))
            for port in chance.sample(range(1, 29), count)]


def plain(stand, chance):
    """A request of one message, carried out without ISS's whims."""
    enqueue(stand, methods.PORTS, probe(chance), chance.choice(stand.callers))
    drain(stand, chance, plain=True)


def set_up(stand, chance):
    """A request with a script, carried out without ISS's whims."""
    enqueue(stand, methods.PORTS, (1, 6, chance.randrange(1, 29), 1000, True, 100, 0, 0))
    drain(stand, chance, plain=True)


def with_iss(stand, chance):
    """A message is with ISS, which keeps its answer back; returns the message."""
    enqueue(stand, methods.PORTS, probe(chance))
    return take_record(stand)


class Sent:
    """Requests of all callers, made while something keeps the daemon from its work."""

    def __init__(self, stand, chance, count):
        self._stand = stand
        self._chance = chance
        self.made = distinct(stand, chance, count)
        self._before = stand.status()

    def issue(self):
        for each in self.made:
            self._stand.issue(each, self._chance.choice(self._stand.callers))

    def settle(self):
        """Finds out what became of them; returns those that wait in the ring."""
        return settle(self._stand, self.made, self._before["ringUsed"], self._before["interfaces"])


def fill_ring(stand, chance):
    """No message finds room any more."""
    with_iss(stand, chance)
    while stand.model.fits(1):
        # One by one, for workers may overtake each other.
        enqueue(stand, methods.PORTS, probe(chance))
        stand.wait(lambda: stand.status()["ringUsed"] == len(stand.model.slots), "the message in the ring")
