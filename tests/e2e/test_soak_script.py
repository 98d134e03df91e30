"""scripts/soak: its command line, what it says of a daemon that deviates, and its own parts. The soak itself is the test
e2e.soak."""
import os
import re
import shutil
import subprocess

import pytest

from soak import books, hostile
from soak.ledger import Ledger, Silences
from soak.known import Catalogue
from storm import methods
from storm.deviation import Deviation
from trelvik import files
from trelvik.places import PREFIX, daemon
from trelvik.script import Script

SOAK = Script("soak", 110, "MINUTES")


@pytest.mark.parametrize("arguments", [(), ("x",), ("0",), ("1", "2"), ("1", "--seed"), ("1", "--seed", "x"),
                                       ("1", "--boards", "0"), ("1", "--boards", "x"), ("1", "--stage", "/nowhere"),
                                       ("1", "--unknown")])
def test_misuse_is_told_with_status_2(arguments):
    SOAK.expect_misuse(*arguments)


def test_help_goes_to_standard_output():
    SOAK.expect_help()


@pytest.mark.takes(60)
def test_deviation_is_told_and_its_logs_are_kept(tmp_path):
    stage = os.path.join(tmp_path, "stage")
    shutil.copytree(PREFIX, stage)
    sound = daemon(stage) + ".sound"
    os.rename(daemon(stage), sound)
    files.write_script(daemon(stage), "export ethaddr_first=00:00:00:00:00:01", f'exec {sound} "$@"')
    done = SOAK.run("1", "--seed", "7", "--boards", "1", "--stage", stage, TMPDIR=str(tmp_path))
    assert done.returncode == 1, done.stdout
    assert re.search(r'^deviation of board 1 \(oracle\) after [\d.]+ s, under ".*", seed 7:\nrecord of ', done.stdout,
                     re.MULTILINE)
    assert re.search(r"source MAC at 10: expected [0-9a-f ]{17}, got 00 00 00 00 00 01\n", done.stdout)
    kept = re.search(r"^logs: (.*)\nagain: scripts/soak 1 --seed 7 --boards 1$", done.stdout, re.MULTILINE)[1]
    assert "Connected to OPS" in files.read(kept, "board-1.log")


def test_lines_of_the_catalogue_are_known():
    catalogue = Catalogue()
    for line in ("[INFO] main:242 (main) - Connected to OPS",
                 "[DEBUG2] MsgHandle:95 (printPacket) - \r\nReception Counters\r\n",
                 "[WARNING] IssSocket:49 (StartTcpClient) - OPS socket connection failed (111): Connection refused\n"):
        assert catalogue.knows(line), line
    for line in ("[INFO] main:242 (main) - Connected to nobody", "[INFO] main:243 (main) - Connected to OPS", "Connected"):
        assert not catalogue.knows(line), line


def test_request_without_a_fate_is_told():
    ledger = Ledger()
    ledger.begins("something")
    ledger.opened("first")
    ledger.opened("second")
    ledger.begins("something else")
    ledger.answered("first")
    Silences(ledger).append("second")
    ledger.check()
    assert ledger.rows == {"something": {"times": 1, "requests": 2, "answered": 1, "silent": 1},
                           "something else": {"times": 1}}
    ledger.opened("third")
    with pytest.raises(Deviation, match="fate of third"):
        ledger.check()


class Idle:
    """A process that does what it is told, a line at a time."""

    PROGRAM = ("import os, sys, threading, time\nkept = []\nprint(flush=True)\n"
               "for line in sys.stdin:\n exec(line)\n print(flush=True)")

    def __init__(self):
        self._process = subprocess.Popen(["/usr/bin/python3", "-c", self.PROGRAM], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, text=True)
        self._process.stdout.readline()
        self.pid = self._process.pid

    def do(self, line):
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        self._process.stdout.readline()

    def leave(self):
        self._process.kill()
        self._process.wait()


@pytest.mark.parametrize("line, what", [("kept.append(os.open('/dev/null', os.O_RDONLY))", "descriptors"),
                                        ("threading.Thread(target=time.sleep, args=(60,), daemon=True).start()", "threads"),
                                        ("kept.append(b'x' * (4 << 20))", "memory of the daemon")])
def test_books_that_do_not_balance_are_told(line, what):
    idle = Idle()
    try:
        kept = books.Books(idle.pid)
        kept.settle(Ledger())
        idle.do(line)
        with pytest.raises(Deviation) as deviation:
            kept.settle(Ledger())
        assert deviation.value.what == what
    finally:
        idle.leave()


def test_hostile_answers_have_the_values_of_their_requests():
    rule = (2, 0, 5, 6, 1, 4660, 1, 3, 679, 100, 200, "1,2", 9, 9, 9, 9, 9, 9)
    saved = rule[:12] + (0, 0, 0, 0)
    assert hostile.fits(methods.RULES, rule, saved + (301, 302)) and hostile.fits(methods.RULES, rule, saved + (-1, -1))
    assert not hostile.fits(methods.RULES, rule, (3,) + saved[1:] + (301, 302))
    assert hostile.fits(methods.SYNC_E, (1, 2), (1, 2)) and not hostile.fits(methods.SYNC_E, (1, 2), (1, 3))
    assert hostile.fits(methods.SMART_SFP, (1, 2, 3, 4, 5, "6"), (1, 2, 3, 99, 5, ""))
    assert not hostile.fits(methods.SMART_SFP, (1, 2, 3, 4, 5, "6"), (1, 2, 3, 99, 6, ""))
