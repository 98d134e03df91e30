"""A scratch copy of the sources, in which one mutant at a time is compiled and linked."""
import os
import shutil
import subprocess

from trelvik.files import read, write
from trelvik.places import REPO

from .build import ROOTS


class NotCompiled(Exception):
    """The compiler refuses the mutant."""


class Scratch:
    """One job's place. It links what the build has with the few objects that the mutant changes."""

    def __init__(self, build, place):
        self.build = build
        self.place = place
        self.top = os.path.join(place, "source")
        shutil.rmtree(place, ignore_errors=True)
        for root in ROOTS:
            shutil.copytree(os.path.join(REPO, root), os.path.join(self.top, root))
        self.made = {}
        self.mutated = None

    def put(self, mutant):
        path = os.path.join(self.top, mutant.file)
        self.mutated = (path, read(path))
        write(path, mutant.applied(self.mutated[1]))

    def clear(self):
        """The sources are as they were, and what was made of the mutant is gone."""
        write(*self.mutated)
        self.mutated, self.made = None, {}
        shutil.rmtree(os.path.join(self.place, "made"), ignore_errors=True)

    def remove(self):
        shutil.rmtree(self.place, ignore_errors=True)

    def locks_refused(self, file):
        """Whether Clang sees that what a lock guards is reached without it."""
        return any(self._shell(self.build.check_locks(name, self.top)) for name in self.build.objects(file)
                   if not name.startswith(("tests/", "sim/", "tools/", "bench/", "model/")))

    def program(self, name):
        """The path of a program with the mutant in it; None where the program has nothing of the file."""
        words = self.build.link(name)
        file = os.path.relpath(self.mutated[0], self.top)
        own = [word for word in words if word.endswith(".o")]
        further = []
        for made in self.build.objects(file):
            if made in own:
                words[words.index(made)] = self._object(made)
            elif made.startswith(("src/CMakeFiles/trelvik_core.dir/", "platform/")):
                further.append(self._object(made))
        target = os.path.join(self.place, "made", os.path.basename(name))
        words[words.index("-o") + 1] = target
        # Before the libraries, whose members with the same names are then not taken.
        words[words.index("-o"):words.index("-o")] = [*further, "-fuse-ld=lld", "-Wl,-S"]
        linked = subprocess.run(words, cwd=self.build.directory, check=False, capture_output=True, text=True,
                                start_new_session=True)
        if linked.returncode != 0:
            raise NotCompiled(linked.stderr)
        return target

    def _object(self, name):
        if name not in self.made:
            target = os.path.join(self.place, "made", name.replace("/", "_"))
            os.makedirs(os.path.dirname(target), exist_ok=True)
            wrong = self._shell(self.build.compile(name, self.top, target))
            if wrong:
                raise NotCompiled(wrong)
            self.made[name] = target
        return self.made[name]

    def _shell(self, command):
        """What a command that fails says; nothing where it does not."""
        # A session of its own: an interrupt is for the run, and would make a mutant look as if it did not compile.
        done = subprocess.run(command, cwd=self.build.directory, shell=True, check=False, capture_output=True, text=True,
                              start_new_session=True)
        return "" if done.returncode == 0 else done.stderr or "failed"
