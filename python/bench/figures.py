"""What was found out, as figures: medians of the rounds, and the lines of the table."""
import statistics
from dataclasses import dataclass

from . import instructions
from .plan import PLACEMENTS, ROWS, SUBJECTS


class Figures:
    """`found` is what `outside.measure` returns."""

    def __init__(self, found):
        self.found = found
        self.daemons = [name for name in SUBJECTS if name in found["memory"]]
        self._runs = {}
        for run in found["runs"]:
            self._runs.setdefault((run["row"], run["placement"], run["subject"]), []).append(run)

    def median(self, row, placement, subject, take):
        """The median over the rounds of what `take` takes of a run; None where there is no run."""
        runs = self._runs.get((row, placement, subject))
        return statistics.median(map(take, runs)) if runs else None

    def percentile(self, percent, row, placement, subject):
        return self.median(row, placement, subject, lambda run: run["percentiles"][percent])

    def value(self, key, row, placement, subject):
        return self.median(row, placement, subject, lambda run: run[key])

    def cpu(self, row, placement, subject, whose="subject"):
        return self.median(row, placement, subject, lambda run: run["cpu"].get(whose, 0))

    def threads(self, row, placement, subject):
        """[(name, median microseconds)] of the subject's threads, in their order."""
        runs = [dict(run["threads"]) for run in self._runs.get((row, placement, subject), [])]
        names = list(dict.fromkeys(name for run in runs for name in run))
        return [(name, statistics.median(run.get(name, 0) for run in runs)) for name in names]

    def distribution(self, row, placement, subject):
        """The median of each percentile; empty where there is no run."""
        runs = self._runs.get((row, placement, subject), [])
        return [statistics.median(column) for column in zip(*(run["percentiles"] for run in runs))]

    def once(self, what, subject, key=None):
        found = self.found[what].get(subject)
        return found[key] if key and found else found

    def life(self, subject, key):
        """Median milliseconds of the starts or the stops."""
        times = self.found["starts"].get(subject)
        return statistics.median(time[key] for time in times) if times else None


@dataclass
class Line:
    """A line of the table; what is None is left empty. `ratio` says whether here is to be compared with the floor."""
    title: str
    unit: str
    floor: float | None
    here: float | None
    baseline: float | None = None
    ratio: bool = False


def lines(figures):
    """The table's lines in groups: [(title, [Line])]"""
    groups = [(f"Requests, {words}", rows_of(figures, placement)) for placement, words in PLACEMENTS.items()]
    groups += [("CPU time of the daemon per request", cpu_lines(figures)), ("The process", process_lines(figures))]
    return groups


def rows_of(figures, placement):
    def line(title, unit, take, row, ratio=True):
        return Line(title, unit, *(take(row, placement, subject) for subject in SUBJECTS), ratio=ratio)

    def percentile(percent):
        return lambda *where: figures.percentile(percent, *where)

    def value(key):
        return lambda *where: figures.value(key, *where)

    found = [line("one caller, p50", "us", percentile(50), "one"), line("one caller, p99", "us", percentile(99), "one"),
             line("8 callers", "requests/s", value("rate"), "eight")]
    for row in ("eight", "many", "crowd"):
        found.append(line(f"{ROWS[row].title}, time per answer", "us", value("each"), row))
        if ROWS[row].overflows:
            found.append(line(f"{ROWS[row].title}, overflow answers", "%", value("overflows"), row, ratio=False))
            found.append(line(f"{ROWS[row].title}, time per request carried out", "us", value("carried"), row))
    for row in ("debug", "query"):
        found += [line(f"{ROWS[row].title}, p50", "us", percentile(50), row),
                  line(f"{ROWS[row].title}, p99", "us", percentile(99), row)]
    found += [line("bare exchange with OPS, p50", "us", percentile(50), "exchange", ratio=False),
              line("the first of two records alone, p50", "us", percentile(50), "alone", ratio=False),
              line("request of two records, p50", "us", percentile(50), "two", ratio=False)]
    return found


def cpu_lines(figures):
    return [Line(f"{ROWS[row].title}, {words}", "us", *(figures.cpu(row, placement, subject) for subject in SUBJECTS))
            for row in ("one", "eight", "debug", "query") for placement, words in PLACEMENTS.items()]


def process_lines(figures):
    def line(title, unit, what, key=None):
        return Line(title, unit, None, *(figures.once(what, subject, key) for subject in SUBJECTS[1:]))

    found = [Line(title, "ms", None, *(figures.life(subject, key) for subject in SUBJECTS[1:]))
             for title, key in (("start to connected", "start"), ("stop", "stop"))]
    found += [line("memory, its part of what is shared", "KiB", "memory", "pss"),
              line("memory, resident", "KiB", "memory", "rss"),
              line("memory of a waiting request", "KiB", "waiting"),
              line(f"growth over {figures.once('memory', 'here', 'requests'):,} requests", "KiB", "memory", "growth"),
              Line("log statement below the level", "ns", None, figures.found["log statement"])]
    for kind, title in instructions.KINDS.items():
        if kind in figures.once("instructions", "here"):
            found.append(line(f"instructions, {title}", "", "instructions", kind))
    return found
