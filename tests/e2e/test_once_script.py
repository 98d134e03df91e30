"""scripts/lib/once, which spares a check that has passed on the same files."""
import json
import os
import subprocess

import pytest

from trelvik.files import write
from trelvik.places import LIB

ONCE = os.path.join(LIB, "once")
SPARED = "It has passed on these files before.\n"


class Check:
    """A check that passes where `verdict` holds "good", and notes each time it is run."""

    def __init__(self, directory):
        self.stamp, self.folder, self.notes = (str(directory / name) for name in ("kept/stamp", "read", "notes"))
        self.verdict = str(directory / "read/verdict")
        os.mkdir(self.folder)
        write(self.verdict, "good")

    def run(self, *words, read=()):
        command = ["sh", "-c", f'echo run >>{self.notes}; grep -q good {self.verdict}', *words]
        return subprocess.run([ONCE, "--stamp", self.stamp, *(read or ("--of", self.folder)), "--", *command], check=False,
                              capture_output=True, text=True)

    def count(self):
        with open(self.notes, encoding="ascii") as notes:
            return len(notes.readlines())


@pytest.fixture
def check(tmp_path):
    return Check(tmp_path)


def test_check_that_passed_is_spared(check):
    assert check.run().stdout == ""
    again = check.run()
    assert (again.returncode, again.stdout, check.count()) == (0, SPARED, 1)


def test_check_that_failed_is_run_again(check):
    write(check.verdict, "bad")
    assert [check.run().returncode for _ in range(2)] == [1, 1]
    assert check.count() == 2


def test_check_of_other_files_is_run_again(check):
    check.run()
    write(os.path.join(check.folder, "one more"), "")
    assert check.run().returncode == 0 and check.count() == 2
    write(check.verdict, "bad")
    assert check.run().returncode == 1 and check.count() == 3
    write(check.verdict, "good")
    assert check.run().stdout == SPARED, "what passed is told by what was read"


def test_other_command_is_run(check):
    check.run()
    check.run("another word")
    assert check.count() == 2


def test_check_of_what_is_not_there_is_an_error(check):
    done = check.run(read=("--of", check.folder + "/absent"))
    assert done.returncode != 0 and "absent" in done.stderr and not os.path.exists(check.notes)


def test_check_of_a_compilation_is_run_again_after_a_header_changed(check, tmp_path):
    build, source, header = (str(tmp_path / name) for name in ("build", "one.cpp", "one.h"))
    command = f"c++ -MD -MF one.d -c {source} -o one.o"
    os.mkdir(build)
    write(source, '#include "one.h"\n')
    write(header, "int a;\n")
    write(os.path.join(build, "build.ninja"),
          f"rule cxx\n  command = {command}\n  depfile = one.d\n  deps = gcc\nbuild one.o: cxx {source}\n")
    write(os.path.join(build, "compile_commands.json"),
          json.dumps([{"directory": build, "command": command, "file": source}]))
    read = ("--compiled", source, "--in", build)

    check.run(read=read)
    assert check.run(read=read).stdout == "" and check.count() == 2, "what it reads is not known before it is compiled"
    subprocess.run(["ninja", "-C", build], check=True, capture_output=True)
    assert [check.run(read=read).stdout for _ in range(2)] == ["", SPARED]
    write(header, "int b;\n")
    assert check.run(read=read).stdout == "" and check.count() == 4
