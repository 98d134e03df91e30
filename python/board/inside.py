"""The inside of the board: starts its programs in the sandbox, tells the outside what they say, and stops them when
its standard input ends. On standard output stand lines as `lines.Line` packs them, and `up` once the board is."""
import argparse
import contextlib
import functools
import grp
import os
import re
import resource
import sys
import threading

from trelvik import files, life_cycle, places, privatebus
from trelvik.bus import NAME, Bus
from trelvik.ops import ADDRESS as ISS_ADDRESS

from .demo import Demo
from .programs import Loop, Program, Syslog, listens, say, tell, time_of_day, time_of_epoch

GROUP = "otn"
BUS_CONFIG = "/run/bus.conf"
CAM_LOG = "/run/cam.log"
BUS_DESCRIPTORS = 65536
"""What dbus-daemon as uid 0 asks for, however few it needs."""


class Stopped(Exception):
    """Standard input ended: the board is to stop."""


class Failed(Exception):
    """The board did not come up, or did not stay up."""


class Board:
    def __init__(self, options):
        self.address = f"unix:path={options.run}/bus"
        self._options = options
        self._loop = Loop()
        self._demo = Demo() if options.demo else None
        self._programs = []
        self._monitor = None
        self._stopping = False
        self._loop.watch(sys.stdin.fileno(), self._read_input)
        self._log = Syslog(self._loop, self._hear_log)

    def _read_input(self):
        if not os.read(sys.stdin.fileno(), 4096):
            self._stopping = True
            self._loop.forget(sys.stdin.fileno())

    # What the parties say.

    def _hear_log(self, source, text, ms, priority):
        say(source, text, ms, priority)
        if self._demo:
            self._demo.hear_log(text)

    def _hear_iss(self, line, arrival):
        ms, text = time_of_day(line, arrival)
        say("iss", text, ms)
        if self._demo:
            self._demo.hear_iss(text)

    # The parties.

    def _start(self, name, hear, *command, **env):
        program = Program(self._loop, name, hear, *command, **env)
        self._programs.append(program)
        return program

    def start(self):
        run, stage = self._options.run, self._options.stage
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = self.address
        make_group()
        privatebus.write(BUS_CONFIG, f"{run}/bus", places.policy(stage))
        self._start("bus", hear_bus, "dbus-daemon", f"--config-file={BUS_CONFIG}", "--nofork", "--nosyslog")
        self._wait(lambda: listens(f"{run}/bus"), "the bus")
        more = []
        for option in ("scenario", "record"):
            if path := getattr(self._options, option):
                more += [f"--{option}", path]
        self._start("iss", self._hear_iss, places.iss_sim(stage), *more)
        self._wait(iss_listens, "the ISS simulator")
        files.write(CAM_LOG, "")
        # ISS, the simulator, runs already: what is left is to say so, as ISS would.
        life_cycle.install(f": >{life_cycle.MARKER}", f"rm -f {life_cycle.MARKER}")
        self._monitor = self._start("monitor", hear_monitor, "tail", "-n", "+1", "-f", CAM_LOG)
        self._start("daemon", functools.partial(hear, "daemon"), places.daemon(stage),
                    BOARD_NAME=self._options.name, ethaddr_first="02:00:00:00:00:01", CAM_SIM_LOG=CAM_LOG,
                    LD_PRELOAD=places.cam_sim(stage))
        bus = Bus(self.address)
        self._wait(lambda: bus.bus("NameHasOwner", "s", NAME)[0], "the daemon on the bus")
        bus.leave()
        tell("up")

    def _wait(self, condition, what):
        def reached():
            self.check()
            return condition()
        if not self._loop.wait(reached, 10):
            raise Failed(f"not in time: {what}")

    def check(self):
        """Raises what ends the board: its standard input closed, or a program gone."""
        if self._stopping:
            raise Stopped
        for program in self._programs:
            if program.ended:
                program.hear_out()
                raise Failed(f"{program.name} ended with status {program.status}")

    # What the board is up for.

    def keep_running(self):
        while True:
            self.check()
            self._loop.turn()

    def run_demo(self):
        """True when all of it was right."""
        result = []
        thread = threading.Thread(target=lambda: result.append(self._demo.run()), daemon=True)
        thread.start()
        while thread.is_alive():
            self.check()
            self._loop.turn(0.02)
        return result == [True]

    def measure(self, seconds):
        """Shows what the idle board takes."""
        before = [program.cost() for program in self._programs]
        self._loop.wait(self.check, seconds)
        total_memory, total_load = 0, 0.0
        for program, (_, used) in zip(self._programs, before):
            memory, now = program.cost()
            load = 100 * (now - used) / seconds
            total_memory, total_load = total_memory + memory, total_load + load
            say("board", f"{program.name:>8}: {memory / 1024:6.1f} MiB, {load:6.3f} % of a CPU")
        say("board", f"in total: {total_memory / 1024:6.1f} MiB, {total_load:6.3f} % of a CPU, idle for {seconds} s")

    def stop(self):
        """True when every program still running stopped as told."""
        clean = True
        for program in reversed(self._programs):
            if not program.ended and not program.stop():
                say("board", f"{program.name} did not stop within 5 s and was killed")
                clean = False
        if self._monitor:
            with open(CAM_LOG, "rb") as rest:
                rest.seek(self._monitor.taken)
                self._monitor.take(rest.read())
        self._log.read()
        return clean


