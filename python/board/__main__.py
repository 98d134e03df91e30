"""scripts/board: what its command line asks for."""
import os
import sys
import time

from . import outside, runs
from .commandline import USAGE, Misuse, parse

NAME = "scripts/board"


def show_list():
    rows = [("number", "name", "since", "pid", "bus")]
    for facts in runs.running(runs.place()):
        since = time.strftime("%Y-%m-%dT%H:%M:%S", time.localtime(facts["since"]))
        rows.append((str(facts["number"]), one_word(facts["name"]), since, str(facts["pid"]), facts["address"]))
    widths = [max(map(len, column)) for column in zip(*rows)]
    for row in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    if len(rows) == 1:
        print("no board is running", file=sys.stderr)
    return 0


def one_word(text):
    """No blank inside a column."""
    return "".join(letter if letter.isprintable() and letter != " " else f"\\x{ord(letter):02x}" for letter in text)


def run_inside(number, command):
    boards = runs.running(runs.place())
    chosen = [facts for facts in boards if number in (None, facts["number"])]
    if not chosen:
        raise runs.Refused("no board is running" if number is None or not boards else
                           f"no board with the number {number} is running; running are:\n{told(boards)}")
    if len(chosen) > 1:
        raise Misuse(f"several boards are running; name one with --number:\n{told(boards)}")
    facts, = chosen
    first = facts.get("first")
    if not first or runs.process(first[0]) != first:
        raise runs.Refused(f"board {facts['number']} is not up yet")
    namespaces = ["-m", "-n", "-p", "-i"]
    if os.geteuid() != 0:
        namespaces += ["-U", "--preserve-credentials"]
    os.environ["PATH"] = f"{facts['stage']}/bin:{os.environ.get('PATH', os.defpath)}"
    os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = facts["address"]
    os.environ.pop("XDG_RUNTIME_DIR", None)
    os.execvp("nsenter", ["nsenter", "-t", str(first[0]), *namespaces, "--", *command])


def told(boards):
    return "\n".join(f"  --number {facts['number']}  {facts['name']}" for facts in boards)


def main():
    try:
        options = parse(sys.argv[1:])
    except Misuse as mistake:
        print(f"{NAME}: {mistake}\n{USAGE}", file=sys.stderr)
        return 2
    if options.command == "help":
        print(USAGE)
        return 0
    try:
        if options.command == "list":
            return show_list()
        if options.command == "exec":
            return run_inside(options.number, options.arguments)
        return outside.run(options)
    except Misuse as mistake:
        print(f"{NAME}: {mistake}", file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        return 130
    except (runs.Refused, OSError) as problem:
        print(f"{NAME}: {problem}", file=sys.stderr)
        return 1


sys.exit(main())
