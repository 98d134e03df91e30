"""ISS's end of the connection: it goes, it floods, and the clock jumps meanwhile."""
import time

from storm import reports, turns, values
from storm.deviation import Deviation
from storm.exchange import drain

from .requests import plain, with_iss

BUNCH, FLOOD = 4, 40
RETRY = 5
"""Seconds from a loss to the next attempt."""
EARLY, LATE = 0.1, 3
HOUR, DAY = 3600, 86400
JUMPS = (1, -1, 90, -90, HOUR, -HOUR, 400 * DAY, -400 * DAY)


def loss(stand, chance):
    turns.loss(stand, chance)


def flood(stand, chance):
    """Reports in their hundreds, with a message outstanding."""
    with_iss(stand, chance)
    for _ in range(FLOOD):
        stand.say(*(values.port_status(chance) if chance.random() < 0.7 else reports.cpu(chance) for _ in range(BUNCH)))
        stand.ops.wait_all_read()
    drain(stand, chance)


def clock_jumps(stand, chance):
    """No interval follows the clock of the day; what the status tells in it does."""
    plain(stand, chance)
    stand.barrier(read=True)
    before = stand.status()["sinceMs"]
    stand.clock.jump(stand.clock.offset + chance.choice(JUMPS))
    if stand.status()["sinceMs"] != before:
        raise Deviation("the time since when the link is as it is", before, stand.status()["sinceMs"])
    turns.go(stand, reset=False, refused=False)
    lost = time.monotonic()
    stand.clock.jump(stand.clock.offset + chance.choice(JUMPS))
    stand.accept()
    took = time.monotonic() - lost
    if not RETRY - EARLY <= took <= RETRY + LATE:
        raise Deviation("the connection after a loss, while the clock jumps", f"after {RETRY} s", f"after {took:.2f} s")
    reports.become_ready(stand, chance)
    stand.barrier()
    told, now = stand.status()["sinceMs"] / 1000, stand.clock.now()
    if not now - LATE <= told <= now + EARLY:
        raise Deviation("since when ISS is ready, by a clock that has jumped", f"{now:.1f} or a little before", told)
    plain(stand, chance)
