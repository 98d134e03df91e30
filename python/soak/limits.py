"""A daemon that gets no descriptors."""
import contextlib
import os
import resource

from storm import methods, reports
from storm.exchange import single
from storm.logged import line
from storm.model import main_line
from storm.steps import scripted, unwritten

from .requests import plain, set_up

TOO_MANY = "Too many open files"
ATTEMPT = 10
"""Seconds, more than between two attempts to connect."""
REFUSED = line("WARNING", "IssSocket:40", "StartTcpClient", f"Opening OPS socket() failed (24): {TOO_MANY}\n")


@contextlib.contextmanager
def no_descriptors(pid):
    """The lowest free number is beyond the limit."""
    before = resource.prlimit(pid, resource.RLIMIT_NOFILE)
    used = {int(each) for each in os.listdir(f"/proc/{pid}/fd")}
    lowest = next(number for number in range(len(used) + 1) if number not in used)
    resource.prlimit(pid, resource.RLIMIT_NOFILE, (lowest, before[1]))
    try:
        yield
    finally:
        resource.prlimit(pid, resource.RLIMIT_NOFILE, before)


def descriptors(stand, chance):
    """Scripts cannot be written, the monitor is told nothing, and a lost connection stays lost until there are descriptors
    again; all else goes on."""
    if stand.model.state.level != 6:
        single(stand, chance, methods.SET_LEVEL, (6,))
    loses = chance.random() < 0.6
    stand.barrier(read=True)  # nothing is open for a moment only
    with no_descriptors(stand.pid):
        for _ in range(chance.randrange(1, 4)):
            unwritten(stand, chance, scripted(stand, chance), TOO_MANY, plain=True)
            plain(stand, chance)
    if loses:
        _lose(stand)
        stand.accept()
        reports.become_ready(stand, chance)
    set_up(stand, chance)


def _lose(stand):
    """The connection goes, and the descriptor with it; returns after an attempt to connect that got none."""
    stand.barrier(read=True)
    since = stand.board.log.mark()
    stand.model.expect(REFUSED, main_line("DEBUG3", 258, "retry connecting with ISS in 5 s"))
    stand.ops.drop()
    stand.model.lost()
    stand.wait(lambda: not stand.status()["opsConnected"], "the loss of the connection")
    with no_descriptors(stand.pid):
        stand.wait(lambda: stand.board.log.find(REFUSED.text, since), "an attempt that gets no socket", ATTEMPT)
