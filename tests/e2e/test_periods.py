"""The documented periods, each as the interval between events as they are seen from outside: lines of the log, kicks and
expiries at the monitor, connections at OPS, replies, and what the bus is asked."""
import itertools
import signal
import threading
import time

import pytest
from jeepney import DBusAddress, HeaderFields, new_method_call
from jeepney.io.blocking import open_dbus_connection

from trelvik import record
from trelvik.board import CONNECTED, CSM_BOARD, LOST, REFUSED
from trelvik.files import write_script
from trelvik.life_cycle import INITIALIZED, STARTED, install, mark, trigger
from trelvik.places import OPEN_PORTS
from trelvik.wait import SLOW, until

EARLY, LATE = 0.05, 2 * SLOW
"""Seconds that an interval may be shorter than its period, and longer, on a machine that has much to do."""
CSM_LOST = "[CRITICAL] main:340 (main) - CONNECTION TO OPS LOST\n"
NOT_HANDLED = "[DEBUG1] SrvIss:* (run_och_thread) - INITIALIZED is not handled"
BUS_THREAD = "[INFO] main:673 (start_otn_comm) - OTNBUS thread started\n"
SENDER_THREAD = "[INFO] main:717 (iss_comm) - Started thread: message handling to OPS\n"
NO_BUS_THREAD = "[ERROR] main:187 (main) - Failed to start OTN bus thread"
NOT_ON_THE_BUS = "[WARNING] otnbus:* - Component Trelvik is not on the bus yet, trying again: *"
NOT_RECEIVED = "[ERROR] otnbus:* - Signals of * cannot be received, trying again every 5 s: *"


def held(period, *times):
    """Each interval between neighbours is this period."""
    intervals = [after - before for before, after in itertools.pairwise(times)]
    assert intervals
    assert all(period - EARLY <= each <= period + LATE for each in intervals), f"{intervals}, not {period} s each"


def held_on_average(period, times):
    """For what is seen by a thread of the test, which may be late to look."""
    held(period * (len(times) - 1), times[0], times[-1])


def noted(board, op, what):
    """When the monitor noted this."""
    return [float(when) for when, *noted_then in board.cam.timed() if noted_then == [op, what]]


def test_refused_connection_is_tried_every_5_s(board):
    board.expect_log(REFUSED)
    board.start(ops=False)
    board.log.wait(REFUSED, count=4, deadline=15 + 3 * LATE)
    board.cam.wait("kick", "main", count=4)
    held(5, *board.log.times(REFUSED))
    held(5, *noted(board, "kick", "main"))


@pytest.mark.parametrize("name, lost", [("EDGE-1", LOST), (CSM_BOARD, CSM_LOST)])
def test_lost_connection_is_made_again_after_5_s(board, name, lost):
    if lost is CSM_LOST:
        board.expect_log(CSM_LOST)
    board.connected(name=name)
    for count in range(1, 4):
        board.ops.drop()
        board.ops.accept(5 + LATE)
        accepted = time.time()
        board.log.wait(CONNECTED, count=count + 1)
        held(5, board.log.times(lost)[-1], accepted)
        held(5, board.log.times(lost)[-1], board.log.times(CONNECTED)[-1])
    assert len(board.log.times(lost)) == 3


@pytest.mark.takes(100)
def test_both_activities_are_kicked_every_30_s(board):
    board.connected()
    board.cam.wait("kick", "OPS", count=3, deadline=90 + 3 * LATE)
    connected = board.log.times(CONNECTED)
    for activity in ("main", "OPS"):
        held(30, *connected, *noted(board, "kick", activity))
    assert not board.cam.ops("expired")


@pytest.mark.takes(130)
def test_monitor_acts_on_ops_after_120_s_without_iss(board):
    board.expect_log(REFUSED)
    board.connected()
    board.ops.drop()
    board.ops.close_listener()
    board.cam.wait("expired", "OPS", deadline=120 + LATE)
    _, watched = noted(board, "timeout", "120000")
    held(120, watched, *noted(board, "expired", "OPS"))
    kicks = noted(board, "kick", "main")
    assert len(kicks) >= 100 / (5 + LATE)
    held(5, *kicks)
    assert board.cam.ops("expired") == ["OPS"]


