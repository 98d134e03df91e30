"""A systemd of the test's own: it starts the installed unit as a board's would, with a bus beside it."""
import os
import shutil
import subprocess
import uuid

from . import places, privatebus
from .files import read, write
from .places import PREFIX
from .wait import until

BUS = "/run/dbus/system_bus_socket"
UNIT = os.path.join(PREFIX, "lib", "systemd", "system", "trelvik.service")
APART = os.path.join(PREFIX, "lib", "trelvik", "trelvik.service.d", "iss-apart.conf")
INSTALLED = "/run/installed"
"""The installation, where no unit hides it: a checkout may be in a home."""
DEADLINE = 30
CGROUPS = "/run/cgroup"
# It becomes process 1 of a process namespace, and its cgroup the root of all that it sees: it moves every process of
# its root about, so that root must be the test's own.
START = f"""
set -e
echo $$ > "$1/cgroup.procs"
exec unshare --cgroup --pid --mount --fork --kill-child sh -c '
  set -e
  mount -t proc proc /proc
  mkdir -p /sys && mount -t tmpfs tmpfs /sys && mkdir -p /sys/fs/cgroup
  mount -t cgroup2 cgroup2 /sys/fs/cgroup
  exec /lib/systemd/systemd --system --unit=board.target --log-target=console --show-status=no'
"""
TARGET = "[Unit]\nDefaultDependencies=no\n"
UNITS = {
    **{name + ".target": TARGET for name in ("sysinit", "basic", "shutdown", "multi-user")},
    "board.target": TARGET + "Requires=dbus.socket\n",
    "dbus.socket": TARGET + "[Socket]\nListenStream=" + BUS + "\n",
    "dbus.service": TARGET + "Requires=dbus.socket\n[Service]\n"
                    "ExecStart=dbus-daemon --config-file={config} --address=systemd: --nofork --nopidfile --nosyslog\n",
}
SYSTEMD_POLICY = """\
  <policy user="root">
    <allow own="org.freedesktop.systemd1"/>
    <allow send_destination="org.freedesktop.systemd1"/>
  </policy>"""


class Systemd:
    def __init__(self, directory, *drop_ins, **units):
        """`units`: the text of further services, by name."""
        self._units = os.path.join(directory, "units")
        self._log = os.path.join(directory, "systemd.log")
        self._write_units(os.path.join(directory, "bus.conf"), drop_ins, units)
        self._cgroup = self._make_cgroup()
        with open(self._log, "wb") as log:
            self._process = subprocess.Popen(
                ["sh", "-c", START, "sh", self._cgroup], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                env={"PATH": os.environ["PATH"], "container": "test", "SYSTEMD_UNIT_PATH": self._units})
        until(lambda: self._first() and os.path.exists("/run/systemd/private"), self.log, DEADLINE)

    def _write_units(self, config, drop_ins, units):
        privatebus.write(config, BUS, places.policy(PREFIX), SYSTEMD_POLICY)
        os.mkdir(self._units)
        further = {name + ".service": text for name, text in units.items()}
        for name, text in {**UNITS, **further}.items():
            with open(os.path.join(self._units, name), "w", encoding="ascii") as unit:
                unit.write(text.replace("{config}", config))
        os.makedirs(INSTALLED, exist_ok=True)
        subprocess.run(["mount", "--bind", PREFIX, INSTALLED], check=True)
        write(os.path.join(self._units, "trelvik.service"), read(UNIT).replace(PREFIX, INSTALLED))
        os.mkdir(os.path.join(self._units, "trelvik.service.d"))
        for drop_in in drop_ins:
            shutil.copy(drop_in, os.path.join(self._units, "trelvik.service.d"))

    @staticmethod
    def _make_cgroup():
        os.makedirs(CGROUPS, exist_ok=True)
        if not os.path.ismount(CGROUPS):
            subprocess.run(["mount", "-t", "cgroup2", "cgroup2", CGROUPS], check=True)
        with open("/proc/self/cgroup", encoding="ascii") as lines:
            (own,) = [line.strip().split("::", 1)[1] for line in lines if line.startswith("0::")]
        path = f"{CGROUPS}{own}/trelvik-{uuid.uuid4().hex}"
        os.mkdir(path)
        return path

    def _first(self):
        """Its process, as this side numbers it."""
        path = f"/proc/{self._process.pid}/task/{self._process.pid}/children"
        with open(path, encoding="ascii") as children:
            return children.read().strip()

    def run(self, *command):
        """Runs a command where systemd is the first process; returns what it printed."""
        done = subprocess.run(["nsenter", "-t", self._first(), "-p", "-m", "-C", *command], check=False,
                              capture_output=True, text=True, timeout=DEADLINE)
        assert done.returncode == 0, f"{command}: {done.stdout}{done.stderr}\n{self.log()}"
        return done.stdout

    def show(self, unit, name):
        return self.run("systemctl", "show", "--property=" + name, "--value", unit).strip()

    def status_of(self, unit):
        """The kernel's view of a service's main process, by name."""
        text = self.run("cat", f"/proc/{self.show(unit, 'MainPID')}/status")
        return dict(line.split(":", 1) for line in text.splitlines())

    def log(self):
        with open(self._log, encoding="utf-8", errors="replace") as text:
            return text.read()

    def stop(self):
        """Ends it with all that it has started."""
        self._process.kill()
        self._process.wait()
        def gone():
            for path, _, _ in os.walk(self._cgroup, topdown=False):
                try:
                    os.rmdir(path)
                except OSError:
                    return False
            return True
        until(gone, "the cgroups are empty", DEADLINE)
