"""The command line of scripts/bench."""
import argparse

DESCRIPTION = """\
Builds the daemon and the floors under it, measures both in turn in one run, and prints one table and which of the
goals are met. Exit status: 0 = every goal that was judged is met, 1 = one is not or something does not work,
2 = usage. docs/performance.md tells what each row is."""


def parse(words):
    parser = argparse.ArgumentParser(prog="scripts/bench", description=DESCRIPTION, allow_abbrev=False,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--short", action="store_true",
                        help="a few seconds: judges no goal, fails only where something does not work or the "
                             "instructions of a request are not the kept ones")
    parser.add_argument("--long", action="store_true", help="looks for growth over 1,000,000 requests")
    parser.add_argument("--baseline", metavar="COMMIT", help="builds another commit and puts it beside")
    parser.add_argument("--json", metavar="FILE", help="writes every figure there")
    parser.add_argument("--svg", metavar="FILE", help="draws latencies, and where one request's microseconds go")
    parser.add_argument("--refresh", action="store_true",
                        help="keeps this run's instructions of a request as those to compare with")
    parser.add_argument("--build", metavar="DIR",
                        help="measures what is built in DIR and installed in DIR/stage; installs and builds nothing")
    options = parser.parse_args(words)
    if options.short and options.long:
        parser.error("--short and --long do not go together: give one of them")
    return options
