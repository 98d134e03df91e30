"""The board: starts the installed daemon among its peers, and holds it to account when it ends."""
import glob
import os
import shlex
import shutil
import subprocess
import tempfile
from signal import SIGHUP, SIGTERM

from . import places, privatebus, record
from .bus import Bus, COMMON
from .cam import Cam
from .debugsocket import DebugSocket, wait_for_server
from .iss import Iss
from .ops import Ops
from .places import PREFIX, READY_MARKER, RELOAD_MARKER, REPO
from .syslog import Syslog, matcher
from .wait import SLOW, until

LAUNCHER = shlex.split(os.environ.get("TRELVIK_LAUNCHER", ""))
STOP_LIMIT = 2 if SLOW == 1 else 10
"""Seconds that a stop may take."""

OTHER_BOARD = "EDGE-1"
CSM_BOARD = "A-CSM-2"
MAC = "00:1a:2b:3c:4d:5e"

CONNECTED = "[INFO] main:242 (main) - Connected to OPS"
REFUSED = ("[WARNING] IssSocket:49 (StartTcpClient) - OPS socket connection failed (111): "
           "Connection refused\n")
LOST = "[INFO] main:343 (main) - CONNECTION TO OPS LOST, try reconnecting in 5s\n"
BUS_LOST = "[CRITICAL] otnbus:*"

# Lines on standard error that are not the daemon's: emulation and coverage tools speak there, and so do this
# machine's programs when an emulated daemon starts them with a monitor emulator that they cannot load.
FOREIGN_STDERR = ("qemu: ", "profiling:", "libgcov profiling error:") + (("ERROR: ld.so: object ",) if LAUNCHER else ())


def clear_fixed_paths():
    """Takes away what an earlier board of the same sandbox left behind."""
    with open("/proc/1/comm", encoding="ascii") as first:
        assert first.read().strip() == "bwrap", "these tests run in scripts/sandbox only"
    for path in glob.glob("/tmp/SetVlanPort*") + glob.glob("/tmp/socket-*") + [
            READY_MARKER, RELOAD_MARKER, "/tmp/ports_opened"] + [
                path for place in ("/flash", "/persistency/iss", "/mnt/mmccard", "/etc/iss")
                for path in glob.glob(place + "/*")]:
        if os.path.isdir(path) and not os.path.islink(path):
            shutil.rmtree(path)
        elif os.path.lexists(path):
            os.unlink(path)


