"""The bus dies, and the daemon with it; the supervisor starts the daemon again, and the bus returns."""
from storm import methods
from storm.exchange import enqueue, probe
from storm.logged import like
from storm.model import main_line

from .requests import with_iss

NOT_THERE = "[WARNING] otnbus:* (open) - Component Trelvik is not on the bus yet, trying again: *"
START = 5
"""Seconds that a start waits for the bus."""


def bus(stand, chance):
    """Whoever waits for an answer gets none. A daemon that starts before the bus waits 5 s for it, and then ends."""
    stand.balance()
    if chance.random() < 0.7:
        with_iss(stand, chance)
        for _ in range(chance.randrange(4)):
            enqueue(stand, methods.PORTS, probe(chance))
    stand.barrier()
    stand.bus_dies()
    stand.begin_anew()
    while chance.random() < 0.25:
        _start_without(stand, ends=True)
    late = chance.random() < 0.6
    if late:
        _start_without(stand, ends=False)
    stand.board.start_bus()
    stand.join_bus()
    if not late:
        stand.launch()
    stand.meet()


def _start_without(stand, ends):
    """The supervisor starts a daemon that finds no bus; returns when that is told, or the daemon has ended."""
    since = stand.board.log.mark()
    stand.launch(bus=False)
    stand.expect_always(like("WARNING", r"otnbus:\d+ \(open\) - Component Trelvik is not on the bus yet, trying again: .*"))
    stand.wait(lambda: stand.board.log.find(NOT_THERE, since), "word of the missing bus")
    if not ends:
        return
    stand.model.expect(main_line("ERROR", 187, "Failed to start OTN bus thread"))
    stand.board.wait_exit(255, limit=START + 3)
    stand.check_lines()
