"""What is measured apart from the rows: memory, growth, what a waiting request takes, the cost of a log statement."""
import contextlib
import json

from trelvik import life_cycle
from trelvik.bus import COMMON, Bus


def memory(stand, daemon, warm_up, growth):
    """KiB of an idle daemon, and how much it grew by over many requests when the first had been there."""
    with stand.daemon(daemon) as turn:
        idle = turn.program.memory()
        # So many callers need every worker there can be.
        stand.call("probe", callers=64, count=warm_up)
        before = turn.program.memory()
        stand.call("probe", callers=8, count=growth)
        return {**idle, "growth": turn.program.memory()["rss"] - before["rss"], "requests": growth}


def waiting(stand, daemon, count):
    """KiB that each of so many requests takes while the life cycle's trigger keeps the bus thread."""
    life_cycle.install()
    with stand.daemon(daemon) as turn, peer(stand.address) as bus:
        life_cycle.trigger(bus, life_cycle.STARTED)
        see_all_taken(bus)
        before = turn.program.memory()["pss"]
        for number in range(count):
            bus.set_port_params(3, 1 + number % 28)
        see_all_taken(bus)
        return (turn.program.memory()["pss"] - before) / count


@contextlib.contextmanager
def peer(address):
    bus = Bus(address)
    try:
        yield bus
    finally:
        bus.leave()


def see_all_taken(bus):
    """Returns when the daemon has all that was sent: it answers this one while a handler keeps its bus thread."""
    bus.introspect(COMMON[0])


def log_statement(stand):
    """Nanoseconds of a log statement that the trace level does not admit."""
    with stand.running([stand.tool("trelvik-logcost")]) as program:
        return json.loads("{" + program.hear("{"))["ns"]
