"""Signals that come together, at the worst moment: while the handler of another one writes its line."""
import os
import time
from signal import SIGINT, SIGPIPE, SIGQUIT, SIGTERM

import pytest

from trelvik.board import REFUSED, STOP_LIMIT
from trelvik.places import REPO
from trelvik.wait import SLOW, until

STOPPING = "[NOTICE] main:66 (handle_sig) - Signal * ({}) received: killing Trelvik and stopping threads"
PIPE = "[NOTICE] main:76 (handle_sig_pipe) - Signal Broken pipe ({}) received"
FINISHED = "[INFO] main:658 (main) - Finished"


def line_of(number):
    return (PIPE if number == SIGPIPE else STOPPING).format(int(number))


def pending(daemon, number):
    with open(f"/proc/{daemon.pid}/status", encoding="ascii") as status:
        masks = dict(line.split(":\t") for line in status if line.startswith("ShdPnd"))
    return bool(int(masks["ShdPnd"], 16) >> (number - 1) & 1)


@pytest.mark.parametrize("first, second", [(SIGTERM, SIGINT), (SIGINT, SIGQUIT), (SIGQUIT, SIGTERM),
                                           (SIGPIPE, SIGTERM), (SIGTERM, SIGPIPE)])
def test_second_signal_while_the_first_is_being_logged(board, first, second):
    board.up()
    since = board.log.mark()
    board.log.hold()
    board.daemon.send_signal(first)
    until(lambda: not pending(board.daemon, first), "the first signal's handler waits in syslog")
    board.daemon.send_signal(second)
    board.log.release()
    board.wait_exit()
    board.log.sequence([line_of(first), line_of(second), FINISHED], since)


@pytest.mark.parametrize("first, second", [(SIGTERM, SIGINT), (SIGQUIT, SIGPIPE)])
def test_two_signals_pending_together(board, first, second):
    board.start()
    board.log.wait("[INFO] main:673 *")  # they are blocked, and let in only when all is up
    board.daemon.send_signal(first)
    board.daemon.send_signal(second)
    board.wait_exit()
    for number in (first, second):
        assert len(board.log.find(line_of(number))) == 1


# A daemon needs a second to come up, so that many do so at the same time, each with a /tmp and a bus of its own.
AT_A_TIME = 10
# A checkout below /tmp stays where it is.
OWN_TMP = ("unshare", "-m", "sh", "-c", '''mkdir -p /run/checkout && mount --rbind "$0" /run/checkout &&
  mount -t tmpfs tmpfs /tmp && mkdir -p "$0" && mount --rbind /run/checkout "$0" && exec "$@"''', REPO)


def storm(board, pairs, count=50):
    """Sends pairs of signals, 0 to 250 µs apart, to that many daemons; a third of that where all is slow."""
    board.expect_log(REFUSED)
    buses = [board.further_bus(f"bus{number}") for number in range(AT_A_TIME)]
    count = round(count / SLOW)
    for first in range(0, count, AT_A_TIME):
        numbers = range(first, min(first + AT_A_TIME, count))
        since = board.log.mark()
        daemons = [board.second_daemon(bus, ops=False, starter=OWN_TMP) for bus, _ in zip(buses, numbers)]
        try:
            board.log.wait(REFUSED, since, count=len(daemons), deadline=20 * SLOW)
            for number, daemon in zip(numbers, daemons):
                one, other = pairs[number % len(pairs)]
                os.kill(daemon.pid, one)
                end = time.monotonic() + 250e-6 * number / count
                while time.monotonic() < end:
                    pass
                os.kill(daemon.pid, other)
            for daemon in daemons:
                assert daemon.wait(STOP_LIMIT + 3) == 0
        finally:
            for daemon in daemons:
                daemon.kill()
                daemon.wait()


def test_storm_of_two_stop_signals(board):
    storm(board, [(SIGTERM, SIGINT), (SIGINT, SIGQUIT), (SIGQUIT, SIGTERM)])


def test_storm_of_two_stop_signals_the_other_way_round(board):
    storm(board, [(SIGINT, SIGTERM), (SIGQUIT, SIGINT), (SIGTERM, SIGQUIT)])


def test_storm_of_a_broken_pipe_and_a_stop(board):
    storm(board, [(SIGPIPE, SIGTERM), (SIGPIPE, SIGINT), (SIGPIPE, SIGQUIT)])


def test_storm_of_a_stop_and_a_broken_pipe(board):
    storm(board, [(SIGTERM, SIGPIPE), (SIGINT, SIGPIPE), (SIGQUIT, SIGPIPE)])


def test_stop_as_soon_as_the_signal_is_blocked(board):
    """Not by emulation: an emulator blocks signals for purposes of its own."""
    board.start()

    def blocked():
        with open(f"/proc/{board.daemon.pid}/status", encoding="ascii") as status:
            masks = dict(line.split(":\t") for line in status if line.startswith(("SigBlk", "SigCgt")))
        return int(masks["SigBlk"], 16) >> (SIGTERM - 1) & 1
    until(blocked, "SIGTERM is blocked")
    board.stop()
    board.log.wait(FINISHED)
