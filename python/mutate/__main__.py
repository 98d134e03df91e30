"""Mutants of the daemon, and whether its tests see them: scripts/mutate."""
import itertools
import os
import signal
import subprocess
import sys

from trelvik.places import LIB, REPO

from . import commandline, report, sample, survivors
from .build import Build
from .e2e import EndToEnd
from .judge import Judging
from .scratch import Scratch
from .verdicts import Kept

PLACE = os.path.join(REPO, "build/mutate")


def drawn(options, listed):
    """The sample without what is listed, and how many of those it has passed over so far."""
    passed = []

    def left():
        for mutant in sample.drawn(REPO, options.seed, options.file or sample.files(REPO)):
            if survivors.key(mutant) in listed:
                passed.append(mutant)
            else:
                yield mutant
    return left(), passed


def judged(options, mutants):
    directory = options.build or os.path.join(REPO, "build/release")
    if not options.build and subprocess.run([os.path.join(LIB, "stage-mutate")], check=False).returncode:
        sys.exit(1)
    build = Build(directory)
    os.makedirs(PLACE, exist_ok=True)
    scratches = [Scratch(build, os.path.join(PLACE, f"job{number}-{os.getpid()}"))
                 for number in range(min(options.jobs, options.count))]
    kept = Kept(os.path.join(PLACE, "verdicts.txt"), options.afresh)
    end_to_end = None if options.unit else EndToEnd(os.path.join(build.directory, "stage"))
    judging = Judging(mutants, options.count, kept,
                      lambda mutant, verdict, counted: report.one(mutant, verdict, counted, options.count))
    try:
        return judging.run(scratches, end_to_end)
    finally:
        for scratch in scratches:
            scratch.remove()


def main():
    options = commandline.parse(sys.argv[1:])
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    try:
        listed = survivors.listed(sample.all_of(REPO))
    except survivors.Wrong as wrong:
        print(f"scripts/mutate: {wrong}", file=sys.stderr)
        return 1
    mutants, equivalent = drawn(options, listed)
    if options.list:
        for mutant in itertools.islice(mutants, options.count):
            print(f"{mutant.operator}: {report.change(mutant)}")
        return 0
    verdicts = judged(options, mutants)
    print(report.show(verdicts, len(equivalent), options.seed))
    return 0 if report.percent(verdicts) >= report.GOAL else 1


if __name__ == "__main__":
    sys.exit(main())
