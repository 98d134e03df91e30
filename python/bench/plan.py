"""What is measured: the rows, where the programs run, and how many requests each run takes."""
from dataclasses import dataclass

PLACEMENTS = {"free": "free placement", "one": "one CPU"}
SUBJECTS = ("floor", "here", "baseline")
ROUNDS = 5


@dataclass(frozen=True)
class Row:
    """One thing to ask of the subjects, in each placement."""
    key: str
    title: str
    kind: str  # of trelvik-caller
    count: int
    callers: int = 1
    records: int = 1  # that OPS gets for a request
    floor: tuple = ("trelvik-floor",)  # the program in the daemon's place; () = nobody is asked
    subjects: tuple = SUBJECTS
    overflows: bool = False  # more callers than the ring has slots


ROWS = {row.key: row for row in (
    Row("one", "one caller", "probe", 3000),
    Row("eight", "8 callers", "probe", 8000, callers=8),
    Row("many", "64 callers", "probe", 8000, callers=64, overflows=True),
    Row("crowd", "256 callers", "probe", 8000, callers=256, overflows=True),
    Row("debug", "debug socket", "debug", 3000, floor=("trelvik-floor", "--debug")),
    Row("query", "trace-level query", "query", 4000, records=0, floor=("trelvik-echo",)),
    Row("exchange", "bare exchange with OPS", "exchange", 3000, floor=(), subjects=("floor",)),
    Row("alone", "the first of two records alone", "alone", 2500, subjects=("here", "baseline")),
    Row("two", "request of two records", "rule", 2500, records=2, subjects=("here", "baseline")),
)}


@dataclass(frozen=True)
class Size:
    """How much of it one call of scripts/bench does."""
    rounds: int = ROUNDS
    share: float = 1.0  # of each row's count
    growth: int = 100_000  # requests between two looks at the memory
    warm_up: int = 20_000
    waiting: int = 500  # requests that wait at once; the daemon lets 1024
    instructions: int = 1000  # requests that are counted
    every_kind: bool = True  # instructions of every kind of request, or of the plain one

    def count(self, row):
        return max(row.callers, int(row.count * self.share))


def size(short, long, refresh):
    if short:
        return Size(rounds=1, share=0.1, growth=2000, warm_up=1000, waiting=100, instructions=500, every_kind=refresh)
    return Size(growth=1_000_000) if long else Size()
