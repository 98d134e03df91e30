"""What became of each mutant, kept from run to run: one that was killed is not tried again while its file is as it was."""
import hashlib
import os
import threading
from dataclasses import dataclass

from trelvik.files import read
from trelvik.places import REPO

from . import sample

LOCKS, UNIT, E2E, LATE, SURVIVED, REFUSED = "locks", "unit", "e2e", "timeout", "survived", "not compiled"
KILLED = (LOCKS, UNIT, E2E, LATE)


@dataclass
class Verdict:
    how: str
    test: str = ""
    """Which killed it."""


class Kept:
    """A line for each verdict; of two of the same mutant the later counts."""

    def __init__(self, path, afresh):
        self.path = path
        self.sources = {file: read(REPO, file) for file in sample.files(REPO)}
        self.lock = threading.Lock()
        self.known = {}
        if os.path.exists(path) and not afresh:
            for line in read(path).splitlines():
                name, how, test = line.split("\t")
                self.known[name] = Verdict(how, test)

    def name(self, mutant):
        text = f"{self.sources[mutant.file]}\0{mutant.start}\0{mutant.end}\0{mutant.new}"
        return f"{mutant.file} {hashlib.sha256(text.encode()).hexdigest()[:24]}"

    def get(self, mutant):
        """None for one that is to be tried."""
        found = self.known.get(self.name(mutant))
        return found if found and found.how != SURVIVED else None

    def put(self, mutant, verdict):
        with self.lock, open(self.path, "a", encoding="utf-8") as file:
            file.write(f"{self.name(mutant)}\t{verdict.how}\t{verdict.test}\n")
