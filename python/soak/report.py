"""What is told at the end: a row for each disturbance, and each deviation in words."""
from collections import Counter

from .ledger import COLUMNS


class Report:
    def __init__(self, options):
        self._options = options
        self._rows = {}
        self._deviations = []
        self._boards = self._grown = 0

    def add(self, board, result):
        self._boards += 1
        self._grown = max(self._grown, result["grown"])
        for name, counts in result["rows"].items():
            self._rows.setdefault(name, Counter()).update(counts)
        if result["deviation"]:
            self._deviations.append((board, result))

    def show(self):
        """Prints it; returns the exit status."""
        for board, result in self._deviations:
            print(f"deviation of board {board.number} ({board.kind}) after {result['after']:.1f} s, under "
                  f"\"{result['under']}\", seed {self._options.seed}:\n{result['deviation']}")
        widths = [max(map(len, (*self._rows, "disturbance"))), *(max(len(name), 7) for name in COLUMNS)]
        self._line(widths, "disturbance", *COLUMNS)
        for name in sorted(self._rows):
            self._line(widths, name, *(self._rows[name][column] for column in COLUMNS))
        total = sum(self._rows.values(), Counter())
        self._line(widths, "all", *(total[column] for column in COLUMNS))
        deviations = len(self._deviations)
        print(f"seed {self._options.seed}: {self._boards} boards, {total['requests']} requests, {total['answered']} "
              f"answered, {total['silent']} silent as documented; a daemon's memory grew by {self._grown} KiB at most; "
              f"deviations: {deviations}")
        if deviations:
            options = self._options
            print(f"logs: {options.directory}\n"
                  f"again: scripts/soak {options.minutes:g} --seed {options.seed} --boards {options.boards}")
        return 1 if deviations else 0

    @staticmethod
    def _line(widths, name, *values):
        print(f"{name:<{widths[0]}}" + "".join(f"  {value:>{width}}" for value, width in zip(values, widths[1:])))
