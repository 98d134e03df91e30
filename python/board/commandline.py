"""The command line of scripts/board. A mistake is named, with what is allowed, before the usage is shown."""
import difflib
from dataclasses import dataclass

USAGE = """\
usage: scripts/board [--name NAME] [--count N] [--scenario FILE] [--record FILE] [--keep DIR] [--stage DIR]
                     [--demo | --measure SECONDS]
       scripts/board list
       scripts/board [--number N] exec COMMAND [ARG...]
Installs what is missing, builds, and runs the daemon with a bus, an ISS simulator and a monitor emulator of its own
until Ctrl-C.
  --name NAME        the board's name
  --count N          runs N boards side by side, each with a bus of its own
  --scenario FILE    what the simulator does without being asked (docs/iss-sim-scenarios.md)
  --record FILE      writes what passes between daemon and simulator as a capture for Wireshark
  --keep DIR         leaves the logs of all parties and a capture in DIR, which is new or empty
  --stage DIR        runs what is installed in DIR; installs and builds nothing
  --demo             sends some requests, shows what came of each, and exits 0 when all of it was right
  --measure SECONDS  shows the memory and the CPU time that an idle board takes
  list               shows the boards that are running
  exec               runs a command inside the board that is running, of several in the one with the number N
docs/board.md tells more."""


class Misuse(Exception):
    """What is wrong with the command line, and what would be right."""


@dataclass
class Options:
    command: str = "run"  # or help, list, exec
    name: str = "ONE-MACHINE"
    count: int = 1
    number: int | None = None
    scenario: str | None = None
    record: str | None = None
    keep: str | None = None
    stage: str | None = None
    demo: bool = False
    measure: int | None = None
    arguments: tuple = ()  # of exec


def text(what):
    def read(value):
        if not value:
            raise ValueError
        return value
    return f"takes {what}", read


def number(least, most):
    def read(value):
        if not (value.isascii() and value.isdigit() and least <= int(value) <= most):
            raise ValueError
        return int(value)
    return f"takes a number from {least} to {most}", read


VALUES = {
    "--name": text("a name"),
    "--count": number(1, 999),
    "--number": number(1, 999),
    "--scenario": text("a file"),
    "--record": text("a file"),
    "--keep": text("a directory"),
    "--stage": text("a directory"),
    "--measure": number(1, 86400),
}
SWITCHES = ("--demo",)
COMMANDS = ("exec", "list")


def parse(words):
    options, given, rest = Options(), [], list(words)
    while rest:
        word = rest.pop(0)
        if word in ("-h", "--help", "help"):
            return Options(command="help")
        if word in COMMANDS:
            options.command, options.arguments = word, tuple(rest)
            break
        name, glued, value = word.partition("=")
        if name in given:
            raise Misuse(f"{name} is given twice")
        if word in SWITCHES:
            setattr(options, word[2:], True)
        elif name in VALUES:
            takes, read = VALUES[name]
            if not glued:
                if not rest:
                    raise Misuse(f"{name} {takes}, but none is given")
                value = rest.pop(0)
            try:
                setattr(options, name[2:], read(value))
            except ValueError:
                raise Misuse(f'{name} {takes}, not "{value}"') from None
        else:
            raise Misuse(unknown(word))
        given.append(name)
    check_together(options, given)
    return options


def unknown(word):
    kind, known = ("option", [*VALUES, *SWITCHES]) if word.startswith("-") else ("command", COMMANDS)
    near = difflib.get_close_matches(word, known, 1)
    return f'there is no {kind} "{word}"; ' + (f"did you mean {near[0]}?" if near else
                                               f"the {kind}s are {', '.join(sorted(known))}")


def check_together(options, given):
    if options.command == "run":
        if "--number" in given:
            raise Misuse("--number goes with exec only, as in: scripts/board --number 2 exec COMMAND")
        if options.demo and options.measure:
            raise Misuse("--demo and --measure do not go together: give one of them")
        if options.record and options.count > 1:
            raise Misuse("--record takes the capture of one board; of several, --keep DIR leaves one each")
        return
    for name in given:
        if name != "--number" or options.command != "exec":
            raise Misuse(f"{name} does not go with {options.command}")
    if options.command == "list" and options.arguments:
        raise Misuse(f'list takes nothing behind it, not "{options.arguments[0]}"')
    if options.command == "exec" and not options.arguments:
        raise Misuse("exec takes a command and its arguments, but none is given")
