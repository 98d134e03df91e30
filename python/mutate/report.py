"""What is printed: a line for each mutant, at the end the table and the survivors."""
from .operators import OPERATORS
from .sample import room
from .verdicts import E2E, KILLED, LATE, LOCKS, REFUSED, SURVIVED, UNIT

GOAL = 95
COLUMNS = (("unit", (UNIT,)), ("e2e", (E2E,)), ("locks", (LOCKS,)), ("timeout", (LATE,)), ("survived", (SURVIVED,)))


def change(mutant):
    return f"{mutant.file}:{mutant.line}\n  - {mutant.before}\n  + {mutant.after}"


def one(mutant, verdict, counted, count):
    if verdict.how != REFUSED:
        print(f"{counted}/{count} {mutant.file}:{mutant.line} {mutant.operator}: {verdict.how} {verdict.test}".rstrip(), flush=True)


def percent(verdicts):
    counted = [verdict for _, verdict in verdicts if verdict.how != REFUSED]
    return 100 * sum(verdict.how in KILLED for verdict in counted) / len(counted) if counted else 100.0


def rows(verdicts):
    groups = {f"{operator}": [v for m, v in verdicts if m.operator == operator] for operator in OPERATORS}
    groups |= {name: [v for m, v in verdicts if room(m.file) == name] for name in sorted({room(m.file) for m, _ in verdicts})}
    groups["all"] = [verdict for _, verdict in verdicts]
    return groups


def show(verdicts, equivalent, seed):
    counted = [(mutant, verdict) for mutant, verdict in verdicts if verdict.how != REFUSED]
    lines = ["", f"{'':24}{'mutants':>9}" + "".join(f"{title:>9}" for title, _ in COLUMNS)]
    for name, found in rows(counted).items():
        lines.append(f"{name:24}{len(found):>9}"
                     + "".join(f"{sum(verdict.how in how for verdict in found):>9}" for _, how in COLUMNS))
    alive = sorted(((m, v) for m, v in counted if v.how == SURVIVED), key=lambda entry: (entry[0].file, entry[0].line))
    lines += ["", *(f"survived: {change(mutant)}" for mutant, _ in alive)]
    rate = percent(verdicts)
    lines.append(f"seed {seed}: {len(counted) - len(alive)} of {len(counted)} mutants killed, {rate:.1f} %; goal {GOAL} %: "
                 f"{'met' if rate >= GOAL else 'MISSED'}")
    lines.append(f"beside these {equivalent} that are listed in python/mutate/survivors.txt, and "
                 f"{len(verdicts) - len(counted)} that do not compile")
    return "\n".join(lines)
