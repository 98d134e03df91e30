import os
import time

import pytest

from trelvik import record
from trelvik.bus import COMMON, PATH
from trelvik.files import write_script
from trelvik.life_cycle import INITIALIZED, MARKER, STARTED, STOPPED, TRIGGER, WORKER, calls, install, mark, trigger
from trelvik.wait import SLOW, until

NO_REPLY = "org.freedesktop.DBus.Error.NoReply"
ENTRY = "[DEBUG1] SrvIss:* (triggerDataUser) - "


def timed(call, deadline=10):
    """The reply of a call that was just sent, and how many seconds it took."""
    since = time.monotonic()
    reply = call.reply(deadline * SLOW)
    return reply, time.monotonic() - since


def blocked_start(board):
    """The bus thread waits for the marker."""
    install()
    since = board.log.mark()
    call = trigger(board.bus, STARTED)
    board.log.wait(f"[DEBUG1] {WORKER}STARTED", since)
    until(lambda: calls() == ["start"], "the start script runs")
    return call


def test_start_with_the_marker_there_is_answered_at_the_first_look(board):
    install()
    mark()
    board.connected(level=7)
    since = board.log.mark()
    reply, took = timed(trigger(board.bus, STARTED))
    assert reply == (STARTED, True)
    assert took >= 1
    assert took < 1 + 0.9 * SLOW, "the second look was not needed"
    until(lambda: calls() == ["start"], "the start script runs")
    assert len(board.log.find("* SrvIss:*", since)) == 2
    board.log.sequence([ENTRY + "STARTED", f"[DEBUG1] {WORKER}STARTED"], since)


def test_start_with_the_marker_5_seconds_later_is_answered_then(board):
    install(start=f"sleep 5; touch {MARKER}")
    board.connected()
    reply, took = timed(trigger(board.bus, STARTED))
    assert reply == (STARTED, True)
    assert took >= 5
    assert took < 6 + 0.9 * SLOW
    assert calls() == ["start"]


def test_stop_without_the_marker_is_answered_at_the_first_look(board):
    install()
    board.connected(level=7)
    since = board.log.mark()
    reply, took = timed(trigger(board.bus, STOPPED))
    assert reply == (STOPPED, True)
    assert took >= 1
    assert took < 1 + 0.9 * SLOW
    until(lambda: calls() == ["stop"], "the stop script runs")
    board.log.sequence([ENTRY + "STOPPED", f"[DEBUG1] {WORKER}STOPPED"], since)


def test_stop_waits_until_the_marker_has_gone(board):
    install(stop=f"sleep 2; rm {MARKER}")
    mark()
    board.connected()
    reply, took = timed(trigger(board.bus, STOPPED))
    assert reply == (STOPPED, True)
    assert took >= 2
    assert not os.path.exists(MARKER)


def test_state_7_is_rejected(board):
    rejected = f"[ERROR] {WORKER}INVALID(7) is not supported"
    board.expect_log(rejected)
    install()
    board.connected(level=7)
    since = board.log.mark()
    reply, took = timed(trigger(board.bus, 7))
    assert reply == (7, True)
    assert took >= 1
    assert len(board.log.find(rejected, since)) == 2
    board.log.sequence([ENTRY + "INVALID", f"[DEBUG1] {WORKER}INVALID", rejected, rejected], since)
    assert calls() == []


def test_state_0_is_not_handled(board):
    refused = f"[DEBUG1] {WORKER}INITIALIZED is not handled"
    install()
    board.connected(level=7)
    since = board.log.mark()
    reply, took = timed(trigger(board.bus, INITIALIZED))
    assert reply == (INITIALIZED, True)
    assert took >= 1
    assert len(board.log.find(refused, since)) == 2
    board.log.sequence([ENTRY + "INITIALIZED", f"[DEBUG1] {WORKER}INITIALIZED", refused, refused], since)
    assert calls() == []
    assert not os.path.exists(MARKER)


@pytest.mark.parametrize("flag", [False, True])
def test_flag_has_no_effect(board, flag):
    install(start=f"touch {MARKER}", stop=f"rm {MARKER}")
    board.connected()
    assert trigger(board.bus, STARTED, flag).reply(10 * SLOW) == (STARTED, True)
    assert trigger(board.bus, STOPPED, flag).reply(10 * SLOW) == (STOPPED, True)
    assert trigger(board.bus, INITIALIZED, flag).reply(10 * SLOW) == (INITIALIZED, True)
    assert calls() == ["start", "stop"]