class Board:
    def __init__(self):
        clear_fixed_paths()
        self.dir = tempfile.mkdtemp(prefix="board-", dir="/run")
        os.chmod(self.dir, 0o755)
        self.log = Syslog()
        self.cam = Cam(os.path.join(self.dir, "cam.log"))
        self.bus_address = "unix:path=" + os.path.join(self.dir, "bus")
        self.daemon = None
        self.ops = None
        self.iss = None
        self._bus = None
        self._bus_daemon = None
        self._further_buses = []
        self._peers = []
        self._debug = None
        self._announced = []
        self._announced_stderr = []
        self._stderr = os.path.join(self.dir, "stderr")

    # The parts of the board.

    def start_bus(self, *extra, stock_limits=False):
        """Starts the bus; `extra` are further lines of its configuration."""
        self.configure_bus(*extra, stock_limits=stock_limits)
        self._bus_daemon = self._spawn_bus("bus")

    def signal_bus(self, number):
        self._bus_daemon.send_signal(number)

    def further_bus(self, name):
        """The address of one more bus, for one more daemon."""
        privatebus.write(self._bus_config(name), os.path.join(self.dir, name), places.policy(PREFIX))
        self._further_buses.append(self._spawn_bus(name))
        return "unix:path=" + os.path.join(self.dir, name)

    def _spawn_bus(self, name):
        daemon = subprocess.Popen(
            ["dbus-daemon", "--config-file=" + self._bus_config(name), "--nofork", "--nopidfile", "--nosyslog",
             "--print-address=1"],
            stdout=subprocess.PIPE)
        assert daemon.stdout.readline(), "dbus-daemon did not start"
        return daemon

    def configure_bus(self, *extra, stock_limits=False):
        """Writes the configuration, which a bus that runs takes up."""
        privatebus.write(self._bus_config("bus"), os.path.join(self.dir, "bus"), places.policy(PREFIX), *extra,
                         stock_limits=stock_limits)
        if self._bus_daemon is not None:
            self._bus_daemon.send_signal(SIGHUP)

    @property
    def bus_pid(self):
        return self._bus_daemon.pid

    def _bus_config(self, name):
        return os.path.join(self.dir, name + ".conf")

    def stop_bus(self):
        self._end_bus(self._bus_daemon)
        self._bus_daemon = None

    @staticmethod
    def _end_bus(daemon):
        daemon.kill()
        daemon.wait()
        daemon.stdout.close()

    def start_ops(self, **options):
        self.ops = Ops(**options)
        return self.ops

    def start_iss(self, *scenario, gallery=None, args=()):
        """Starts the simulated ISS in place of a scripted OPS: with these lines or with a file of the gallery."""
        if gallery is not None:
            path = os.path.join(REPO, "sim", "scenarios", gallery)
        else:
            path = os.path.join(self.dir, "iss.sim")
            with open(path, "w", encoding="utf-8") as lines:
                lines.write("".join(line + "\n" for line in scenario))
        return self._start_iss("--scenario", path, *args)

    def replay(self, capture, *args):
        """Starts the simulated ISS with what a capture tells it to say."""
        return self._start_iss("replay", capture, *args)

    def _start_iss(self, *arguments):
        self.iss = Iss(self.dir, *arguments)
        self._peers.append(self.iss)
        return self.iss

    def iss_ready(self, *scenario, level=None):
        """Starts the simulated ISS and the daemon, and returns once ISS is ready, from whom nothing else comes than
        what the scenario says."""
        iss = self.start_iss("keepalive off", *scenario)
        self.start(ops=False)
        self.log.wait(CONNECTED)
        self.wait_file(READY_MARKER)
        if level is not None:
            self.bus.set_trace_level(level)
        return iss

    @property
    def bus(self):
        """The test's own connection to the bus."""
        if self._bus is None:
            self._bus = self.peer()
        return self._bus

    def peer(self):
        """A further connection to the bus."""
        if self._bus_daemon is None:
            self.start_bus()
        peer = Bus(self.bus_address)
        self._peers.append(peer)
        return peer

    @property
    def debug(self):
        if self._debug is None:
            wait_for_server()
            self._debug = DebugSocket()
        return self._debug

    # The daemon.

    def start(self, *args, name=OTHER_BOARD, mac=MAC, cam=True, bus=True, ops=True, env=None, starter=()):
        """Starts the daemon and returns at once; `None` leaves a variable unset. `starter` is a command that the
        daemon's is appended to, and that ends by turning into it."""
        self.daemon = self._launch(args, name, mac, cam, bus, ops, env, starter)

    def second_daemon(self, bus_address=None, ops=True, starter=()):
        """One more daemon beside the first, on the same bus or on another; the test sees to its end."""
        env = {"DBUS_SYSTEM_BUS_ADDRESS": bus_address} if bus_address else None
        return self._launch((), OTHER_BOARD, MAC, False, bus_address is None, ops, env, starter)

    def _launch(self, args, name, mac, cam, bus, ops, env, starter):
        if bus and self._bus_daemon is None:
            self.start_bus()
        if ops and self.ops is None:
            self.start_ops()
        own = {"DBUS_SYSTEM_BUS_ADDRESS": self.bus_address, "BOARD_NAME": name, "ethaddr_first": mac,
               "CAM_SIM_LOG": self.cam.path, "CAM_SIM_REFUSE": self.cam.refusals}
        emulator = places.cam_sim(PREFIX)
        launcher = list(LAUNCHER)
        if cam:
            assert os.path.exists(emulator), f"not installed: {emulator}"
            if LAUNCHER:
                launcher += ["-E", "LD_PRELOAD=" + emulator]
            else:
                own["LD_PRELOAD"] = emulator
        own.update(env or {})
        kept = {key: value for key, value in os.environ.items()
                if key == "PATH" or key.startswith(("ASAN_", "UBSAN_", "LSAN_", "TSAN_", "QEMU_", "GCOV_"))}
        kept.update({key: value for key, value in own.items() if value is not None})
        with open(self._stderr, "ab") as stderr:
            return subprocess.Popen(
                [*starter, *launcher, places.daemon(PREFIX), *args], env=kept, cwd="/",
                stdin=subprocess.DEVNULL, stdout=stderr, stderr=stderr)

    def up(self, *args, level=None, **options):
        """Starts the daemon and brings it to the state in which ISS is ready."""
        self.connected(*args, **options)
        self.make_ready()
        if level is not None:
            self.bus.set_trace_level(level)

    def connected(self, *args, level=None, **options):
        """Starts the daemon; returns once it is connected to OPS."""
        self.start(*args, **options)
        self.ops.accept()
        self.log.wait(CONNECTED)
        if level is not None:
            self.bus.set_trace_level(level)

    def make_ready(self):
        """ISS reports that its configuration is restored. Any trace level from 6 up shows it."""
        since = self.log.mark()
        marked = os.path.exists(READY_MARKER)
        self.ops.send(record.reloaded())
        self.log.wait("[INFO] main:396 (main) - MSR reload succeeded", since)
        if not marked:
            self.wait_file(READY_MARKER)

    def stop(self, number=SIGTERM, status=0):
        """Stops the daemon, which must end in time and with this status."""
        self.daemon.send_signal(number)
        self.wait_exit(status)

    def wait_exit(self, status=0, limit=None):
        try:
            until(lambda: self.daemon.poll() is not None, "the daemon's end", STOP_LIMIT if limit is None else limit)
        except AssertionError as late:
            stacks = "\n".join(f"{thread}: {place}" for thread, place in sorted(self.waiting().items()))
            self.daemon.kill()
            self.daemon.wait()
            self.daemon = None
            raise AssertionError(f"the daemon did not end in time ({late}); its threads waited in:\n{stacks}") from None
        got = self.daemon.returncode
        self.daemon = None
        assert got == status, f"exit status {got}, not {status}; standard error:\n{self.stderr()}"

    def waiting(self):
        """Where in the kernel each of the daemon's threads waits; the first has the number of the process."""
        tasks = f"/proc/{self.daemon.pid}/task"
        found = {}
        for task in os.listdir(tasks):
            with open(f"{tasks}/{task}/wchan", encoding="ascii") as wchan:
                found[int(task)] = wchan.read()
        return found

    @property
    def running(self):
        return self.daemon is not None and self.daemon.poll() is None

    def alive(self):
        """The daemon serves the bus still."""
        return self.bus.call(COMMON, "get_trace_level").reply()

    def sync_ops(self):
        """Waits until the main loop has handled everything that OPS has sent; needs an admitted INFO."""
        since = self.log.mark()
        self.ops.send(record.make(record.CPU_THRESHOLD, threadName="sync"))
        self.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread sync\n", since)

    def sync_debug(self):
        """Waits until the main loop has queued or returned every debug request so far; trace level 9."""
        def handled():
            return (len(self.log.find("[DEBUG3] main:316 *")) + len(self.log.find("[DEBUG3] main:301 *"))
                    >= self.debug.sent)
        until(handled, "every debug request is handled")

    # What the test announces.

    def expect_log(self, pattern):
        """Announces lines of WARNING or worse that fit; at least one must come."""
        self._announced.append(pattern)

    def expect_refused(self, what="*"):
        """Announces that ISS refuses messages, and that the log tells which."""
        self.expect_log(f"[WARNING] main:* (main) - ISS refused {what}")

    def expect_stderr(self, pattern):
        self._announced_stderr.append(pattern)

    def stderr(self):
        if not os.path.exists(self._stderr):
            return ""
        with open(self._stderr, encoding="utf-8", errors="replace") as text:
            return text.read()

    def wait_file(self, path, deadline=None):
        until(lambda: os.path.exists(path), path, deadline)

    # The end.

    def finish(self):
        """Stops what runs, then fails on whatever the test did not announce."""
        problems = []
        try:
            if self.daemon is not None:
                if not self.running:
                    problems.append(f"the daemon had ended with status {self.daemon.returncode}")
                    self.daemon = None
                else:
                    self.stop()
        except AssertionError as error:
            problems.append(str(error))
        self.close()
        patterns = [(pattern, matcher(pattern)) for pattern in self._announced]
        bad = self.log.bad()
        problems += [f"unannounced: {line!r}" for line in bad
                     if not any(match.match(line.text) for _, match in patterns)]
        problems += [f"announced, but did not come: {pattern!r}" for pattern, match in patterns
                     if not any(match.match(line.text) for line in bad)]
        problems += self._stderr_problems()
        print(f"--- log\n{self.log.dump(last=400)}")
        assert not problems, "\n".join(problems)

    def _stderr_problems(self):
        announced = [matcher(pattern) for pattern in self._announced_stderr]
        lines = [line for line in self.stderr().splitlines() if line and not line.startswith(FOREIGN_STDERR)]
        wrong = [line for line in lines if not any(match.match(line) for match in announced)]
        missing = [match.pattern for match in announced if not any(match.match(line) for line in lines)]
        return (["on standard error:\n" + "\n".join(wrong)] if wrong else []) + [
            f"announced on standard error, but did not come: {pattern}" for pattern in missing]

    def close(self):
        """Ends all that is left, without a look at it."""
        for peer in self._peers:
            peer.leave()
        if self._debug is not None:
            self._debug.leave()
        if self.ops is not None:
            self.ops.close()
        if self._bus_daemon is not None:
            self.stop_bus()
        for daemon in self._further_buses:
            self._end_bus(daemon)
        self.log.close()
