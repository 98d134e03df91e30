"""Requests of several callers while nothing leaves the ring: which of them have found room is seen from outside."""
from . import methods, values
from .deviation import Deviation, same
from .exchange import Pool
from .rules import FLUSH_ONLY, LAN, NAMES, WAN

BUS_METHODS = (methods.PORTS, methods.SYNC_E, methods.RULES, methods.SMART_SFP)
ANY = (*BUS_METHODS, methods.REDUNDANCY, methods.DEBUG)


def _depends(method, args):
    """On what answers to other requests bring."""
    if method is methods.RULES:
        return args[NAMES.index("rule")] in (LAN, WAN)
    if method is methods.PORTS:
        return args[0] == 2
    return method is methods.SMART_SFP and args[0] != 0


def queued(stand, chance, count, independent=False):
    """Requests of which no two make the same first record."""
    made, seen = [], set()
    for _ in range(count):
        if not independent and chance.random() < 0.3:
            method, args = values.related(chance, stand.model.state)
        else:
            method, args = values.request(chance, BUS_METHODS if independent else ANY)
        if independent and _depends(method, args):
            method, args = methods.RULES, (FLUSH_ONLY, 0, 0, 0, 1, chance.getrandbits(32), *values.rule(chance)[6:])
        decision = method.decide(stand.model.state, args, 0)
        if decision.records and decision.records[0] in seen:
            continue
        seen.update(decision.records[:1])
        made.append(stand.new(method, args))
    return made


def held(stand, chance, count):
    """Sends that many while the ring gives nothing away, and finds out what became of each; returns those in the ring."""
    made = queued(stand, chance, count)
    before = stand.status()
    for each in made:
        stand.issue(each, chance.choice(stand.callers))
    return settle(stand, made, before["ringUsed"], before["interfaces"])


def settle(stand, made, used, counts):
    model = stand.model
    pool = Pool(stand, made, placed=True)
    decisions = {each: pool.decide(each, model.written) for each in made}
    returned = []

    def settled():
        while stand.board.debug is not None and (datagram := stand.board.debug.receive_now()) is not None:
            returned.append(datagram)
        status = stand.status()
        now = status["interfaces"]
        if status["requestsWaiting"] or any(now[name][0] != model.counts[name][0] for name in model.counts):
            return False
        silent = sum(now[name][4] - counts[name][4] for name in model.counts)
        if silent != sum(decision.silent for decision in decisions.values()):
            return False
        waiting = -len(returned)
        red = methods.interface_of(methods.REDUNDANCY)
        waiting -= now[red][3] - counts[red][3]
        for each, decision in decisions.items():
            if each.call is None:
                waiting += len(decision.records)
            elif decision.reply is not None and not each.call.answered:
                return False
            elif not each.call.answered:
                waiting += len(decision.records)
        return status["ringUsed"] - used == waiting
    stand.wait(settled, "every request to be queued or answered")
    signals_lost = stand.counts()[methods.interface_of(methods.REDUNDANCY)][3] \
        - counts[methods.interface_of(methods.REDUNDANCY)][3]
    return _judge(stand, pool, made, decisions, returned, signals_lost)


def _rivals(model, answered):
    """Deletions of one rule, all of them answered: the first took its ids, and the others found none."""
    by_rule = {}
    for each in answered:
        if each.method is methods.RULES and model.decide(each).takes:
            asked = dict(zip(NAMES, each.args))
            key = tuple(asked[name] for name in ("port", "mpls_label", "pw_label")) if asked["rule"] == WAN else LAN
            by_rule.setdefault(key, []).append(each)
    return {each for group in by_rule.values() if len(group) > 1 for each in group}


def _judge(stand, pool, made, decisions, returned, signals_lost):
    model = stand.model
    accepted, answered = [], []
    for each in made:
        decision = decisions[each]
        if each.method is methods.DEBUG:
            (answered if decision.overflow in returned else accepted).append(each)
        elif each.call is not None and each.call.answered:
            answered.append(each)
        elif decision.silent:
            model.settled(each, decision)
            if each.call is not None:
                stand.silent.append(each)
        else:
            accepted.append(each)
    total = 0
    for each in accepted:
        decision = model.decide(each)
        if decision.reply is not None:
            raise Deviation(str(each), f"reply {decision.reply}", "it waits in the ring")
        if each.method is not methods.REDUNDANCY:
            total += len(decision.records)
            model.settled(each, decision)
    signals = [each for each in accepted if each.method is methods.REDUNDANCY]
    for place, each in enumerate(signals):
        total += place >= signals_lost
        model.settled(each, decisions[each], full=place < signals_lost)
    model.written = (model.written + total) % 20
    used = (model.written - model.read) % 20
    if used > (18 if model.written >= model.read else 19):
        raise Deviation("messages in the ring", "18, or 19 when it has wrapped", used)
    rivals = _rivals(model, answered)
    for each in answered:
        decision = model.decide(each)
        full = decision.reply is None
        if each in rivals and not full:
            # Which of them came first, and so found no room instead, only the daemon knows.
            model.possible.append(decision.lines.pop())
        if full and model.fits(len(decision.records)):
            raise Deviation(str(each), "its records in the ring, which has room", each.call and each.call.reply())
        model.settled(each, decision, full)
        if each in rivals and full:
            refused = model.decide(each)
            model.possible += [refused.lines[-1], refused.overflow_line]
            model.doubtful += refused.discarded
        if each.method is methods.DEBUG:
            same(f"datagram that found no room, {each}", 1, returned.count(decision.overflow))
            stand.answered(each)
        else:
            stand.expect_reply(each, decision.overflow if full else decision.reply)
    if signals_lost and model.fits(1):
        raise Deviation("redundancy state", "its record in the ring, which has room", "no room")
    pool.waiting, pool.lost = accepted, signals_lost
    return pool
