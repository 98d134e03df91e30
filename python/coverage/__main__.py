"""scripts/coverage: runs the tests of the build with counters, reads the counters, and tells what came of it."""
import os
import subprocess
import sys

from trelvik.places import REPO

from . import counters, figures, readme, report

BUILD = os.path.join(REPO, "build/coverage")
TESTS = r"^(unit|e2e)\."
"""Those which run the daemon or a part of it; the others look at the sources."""


def run_tests(only):
    """Whether all passed. Most of them wait rather than work."""
    return subprocess.run(["ctest", "--test-dir", BUILD, "-R", only or TESTS, "--output-on-failure", "--no-tests=error",
                           f"-j{4 * (os.cpu_count() or 1)}"], check=False).returncode == 0


def settle_readme(check, total):
    """Whether README.md tells the figure, which it does from now on unless it is only to be checked."""
    path = os.path.join(REPO, "README.md")
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if not check:
        with open(path, "w", encoding="utf-8") as file:
            file.write(readme.replaced(text, total))
        return True
    told = readme.told(text)
    if readme.agrees(told, total):
        return True
    print(f"README.md tells {told[0]:g} % of lines and {told[1]:g} % of branches: "
          "run scripts/coverage, which writes it.")
    return False


def main(words):
    mode, only = (words[0] if words else ""), (words[1] if len(words) > 1 else "")
    if mode not in ("--read", "-R"):
        counters.clear(BUILD)
    passed = mode == "--read" or run_tests(only)
    files = figures.read(counters.collect(BUILD, REPO), REPO)
    if not files:
        print(f"scripts/coverage: nothing was counted in {BUILD}: run scripts/coverage without --read", file=sys.stderr)
        return 1
    print(report.show(files, REPO))
    if not passed:
        print("Tests failed: the figures are not those of the whole.")
        return 1
    settled = mode in ("--read", "-R") or settle_readme(mode == "--check", figures.total(files))
    return 0 if settled and report.met(files) else 1


sys.exit(main(sys.argv[1:]))
