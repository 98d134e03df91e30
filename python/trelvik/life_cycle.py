"""The ISS life cycle: the trigger on the bus, and the start script that it runs."""
import os

from . import files
from .bus import PATH

TRIGGER = (PATH + "TrelvikOchTriggerAsync", "otn.OBOchTriggerTrelvik_1_0")
INITIALIZED, STARTED, STOPPED = range(3)
SCRIPT = "/etc/rc.d/issStartScript.sh"
MARKER = "/tmp/initIssDone"
CALLS = "/tmp/issStartScript.calls"
WORKER = "SrvIss:* (run_och_thread) - "


def install(start=":", stop=":"):
    """Writes a start script that notes each call and then does this, and takes the marker away."""
    for path in (MARKER, CALLS):
        if os.path.lexists(path):
            os.unlink(path)
    files.write_script(SCRIPT, f"echo $* >> {CALLS}", "case $1 in", f"start) {start} ;;", f"stop) {stop} ;;", "esac")


def calls():
    """The arguments that the script was called with, call by call."""
    if not os.path.exists(CALLS):
        return []
    with open(CALLS, encoding="ascii") as noted:
        return noted.read().splitlines()


def mark():
    with open(MARKER, "w", encoding="ascii"):
        pass


def trigger(bus, state, flag=False):
    return bus.call(TRIGGER, "triggerDataUser", "ib", state, flag)
