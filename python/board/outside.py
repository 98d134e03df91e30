"""The boards of one call of scripts/board, seen from outside their sandboxes: started, listened to, and stopped when
the script is to end. One thread; the terminal has its own."""
import contextlib
import os
import selectors
import shutil
import signal
import stat
import subprocess
import sys

from trelvik import places
from trelvik.places import LIB, REPO, SANDBOX

from . import runs
from .commandline import Misuse
from .lines import Line, Logs, Order, Terminal, now_ms

STAGE = os.path.join(REPO, "build/release/stage")
CAPTURE = "iss.pcapng"
DAEMON = ("otn.Trelvik", "/otn/Trelvik/ob_common", "otn.OBcommon_1_0", "get_trace_level")


class Board:
    """One board and its sandbox. It stops in good order when its standard input closes, and never later than we."""

    def __init__(self, run, options, stage, keep, show):
        self.run = run
        self.status = None
        self._several = options.count > 1
        self._label = f"{run.number:>3} " if self._several else ""
        self._once = options.demo or options.measure
        self._show = show
        self._keep = keep
        self._record = options.record
        self._logs = Logs(keep) if keep else None
        self._rest = b""
        shown = ["--rw", run.path, "--ro", stage]
        told = [f"--name={options.name}"]
        if options.scenario:
            shown += ["--ro", options.scenario]
            told += ["--scenario", options.scenario]
        if capture := options.record or keep and os.path.join(keep, CAPTURE):
            # The sandbox shows what is there.
            make_own_file(capture)
            shown += ["--rw", capture]
            told += ["--record", capture]
        if options.demo:
            told += ["--demo"]
        if options.measure:
            told += ["--measure", str(options.measure)]
        # A session of its own is out of Ctrl-C's reach.
        self._process = subprocess.Popen(
            [SANDBOX, *shown, "--", *places.module("board.inside"), *told, "--", stage, run.path],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, start_new_session=True)
        self.output = self._process.stdout.fileno()
        run.started(self._process.pid)

    def say(self, text):
        self._show(Line(now_ms(), "board", text), self)

    def read(self):
        """Takes what the inside has said. False when it has ended."""
        data = os.read(self.output, 1 << 16)
        *whole, self._rest = (self._rest + data).split(b"\n")
        for raw in whole:
            if raw == b"up":
                self._is_up()
            else:
                self._show(Line.unpacked(raw), self)
        if data:
            return True
        self.status = self._process.wait()
        if self.status not in (0, 1):
            self.say(f"its sandbox ended with status {self.status}")
            self.status = 1
        return False

    def _is_up(self):
        self.run.is_up()
        if self._once:
            return
        number = f"--number {self.run.number} " if self._several or self.run.number > 1 else ""
        self.say("up; from another terminal:")
        self.say(f"  busctl --address={self.run.address} call {' '.join(DAEMON)}")
        self.say(f"  scripts/board {number}exec iss-sim show ports")
        self.say("Ctrl-C stops it.")

    def put(self, line, terminal):
        if line.shown:
            terminal.show(line, self._label)
        if self._logs:
            self._logs.keep(line)

    def stop(self):
        with contextlib.suppress(BrokenPipeError):
            self._process.stdin.close()

    def leave(self):
        if self._logs:
            self._logs.close()
            if self._record:
                shutil.copyfile(self._record, os.path.join(self._keep, CAPTURE))


class Script:
    """What runs until every board has ended."""

    def __init__(self):
        self._boards = []
        self._order = Order()
        self._selector = selectors.DefaultSelector()
        # A byte in this pipe tells that the boards are to stop.
        self._told, self._tell = os.pipe()
        os.set_blocking(self._tell, False)
        self._selector.register(self._told, selectors.EVENT_READ)
        self._terminal = Terminal(sys.stdout, self._stop_soon)
        # Whichever thread a signal interrupts, its byte wakes this one.
        signal.set_wakeup_fd(self._tell, warn_on_full_buffer=False)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, lambda *_: None)

    def _stop_soon(self):
        """Any thread."""
        with contextlib.suppress(BlockingIOError):
            os.write(self._tell, b"x")

    def add(self, *board):
        board = Board(*board, self._order.add)
        self._boards.append(board)
        self._selector.register(board.output, selectors.EVENT_READ, board)
        return board

    def run(self):
        left = len(self._boards)
        while left:
            for key, _ in self._selector.select(self._order.wait()):
                if key.data is None:
                    os.read(self._told, 100)
                    for board in self._boards:
                        board.stop()
                elif not key.data.read():
                    self._selector.unregister(key.fd)
                    left -= 1
            self._put()
        self._put(everything=True)
        return max(board.status for board in self._boards)

    def _put(self, everything=False):
        for line, board in self._order.take(everything):
            board.put(line, self._terminal)

    def leave(self):
        for board in self._boards:
            board.stop()
            board.leave()

    def finish_showing(self):
        """Takes as long as the terminal stands still."""
        self._terminal.close()


def run(options):
    check_paths(options)
    where = runs.place()
    keeps = make_keeps(options)
    if options.stage is None and subprocess.run([os.path.join(LIB, "stage-board"), STAGE], check=False).returncode:
        return 1
    stage = options.stage or STAGE
    script, mine = Script(), []
    try:
        with runs.alone(where):
            swept = runs.sweep(where)
            mine = runs.create(where, options.count, options.name, stage)
        boards = [script.add(run, options, stage, keep) for run, keep in zip(mine, keeps)]
        if swept:
            boards[0].say(f"removed what killed boards had left behind: {', '.join(map(str, swept))}")
        return script.run()
    finally:
        script.leave()
        for run in mine:
            run.remove()
        script.finish_showing()


def check_paths(options):
    if options.scenario:
        options.scenario = os.path.realpath(options.scenario)
        if not os.path.isfile(options.scenario) or not os.access(options.scenario, os.R_OK):
            raise Misuse(f"--scenario takes a file that can be read, not {options.scenario}")
    if options.stage:
        options.stage = os.path.realpath(options.stage)
        if not os.access(places.daemon(options.stage), os.X_OK):
            raise Misuse(f"--stage takes a directory with an installation, not {options.stage}: it holds no sbin/Trelvik")
    if options.record:
        # The last part of the path stays: a link there is refused.
        above, name = os.path.split(os.path.abspath(options.record))
        options.record = os.path.join(os.path.realpath(above), name)
        make_own_file(options.record)


def make_keeps(options):
    """The directory that each board's logs stay in."""
    if not options.keep:
        return [None] * options.count
    keep = os.path.abspath(options.keep)
    runs.own_directory(keep)
    keep = os.path.realpath(keep)
    if os.listdir(keep):
        raise Misuse(f"--keep takes a directory that is new or empty, not {keep}")
    if options.count == 1:
        return [keep]
    keeps = [os.path.join(keep, str(place)) for place in range(1, options.count + 1)]
    for path in keeps:
        runs.own_directory(path)
    return keeps


def make_own_file(path):
    """Makes a file, or takes one that is there, is no link, and is nobody else's."""
    try:
        file = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC, 0o644)
    except OSError as error:
        raise runs.Refused(f"{path} cannot be written, or is a link: {error.strerror}") from None
    found = os.fstat(file)
    os.close(file)
    if not stat.S_ISREG(found.st_mode) or found.st_uid != os.geteuid():
        raise runs.Refused(f"{path} is no file of one's own: remove it or choose another place")
