"""A script of the directory scripts, run as its user runs it."""
import os
import subprocess

from .places import REPO
from .wait import SLOW


class Script:
    def __init__(self, name, seconds, arguments=""):
        """At most so many seconds are waited for it. Its usage begins with these arguments."""
        self._name = name
        self._seconds = seconds
        self._usage = f"usage: scripts/{name} {arguments}".rstrip()

    def run(self, *arguments, **environment):
        return subprocess.run([os.path.join(REPO, "scripts", self._name), *arguments], stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, env={**os.environ, **environment},
                              timeout=self._seconds * SLOW, check=False)

    def expect_misuse(self, *arguments):
        done = self.run(*arguments)
        assert done.returncode == 2
        assert self._usage in done.stderr and not done.stdout

    def expect_help(self):
        done = self.run("--help")
        assert done.returncode == 0 and self._usage in done.stdout and not done.stderr
