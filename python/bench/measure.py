"""One run of a row: the subject takes requests, and what they took is written down."""
from .program import Failed


def run(stand, turn, row, count, floor):
    """The figures of one run, times in microseconds per request."""
    watched = {"bus": stand.bus, "peer": turn.peer, "subject": turn.program}
    watched = {name: program for name, program in watched.items() if program}
    before = {name: program.cpu() for name, program in watched.items()}
    threads = turn.program.threads() if turn.program else {}
    records = stand.records()
    said = stand.call(row.kind, row.callers, count)
    answered = said["answered"]
    cost = {name: (program.cpu() - before[name]) / 1000 / answered for name, program in watched.items()}
    cost["caller"] = said["cpu"] / said["counted"]
    spent = by_thread(threads, turn.program.threads(), answered) if turn.program else []
    ended = cost.get("subject", 0) - sum(time for _, time in spent)
    carried = carried_out(row, answered, stand.records() - records, floor)
    each = said["seconds"] * 1e6 / said["counted"]
    return {"row": row.key, "count": said["counted"], "percentiles": said["percentiles"], "rate": 1e6 / each,
            "each": each, "carried": each * answered / carried, "overflows": 100 * (1 - carried / answered),
            "cpu": cost, "threads": spent + ([("ended threads", ended)] if ended > 1 else [])}


def carried_out(row, answered, records, floor):
    """How many requests OPS saw. An overflow is answered at once, as if all were well; OPS gets no record of it."""
    expected = answered * row.records
    if records == expected:
        return answered
    if row.overflows and not floor and 0 < records < expected and records % row.records == 0:
        return records // row.records
    raise Failed(f"{row.title}: {answered} requests were answered, so that OPS should have got {expected} records, but "
                 f"it got {records}")


def by_thread(before, after, answered):
    """[(name, microseconds of CPU time per request)]; a thread without a name goes by its place in their order."""
    spent = {}
    for place, thread in enumerate(sorted(after)):
        name, nanoseconds = after[thread]
        name = "main" if place == 0 else name or f"thread {place + 1}"
        spent[name] = spent.get(name, 0) + (nanoseconds - before.get(thread, ("", 0))[1]) / 1000 / answered
    return list(spent.items())