@pytest.mark.takes(130)
def test_monitor_acts_after_120_s_of_a_command(board):
    """A command that does not end keeps the main thread from both kicks."""
    write_script(OPEN_PORTS, "exec sleep 600")
    board.connected(name=CSM_BOARD)
    board.ops.send(record.reloaded())
    board.cam.wait("expired", count=2, deadline=120 + LATE)
    main, ops = noted(board, "timeout", "120000")
    held(120, main, *noted(board, "expired", "main"))
    held(120, ops, *noted(board, "expired", "OPS"))


def test_life_cycle_looks_every_second(board):
    install()
    board.connected(level=7)
    calls = [trigger(board.bus, INITIALIZED) for _ in range(5)]
    for call in calls:
        call.reply(5 + 5 * LATE)
    lines = board.log.times(NOT_HANDLED)
    assert len(lines) == 10
    for began, looked in zip(lines[::2], lines[1::2]):
        held(1, began, looked)
    mark()
    for _ in range(3):
        asked = time.monotonic()
        assert trigger(board.bus, STARTED).reply(1 + LATE) == (STARTED, True)
        held(1, asked, time.monotonic())


def test_start_looks_for_its_bus_thread_every_second(board):
    board.start_bus()
    for count in range(1, 4):
        # At its first look the thread is not there yet, as the bus does not answer.
        board.signal_bus(signal.SIGSTOP)
        asked = time.time()
        board.start()
        until(lambda: "nanosleep" in board.waiting()[board.daemon.pid], "it has looked once, and sleeps")
        board.signal_bus(signal.SIGCONT)
        board.ops.accept()
        board.log.wait(SENDER_THREAD, count=count)
        held(1, asked, board.log.times(SENDER_THREAD)[-1])
        assert len(board.log.times(SENDER_THREAD)) == count
        board.stop()


def test_start_without_a_bus_is_given_up_after_5_s(board):
    board.expect_log(NOT_ON_THE_BUS)
    board.expect_log(NO_BUS_THREAD)
    for _ in range(3):
        asked = time.time()
        board.start(bus=False, ops=False)
        board.wait_exit(status=255, limit=5 + LATE)
        held(5, asked, board.log.times(NO_BUS_THREAD)[-1])
    assert len(board.log.times(BUS_THREAD)) == 3


class Asked:
    """What is asked of the bus itself; when each call was seen."""

    def __init__(self, address, member, argument=None):
        self._connection = open_dbus_connection(bus=address)
        monitoring = DBusAddress("/org/freedesktop/DBus", "org.freedesktop.DBus", "org.freedesktop.DBus.Monitoring")
        rule = f"type='method_call',member='{member}'" + (f",arg0='{argument}'" if argument else "")
        self._connection.send_and_get_reply(new_method_call(monitoring, "BecomeMonitor", "asu", ([rule], 0)))
        self._member = member
        self.times = []
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        try:
            while True:
                message = self._connection.receive()
                if message.header.fields.get(HeaderFields.member) == self._member:
                    self.times.append(time.monotonic())
        except (OSError, ValueError):
            pass  # the bus has gone


def test_taken_name_is_tried_twice_a_second(board):
    board.expect_log(NOT_ON_THE_BUS)
    board.bus.request_name("otn.Trelvik")
    asked = Asked(board.bus_address, "RequestName", "otn.Trelvik")
    board.start()
    until(lambda: len(asked.times) >= 5, "five attempts", 2.5 + 5 * LATE)
    held_on_average(0.5, asked.times[:5])
    board.bus.bus("ReleaseName", "s", "otn.Trelvik")
    board.ops.accept(5 + LATE)


def test_refused_signals_are_asked_for_every_5_s(board):
    board.expect_log(NOT_RECEIVED)
    board.start_bus('<limit name="max_match_rules_per_connection">0</limit>')
    asked = Asked(board.bus_address, "AddMatch")
    board.connected()
    until(lambda: len(asked.times) >= 4, "four attempts", 15 + 4 * LATE)
    held_on_average(5, asked.times[:4])
