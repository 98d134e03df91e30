"""The storm itself, in its sandbox: one daemon after another, until the time is over or something deviates."""
import argparse
import math
import random
import sys
import time

from trelvik.bus import BusError

from storm import steps, turns
from storm.deviation import Deviation
from storm.stand import Stand, Tally

LIFE = 2400
"""Steps of one daemon."""
CHECK, LOSS, TRIGGER = 25, 800, 1100
"""So many steps lie between two looks at everything, two losses of the connection, two triggers."""


def chance_of(seed, step):
    """Each step has a chance of its own, whatever came before."""
    return random.Random(f"{seed} {step}")


def one_step(stand, chance, number):
    place = number % LIFE
    if place % LOSS == LOSS // 2:
        turns.loss(stand, chance)
    elif place % TRIGGER == TRIGGER // 2:
        turns.trigger(stand, chance)
    else:
        chance.choices(tuple(steps.STEPS), tuple(steps.STEPS.values()))[0](stand, chance)
    if place % CHECK == CHECK - 1:
        stand.checkpoint()


def life(seed, first, end, last, tally):
    """One daemon, from the step `first` on; returns the next step and the deviation, if there was one."""
    number = first
    stand = Stand(chance_of(seed, number), tally)
    try:
        stand.start()
        turns.begin(stand, chance_of(seed, f"{number} begins"))
        while number < min(first + LIFE, last) and time.monotonic() < end:
            one_step(stand, chance_of(seed, number), number)
            number += 1
        stand.finish()
        return number, None
    except Deviation as deviation:
        return number, deviation
    except (AssertionError, BusError, OSError) as error:
        runs = "runs" if stand.board.running else "does not run"
        return number, Deviation("a daemon among its peers", "to go on", f"{type(error).__name__}: {error}; it {runs}")
    finally:
        stand.close()


def storm(seed, end, last, tally):
    """Returns the step at which it ended, and the deviation."""
    number, deviation = 0, None
    while deviation is None and number < last and time.monotonic() < end:
        number, deviation = life(seed, number, end, last, tally)
    return number, deviation


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--minutes", type=float, required=True)
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--steps", type=int, default=sys.maxsize)
    options = parser.parse_args()
    print(f"seed {options.seed}", flush=True)
    tally = Tally()
    start = time.monotonic()
    step, deviation = storm(options.seed, start + 60 * options.minutes, options.steps, tally)
    took = time.monotonic() - start
    if deviation:
        print(f"deviation after {took:.1f} s at request {tally.number}, step {step}, seed {options.seed}:\n{deviation}\n"
              f"again: scripts/storm {max(1, math.ceil(took / 20))} --seed {options.seed} --steps {step + 1}")
    interfaces = ", ".join(f"{name} {count}" for name, count in sorted(tally.requests.items()))
    print(f"seed {options.seed}: {sum(tally.requests.values())} requests in {took:.0f} s ({interfaces}) of {tally.daemons} "
          f"daemons with {tally.losses} losses of OPS; compared {tally.records} records, {tally.replies} replies, "
          f"{tally.signals} signals, {tally.lines} log lines; deviations: {1 if deviation else 0}")
    return 1 if deviation else 0


if __name__ == "__main__":
    sys.exit(main())
