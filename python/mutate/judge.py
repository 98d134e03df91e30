"""Several jobs, each with its scratch copy, go through the sample until so many mutants are judged."""
import threading

from . import unit
from .operators import LOCK
from .scratch import NotCompiled
from .verdicts import E2E, LATE, LOCKS, REFUSED, SURVIVED, UNIT, Verdict


def judge(scratch, mutant, end_to_end):
    scratch.put(mutant)
    try:
        if mutant.operator == LOCK and scratch.locks_refused(mutant.file):
            return Verdict(LOCKS, "Clang's analysis of the locks")
        found = unit.kills(scratch, mutant)
        if found:
            return Verdict(LATE if found[1] else UNIT, found[0])
        found = end_to_end.kills(scratch, mutant) if end_to_end else None
        if found:
            return Verdict(LATE if found[1] else E2E, found[0])
        return Verdict(SURVIVED)
    except NotCompiled:
        return Verdict(REFUSED)
    finally:
        scratch.clear()


class Judging:
    """Takes as many from the sample as it takes until `count` are judged; what does not compile does not count, and the
    next is drawn. The jobs do not change which these are."""

    def __init__(self, sample, count, kept, told):
        self.sample = iter(sample)
        self.count = count
        self.kept = kept
        self.told = told
        self.verdicts = []
        self.open = 0
        self.change = threading.Condition()
        self.failure = None

    def run(self, scratches, end_to_end):
        jobs = [threading.Thread(target=self._work, args=(scratch, end_to_end)) for scratch in scratches]
        for job in jobs:
            job.start()
        try:
            for job in jobs:
                job.join()
        except KeyboardInterrupt:
            # What is judged counts.
            with self.change:
                self.count = 0
                self.change.notify_all()
            for job in jobs:
                job.join()
        if self.failure:
            raise self.failure
        return self.verdicts

    def _next(self):
        with self.change:
            while self.open and self.open + self._counted() >= self.count and not self.failure:
                self.change.wait()
            if self.failure or self._counted() >= self.count:
                return None
            mutant = next(self.sample, None)
            self.open += mutant is not None
            return mutant

    def _counted(self):
        return sum(verdict.how != REFUSED for _, verdict in self.verdicts)

    def _work(self, scratch, end_to_end):
        try:
            for mutant in iter(self._next, None):
                verdict = self.kept.get(mutant)
                if verdict is None:
                    verdict = judge(scratch, mutant, end_to_end)
                    self.kept.put(mutant, verdict)
                with self.change:
                    self.open -= 1
                    self.verdicts.append((mutant, verdict))
                    self.told(mutant, verdict, self._counted())
                    self.change.notify_all()
        except BaseException as failure:  # pylint: disable=broad-except
            with self.change:
                self.failure = failure
                self.change.notify_all()
