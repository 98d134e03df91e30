"""Instructions of one request, counted by callgrind, and the figures that are kept to compare with.

Only what the daemon does outside the kernel is counted, its libraries included: it does not depend on how busy the
machine is, but on its processor's kind, the compiler and the libraries."""
import glob
import json
import os
import platform
import re

from .program import Failed

KINDS = {"probe": "request of one record", "rule": "request of two records", "query": "trace-level query",
         "debug": "debug request"}
START = 100
"""Requests that go before: the first ones bind and allocate what stays."""
TOLERANCE = 0.05


def kinds(every):
    return list(KINDS) if every else ["probe"]


def count(stand, daemon, requests, every):
    """{kind: instructions of one request}: what one daemon takes less what another takes that got fewer."""
    start = total(stand, daemon, ("probe", START))
    return {kind: (total(stand, daemon, ("probe", START), (kind, requests)) - start) / sent(requests)
            for kind in kinds(every)}


def sent(count):
    """How many requests a caller makes of it, warming up included."""
    return count + count // 10


def total(stand, daemon, *calls):
    """Instructions of a daemon that takes so many calls of each kind."""
    out = os.path.join(stand.directory, "callgrind")
    command = ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={out}", "--vgdb=no",
               *daemon]
    with stand.daemon(command):
        for kind, number in calls:
            stand.call(kind, count=number)
    counted = 0
    for path in glob.glob(out + "*"):
        with open(path, encoding="utf-8", errors="replace") as lines:
            counted += sum(int(match[1]) for match in re.finditer(r"^(?:totals|summary): (\d+)", lines.read(), re.M))
        os.unlink(path)
    if counted == 0:
        raise Failed("callgrind counted no instruction")
    return counted


def processor():
    return platform.machine()


def kept(path):
    """{kind: instructions} for this machine's kind of processor; empty where none are kept."""
    try:
        with open(path, encoding="utf-8") as file:
            return json.load(file).get(processor(), {})
    except FileNotFoundError:
        return {}


def keep(path, counted):
    """Keeps these; those of other processors stay."""
    everything = {}
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            everything = json.load(file)
    everything[processor()] = {kind: round(number) for kind, number in counted.items()}
    with open(path, "w", encoding="utf-8") as file:
        json.dump(everything, file, indent=2)
        file.write("\n")