def hear(source, text, arrival):
    say(source, text, arrival)


def hear_monitor(line, arrival):
    ms, text = time_of_epoch(line, arrival)
    say("monitor", text, ms)


def hear_bus(text, arrival):
    # It says so wherever the machine allows less, and goes on with what there is, which is plenty for a board.
    expected = "Failed to set fd limit to" in text and resource.getrlimit(resource.RLIMIT_NOFILE)[1] < BUS_DESCRIPTORS
    say("bus", text, arrival, shown=not expected)


def make_group():
    """The bus's policy names a group that every network element has. The sandbox's /etc holds links to the machine's
    files; its list of groups becomes a file of its own."""
    with contextlib.suppress(KeyError):
        grp.getgrnam(GROUP)
        return
    taken = {group.gr_gid for group in grp.getgrall()}
    number = next(number for number in range(999, 99, -1) if number not in taken)
    with open("/etc/group", encoding="utf-8") as groups:
        text = groups.read()
    os.unlink("/etc/group")
    with open("/etc/group", "x", encoding="utf-8") as groups:
        groups.write(f"{text}{GROUP}:x:{number}:\n")


def iss_listens():
    """Asked of the kernel: a connection made to find out would be ISS's first."""
    with open("/proc/net/tcp", encoding="ascii") as table:
        return re.search(rf":{ISS_ADDRESS[1]:04X} 00000000:0000 0A ", table.read())


def main():
    with open("/proc/1/comm", encoding="ascii") as first:
        if first.read().strip() != "bwrap":
            sys.exit("the inside of the board runs in scripts/sandbox only")
    # The machine's, not the board's.
    os.environ.pop("XDG_RUNTIME_DIR", None)
    parser = argparse.ArgumentParser(allow_abbrev=False)
    parser.add_argument("--name", required=True)
    parser.add_argument("--scenario")
    parser.add_argument("--record")
    parser.add_argument("--demo", action="store_true")
    parser.add_argument("--measure", type=int)
    parser.add_argument("stage")
    parser.add_argument("run")
    options = parser.parse_args()

    board = Board(options)
    status = 0
    try:
        board.start()
        if options.demo:
            status = 0 if board.run_demo() else 1
        elif options.measure:
            board.measure(options.measure)
        else:
            board.keep_running()
    except Stopped:
        if options.demo or options.measure:
            say("board", "broken off")
            status = 1
    except (Failed, AssertionError, OSError) as failure:
        say("board", f"failed: {failure}")
        status = 1
    if not board.stop():
        status = 1
    say("board", "stopped")
    return status


sys.exit(main())
