"""What a build directory knows: how each object is compiled, on which files it depends, how a program is linked."""
import json
import os
import re
import shlex
import subprocess

from trelvik.places import REPO

ROOTS = ("src", "platform", "include")
NO_FLAGS = re.compile(r" -g\d?(?= )| -D_FORTIFY_SOURCE=\d| -O\d(?= )| -ffile-prefix-map=\S+")
GNU_FLAGS = re.compile(r" -fstack-clash-protection")


class Build:
    def __init__(self, directory):
        self.directory = os.path.realpath(directory)
        with open(os.path.join(self.directory, "compile_commands.json"), encoding="utf-8") as file:
            entries = json.load(file)
        self.commands = {re.search(r" -o (\S+)", entry["command"])[1]: entry["command"] for entry in entries}
        self.needs = self._dependencies()

    def _dependencies(self):
        """{object: the files of this tree that it is made of}"""
        listed = subprocess.run(["ninja", "-t", "deps"], cwd=self.directory, check=True, capture_output=True, text=True)
        found, current = {}, None
        for line in listed.stdout.splitlines():
            if line and not line.startswith(" "):
                current = found.setdefault(line.split(": #deps")[0], set())
            elif line.strip():
                path = os.path.realpath(os.path.join(self.directory, line.strip()))
                if path.startswith(REPO + "/"):
                    current.add(path)
        return found

    def objects(self, file):
        """The objects that a file is compiled into."""
        path = os.path.join(REPO, file)
        return sorted(name for name, needed in self.needs.items() if path in needed and name in self.commands)

    def compile(self, name, top, target):
        """The command that compiles an object of the sources in `top`."""
        command = NO_FLAGS.sub("", self.commands[name])
        command = re.sub(rf"{re.escape(REPO)}/({'|'.join(ROOTS)})(?=[/ ])", lambda found: os.path.join(top, found[1]), command)
        return re.sub(r" -o \S+", f" -O0 -o {shlex.quote(target)}", command)

    def check_locks(self, name, top):
        """The command with which Clang looks who holds which lock."""
        command = GNU_FLAGS.sub("", self.compile(name, top, "/dev/null"))
        return "clang++ -fsyntax-only -Wthread-safety -Wno-unused " + command.split(" ", 1)[1]

    def link(self, program):
        """The words that link a program."""
        listed = subprocess.run(["ninja", "-t", "commands", program], cwd=self.directory, check=True, capture_output=True,
                                text=True).stdout.splitlines()[-1]
        return shlex.split(next(part for part in listed.split(" && ") if f" -o {program} " in part))
