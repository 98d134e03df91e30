"""The daemon's status on its own bus interface."""
import re
import time
import xml.etree.ElementTree as ElementTree

from trelvik import fill, life_cycle, record
from trelvik.board import CONNECTED, LOST, MAC, OTHER_BOARD
from trelvik.bus import COMMON, SMART_SFP, SYNC_E
from trelvik.diagnostics import COUNTS, DIAGNOSTICS, NAMES, counts, status
from trelvik.wait import SLOW, until

OVERFLOW = "[ERROR] SrvIss:* (run_iss_script_thread) - Buffer overflow, message lost!\n"
PORTS = "IssSetLanWanAsync"
SYNC = "IssSetSyncEAsync"


def probe(board, port):
    call = board.bus.set_port_params(3, port)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=port)
    call.reply()


def test_status_tells_who_the_daemon_is(board):
    board.connected("-p")
    found = status(board.bus)
    assert re.fullmatch(r"\d+\.\d+\.\d+", found["version"])
    assert (found["boardName"], found["boardMac"], found["options"]) == (OTHER_BOARD, MAC, "-p")


def test_board_name_that_is_no_text_does_not_hide_the_status(board):
    board.connected(name="A\udcff\n", mac="1:2:3:4:5:f")
    found = status(board.bus)
    assert (found["boardName"], found["boardMac"], found["options"]) == ("A?", "01:02:03:04:05:0f", "")


def test_status_follows_the_link(board):
    before = time.time() * 1000
    board.connected()
    until(lambda: status(board.bus)["opsConnected"], "the connection shows")
    first = status(board.bus)
    assert not first["issReady"] and first["reconnects"] == 0
    assert before - 1000 <= first["sinceMs"] <= time.time() * 1000 + 1000
    board.make_ready()
    until(lambda: status(board.bus)["sinceMs"] > first["sinceMs"], "the change shows")
    assert status(board.bus)["issReady"]
    board.ops.drop()
    board.log.wait(LOST)
    until(lambda: not status(board.bus)["opsConnected"], "the loss shows")
    assert not status(board.bus)["issReady"]
    since = board.log.mark()
    board.ops.accept(deadline=10)
    board.log.wait(CONNECTED, since)
    until(lambda: status(board.bus)["opsConnected"], "the connection shows")
    assert status(board.bus)["reconnects"] == 1


def test_counts_are_those_of_the_traffic(board):
    board.up()
    before = status(board.bus)
    for port in range(1, 6):
        probe(board, port)
    board.bus.set_port_params(5, 1).reply()
    call = board.bus.call(SYNC_E, "setSyncEParam", "uuuuuuuuu", 0, 0, 0, 0, 0, 0, 0, 0, 0, expect_reply=False)
    assert not call.answered
    board.bus.get_trace_level()
    until(lambda: counts(board.bus, SYNC)[4] == 1, "the silent request shows")
    after = status(board.bus)
    assert after["interfaces"][PORTS] == (6, 6, 0, 0, 0)
    assert after["interfaces"][SYNC] == (1, 0, 0, 0, 1)
    assert after["interfaces"]["ob_common"] == (1, 1, 0, 0, 0)
    assert after["interfaces"]["IssSetSmartSfpAsync"] == (0, 0, 0, 0, 0)
    assert after["messagesSent"] - before["messagesSent"] == 5
    assert after["messagesReceived"] - before["messagesReceived"] == 5
    assert after["ringUsed"] == 0 and after["requestsWaiting"] == 0 and after["workers"] >= 1


def test_wrong_call_is_not_counted(board):
    board.connected()
    assert board.bus.call(SMART_SFP, "setSmartSfpParams", "u", 1).error().endswith("InvalidArgs")
    assert board.bus.call(DIAGNOSTICS, "getStatus", "u", 1).error().endswith("InvalidArgs")
    assert counts(board.bus, "IssSetSmartSfpAsync") == (0,) * len(COUNTS)


def test_refusal_of_iss_is_counted(board):
    board.expect_refused()
    board.up()
    call = board.bus.set_port_params(3, 4)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, error="no such port")
    call.reply()
    assert counts(board.bus, PORTS) == (1, 1, 1, 0, 0)


