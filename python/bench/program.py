"""A program that is measured, or that helps to measure."""
import contextlib
import os
import re
import select
import subprocess
import tempfile
import time

from trelvik.files import read

LIMIT = 60
"""Seconds for anything that must come about, by far more than it takes."""


class Failed(Exception):
    """Something does not work; what and where."""


class Program:
    """A program of the stand, which may say on its standard output how far it is. What it says on standard error is
    shown when it fails."""

    def __init__(self, command, cpus):
        self.name = os.path.basename(command[0])
        self._errors = tempfile.TemporaryFile()
        self.started_at = time.monotonic_ns()
        # A child begins where its parent may run.
        everywhere = os.sched_getaffinity(0)
        os.sched_setaffinity(0, cpus)
        self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self._errors)
        os.sched_setaffinity(0, everywhere)
        self.pid = self._process.pid
        self.ending = os.pidfd_open(self.pid)  # can be read once it has ended
        self._said = b""

    def hear(self, word, limit=LIMIT, beside=None):
        """The rest of the next line that begins with the word. It will not come when the program `beside` has ended."""
        end = time.monotonic() + limit
        while True:
            line, found, rest = self._said.partition(b"\n")
            if found:
                self._said = rest
                if line.decode().startswith(word):
                    return line.decode()[len(word):].strip()
                continue
            ready = select.select([self._process.stdout, *([beside.ending] if beside else [])], [], [],
                                  max(0, end - time.monotonic()))[0]
            if not ready:
                raise Failed(f'{self.name} did not say "{word}" within {limit:.0f} s{self.complaints()}')
            if self._process.stdout not in ready:
                beside.check()
            data = os.read(self._process.stdout.fileno(), 4096)
            if not data:
                raise Failed(f'{self.name} ended with status {self._process.wait()} before it said "{word}"'
                             f"{self.complaints()}")
            self._said += data

    def complaints(self):
        self._errors.seek(0)
        text = self._errors.read().decode(errors="replace").strip()
        return f"; it complained:\n{text}" if text else ""

    def check(self):
        """Fails when it has ended."""
        if self._process.poll() is not None:
            raise Failed(f"{self.name} ended with status {self._process.returncode}{self.complaints()}")

    def place(self, cpus):
        """Every thread of it runs there from now on, and those that they start."""
        for thread in os.listdir(f"/proc/{self.pid}/task"):
            with contextlib.suppress(ProcessLookupError):
                os.sched_setaffinity(int(thread), cpus)

    def cpu(self):
        """Nanoseconds of CPU time, those of threads that have ended included."""
        # The clock of another process, as the kernel numbers it.
        return int(1e9 * time.clock_gettime((~self.pid << 3) | 2))

    def threads(self):
        """{thread: (its name, "" where it has none of its own, nanoseconds of CPU time)}"""
        tasks, found = f"/proc/{self.pid}/task", {}
        own = read(f"/proc/{self.pid}/comm").strip()
        for task in os.listdir(tasks):
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):
                name = read(f"{tasks}/{task}/comm").strip()
                found[int(task)] = ("" if name == own else name, int(read(f"{tasks}/{task}/schedstat").split()[0]))
        return found

    def memory(self):
        """KiB of memory: what it has, and its part of that where others have it too."""
        rollup = read(f"/proc/{self.pid}/smaps_rollup")
        return {key.lower(): int(re.search(rf"^{key}:\s+(\d+)", rollup, re.MULTILINE)[1]) for key in ("Rss", "Pss")}

    def end(self):
        """Stops it; returns the milliseconds that it took."""
        before = time.monotonic_ns()
        self._process.terminate()
        in_time = select.select([self.ending], [], [], LIMIT)[0]
        took = (time.monotonic_ns() - before) / 1e6
        if not in_time:
            raise Failed(f"{self.name} did not stop within {LIMIT} s")
        if self._process.wait() != 0:
            self.check()
        return took

    def kill(self):
        self._process.kill()
        self._process.wait()
        self._process.stdout.close()
        self._errors.close()
        os.close(self.ending)
