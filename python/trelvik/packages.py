"""The Debian packages of a build: what they say and hold."""
import glob
import os
import subprocess

from .places import PREFIX

BUILD = os.path.dirname(PREFIX)
MADE = os.path.join(BUILD, "packages")
NAMES = ("trelvik", "trelvik-tools", "iss-sim", "trelvik-dev")
SYMBOLS = ("trelvik-dbgsym", "trelvik-tools-dbgsym", "iss-sim-dbgsym")


def run(*command, **options):
    """What a command prints; it must end well."""
    done = subprocess.run(command, check=False, capture_output=True, text=True, errors="replace", timeout=600,
                          **options)
    assert done.returncode == 0, f"{command}: {done.stdout}{done.stderr}"
    return done.stdout


def path(name, directory=MADE):
    """The file of a package; there is one."""
    (found,) = glob.glob(os.path.join(directory, name + "_*.deb"))
    return found


def field(name, *fields):
    return run("dpkg-deb", "--field", path(name), *fields).strip()


def contents(name):
    """{path: (mode, owner)} of the files and links in a package."""
    entries = {}
    for line in run("dpkg-deb", "--contents", path(name)).splitlines():
        mode, owner, _, _, _, file = line.split(None, 5)
        if not mode.startswith("d"):
            entries[file.split(" -> ")[0][1:]] = (mode, owner)
    return entries


def unpacked(name, directory):
    run("dpkg-deb", "--extract", path(name), directory)
    return directory
