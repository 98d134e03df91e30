"""scripts/board, run as its user runs it, with what is installed already."""
import os
import re
import resource
import shutil
import signal
import subprocess
import tempfile
import threading

from . import files
from .places import PREFIX, REPO
from .wait import DEADLINE, SLOW, until

BOARD = os.path.join(REPO, "scripts/board")
UP = r".*Ctrl-C stops it\."
LIMIT = 20 * SLOW
"""Seconds for anything that must come about, its start and its end included."""


class Script:
    """One running scripts/board, started where a machine allows few descriptors."""

    def __init__(self, environment, *arguments):
        self._process = subprocess.Popen(
            [BOARD, "--stage", PREFIX, *arguments], env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (1024, 4096)))
        self.pid = self._process.pid
        self.lines = []
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._process.stdout:
            self.lines.append(line.rstrip("\n"))

    def find(self, pattern):
        return [line for line in list(self.lines) if re.fullmatch(pattern, line)]

    def wait(self, pattern, count=1):
        def found():
            matching = self.find(pattern)
            return matching if len(matching) >= count else None
        return until(found, lambda: f"{pattern} (x{count}) in:\n" + "\n".join(self.lines), LIMIT)

    def wait_end(self):
        status = self._process.wait(LIMIT)
        self._reader.join(DEADLINE)
        return status

    def end(self, number=signal.SIGINT):
        self._process.send_signal(number)
        return self.wait_end()

    def leave(self):
        if self._process.poll() is None:
            self._process.terminate()
            self.wait_end()


class Place:
    """A directory for the runs of a test, and the scripts that it started."""

    def __init__(self):
        # Short, as paths of sockets are.
        self.path = tempfile.mkdtemp(prefix="b-", dir="/tmp")
        self.runs = os.path.join(self.path, f"trelvik-board-{os.geteuid()}")
        self._scripts = []

    def environment(self, runs=None):
        return {**os.environ, "XDG_RUNTIME_DIR": runs or self.path}

    def file(self, name):
        return os.path.join(self.path, name)

    def write(self, name, text):
        files.write(self.file(name), text)
        return self.file(name)

    def start(self, *arguments):
        self._scripts.append(Script(self.environment(), *arguments))
        return self._scripts[-1]

    def up(self, *arguments, count=1):
        script = self.start(*arguments)
        script.wait(UP, count)
        return script

    def run(self, *arguments, runs=None):
        """Runs it to its end; `runs` is another directory for the runs."""
        return subprocess.run([BOARD, *arguments], env=self.environment(runs), stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=LIMIT, check=False)

    def numbers(self):
        return sorted(name for name in os.listdir(self.runs) if name.isdigit())

    def leave(self):
        for script in self._scripts:
            script.leave()
        shutil.rmtree(self.path)
