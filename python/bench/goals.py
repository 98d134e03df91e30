"""The goals, and whether each is met."""
from dataclasses import dataclass

from . import instructions
from .plan import PLACEMENTS, ROWS


@dataclass
class Goal:
    text: str
    limit: float
    value: float | None = None  # None = not judged in this run, for the reason in `why`
    at_least: bool = False
    why: str = ""

    @property
    def met(self):
        """None where it is not judged."""
        if self.value is None:
            return None
        return self.value >= self.limit if self.at_least else self.value <= self.limit


def judge(figures):
    """Every goal, those of one placement behind each other."""
    found = []
    for placement, words in PLACEMENTS.items():
        found += [
            Goal(f"one caller, {words}: p50 over the floor's", 1.40, over_floor(figures, 50, "one", placement)),
            Goal(f"one caller, {words}: p99 over the floor's", 1.60, over_floor(figures, 99, "one", placement)),
            Goal(f"8 callers, {words}: rate over the floor's", {"free": 0.45, "one": 0.60}[placement],
                 quotient(figures.value("rate", "eight", placement, "here"),
                          figures.value("rate", "eight", placement, "floor")), at_least=True)]
        found += [Goal(f"{ROWS[row].title}, {words}: time per answer over that of 8", 1.20,
                       quotient(figures.value("each", row, placement, "here"),
                                figures.value("each", "eight", placement, "here"))) for row in ("many", "crowd")]
        found += [Goal(f"trace-level query, {words}: p50 over the bare echo's", 1.25,
                       over_floor(figures, 50, "query", placement)),
                  Goal(f"two records, {words}: p50 over the first one's alone and a bare exchange", 1.10,
                       two_over_alone(figures, placement))]
        found += [Goal(f"{ROWS[row].title}, {words}: CPU time over the baseline's", 0.50,
                       quotient(figures.cpu(row, placement, "here"), figures.cpu(row, placement, "baseline")),
                       why="needs --baseline COMMIT") for row in ("one", "eight")]
    found += [Goal("debug socket, one CPU: p50 over the floor's", 1.30, over_floor(figures, 50, "debug", "one")),
              Goal("log statement below the level, ns", 2.0, figures.found["log statement"]),
              Goal(f"growth over {figures.once('memory', 'here', 'requests'):,} requests, KiB", 0,
                   figures.once("memory", "here", "growth"))]
    return found


def judge_instructions(counted, kept):
    """Whether each kind takes what is kept of it, within the tolerance."""
    return [Goal(f"{title}: instructions away from the kept {kept[kind]:,}, %", 100 * instructions.TOLERANCE,
                 round(100 * abs(counted[kind] / kept[kind] - 1), 3)) if kind in kept else
            Goal(f"{title}: instructions away from the kept ones, %", 100 * instructions.TOLERANCE,
                 why=f"none are kept for {instructions.processor()}: --refresh keeps this run's")
            for kind, title in instructions.KINDS.items() if kind in counted]


def quotient(number, divisor):
    return number / divisor if number is not None and divisor else None


def over_floor(figures, percent, row, placement):
    return quotient(figures.percentile(percent, row, placement, "here"),
                    figures.percentile(percent, row, placement, "floor"))


def two_over_alone(figures, placement):
    return quotient(figures.percentile(50, "two", placement, "here"),
                    figures.percentile(50, "alone", placement, "here") +
                    figures.percentile(50, "exchange", placement, "floor"))
