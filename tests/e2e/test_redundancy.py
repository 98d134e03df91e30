import os
import time

import pytest

from trelvik import fill, record
from trelvik.bus import HANG, MANAGER, REDUNDANCY
from trelvik.files import write
from trelvik.wait import SLOW, until

SIGNALLED = "[INFO] SrvRedundancy:* (setRedundantState) - setRedundantState: redundancyState={}\n"
OVERFLOW = "[ERROR] SrvRedundancy.cpp:* (run_iss_redundancy_thread) - Buffer overflow, message lost!\n"
ASKED = ("[INFO] SrvRedundancy:* (register_interface) - ask current status to redundancy mgr because we never "
         "obtained updates before we started")
REFUSED = "[ERROR] otnbus:* - Signals of redundant_state_signal cannot be received, trying again every 5 s: *"
STANDS = "[INFO] otnbus:* - Signals of redundant_state_signal are received now"
OPS_ERROR = "OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n"


def manager_of(board, answer=("i", (15,))):
    """A redundancy manager that answers the query at registration."""
    manager = board.peer()
    manager.serve("getRedundantState", answer)
    manager.request_name(MANAGER)
    return manager


def state_message(state):
    return record.make(record.REDUNDANCY_STATE, state=state)


@pytest.mark.parametrize("state, name", [(3, "ACT0"), (0, "INV"), (14, "SWO"), (15, "RED?"), (-1, "RED?"),
                                         (0x7FFFFFFF, "RED?")])
def test_signal_is_forwarded(board, state, name):
    manager = manager_of(board)
    board.up()
    manager.set_redundant_state(state)
    board.log.wait(SIGNALLED.format(name))
    request = board.ops.receive()
    assert request == state_message(state)
    board.ops.answer(request)
    board.sync_ops()
    assert board.cam.reports() == []


def test_trace_of_a_signal(board):
    manager = manager_of(board)
    board.up(level=9)
    since = board.log.mark()
    manager.set_redundant_state(3)
    board.ops.serve(record.REDUNDANCY_STATE)
    worker = "SrvRedundancy.cpp:* (run_iss_redundancy_thread) - "
    board.log.sequence([SIGNALLED.format("ACT0"),
                        f"[DEBUG2] {worker}Processing setRedundantState with state = ACT0\n",
                        f"[DEBUG3] {worker}mutex lock", f"[DEBUG3] {worker}message writepoiter 0\n",
                        f"[DEBUG3] {worker}send signal for sending message",
                        f"[DEBUG3] {worker}mutex unlock"], since)
    board.log.sequence([f"[DEBUG3] {worker}mutex unlock",
                        f"[DEBUG2] {worker}run_iss_redundancy_thread stopped"], since)
    board.log.sequence(["[DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:0 wp:1 source:6\n",
                        "[DEBUG3] main:449 (main) - MESSAGE SOURCE 6\n",
                        "[DEBUG3] main:589 (main) - Redundancystate reply msg received from OPS\n",
                        "[DEBUG3] main:628 (main) - send signal cond2\n"], since)


def test_two_signals_are_both_forwarded(board):
    manager = manager_of(board)
    board.up()
    manager.set_redundant_state(2)
    manager.set_redundant_state(7)
    board.log.sequence([SIGNALLED.format("ACT"), SIGNALLED.format("PAS0")])
    states = [record.field(board.ops.serve(record.REDUNDANCY_STATE), "state") for _ in range(2)]
    assert sorted(states) == [2, 7]


def test_signal_before_iss_is_ready_waits(board):
    manager = manager_of(board)
    board.connected(level=9)
    manager.set_redundant_state(2)
    board.log.wait("[DEBUG2] SrvRedundancy.cpp:* (run_iss_redundancy_thread) - run_iss_redundancy_thread stopped")
    board.sync_ops()
    assert board.ops.silent()
    board.make_ready()
    board.ops.serve(record.REDUNDANCY_STATE, state=2)


def test_full_ring_loses_the_signal(board):
    board.expect_log(OVERFLOW)
    manager = manager_of(board)
    board.connected(level=9)
    fill.queue(board, *range(18))
    manager.set_redundant_state(2)
    board.log.wait(OVERFLOW)
    board.make_ready()
    fill.serve(board, *range(18))
    board.sync_ops()
    assert board.ops.silent()


