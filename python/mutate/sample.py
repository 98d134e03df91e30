"""Which files there are, and the order in which a seed draws their mutants."""
import os
import random

from trelvik.files import read

from . import operators

ROOTS = ("src", "platform")


def files(top):
    return sorted(os.path.relpath(os.path.join(folder, name), top) for root in ROOTS
                  for folder, _, names in os.walk(os.path.join(top, root))
                  for name in names if name.endswith((".cpp", ".h")))


def room(file):
    """What a row of the report is for: src/services/ports, platform/board."""
    return os.path.dirname(file)


def drawn(top, seed, wanted):
    """Every mutant of these files, one of each place, in an order of which each beginning has of every file the share that
    its places are of all."""
    found = []
    for file in wanted:
        chance = random.Random(f"{seed} {file}")
        places = operators.find(file, read(top, file))
        chance.shuffle(places)
        found += [((index + chance.random()) / len(places), chance.choice(place)) for index, place in enumerate(places)]
    return [mutant for _, mutant in sorted(found, key=lambda entry: (entry[0], entry[1].file, entry[1].start))]


def all_of(top):
    return [mutant for file in files(top) for place in operators.find(file, read(top, file)) for mutant in place]
