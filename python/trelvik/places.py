"""Where things lie: in the checkout, in an installation, and where daemon and ISS expect their files."""
import os

PYTHON = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
REPO = os.path.dirname(PYTHON)
LIB = os.path.join(REPO, "scripts/lib")
SANDBOX = os.path.join(REPO, "scripts/sandbox")
PREFIX = os.environ.get("TRELVIK_PREFIX", os.path.join(REPO, "build/debug/stage"))
"""The installation that is tested."""

READY_MARKER = "/tmp/iss_is_ready"
RELOAD_MARKER = "/tmp/iss_msr_succeeded"
COMMIT_MARKER = "/persistency/iss/default_conf.commit"
OPEN_PORTS = "/etc/iss/openPorts.sh"


def module(name):
    """The command that runs a module of this directory, in a sandbox too."""
    return ["/usr/bin/python3", "-B", PYTHON, name]


def daemon(prefix):
    return os.path.join(prefix, "sbin/Trelvik")


def policy(prefix):
    """The bus policy of an installation."""
    return os.path.join(prefix, "share/dbus-1/system.d/otn.Trelvik.conf")


def iss_sim(prefix):
    return os.path.join(prefix, "bin/iss-sim")


def cam_sim(prefix):
    """The emulator of the monitor device, which is loaded into the daemon."""
    return os.path.join(prefix, "lib/trelvik/libcam-sim.so")