def test_error_answer_is_logged_and_reported(board):
    board.expect_log("[ERROR] main:593 (main) - " + OPS_ERROR)
    board.expect_refused()
    manager = manager_of(board)
    board.up()
    manager.set_redundant_state(2)
    board.ops.serve(record.REDUNDANCY_STATE, error="Error\r\n")
    board.log.wait("[ERROR] main:593 (main) - " + OPS_ERROR)
    board.cam.wait_report(OPS_ERROR)
    manager.set_redundant_state(3)
    board.ops.serve(record.REDUNDANCY_STATE, state=3)


def test_state_at_registration_is_applied(board):
    manager = manager_of(board, ("i", (2,)))
    board.up()
    assert manager.served == ["getRedundantState"]
    board.log.wait(SIGNALLED.format("ACT"))
    board.ops.serve(record.REDUNDANCY_STATE, state=2)


@pytest.mark.parametrize("answer", [("i", (15,)), ("i", (0x7FFFFFFF,)), ("u", (2,)), ("s", ("2",)), ("", ()),
                                    "otn.Error.Busy"])
def test_unknown_state_at_registration_sends_nothing(board, answer):
    manager = manager_of(board, answer)
    board.up()
    assert manager.served == ["getRedundantState"]
    board.bus.get_trace_level()
    board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    assert not board.log.find(SIGNALLED.format("*"))


def test_negative_state_at_registration_is_applied(board):
    manager_of(board, ("i", (-1,)))
    board.up()
    board.log.wait(SIGNALLED.format("RED?"))
    board.ops.serve(record.REDUNDANCY_STATE, state=-1)


def test_without_manager_nothing_is_sent(board):
    board.up()
    board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    assert not board.log.find(SIGNALLED.format("*"))


def test_silent_manager_delays_the_start_by_a_second_at_most(board):
    manager = manager_of(board, HANG)
    board.up()
    assert manager.served == ["getRedundantState"]
    assert not board.log.find(SIGNALLED.format("*"))
    manager.set_redundant_state(4)
    board.ops.serve(record.REDUNDANCY_STATE, state=4)


def test_signal_during_the_registration_is_not_lost(board):
    manager = board.peer()

    def answer():
        manager.set_redundant_state(5)
        return ("i", (2,))
    manager.serve("getRedundantState", answer)
    manager.request_name(MANAGER)
    board.up()
    states = [record.field(board.ops.serve(record.REDUNDANCY_STATE), "state") for _ in range(2)]
    assert sorted(states) == [2, 5]
    board.log.sequence([SIGNALLED.format("ACT"), SIGNALLED.format("ACT2")])


def test_manager_that_comes_later_is_heard(board):
    board.up()
    manager = manager_of(board)
    manager.set_redundant_state(6)
    board.ops.serve(record.REDUNDANCY_STATE, state=6)
    assert manager.served == []


def test_manager_that_is_replaced_is_no_longer_heard(board):
    first = manager_of(board)
    board.up()
    first.bus("ReleaseName", "s", MANAGER)
    second = manager_of(board)
    first.set_redundant_state(6)
    first.owner_of(MANAGER)  # the bus has passed the signal on
    second.set_redundant_state(7)
    board.ops.serve(record.REDUNDANCY_STATE, state=7)
    assert not board.log.find(SIGNALLED.format("ACT3"))


@pytest.mark.parametrize("straight", [False, True])
def test_impostor_is_not_heard(board, straight):
    manager = manager_of(board)
    impostor = board.peer()
    board.up()
    daemon = impostor.owner_of("otn.Trelvik")
    impostor.set_redundant_state(2, to=daemon if straight else None)
    impostor.owner_of(MANAGER)
    manager.set_redundant_state(3)
    board.ops.serve(record.REDUNDANCY_STATE, state=3)
    assert not board.log.find(SIGNALLED.format("ACT"))


def test_signal_straight_to_the_daemon_is_heard(board):
    manager = manager_of(board)
    board.up()
    for destination in (manager.owner_of("otn.Trelvik"), "otn.Trelvik"):
        manager.set_redundant_state(8, to=destination)
        board.ops.serve(record.REDUNDANCY_STATE, state=8)


