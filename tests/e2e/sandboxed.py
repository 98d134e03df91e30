"""Keeps pytest and the tests loaded, and runs each in a sandbox of its own, in a process that needs to load nothing.

To start Python, pytest and the tests takes ten times what most tests take, so with `--keep-for DIRECTORY` pytest collects
and stays: in the background, until the process that started it has ended. `run-test` asks it for one test by a socket in
DIRECTORY. For each a keeper is forked, which makes the sandbox, joins it, forks the test in there, and ends both with
the one who asked.
"""
import ctypes
import json
import os
import select
import signal
import socket
import subprocess
import sys

import pytest
from trelvik import sandbox
from trelvik.places import REPO

NO_NEW_PRIVILEGES = 38
libc = ctypes.CDLL(None, use_errno=True)
ended_with = pytest.StashKey()


def pytest_addoption(parser):
    parser.addoption("--keep-for", metavar="DIRECTORY", help="stay, and run what run-test asks for in DIRECTORY")
    for option in sandbox.BINDS:
        parser.addoption(f"--show-{option[2:]}", metavar="PATH", action="append", default=[], help="as scripts/sandbox has it")


@pytest.hookimpl(tryfirst=True)
def pytest_runtestloop(session):
    directory = session.config.getoption("keep_for")
    if not directory or session.testsfailed:
        return
    shown = [(option, path) for option in sandbox.BINDS for path in session.config.getoption(f"show_{option[2:]}")]
    tests = {}
    for item in session.items:
        tests.setdefault(f"{os.path.realpath(item.path)}::{item.originalname}", []).append(item)
    try:
        sandbox.check()
    except sandbox.Refused as refused:
        pytest.exit(str(refused), 1)
    # What comes back is a process in a sandbox, which runs these and ends as pytest does.
    session.items[:] = Runner(directory, tests, shown).serve()
    session.config.pluginmanager.get_plugin("terminalreporter").pytest_sessionstart(session)


def pytest_sessionfinish(session, exitstatus):
    session.config.stash[ended_with] = int(exitstatus)


def pytest_unconfigure(config):
    """Ends a test's process without taking down, piece by piece, what goes with it."""
    if config.getoption("keep_for"):
        sys.stdout.flush()
        sys.stderr.flush()
        os._exit(config.stash.get(ended_with, 1))


def check(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


class Runner:
    def __init__(self, directory, tests, shown):
        self.tests, self.shown = tests, shown
        os.chdir(directory)
        self.name = f"runner.{os.getppid()}"
        self.master = os.pidfd_open(os.getppid())
        self.door = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        if os.path.exists(self.name):
            os.unlink(self.name)
        self.door.bind(self.name)
        self.door.listen(128)

    def serve(self):
        """The tests to run: whoever returns from here is in the sandbox."""
        sys.stdout.flush()
        if os.fork():
            os._exit(0)
        os.setsid()
        nothing = os.open(os.devnull, os.O_RDWR)
        for stream in range(3):
            os.dup2(nothing, stream)
        os.close(nothing)
        signal.signal(signal.SIGCHLD, signal.SIG_IGN)
        while True:
            ready, _, _ = select.select([self.door, self.master], [], [])
            if self.master in ready:
                os.unlink(self.name)
                os._exit(0)
            asker, _ = self.door.accept()
            if os.fork():
                asker.close()
                continue
            signal.signal(signal.SIGCHLD, signal.SIG_DFL)
            self.door.close()
            os.close(self.master)
            return self.keep(asker)

    def keep(self, asker):
        """Makes a sandbox for a test, and takes both away when the test has ended or nobody asks for it any more."""
        test, streams, _, _ = socket.recv_fds(asker, 4096, 3)
        for number, stream in enumerate(streams):
            os.dup2(stream, number)
            os.close(stream)
        box = Sandbox(self.shown)
        box.enter()
        child = os.fork()
        if child == 0:
            asker.close()
            box.leave_alone()
            os.setsid()
            if test.decode() not in self.tests:
                pytest.exit(f"{test.decode()} is none of the tests that were loaded: configure the build again", 1)
            return self.tests[test.decode()]
        ended = os.pidfd_open(child)
        ready, _, _ = select.select([asker, ended], [], [])
        if ended in ready:
            _, status = os.waitpid(child, 0)
            asker.send(bytes([os.waitstatus_to_exitcode(status) & 0xff]))
        os._exit(0)


class Sandbox:
    """A sandbox in which nothing runs as long as its maker holds it."""

    def __init__(self, shown):
        told, tell = os.pipe()
        words, listed = sandbox.command(shown, ["cat"], "--info-fd", str(tell))
        self.anchor = subprocess.Popen(words, pass_fds=[listed, tell], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        os.close(tell)
        os.close(listed)
        # What comes back has been through a sandbox that is complete.
        self.anchor.stdin.write(b"\n")
        self.anchor.stdin.flush()
        if not self.anchor.stdout.read(1):
            raise ChildProcessError("the sandbox was not made")
        with open(told, encoding="ascii") as answer:
            self.first = json.load(answer)["child-pid"]

    def enter(self):
        """Joins it: the calling process at once, but for its number, which only its children have from there."""
        kinds = [kind for kind in ("user", "ipc", "net", "pid", "mnt")
                 if os.readlink(f"/proc/{self.first}/ns/{kind}") != os.readlink(f"/proc/self/ns/{kind}")]
        doors = [os.open(f"/proc/{self.first}/ns/{kind}", os.O_RDONLY) for kind in kinds]
        for door in doors:
            check(libc.setns(door, 0))
            os.close(door)
        os.chdir(REPO)
        check(libc.prctl(NO_NEW_PRIVILEGES, 1, 0, 0, 0))

    def leave_alone(self):
        self.anchor.stdin.close()
        self.anchor.stdout.close()
