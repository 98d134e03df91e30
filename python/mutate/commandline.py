"""The command line of scripts/mutate."""
import argparse
import os

from trelvik.places import REPO

from . import sample

DESCRIPTION = """\
Changes the daemon's sources in one place after another, and runs the tests that can see the change: at least 95 of 100
must make a test fail. Exit status: 0 = they do, 1 = they do not, or something does not work, 2 = usage.
docs/mutation.md tells what is changed and what a survivor means."""


def number(least):
    def parsed(text):
        if not (text.isascii() and text.isdigit() and len(text) <= 9 and int(text) >= least):
            raise argparse.ArgumentTypeError(f"'{text}' is no number from {least}")
        return int(text)
    return parsed


def file_of_daemon(text):
    path = os.path.relpath(os.path.realpath(text), REPO) if os.path.exists(text) else text
    if path not in sample.files(REPO):
        raise argparse.ArgumentTypeError(f"'{text}' is no source of src/ or platform/")
    return path


def parse(words):
    parser = argparse.ArgumentParser(prog="scripts/mutate", description=DESCRIPTION, allow_abbrev=False,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", metavar="N", type=number(1), default=400, help="so many mutants; 400")
    parser.add_argument("--seed", metavar="S", type=number(0), default=1, help="which sample; 1")
    parser.add_argument("--file", metavar="PATH", type=file_of_daemon, action="append", help="of this file alone")
    parser.add_argument("--jobs", metavar="N", type=number(1), default=os.cpu_count(), help="mutants at a time")
    parser.add_argument("--list", action="store_true", help="prints the sample, and tries nothing")
    parser.add_argument("--unit", action="store_true", help="runs no end-to-end tests")
    parser.add_argument("--afresh", action="store_true", help="tries again what an earlier run killed")
    parser.add_argument("--build", metavar="DIR", help="takes what is built in DIR and installed in DIR/stage; builds nothing")
    options = parser.parse_args(words)
    if options.build and not os.path.exists(os.path.join(options.build, "compile_commands.json")):
        parser.error(f"{options.build} is no build directory: it has no compile_commands.json")
    return options
