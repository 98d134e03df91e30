"""What is measured: the build of this tree, and of another commit."""
import contextlib
import os
import shutil
import subprocess
import tempfile
import time
from dataclasses import dataclass

from trelvik import places
from trelvik.places import LIB, REPO

from .program import Failed

BUILD = os.path.join(REPO, "build/release")
PROGRAMS = ("sbin/Trelvik", "bin", "lib/trelvik")
"""Where an installation has programs and what is loaded into them."""


@dataclass
class Build:
    """A build directory, whose programs are installed in its directory `stage`."""
    directory: str

    @property
    def bench(self):
        return os.path.join(self.directory, "bench")

    @property
    def stage(self):
        return os.path.join(self.directory, "stage")

    @property
    def daemon(self):
        return places.daemon(self.stage)

    @property
    def policy(self):
        return places.policy(self.stage)

    def missing(self):
        """What of it is not there, or nothing."""
        for path in (self.daemon, self.policy, os.path.join(self.bench, "trelvik-caller")):
            if not os.path.exists(path):
                return path
        return ""


def make():
    if subprocess.run([os.path.join(LIB, "stage-bench"), Build(BUILD).stage], check=False).returncode:
        raise Failed("building failed")
    return Build(BUILD)


def commit_of(name):
    """The whole name of a commit, None for one that there is not."""
    return git("rev-parse", "--verify", "--quiet", "--end-of-options", f"{name}^{{commit}}") or None


def make_commit(commit):
    """The daemon of another commit."""
    directory = os.path.join(REPO, "build/baseline", commit)
    if subprocess.run([os.path.join(LIB, "build-commit"), commit, directory], check=False).returncode:
        raise Failed(f"building {commit} failed")
    return os.path.join(directory, "build/release/src/Trelvik")


def described():
    """This tree's commit, with a mark where files of it are changed; empty outside a repository."""
    return git("describe", "--always", "--dirty", "--abbrev=12")


def git(*words):
    """What git says of this tree, nothing where it fails."""
    found = subprocess.run(["git", "-C", REPO, *words], capture_output=True, text=True, check=False)
    return found.stdout.strip() if found.returncode == 0 else ""


def sizes(build):
    """[(processor, {program: bytes without symbols}, what is to be said of it)]"""
    own = ("this machine", *stripped_sizes(installed(build.stage), "strip"))
    cross = os.path.join(REPO, "build/armhf/src/Trelvik")
    if not os.path.exists(cross):
        return [own, ("armhf", {}, "not built: scripts/test --preset armhf builds it")]
    return [own, ("armhf", *stripped_sizes({"Trelvik": cross}, "arm-linux-gnueabihf-strip"))]


def installed(stage):
    """{name: path} of the ELF files of an installation."""
    found = {}
    for place in PROGRAMS:
        path = os.path.join(stage, place)
        for file in [path] if os.path.isfile(path) else entries(path):
            with open(file, "rb") as program:
                if program.read(4) == b"\x7fELF":
                    found[os.path.basename(file)] = file
    return found


def entries(directory):
    with contextlib.suppress(FileNotFoundError):
        return sorted(entry.path for entry in os.scandir(directory) if entry.is_file(follow_symlinks=False))
    return []


def stripped_sizes(programs, strip):
    if not shutil.which(strip):
        return {}, f"{strip} is missing"
    found = {}
    with tempfile.TemporaryDirectory() as directory:
        for name, path in programs.items():
            copy = os.path.join(directory, name)
            subprocess.run([strip, "-o", copy, path], check=True)
            found[name] = os.path.getsize(copy)
    built = max(map(os.path.getmtime, programs.values()))
    if built >= newest_source():
        return found, ""
    return found, f"built {time.strftime('%Y-%m-%d %H:%M', time.localtime(built))}, before the last change"


def newest_source():
    return max(os.path.getmtime(os.path.join(folder, name)) for room in ("include", "platform", "src")
               for folder, _, names in os.walk(os.path.join(REPO, room)) for name in names)
