"""Runs the fuzz targets of a build for some minutes together, and says what each did and found."""
import argparse
import concurrent.futures
import os
import sys

from fuzz import target

SHOWN = 512
"""Bytes of an input that are shown."""
ROW = "{:<12}{:>13}{:>10}{:>10}  {}"


def row(run):
    return ROW.format(run.target.name, run.number("number_of_executed_units"), run.number("average_exec_per_sec"),
                      run.features, "found" if run.status else "nothing found")


def finding(run):
    """What was found, in which input, and what to do with it."""
    lines = [f"{run.target.name}: {run.why}"]
    if run.input:
        with open(run.input, "rb") as file:
            data = file.read()
        more = f" ... {len(data)} bytes" if len(data) > SHOWN else ""
        lines += [f"  input: {run.input}", f"  in hex: {data[:SHOWN].hex()}{more}",
                  f"  again: {run.target.command[0]} {run.input}"]
    else:
        lines += ["  no input was kept; the end of what it wrote:", *run.output.splitlines()[-20:]]
    lines.append("  Make an ordinary test of it, see that fail, then cure the code: docs/fuzzing.md")
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(prog="scripts/fuzz", usage="%(prog)s MINUTES [TARGET...] [--build DIR]")
    parser.add_argument("--build", required=True)
    parser.add_argument("--minutes", type=float, required=True)
    parser.add_argument("target", nargs="*")
    options = parser.parse_args()

    known = target.targets_of(options.build)
    chosen = [each for each in known if not options.target or each.name in options.target]
    if not known or len(chosen) < len(set(options.target)):
        parser.error("the targets of this build are: " + (" ".join(each.name for each in known) or "none"))
    at_once = min(os.cpu_count() or 1, len(chosen))
    seconds = max(1, round(60 * options.minutes * at_once / len(chosen)))
    print(f"{len(chosen)} targets, {at_once} at a time, {seconds} s each", flush=True)
    print(ROW.format("target", "executions", "a second", "features", "result"), flush=True)
    corpus = os.path.join(options.build, "tests/fuzz/corpus")
    found = []
    with concurrent.futures.ThreadPoolExecutor(at_once) as pool:
        runs = [pool.submit(target.run, each, seconds, os.path.join(corpus, each.name)) for each in chosen]
        for done in concurrent.futures.as_completed(runs):
            run = done.result()
            print(row(run), flush=True)
            if run.status:
                found.append(run)
    for run in found:
        print("\n" + finding(run))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
