"""A daemon that the system gives no thread: its user has as many processes as he may. For that it runs under a real user
of its own, whose other program takes all that is left."""
import contextlib
import os
import subprocess
import sys

from storm import methods, reports, values
from storm.exchange import drain, probe
from storm.logged import line
from storm.model import main_line

from .requests import plain

MOST = 40
WAY = "/run/dbus/system_bus_socket"
"""Where a daemon whose real user is another one looks for the bus: it takes no address from its environment."""
HOG = """
import threading
stop, count = threading.Event(), 0
try:
    while True:
        threading.Thread(target=stop.wait, daemon=True).start()
        count += 1
except RuntimeError:
    print(count, flush=True)
input()
"""
REFUSED = "Failed to create thread: Resource temporarily unavailable"
LINES = {methods.PORTS: ("SrvIss:42", "setPortParams"), methods.SYNC_E: ("SrvSyncE:227", "setSyncEParam"),
         methods.RULES: ("SrvIssMgr:623", "setIssMgrParams"), methods.SMART_SFP: ("SrvSmartSfp:39", "setSmartSfpParams")}
"""Who tells that a request gets no worker."""
TRIGGER_LINE = "SrvIss", "triggerDataUser"


def possible(user):
    """Real users other than root need root."""
    with open("/proc/self/uid_map", encoding="ascii") as users:
        return int(users.read().split()[2]) > user


def as_user(user, most=MOST):
    return ("prlimit", f"--nproc={most}", "setpriv", "--ruid", str(user), "--euid", "0", "--clear-groups",
            "--bounding-set", "-sys_resource,-sys_admin")


@contextlib.contextmanager
def hog(user):
    """A program that takes every thread that its user may still have."""
    taker = subprocess.Popen(["prlimit", f"--nproc={MOST}", "setpriv", "--reuid", str(user), "--clear-groups",
                              sys.executable, "-I", "-c", HOG], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    try:
        taken = taker.stdout.readline()
        assert taken.strip().isdigit() and int(taken) > 0, f"no thread taken: {taken!r}"
        yield
    finally:
        taker.kill()
        taker.wait()
        taker.stdin.close()
        taker.stdout.close()


def carry_out(stand, chance, user):
    """A life of its own. The start is refused first; then each request that needs a new thread comes to nothing, with a
    line; then there are threads again."""
    stand.without_state()
    os.symlink(stand.board.bus_address.partition("=")[2], WAY)
    try:
        _refused_start(stand, user)
        stand.launch(env={}, cam=False, starter=as_user(user))
        stand.meet()
        stand.say(reports.reloaded(chance))
        drain(stand, chance, plain=True)
        with hog(user):
            for _ in range(chance.randrange(2, 7)):
                _refused(stand, chance)
        for _ in range(5):
            plain(stand, chance)
        stand.finish()
    finally:
        os.unlink(WAY)


def _refused_start(stand, user):
    stand.model.expect(main_line("ERROR", 181, "Failed to start OTN bus thread: Resource temporarily unavailable"))
    stand.launch(env={}, cam=False, starter=as_user(user, most=1))
    stand.board.wait_exit(255)
    stand.check_lines()


def _refused(stand, chance):
    method = chance.choice((*LINES, methods.TRIGGER))
    args = {methods.TRIGGER: (7, True), methods.PORTS: probe(chance)}.get(method) or values.request(chance, (method,))[1]
    made = stand.new(method, args)
    name = methods.interface_of(method)
    before = stand.counts()[name][0]
    stand.issue(made, chance.choice(stand.callers))
    place, function = LINES.get(method, TRIGGER_LINE)
    stand.model.expect(line("ERROR", place, function, REFUSED))
    stand.wait(lambda: stand.counts()[name][0] > before, f"{made} to come to nothing")
    stand.silent.append(made)
    stand.check_lines()
