"""The counters that the compiler put into the programs, and gcovr, which reads them."""
import json
import os
import subprocess

MEASURED = ("src", "platform")
WHERE = (*MEASURED, "tests/unit")
"""Directories of the build with counters: the tests have inline functions of the measured headers in them."""


def clear(build):
    """Takes away what earlier runs counted."""
    for place in WHERE:
        for path, _, names in os.walk(os.path.join(build, place)):
            for name in names:
                if name.endswith(".gcda"):
                    os.unlink(os.path.join(path, name))


def collect(build, repo):
    """What gcovr found, as it tells it in JSON, without branches that only an exception takes. It reads one file after
    the other, for with more at a time it does not end when one of them cannot be read."""
    told = subprocess.run(
        ["gcovr", "--root", repo, "--object-directory", build,
         *(word for place in MEASURED for word in ("--filter", f"{place}/")),
         "--exclude-throw-branches", "--exclude-unreachable-branches", "--json", "-",
         *(os.path.join(build, place) for place in WHERE)],
        check=True, cwd=repo, stdout=subprocess.PIPE, text=True)
    return json.loads(told.stdout)