def test_request_that_a_full_ring_refuses_is_counted(board):
    board.expect_log(OVERFLOW)
    board.connected(level=9)
    fill.queue(board, *range(1, 19))
    board.bus.set_port_params(3, 9).reply()
    found = status(board.bus)
    assert found["interfaces"][PORTS] == (1, 1, 0, 1, 0)
    assert found["ringUsed"] == 18


def test_redundancy_state_is_received_only(board):
    manager = board.peer()
    manager.request_name("otn.redundancyManager")
    board.up()
    manager.set_redundant_state(2)
    board.ops.serve(record.REDUNDANCY_STATE)
    until(lambda: counts(board.bus, "redundant_state_signal") == (1, 0, 0, 0, 0), "the signal is counted")


def test_message_that_iss_does_not_answer_shows_its_age(board):
    board.up()
    none = status(board.bus)
    assert (none["outstandingType"], none["outstandingSource"], none["outstandingAgeMs"]) == (0, "", 0)
    call = board.bus.set_port_params(3, 4)
    sent = time.monotonic()
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    until(lambda: status(board.bus)["outstandingAgeMs"] >= 1000, "the message ages")
    found = status(board.bus)
    assert found["outstandingAgeMs"] <= (time.monotonic() - sent) * 1000
    assert (found["outstandingType"], found["outstandingSource"]) == (record.IFC_INSERT_DELETE_IND, PORTS)
    assert found["ringUsed"] == 1
    board.ops.answer(request)
    call.reply()
    until(lambda: status(board.bus)["outstandingSource"] == "", "nothing is with ISS")
    found = status(board.bus)
    assert 1000 <= found["longestAnswerMs"] <= (time.monotonic() - sent) * 1000
    assert 1000_000 <= found["meanAnswerMicros"] <= found["longestAnswerMs"] * 1000 + 999
    probe(board, 5)
    after = status(board.bus)
    assert after["longestAnswerMs"] == found["longestAnswerMs"]
    assert after["meanAnswerMicros"] < found["meanAnswerMicros"]


def test_iss_that_does_not_read_does_not_hide_the_status(board):
    board.start_ops(receive_buffer=4096)
    board.up(level=9)
    board.expect_log("[ERROR] IssSocket:81 (sentPacket) - Failed to send msg to ISS: *")
    fill.connection(board, record.make(record.FLUSH_CMD))
    # The sender now holds the ring's lock: whoever needs it waits, worker by worker, and then for a worker.
    for port in range(1, 18):
        board.bus.set_port_params(3, port)
    def all_have_come():
        found = status(board.bus)
        return (found["workers"], found["requestsWaiting"], found["interfaces"][PORTS]) == (16, 1, (17, 0, 0, 0, 0))
    until(all_have_come, "16 workers have a request each, and one waits")
    found = status(board.bus)
    assert (found["outstandingType"], found["outstandingSource"]) == (record.FLUSH_CMD, "debug socket")
    until(lambda: status(board.bus)["outstandingAgeMs"] >= 700, "the message ages")
    board.stop()


def test_status_is_told_while_the_life_cycle_blocks(board):
    life_cycle.install()
    board.connected(level=7)
    call = life_cycle.trigger(board.bus, life_cycle.STARTED)
    board.log.wait(f"[DEBUG1] {life_cycle.WORKER}STARTED")
    later = board.bus.call(COMMON, "get_trace_level")
    for _ in range(20):
        found = status(board.bus)["interfaces"]
        assert found["TrelvikOchTriggerAsync"] == (1, 0, 0, 0, 0)
        assert found["ob_common"] == (1, 1, 0, 0, 0), "the call that waits is not received yet"
    assert not later.answered
    life_cycle.mark()
    call.reply(deadline=10 * SLOW)
    later.reply()
    assert counts(board.bus, "TrelvikOchTriggerAsync") == (1, 1, 0, 0, 0)


def test_introspection_shows_the_diagnostics(board):
    board.connected()
    assert '<node name="diagnostics"/>' in board.bus.introspect("/otn/Trelvik")
    node = ElementTree.fromstring(board.bus.introspect(DIAGNOSTICS[0]))
    (method,) = node.findall(f"interface[@name='{DIAGNOSTICS[1]}']/method")
    assert method.get("name") == "getStatus"
    assert tuple(arg.get("name") for arg in method.findall("arg")) == NAMES
    assert "".join(arg.get("type") for arg in method.findall("arg")) == "ssssbbxuusuuuttuuus"
    assert all(arg.get("direction") == "out" for arg in method.findall("arg"))

