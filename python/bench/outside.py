"""The subjects seen from outside: each in a sandbox of its own, all ready at the same time, and asked in turn."""
import contextlib
import json
import subprocess
import sys

from trelvik.places import SANDBOX, module

from .plan import PLACEMENTS, ROWS
from .program import Failed


def tell(text):
    print(text, file=sys.stderr, flush=True)


class Subject:
    """One subject in its sandbox, which does what `inside.Subject` has of that name."""

    def __init__(self, name, bench, policy, daemon, shown):
        self._name = name
        visible = [option for path in shown for option in ("--ro", path)]
        # A session of its own is out of Ctrl-C's reach.
        self._process = subprocess.Popen(
            [SANDBOX, *visible, "--", *module("bench.inside")], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            text=True, start_new_session=True)
        self._order(bench=bench, policy=policy, daemon=daemon)
        self.answer()

    def _order(self, **order):
        self._process.stdin.write(json.dumps(order) + "\n")
        self._process.stdin.flush()

    def tell(self, do, **arguments):
        """Has it begin; `answer` waits for the end."""
        self._order(do=do, **arguments)

    def answer(self):
        line = self._process.stdout.readline()
        if not line:
            raise Failed(f"{self._name}: its sandbox ended with status {self._process.wait()}")
        answer = json.loads(line)
        if "failed" in answer:
            raise Failed(f"{self._name}: {answer['failed']}")
        return answer["result"]

    def ask(self, do, **arguments):
        self.tell(do, **arguments)
        return self.answer()

    def leave(self):
        self._process.kill()
        self._process.wait()


@contextlib.contextmanager
def subjects(bench, policy, daemons, shown):
    """{name: Subject} of the floor and of the daemons, by name."""
    with contextlib.ExitStack() as stack:
        made = {}
        for name, daemon in {"floor": None, **daemons}.items():
            made[name] = Subject(name, bench, policy, daemon, shown)
            stack.callback(made[name].leave)
        yield made


def measure(bench, policy, daemons, shown, size):
    """Everything that is found out by running the programs."""
    with subjects(bench, policy, daemons, shown) as every:
        of_daemons = {name: every[name] for name in daemons}
        runs, starts = [], {name: [] for name in daemons}
        for number in range(size.rounds):
            for subject in of_daemons.values():
                subject.ask("begin")
            for placement in PLACEMENTS:
                tell(f"Round {number + 1} of {size.rounds}, {PLACEMENTS[placement]}")
                runs += measure_rows(every, placement, size, number)
            for name, subject in of_daemons.items():
                starts[name].append(subject.ask("end"))
        tell("Memory and growth")
        found = {"runs": runs, "starts": starts, "log statement": every["floor"].ask("log_statement")}
        found["memory"] = {name: subject.ask("memory", warm_up=size.warm_up, growth=size.growth)
                           for name, subject in of_daemons.items()}
        found["waiting"] = {name: subject.ask("waiting", count=size.waiting) for name, subject in of_daemons.items()}
        tell("Instructions of a request")
        # They do not depend on what else runs.
        for subject in of_daemons.values():
            subject.tell("instructions", requests=size.instructions, every=size.every_kind)
        found["instructions"] = {name: subject.answer() for name, subject in of_daemons.items()}
        return found


def measure_rows(every, placement, size, number):
    """One round of all rows. The subjects of a row follow each other, every other round the other way about."""
    runs = []
    for row in ROWS.values():
        names = [name for name in row.subjects if name in every]
        for name in names[::-1] if number % 2 else names:
            figures = every[name].ask("row", key=row.key, placement=placement, count=size.count(row))
            runs.append({"subject": name, "placement": placement, "round": number, **figures})
    return runs