def test_command_that_fails_is_told_in_the_reply_after_the_wait(board):
    board.expect_stderr("sh: 1: screen: not found")
    install()
    board.connected(level=7, env={"PATH": "/nowhere"})
    since = board.log.mark()
    call = trigger(board.bus, STARTED)
    board.log.wait(f"[DEBUG1] {WORKER}STARTED", since)
    later = board.bus.call(COMMON, "get_trace_level")
    until(lambda: "not found" in board.stderr(), "the command fails")
    board.sync_ops()
    assert not call.answered
    mark()
    assert call.reply(10 * SLOW) == (STARTED, False)
    later.reply()


def test_bus_thread_is_blocked_and_nothing_else(board):
    board.up(level=7)
    board.bus.subscribe("issStatusChange")
    board.bus.subscribe("linkStatusChange")
    port = board.bus.set_port_params(3, 1)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    call = blocked_start(board)
    later = board.bus.call(COMMON, "get_trace_level")
    later_port = board.bus.set_port_params(3, 2)

    board.ops.answer(request)
    port.reply()
    board.make_ready()
    board.bus.wait_signal("issStatusChange")
    assert "triggerDataUser" in board.bus.introspect(PATH + "TrelvikOchTriggerAsync")
    board.sync_ops()
    board.debug.send(record.make(record.FLUSH_CMD, vpn=1))
    board.ops.serve(record.FLUSH_CMD, vpn=1)
    board.debug.receive()
    assert not call.answered
    assert not later.answered
    assert board.ops.silent(), "the later request has not reached its service"

    mark()
    later.reply(10 * SLOW)
    assert call.answered, "it was called earlier"
    assert call.reply() == (STARTED, True)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    later_port.reply()


def test_triggers_are_carried_out_one_after_the_other(board):
    board.connected(level=7)
    since = board.log.mark()
    first = blocked_start(board)
    second = trigger(board.bus, STOPPED)
    board.sync_ops()
    assert not board.log.find(ENTRY + "STOPPED", since)
    assert calls() == ["start"]
    mark()
    first.reply(10 * SLOW)
    until(lambda: calls() == ["start", "stop"], "the stop script runs")
    board.sync_ops()
    assert not second.answered
    os.unlink(MARKER)
    assert second.reply(10 * SLOW) == (STOPPED, True)


def test_caller_that_leaves_during_the_wait_does_no_harm(board):
    board.connected(level=7)
    install()
    caller = board.peer()
    trigger(caller, STARTED)
    until(lambda: calls() == ["start"], "the start script runs")
    caller.leave()
    mark()
    assert trigger(board.bus, 7).reply(10 * SLOW) == (7, True)
    board.expect_log(f"[ERROR] {WORKER}INVALID(7) is not supported")


def test_stop_of_the_daemon_during_the_wait(board):
    board.connected(level=7)
    call = blocked_start(board)
    board.stop()
    assert call.error() == NO_REPLY


def test_stop_of_the_daemon_while_the_marker_stays(board):
    board.connected(level=7)
    install()
    mark()
    call = trigger(board.bus, STOPPED)
    until(lambda: calls() == ["stop"], "the stop script runs")
    board.stop()
    assert call.error() == NO_REPLY


def test_stop_of_the_daemon_while_the_command_runs(board):
    commands = os.path.join(board.dir, "commands")
    os.mkdir(commands)
    write_script(os.path.join(commands, "screen"), f"echo $0 > {commands}/runs", "exec sleep 60")
    board.connected(env={"PATH": commands + ":" + os.environ["PATH"]})
    call = trigger(board.bus, STARTED)
    board.wait_file(commands + "/runs")
    board.stop()
    assert call.error() == NO_REPLY


def test_wrong_arguments_reach_no_script(board):
    install()
    board.connected(level=7)
    since = board.log.mark()
    assert board.bus.call(TRIGGER, "triggerDataUser", "ub", 1, True).error() == "org.freedesktop.DBus.Error.InvalidArgs"
    assert board.bus.call(TRIGGER, "triggerDataUser", "i", 1).error() == "org.freedesktop.DBus.Error.InvalidArgs"
    board.alive()
    assert not board.log.find(ENTRY + "*", since)
    assert calls() == []
