"""A board whose ISS is scripted: the storm's oracle knows what each request must lead to, whatever happens to the board."""
import random

from storm import steps, turns
from storm.deviation import Deviation
from storm.stand import Tally
from trelvik.bus import BusError

from . import deaths, limits, links, peers, places, stops, threads
from .clock import Clock
from .known import Catalogue
from .requests import plain
from .stand import Stand

DISTURBANCES = {
    "daemon stopped": stops.daemon,
    "bus stopped": stops.bus,
    "caller stopped": stops.caller,
    "ISS stalls": stops.ops,
    "ISS floods": links.flood,
    "ISS leaves": links.loss,
    "callers come and go": peers.come_and_go,
    "callers flood": peers.flood,
    "ISS starts or stops": turns.trigger,
    "/tmp full": places.full_tmp,
    "/persistency read-only": places.read_only_persistency,
    "no descriptors": limits.descriptors,
    "clock jumps": links.clock_jumps,
}
BUS_DIES, NO_THREADS, SMALL = "bus dies and returns", "no threads", "64 MiB of address space"
WARM = 60
"""Steps after which a daemon has all that it keeps."""


def a_step(stand, chance):
    chance.choices(tuple(steps.STEPS), tuple(steps.STEPS.values()))[0](stand, chance)


def settle_in(stand, chance):
    """A daemon that has just met ISS becomes ready and used to its work; then its books are opened."""
    turns.begin(stand, chance)
    for _ in range(WARM):
        a_step(stand, chance)
    # What makes it take the most memory.
    peers.flood(stand, chance)
    stops.bus(stand, chance)
    stand.checkpoint()
    stand.open_books()


class Board:
    def __init__(self, number, seed, ending, ledger, user):
        self._user = user
        self._number, self._seed, self._ending = number, seed, ending
        self._ledger = ledger
        self._tally = Tally()
        self._clock = Clock(f"/run/clock-{number}")
        self._catalogue = None
        self._turn = 0
        self._stand = None

    @property
    def sandboxed(self):
        return self._stand.board if self._stand else None

    def close(self):
        if self._stand is not None:
            self._stand.close()
            self._stand = None

    def _chance(self):
        """Each turn has a chance of its own, whatever came before."""
        self._turn += 1
        return random.Random(f"{self._seed} {self._number} {self._turn}")

    def run(self):
        """One life after another; returns the deviation, or None."""
        try:
            while not self._ending.over():
                self._one_life(self._life)
                if threads.possible(self._user) and not self._ending.over():
                    self._one_life(self._life_without_threads)
        except Deviation as deviation:
            return deviation
        except (AssertionError, BusError, OSError) as error:
            return Deviation("a board", "to go on", f"{type(error).__name__}: {error}")
        return None

    def _one_life(self, live):
        self._ledger.under = "nothing"
        self._catalogue = Catalogue()
        self._clock.jump(0)
        self._stand = Stand(self._chance(), self._tally, self._ledger, self._catalogue, self._clock)
        live(self._chance())
        self.close()

    def _life(self, chance):
        stand = self._stand
        calm = SMALL if stand.small else "nothing"
        self._ledger.begins(calm)
        stand.start()
        settle_in(stand, self._chance())
        deck = [*DISTURBANCES.items(), (BUS_DIES, self._bus_dies)]
        chance.shuffle(deck)
        for name, disturb in deck:
            if self._ending.over():
                break
            self._ledger.under = calm
            for _ in range(chance.randrange(2, 9)):
                a_step(stand, self._chance())
            self._ledger.begins(name)
            disturb(stand, self._chance())
            plain(stand, chance)
            stand.checkpoint()
            stand.balance()
        self._ledger.under = calm
        stand.finish()
        stand.catalogue.check(stand.board.log)

    def _bus_dies(self, stand, chance):
        deaths.bus(stand, chance)
        settle_in(stand, chance)

    def _life_without_threads(self, chance):
        self._ledger.begins(NO_THREADS)
        self._stand.small = False
        threads.carry_out(self._stand, chance, self._user)
        self._catalogue.check(self._stand.board.log)
