"""What reaches OPS and what OPS answers, record by record, with requests in a known order or in any."""
import copy

from . import layout, methods, reports, values
from .deviation import Deviation

SHORT = 0.02
"""How often OPS's answer ends early."""
INTERPOSED = 0.12
"""How often OPS reports something while it owes an answer."""


class Pool:
    """Requests of several callers at once: the order in which they come to the ring shows when OPS gets them. What they
    depend on was as it is now."""

    def __init__(self, stand, requests, placed=False):
        self.state = copy.deepcopy(stand.model.state)
        self.waiting = list(requests)
        self.placed = placed  # the ring's write index has been moved already
        self.lost = 0  # so many of them, signals, have found no room

    def more(self):
        return len(self.waiting) > self.lost

    def decide(self, request, place):
        return request.method.decide(self.state, request.args, place)

    def take(self, stand, got):
        """Finds whose record this is, and queues all records of that request."""
        place = stand.model.read
        for request in self.waiting:
            decision = self.decide(request, place)
            if decision.records and decision.records[0] == got:
                self.waiting.remove(request)
                written = stand.model.written
                stand.model.queue(request, decision)
                if self.placed:
                    stand.model.written = written
                return
        candidates = [self.decide(request, place).records for request in self.waiting]
        closest = min((records[0] for records in candidates if records), default=bytes(layout.SIZE),
                      key=lambda each: sum(a != b for a, b in zip(each, got)))
        raise Deviation("record of one of " + "; ".join(str(request)[:90] for request in self.waiting),
                        layout.show(closest) + " (the closest)", layout.show(got), layout.differences(closest, got))


def take_record(stand, pool=None):
    """OPS gets the next record, which must be the one that is due."""
    model = stand.model
    if model.slots:
        due = model.slots[0]
        got = stand.receive(f"record of {due.request}")
        stand.compare(due.request, due.record, got)
    else:
        got = stand.receive("record of one of " + "; ".join(str(request)[:90] for request in pool.waiting))
        pool.take(stand, got)
        stand.tally.records += 1
    slot = model.take()
    if layout.word_at(got, 0) == layout.RUN_SCRIPT:
        stand.check_scripts(slot.request, slot.request.decision)
    return got


def answer(stand, chance, got, plain=False):
    said = values.answer(chance, got, plain)
    if not plain and chance.random() < SHORT:
        said = said[:chance.randrange(4, layout.SIZE)]
    stand.say(said)


def drain(stand, chance, pool=None, plain=False):
    """OPS gets and answers all that waits."""
    model = stand.model
    while model.ready and (model.slots or pool and pool.more()):
        if not model.sent:
            got = take_record(stand, pool)
        else:
            got = model.slots[0].record
        if not plain and chance.random() < INTERPOSED:
            reports.some(stand, chance)
        slot = model.slots[0]
        call = slot.request.call
        if slot.number == slot.count and call is not None and call.answered:
            raise Deviation(f"reply to {slot.request}", "none before OPS's last answer", call.reply())
        answer(stand, chance, got, plain)


def enqueue(stand, method, args, caller=None):
    """A request of which something comes to the ring, which is empty or has room."""
    request = stand.new(method, args)
    decision = stand.model.decide(request)
    stand.issue(request, caller)
    stand.model.settled(request, decision)
    stand.model.queue(request, decision)
    return request


def probe(chance):
    """Arguments of a port request of one record."""
    return 3, 6, chance.randrange(1, 29), 1000, True, 0, chance.getrandbits(32), 0


def single(stand, chance, method, args, expect_reply=True):
    """One request by itself."""
    model = stand.model
    request = stand.new(method, args)
    decision = model.decide(request)
    if decision.takes or decision.reply is not None:
        expect_reply = True
    if method is methods.SET_LEVEL:
        # What came before has the old level.
        stand.barrier()
        stand.check_lines()
    before = dict(stand.counts()) if decision.silent else None
    stand.issue(request, chance.choice(stand.callers), expect_reply)
    model.settled(request, decision)
    if decision.reply is not None:
        stand.expect_reply(request, decision.reply)
    elif decision.silent:
        name = methods.interface_of(method)
        stand.wait(lambda: stand.counts()[name][4] > before[name][4], f"{request} to come to nothing")
        if request.call is not None:
            stand.silent.append(request)
    else:
        model.queue(request, decision)
        drain(stand, chance)
        if request.call is None and method is not methods.DEBUG:
            # No reply tells that the last answer has been handled, and that what it brings is kept.
            stand.barrier()


def carry_out(stand, chance, made):
    """Requests that are on their way, while OPS answers."""
    decisions = [(each, stand.model.decide(each)) for each in made]
    for each, decision in decisions:
        stand.model.settled(each, decision)
        if decision.silent:
            stand.silent.append(each)
    drain(stand, chance, Pool(stand, [each for each, decision in decisions if decision.records]))
    for each, decision in decisions:
        if decision.reply is not None:
            stand.expect_reply(each, decision.reply)
    settle_counts(stand, made)


def settle_counts(stand, made):
    """All of these have been received, and decided that come to nothing."""
    names = {methods.interface_of(each.method) for each in made} & set(stand.model.counts)

    def come():
        counts = stand.counts()
        return all(counts[name][0] == stand.model.counts[name][0] and counts[name][4] == stand.model.counts[name][4]
                   for name in names)
    stand.wait(come, "the count of what came and what is never answered")
