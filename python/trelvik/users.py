"""Other users of the machine, strangers and members of the group `otn`, and what they do."""
import os
import subprocess
import sys

import pytest

STRANGER = 65534
GROUP = 4711
"""The number that `set_groups("otn:x:4711:")` gives the group."""


def as_stranger():
    """Options of setpriv."""
    return [f"--reuid={STRANGER}", f"--regid={STRANGER}", "--clear-groups"]


def as_member():
    return [f"--reuid={STRANGER}", f"--regid={STRANGER}", f"--groups={GROUP}"]


def as_root():
    return ["--reuid=0"]


def need_others():
    """Ends the test where the sandbox has one user only: it then counts as not run, and so does not pass unseen."""
    with open("/proc/self/uid_map", encoding="ascii") as lines:
        ranges = [tuple(map(int, line.split())) for line in lines]
    if not any(first <= STRANGER < first + count for first, _, count in ranges):
        pytest.skip("this sandbox has one user: run the tests as root, or this one proves nothing")


def start_as(options, script, *arguments):
    """Starts a Python script of another user; what it prints can be read as it comes."""
    need_others()
    return subprocess.Popen(["setpriv", *options, sys.executable, "-c", script, *map(str, arguments)],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def run_as(options, script, *arguments):
    """What a Python script of another user prints; it must end well."""
    with start_as(options, script, *arguments) as process:
        output, errors = process.communicate(timeout=30)
    assert process.returncode == 0, errors
    return output.strip()


def set_groups(*lines):
    """What the bus finds in /etc/group from now on, besides root's."""
    os.unlink("/etc/group")  # in the sandbox, a link to the machine's
    with open("/etc/group", "w", encoding="ascii") as groups:
        groups.write("".join(line + "\n" for line in ("root:x:0:", *lines)))
