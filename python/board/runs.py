"""The boards of this user that are running. Each has a directory RUNS/NUMBER, which holds its bus socket, what `list`
and `exec` need to know of it, and a lock that its script holds for as long as it lives, however it ends."""
import contextlib
import fcntl
import json
import os
import shutil
import signal
import stat
import time


class Refused(Exception):
    """Something in the way of the board that its user has to see to."""


def own_directory(path, private=False):
    """Makes a directory, or takes one that is there and nobody else's; others would decide what becomes of its files.
    `private`: nor may others write in it."""
    with contextlib.suppress(FileExistsError):
        os.mkdir(path, 0o700 if private else 0o777)
    check_own_directory(path, private)


def check_own_directory(path, private=False):
    found = os.lstat(path)
    if stat.S_ISLNK(found.st_mode):
        raise Refused(f"{path} is a link, not a directory: remove it or choose another place")
    if not stat.S_ISDIR(found.st_mode):
        raise Refused(f"{path} is not a directory: remove it or choose another place")
    if found.st_uid != os.geteuid():
        raise Refused(f"{path} belongs to somebody else (uid {found.st_uid}): remove it or choose another place")
    if private and found.st_mode & 0o022:
        raise Refused(f"others may write in {path}: remove it or take that right from them")


def place():
    """Where the runs of this user are."""
    above = os.environ.get("XDG_RUNTIME_DIR")
    if above:
        above = above.rstrip("/") or "/"
        try:
            check_own_directory(above)
        except (OSError, Refused) as problem:
            raise Refused(f"XDG_RUNTIME_DIR cannot be used: {problem}") from None
    path = os.path.join(above or "/tmp", f"trelvik-board-{os.geteuid()}")
    own_directory(path, private=True)
    return path


def entries(where):
    """(number, path) of every run, running or left behind."""
    found = []
    for name in filter(str.isdigit, os.listdir(where)):
        path = os.path.join(where, name)
        with contextlib.suppress(FileNotFoundError):  # gone meanwhile
            check_own_directory(path)
            found.append((int(name), path))
    return sorted(found)


def take_lock(path, how, make=0):
    """A descriptor that holds the lock, or None when somebody else has it."""
    lock = os.open(path, os.O_RDWR | make | os.O_NOFOLLOW | os.O_CLOEXEC, 0o600)
    try:
        fcntl.flock(lock, how)
    except BlockingIOError:
        os.close(lock)
        return None
    return lock


@contextlib.contextmanager
def alone(where):
    """Keeps other scripts that start or sweep away meanwhile."""
    lock = take_lock(os.path.join(where, "lock"), fcntl.LOCK_EX, os.O_CREAT)
    try:
        yield
    finally:
        os.close(lock)


class Run:
    """A run of this script's; its lock goes with it."""

    def __init__(self, where, number, name, stage):
        self.number = number
        self.path = os.path.join(where, str(number))
        self.address = f"unix:path={self.path}/bus"
        os.mkdir(self.path, 0o700)
        self._lock = take_lock(os.path.join(self.path, "lock"), fcntl.LOCK_EX, os.O_CREAT)
        self._facts = {"number": number, "name": name, "since": time.time(), "pid": os.getpid(),
                       "address": self.address, "stage": stage}
        self._write()

    def started(self, sandbox):
        """`sandbox` is the pid of the program that holds the sandbox."""
        self._facts["sandbox"] = process(sandbox)
        self._write()

    def is_up(self):
        """From now on commands can be run inside."""
        self._facts["first"] = next(filter(None, map(process, children(self._facts["sandbox"][0]))), None)
        self._write()

    def _write(self):
        facts = os.path.join(self.path, "board.json")
        with open(facts + ".new", "w", encoding="utf-8") as out:
            json.dump(self._facts, out)
        os.rename(facts + ".new", facts)

    def remove(self):
        shutil.rmtree(self.path, ignore_errors=True)
        os.close(self._lock)


def create(where, count, name, stage):
    """As many runs, with the lowest numbers that are free; within `alone`, behind `sweep`."""
    taken = {number for number, _ in entries(where)}
    free = (number for number in range(1, 1 + count + len(taken)) if number not in taken)
    return [Run(where, next(free), name, stage) for _ in range(count)]


def read_facts(path):
    try:
        with open(os.path.join(path, "board.json"), encoding="utf-8") as facts:
            return json.load(facts)
    except (OSError, ValueError):
        return {}


def running(where):
    """What is known of each board that is running, by number."""
    found = []
    for _, path in entries(where):
        with contextlib.suppress(FileNotFoundError):  # it starts, or is gone meanwhile
            lock = take_lock(os.path.join(path, "lock"), fcntl.LOCK_SH | fcntl.LOCK_NB)
            if lock is not None:
                os.close(lock)
            elif facts := read_facts(path):
                found.append(facts)
    return found


def sweep(where):
    """Ends and removes what scripts that were killed left behind, and returns the numbers; within `alone`."""
    swept = []
    for number, path in entries(where):
        lock = take_lock(os.path.join(path, "lock"), fcntl.LOCK_EX | fcntl.LOCK_NB, os.O_CREAT)
        if lock is None:
            continue
        end_sandbox(read_facts(path).get("sandbox"))
        shutil.rmtree(path)
        os.close(lock)
        swept.append(number)
    return swept


def end_sandbox(sandbox):
    """Ends the sandbox unless another process has its pid by now."""
    if not sandbox or process(sandbox[0]) != sandbox:
        return
    first = children(sandbox[0])
    for pid in (*first, sandbox[0]):
        with contextlib.suppress(ProcessLookupError):
            os.kill(pid, signal.SIGKILL)
    end = time.monotonic() + 5
    while process(sandbox[0]) == sandbox:
        if time.monotonic() > end:
            raise Refused(f"process {sandbox[0]}, left behind by a board that was killed, does not end")
        time.sleep(0.01)


def stat_of(pid):
    """The fields of /proc/PID/stat behind the program's name: state, parent, ..."""
    try:
        with open(f"/proc/{pid}/stat", encoding="utf-8", errors="replace") as line:
            return line.read().rpartition(")")[2].split()
    except (FileNotFoundError, ProcessLookupError):
        return None


def process(pid):
    """[pid, when it started], which no two processes share; None for one that is not there."""
    fields = stat_of(pid)
    return [pid, int(fields[19])] if fields and fields[0] not in "ZX" else None


def children(pid):
    return [int(name) for name in os.listdir("/proc")
            if name.isdigit() and (fields := stat_of(name)) and int(fields[1]) == pid]
