"""The report as text."""

WIDTH = 12


def number(value):
    if value is None:
        return ""
    if abs(value) >= 1000:
        return f"{value:,.0f}"
    return f"{value:.0f}" if value == int(value) else f"{value:.3g}" if abs(value) < 100 else f"{value:.0f}"


def show(report):
    """`report` is what `__main__.make_report` makes."""
    return "\n".join([*heading(report), *table(report), "", *sizes(report), *goals(report)])


def heading(report):
    machine = report["machine"]
    found = [f"Trelvik {report['commit'] or '(no repository)'} on {machine['processor']}, {machine['cpus']} CPUs"
             + (f"; baseline {report['baseline'][:12]}" if report["baseline"] else "")]
    if machine["busy"]:
        found.append(f"The machine is busy with other work (load {machine['load']:.1f}): take these figures for noise.")
    return [*found, "Medians of the rounds; us = microseconds.", ""]


def table(report):
    columns = ["floor", "here", "here/floor"]
    if report["baseline"]:
        columns = ["floor", "here", "baseline", "here/floor", "here/base"]
    wide = max(len(line.title) for _, lines in report["groups"] for line in lines) + 2
    found = []
    for title, lines in report["groups"]:
        found += ["", title.ljust(wide + 12) + "".join(column.rjust(WIDTH) for column in columns)]
        for line in lines:
            cells = {"floor": number(line.floor), "here": number(line.here), "baseline": number(line.baseline),
                     "here/floor": ratio(line.here, line.floor) if line.ratio else "",
                     "here/base": ratio(line.here, line.baseline)}
            found.append(f"  {line.title.ljust(wide)}{line.unit.ljust(10)}"
                         + "".join(cells[column].rjust(WIDTH) for column in columns))
    return found[1:]


def ratio(value, to):
    return f"{value / to:.2f}" if value is not None and to else ""


def sizes(report):
    found = ["Programs without symbols, bytes"]
    for processor, programs, remark in report["sizes"]:
        found += [f"  {processor}: " + (", ".join(f"{name} {size:,}" for name, size in programs.items()) or "")
                  + (f" ({remark})" if programs and remark else remark)]
    return [*found, ""]


def goals(report):
    if not report["goals"]:
        return []
    wide = max(len(goal.text) for goal in report["goals"]) + 2
    found = ["Goals"]
    for goal in report["goals"]:
        limit = f"{'>=' if goal.at_least else '<='} {goal.limit:g}"
        verdict = {True: "met", False: "MISSED", None: f"not judged: {goal.why}"}[goal.met]
        value = "" if goal.value is None else f"{goal.value:.2f}"
        found.append(f"  {goal.text.ljust(wide)}{limit.ljust(9)}{value.rjust(9)}  {verdict}")
    judged = [goal for goal in report["goals"] if goal.met is not None]
    met = sum(goal.met for goal in judged)
    left = len(report["goals"]) - len(judged)
    found.append(f"{met} of {len(judged)} goals are met" + (f"; {left} were not judged" if left else ""))
    return found
