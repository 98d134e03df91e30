"""The mutants that no test can see, each with its reason: python/mutate/survivors.txt."""
import os
from dataclasses import dataclass

from trelvik.files import read

PLACE = os.path.join(os.path.dirname(os.path.realpath(__file__)), "survivors.txt")


class Wrong(Exception):
    """A list that is not true, and what to do."""


@dataclass(frozen=True)
class Listed:
    file: str
    before: str
    after: str
    reason: str

    @property
    def key(self):
        return self.file, self.before, self.after


def parse(text):
    """Blocks between empty lines: the file; a line with "- ", as it is; one with "+ ", as it would be; the reason."""
    found = {}
    for block in filter(None, (block.strip("\n") for block in text.split("\n\n"))):
        lines = [line for line in block.splitlines() if not line.startswith("#")]
        if not lines:
            continue
        if len(lines) < 4 or not lines[1].startswith("- ") or not lines[2].startswith("+ "):
            raise Wrong(f"survivors.txt: this is no file, - line, + line and reason:\n{block}")
        entry = Listed(lines[0], lines[1][2:], lines[2][2:], " ".join(lines[3:]))
        if entry.key in found:
            raise Wrong(f"survivors.txt: {entry.file} has this twice: {entry.after}")
        found[entry.key] = entry
    return found


def listed(mutants):
    """What is listed, held against all mutants that there are."""
    found = parse(read(PLACE))
    there_are = {key(mutant) for mutant in mutants}
    gone = [entry for entry in found.values() if entry.key not in there_are]
    if gone:
        raise Wrong("\n".join(["survivors.txt lists mutants of code that is gone; take them out:",
                               *(f"  {entry.file}: {entry.before}  ->  {entry.after}" for entry in gone)]))
    return found


def key(mutant):
    return mutant.file, mutant.before, mutant.after
