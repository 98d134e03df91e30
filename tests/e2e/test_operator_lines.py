"""What an operator is told at the trace level that the daemon starts with."""
import time

import pytest

from trelvik import record
from trelvik.bus import PATH
from trelvik.wait import SLOW

REFUSED = '[WARNING] main:* (main) - ISS refused {}: "{}"{}'
NOT_SHOWN = "; its caller's reply does not show it"


def refused(board, what, text="No room", rest=NOT_SHOWN):
    board.expect_log(REFUSED.format(what, text, rest))
    return text + "\r\n"


def served_with_error(board, kind, error):
    board.ops.answer(board.ops.expect(kind), error=error, status=1)


def test_refused_port_request_is_told_with_its_reason(board):
    error = refused(board, "IssSetLanWanAsync (source 1) message 2 of 2, MGMT_INTERFACE_MAPPING_IND [11], "
                           "port 5, set up [1]", 'Script line 2: "vlan 5000": no VLAN id')
    board.up()
    call = board.bus.set_port_params(1, 5)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    served_with_error(board, record.MGMT_INTERFACE_MAPPING_IND, error)
    call.reply()


def test_each_refused_message_of_a_request_is_told(board):
    first = refused(board, "IssSetLanWanAsync (source 1) message 1 of 2, MGMT_INTERFACE_MAPPING_IND [11], "
                           "port 7, release [2]")
    second = refused(board, "IssSetLanWanAsync (source 1) message 2 of 2, RUN_DEFAULT_SCRIPT_COMMAND [8], "
                            "port 7, release [2]", "No such VLAN")
    board.up()
    call = board.bus.set_port_params(2, 7)
    served_with_error(board, record.MGMT_INTERFACE_MAPPING_IND, first)
    served_with_error(board, record.RUN_DEFAULT_SCRIPT_COMMAND, second)
    call.reply()
    board.log.wait(REFUSED.format("*", "*", "*"), count=2)


def test_refused_rule_is_told(board):
    error = refused(board, "IssSetIssMgrAsync (source 4) message 1 of 1, INTERESTED_PACKET_IND [10], "
                           "MST_TOPO_LAN [1], CREATE [0], vpn 12, vlan 34")
    board.up()
    call = board.bus.call((PATH + "IssSetIssMgrAsync", "otn.OBsetIssMgrParams_1_0"), "setIssMgrParams",
                          "uuuuiuuuuuusuuuqii", 1, 0, 1, 0, 0, 12, 0, 0, 34, 0, 0, "", 0, 0, 0, 0, 0, 0)
    served_with_error(board, record.INTERESTED_PACKET_IND, error)
    call.reply()


def test_refused_clock_and_filter_are_told(board):
    clock = refused(board, "IssSetSyncEAsync (source 3) message 1 of 1, SYNCE_CMD [14], enableFilter 0, slot 3, "
                           "enableClk 1, sendPdu 0")
    sfp = refused(board, "IssSetSmartSfpAsync (source 5) message 1 of 1, INTERESTED_PACKET_IND [10], "
                         "enableFilter 1, action 4, sendOutPDU 0, pbmp 0x8000004")
    board.up()
    call = board.bus.call((PATH + "IssSetSyncEAsync", "otn.OBsetSyncEParams_1_0"), "setSyncEParam", "u" * 9,
                          0, 3, 1, 2, 5, 0, 0, 0, 0)
    served_with_error(board, 14, clock)
    call.reply()
    call = board.bus.call((PATH + "IssSetSmartSfpAsync", "otn.OBsetSmartSfpParams_1_0"), "setSmartSfpParams",
                          "uuuuus", 1, 4, 0, 0x8000004, 0, "")
    served_with_error(board, record.INTERESTED_PACKET_IND, sfp)
    call.reply()


def test_refused_redundancy_state_is_told(board):
    board.expect_log("[ERROR] main:593 (main) - OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n")
    error = refused(board, "redundant_state_signal (source 6) message 1 of 1, REDUNDANCY_STATE [22], "
                           "state ACT [2]", rest="")
    board.bus.request_name("otn.redundancyManager")
    board.up()
    board.bus.set_redundant_state(2)
    served_with_error(board, record.REDUNDANCY_STATE, error)
    board.sync_ops()


def test_text_of_iss_is_bounded_and_printable(board):
    line = "IssSetLanWanAsync (source 1) message 1 of 1, IFC_INSERT_DELETE_IND [7], port 3, probe [3]"
    refused(board, line, "two?lines?[31m and ???")
    refused(board, line, "x" * 120 + "...")
    refused(board, line, "")
    board.up()
    for error in (b"two\nlines\x1b[31m and \xff\x80\x01\r\n", b"x" * 500, b""):
        call = board.bus.set_port_params(3, 3)
        served_with_error(board, record.IFC_INSERT_DELETE_IND, error)
        call.reply()
    board.log.wait(REFUSED.format(line, "*", NOT_SHOWN), count=3)


def test_refusal_of_a_debug_message_is_its_clients_affair(board):
    board.up()
    board.debug.send(record.make(record.FLUSH_CMD))
    served_with_error(board, record.FLUSH_CMD, "Error\r\n")
    assert record.field(board.debug.receive(), "errorString") == "Error\r\n"


@pytest.mark.takes(60)
def test_message_without_an_answer_is_told_after_a_minute(board):
    message = "IssSetLanWanAsync (source 1) message 1 of 1, IFC_INSERT_DELETE_IND [7], port 4, probe [3]"
    waiting = f"[WARNING] main:* (main) - no answer from ISS for 60 s: {message}; 2 wait behind it"
    board.expect_log(waiting)
    board.up()
    first = board.bus.set_port_params(3, 4)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    sent = time.monotonic()
    behind = board.bus.set_port_params(1, 5)
    board.log.wait(waiting, deadline=60 + 3 * SLOW)
    assert 59.9 < time.monotonic() - sent < 60 + SLOW
    board.ops.answer(request)
    first.reply()
    board.log.wait(f"[NOTICE] main:* (main) - ISS answered after 60 s: {message}")
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    behind.reply()
    assert len(board.log.find(waiting)) == 1
    assert board.cam.ops("kick").count("OPS") in (1, 2), "the kicks keep their own time"
