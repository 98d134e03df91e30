"""Builds the daemon with one fault after another, in a copy of the checkout, and lets the storm find each.

usage: storm.prove [--check] [FAULT]..."""
import os
import re
import shutil
import subprocess
import sys
import time

from trelvik.files import read, write
from trelvik.places import REPO

from .faults import FAULTS

LIMIT = 1
"""Minutes in which a fault must be found."""
SEED = "1"
PLACE = os.path.join(REPO, "build", "storm")
SOURCE, STAGE = os.path.join(PLACE, "source"), os.path.join(PLACE, "stage")
BUILD = os.path.join(SOURCE, "build", "release")
FOUND = re.compile(r"^deviation after ([\d.]+) s at request (\d+), .*:\n(.*)$", re.MULTILINE)


def copy():
    """Files that are as they were keep their time, so that they are not built again."""
    os.makedirs(SOURCE, exist_ok=True)
    listed = subprocess.run(["git", "-C", REPO, "ls-files", "-z"], check=True, capture_output=True).stdout
    for name in filter(None, listed.decode().split("\0")):
        here, there = os.path.join(REPO, name), os.path.join(SOURCE, name)
        os.makedirs(os.path.dirname(there), exist_ok=True)
        if os.path.isfile(here) and not (os.path.exists(there) and _bytes(here) == _bytes(there)):
            shutil.copy(here, there)
    shutil.copytree(os.path.join(REPO, "build", "release", "stage"), STAGE, dirs_exist_ok=True)


def _bytes(path):
    with open(path, "rb") as file:
        return file.read()


def build():
    if not os.path.exists(os.path.join(BUILD, "build.ninja")):
        run("cmake", "--preset", "release", "-Wno-dev", "--log-level=WARNING")
    run("cmake", "--build", "--preset", "release", "--target", "Trelvik")
    shutil.copy(os.path.join(BUILD, "src", "Trelvik"), os.path.join(STAGE, "sbin", "Trelvik"))


def run(*command):
    done = subprocess.run(command, cwd=SOURCE, check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)} failed:\n{done.stdout}")


def storm():
    done = subprocess.run([os.path.join(REPO, "scripts", "storm"), str(LIMIT), "--seed", SEED, "--stage", STAGE],
                          check=False, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    return done.returncode, done.stdout + done.stderr


def prove(fault):
    """The row of a fault, and whether it was found."""
    path = os.path.join(SOURCE, fault.file)
    sound = read(path)
    if sound.count(fault.old) != 1:
        sys.exit(f"{fault.file} has no single place for the fault {fault.name}: bring python/storm/faults.py up to date")
    try:
        write(path, sound.replace(fault.old, fault.new))
        began = time.monotonic()
        build()
        built = time.monotonic() - began
        status, said = storm()
    finally:
        write(path, sound)
    found = FOUND.search(said)
    if status != 1 or not found:
        print(said)
        return f"| `{fault.name}` | {fault.what} | not found |", False
    row = f"| `{fault.name}` | {fault.what} | {found[1]} s, request {found[2]}: {found[3][:60]} |"
    print(f"{row}  (built in {built:.0f} s)", flush=True)
    return row, True


def main():
    words = sys.argv[1:]
    check = words[:1] == ["--check"]
    wanted = words[1:] if check else words
    unknown = set(wanted) - {fault.name for fault in FAULTS}
    if unknown:
        there_are = ", ".join(fault.name for fault in FAULTS)
        print(f"no such fault: {', '.join(sorted(unknown))}; there are {there_are}", file=sys.stderr)
        return 2
    if check:
        return 0
    copy()
    build()
    rows = [prove(fault) for fault in FAULTS if not wanted or fault.name in wanted]
    found = sum(good for _, good in rows)
    print(f"found {found} of {len(rows)} faults, each within {LIMIT * 60} s")
    return 0 if found == len(rows) else 1


if __name__ == "__main__":
    sys.exit(main())
