import pytest

from trelvik import fill, record
from trelvik.bus import SYNC_E
from trelvik.iss_mgr import serve, trap

WORKER = "(run_iss_syncE_thread) - "
OPS_ERROR = "OPS REPORTED ERROR IN SYNCE REPLY MESSAGE!\n"


def trap_rule():
    return trap([(2, "0180c2000002", "ffffffffffff"), (4, "0988", "ffff"), (11, "0a0019a70001", "ffffffffffff")],
                entryKind=1, encapType=1, ruleWord=2, portList="fffffff0", actionCode=1)


def command(enable_clk=1, slot=12, clksrc=14, phymode=15):
    return record.make(record.SYNCE_CMD, enableClk=enable_clk, slot=slot, clksrc=clksrc, phymode=phymode)


def pdu(word1=17, word2=18, word3=19):
    return record.make(record.SYNCE_PDU_CMD, pduWord1=word1, pduWord2=word2, pduWord3=word3)


def request(enable_filter=0, enable_clk=0, send_pdu=0):
    return (enable_filter, 12, enable_clk, 14, 15, send_pdu, 17, 18, 19)


def call_of(board, arguments):
    return board.bus.call(SYNC_E, "setSyncEParam", "uuuuuuuuu", *arguments)


def carried_out(board, arguments, *expected):
    """The request makes these messages, and its reply comes after the answer to the last."""
    call = call_of(board, arguments)
    for raw in expected:
        sent = board.ops.receive()
        assert sent == raw
        assert not call.answered
        board.ops.answer(sent)
    assert call.reply() == arguments


@pytest.mark.parametrize("arguments, expected", [
    (request(2, 0, 0), [trap_rule()]),
    (request(0, 1, 0), [command()]),
    (request(0, 0, 1), [pdu()]),
    (request(2, 1, 0), [trap_rule(), command()]),
    (request(2, 0, 1), [trap_rule(), pdu()]),
    (request(0, 1, 1), [command(), pdu()]),
    (request(1, 9, 0), [command(9)]),
    (request(3, 0, 9), [pdu()])])
def test_messages_and_reply(board, arguments, expected):
    board.up()
    carried_out(board, arguments, *expected)
    board.sync_ops()
    assert board.ops.silent()


def test_rule_clock_and_pdu_go_out_in_order_with_one_reply(board):
    board.up(level=9)
    carried_out(board, request(2, 1, 1), trap_rule(), command(), pdu())
    board.sync_ops()
    assert board.log.find("[DEBUG3] SrvSyncE:140 " + WORKER + "SetPortParam split up in 3 messages to OPS\n")
    assert len(board.log.find("[DEBUG3] SrvSyncE:145 " + WORKER + "message writepoiter *")) == 3
    assert len(board.log.find("[DEBUG3] main:503 (main) - send reply over OTNbus\n")) == 1


@pytest.mark.parametrize("enable_filter", [1, 0, 3, 0xFFFFFFFF])
def test_request_for_nothing_gets_no_reply(board, enable_filter):
    board.up(level=9)
    call = call_of(board, request(enable_filter, 0, 0))
    board.log.wait("[DEBUG2] SrvSyncE:174 " + WORKER + "stopped")
    assert board.log.find("[DEBUG3] SrvSyncE:140 " + WORKER + "SetPortParam split up in 0 messages to OPS\n")
    carried_out(board, request(0, 1, 0), command())
    board.alive()
    assert not call.answered
    assert board.ops.silent()


def test_batch_of_three_does_not_fit_at_write_index_16(board):
    board.connected(level=9)
    fill.queue(board, *range(1, 17))
    board.expect_log("[ERROR] SrvSyncE:131 " + WORKER + "Buffer overflow, message lost!\n")
    assert call_of(board, request(2, 1, 1)).reply() == request(2, 1, 1)
    call = call_of(board, request(2, 1, 0))
    board.log.wait("[DEBUG3] SrvSyncE:145 " + WORKER + "message writepoiter 17\n")
    assert call_of(board, request(0, 1, 0)).reply() == request(0, 1, 0), "the ring is full"
    board.make_ready()
    fill.serve(board, *range(1, 17))
    serve(board, trap_rule())
    serve(board, command())
    assert call.reply() == request(2, 1, 0)
    board.sync_ops()
    assert board.ops.silent()


def test_batch_behind_the_reader_is_answered_at_once(board):
    board.connected(level=9)
    third = fill.behind_the_reader(board)
    board.expect_log("[ERROR] SrvSyncE:118 " + WORKER + "Buffer overflow, message lost!\n")
    assert call_of(board, request(2, 1, 0)).reply() == request(2, 1, 0)
    call = call_of(board, request(0, 0, 1))
    board.log.wait("[DEBUG3] SrvSyncE:145 " + WORKER + "message writepoiter 0\n")
    board.ops.answer(third)
    fill.serve(board, *range(4, 21))
    serve(board, pdu())
    assert call.reply() == request(0, 0, 1)


def test_error_of_ops_is_reported_and_the_reply_goes_out(board):
    board.expect_refused()
    board.up()
    call = call_of(board, request(2, 1, 1))
    serve(board, trap_rule(), error="Error\r\n")
    board.cam.wait_report(OPS_ERROR)
    serve(board, command())
    serve(board, pdu(), error="Error\r\n")
    assert call.reply() == request(2, 1, 1)
    board.cam.wait_report(OPS_ERROR, count=2)
    assert len(board.cam.reports()) == 2


def test_numbers_pass_unchanged(board):
    board.up()
    words = (0x80000000, 0xFFFFFFFF, 0x01020304)
    carried_out(board, (0, 0xFFFFFFFE, 0x87654321, 0xDEADBEEF, 0x80000001, 0xFFFFFFFF, *words),
                command(0x87654321, 0xFFFFFFFE, 0xDEADBEEF, 0x80000001), pdu(*words))