@pytest.mark.parametrize("signature, body", [
    ("", ()), ("u", (2,)), ("ii", (2, 3)), ("s", ("2",)), ("v", (("i", 2),)), ("ai", ([2],)), ("x", (2,)),
    ("b", (True,))])
def test_signal_with_a_wrong_signature_is_dropped(board, signature, body):
    manager = manager_of(board)
    board.up()
    manager.signal(REDUNDANCY, "setRedundantState", signature or None, *body)
    manager.set_redundant_state(3)
    board.ops.serve(record.REDUNDANCY_STATE, state=3)
    assert len(board.log.find(SIGNALLED.format("*"))) == 1


def test_signal_from_elsewhere_is_not_heard(board):
    manager = manager_of(board)
    board.up()
    path, interface = REDUNDANCY
    manager.signal((path + "x", interface), "setRedundantState", "i", 2)
    manager.signal((path, interface + "x"), "setRedundantState", "i", 2)
    manager.signal((path, interface), "setRedundantStateX", "i", 2)
    manager.set_redundant_state(3)
    board.ops.serve(record.REDUNDANCY_STATE, state=3)
    assert len(board.log.find(SIGNALLED.format("*"))) == 1


def test_signal_receiver_exports_no_object(board):
    board.connected()
    call = board.bus.call(("/otn/Trelvik/redundant_state_signal", REDUNDANCY[1]), "setRedundantState", "i", 2)
    assert call.error() == "org.freedesktop.DBus.Error.UnknownObject"
    call = board.bus.call(REDUNDANCY, "setRedundantState", "i", 2)
    assert call.error() == "org.freedesktop.DBus.Error.UnknownObject"


def test_query_does_not_start_the_manager(board):
    services = os.path.join(board.dir, "services")
    started = os.path.join(board.dir, "started")
    os.mkdir(services)
    write(os.path.join(services, MANAGER + ".service"),
          f"[D-BUS Service]\nName={MANAGER}\nExec=/usr/bin/touch {started}\n")
    board.start_bus(f"<servicedir>{services}</servicedir>")
    board.connected()
    board.log.wait(ASKED)
    board.alive()
    assert not os.path.exists(started)
    board.bus.call(REDUNDANCY, "getRedundantState", name=MANAGER)
    board.wait_file(started)  # the bus starts it for whoever lets it


def test_query_waits_a_second_at_most(board):
    manager = board.peer()
    asked = []

    def hang():
        asked.append(time.monotonic())
        return HANG
    manager.serve("getRedundantState", hang)
    manager.request_name(MANAGER)
    board.start()
    until(lambda: asked, "the query")
    board.bus.get_trace_level()
    assert 0.9 < time.monotonic() - asked[0] < 2.5


@pytest.mark.parametrize("rules", [0, 1])
def test_refused_subscription_is_asked_for_again(board, rules):
    board.expect_log(REFUSED)
    board.start_bus(f'<limit name="max_match_rules_per_connection">{rules}</limit>')
    manager = manager_of(board, lambda: board.alive() and ("i", (2,)))  # a handler runs while the query waits
    board.up()
    board.log.wait(REFUSED)
    board.alive()
    assert not board.log.find(ASKED) and manager.served == []
    board.configure_bus()
    board.log.sequence([STANDS, ASKED, SIGNALLED.format("ACT")], deadline=10 * SLOW)
    board.ops.serve(record.REDUNDANCY_STATE, state=2)
    manager.set_redundant_state(7)
    board.ops.serve(record.REDUNDANCY_STATE, state=7)
    assert manager.served == ["getRedundantState"]
    assert [len(board.log.find(line)) for line in (REFUSED, STANDS, ASKED)] == [1, 1, 1]


@pytest.mark.parametrize("answer", [HANG, "otn.Error.Busy", ("i", (15,)), ("u", (2,))])
def test_late_query_without_a_state_sends_nothing(board, answer):
    board.expect_log(REFUSED)
    board.start_bus('<limit name="max_match_rules_per_connection">0</limit>')
    manager = manager_of(board, answer)
    board.up()
    board.configure_bus()
    until(lambda: manager.served, "the query", 10 * SLOW)
    manager.set_redundant_state(7)
    board.ops.serve(record.REDUNDANCY_STATE, state=7)
    assert len(board.log.find(SIGNALLED.format("*"))) == 1
