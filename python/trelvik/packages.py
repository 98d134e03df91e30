"""The Debian packages of a build: what they say and hold, and a small Debian of a test's own to install them in."""
import glob
import os
import shutil
import subprocess

from .places import PREFIX, REPO
from .wait import until

BUILD = os.path.dirname(PREFIX)
MADE = os.path.join(BUILD, "packages")
NAMES = ("trelvik", "trelvik-tools", "iss-sim", "trelvik-dev")
SYMBOLS = ("trelvik-dbgsym", "trelvik-tools-dbgsym", "iss-sim-dbgsym")
BASE = os.path.join(REPO, "build", "package-root")
DEADLINE = 60


def run(*command, limit=300, **options):
    """What a command prints; it must end well, within so many seconds."""
    done = subprocess.run(command, check=False, capture_output=True, text=True, errors="replace", timeout=limit,
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


class Root:
    """A Debian with the packages' dependencies and nothing else, in namespaces of its own: a copy of what
    scripts/lib/package-root has made."""

    def __init__(self, directory):
        self.top = os.path.join(directory, "root")
        run("cp", "-a", BASE, self.top)
        reading, writing = os.pipe()
        self._processes = [subprocess.Popen(
            ["bwrap", "--bind", self.top, "/", "--proc", "/proc", "--dev", "/dev", "--tmpfs", "/run", "--perms", "1777",
             "--tmpfs", "/tmp", "--ro-bind", MADE, "/mnt", "--unshare-net", "--unshare-pid", "--unshare-ipc",
             "--cap-add", "ALL", "--die-with-parent", "sh", "-c", "echo up; exec sleep infinity"],
            stdin=subprocess.DEVNULL, stdout=writing)]
        os.close(writing)
        with os.fdopen(reading, "rb") as up:
            assert up.readline() == b"up\n", "bwrap did not start"
        self._first = run("pgrep", "-P", str(self._processes[0].pid)).split()[0]

    def _entered(self, command):
        return ["nsenter", "-t", self._first, "-m", "-n", "-p", "-i", "env", "-i", "HOME=/root", "LC_ALL=C.UTF-8",
                "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND=noninteractive", *command]

    def run(self, *command):
        """What a command inside prints; it must end well."""
        return run(*self._entered(command))

    def ask(self, *command):
        """Exit status of a command inside, and what it prints."""
        done = subprocess.run(self._entered(command), check=False, capture_output=True, text=True, timeout=DEADLINE)
        return done.returncode, done.stdout + done.stderr

    def start(self, *command):
        """Starts a command inside that runs until the end."""
        process = subprocess.Popen(self._entered(command), stdin=subprocess.DEVNULL)
        self._processes.append(process)
        return process

    def install(self, *names):
        """Installs the packages made, or files that lie in /mnt."""
        return self.run("dpkg", "--install", *(os.path.join("/mnt", os.path.basename(path(name))) for name in names))

    def inside(self, file):
        """A path inside, as this side sees it."""
        return os.path.join(self.top, file.lstrip("/"))

    def files(self):
        """All files but those that dpkg keeps for itself."""
        return {os.path.join(folder, file)[len(self.top):] for folder, _, names in os.walk(self.top)
                for file in names if not folder.startswith(self.inside("/var/lib/dpkg"))}

    def start_bus(self):
        self.run("mkdir", "-p", "/run/dbus")
        self.start("dbus-daemon", "--system", "--nofork", "--nopidfile")
        until(lambda: self.ask("test", "-S", "/run/dbus/system_bus_socket")[0] == 0, "the bus", DEADLINE)

    def leave(self):
        for process in reversed(self._processes):
            process.kill()
            process.wait()
        shutil.rmtree(self.top)
