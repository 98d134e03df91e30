import pytest

from trelvik import fill, record
from trelvik.bus import SMART_SFP
from trelvik.iss_mgr import serve, trap

WORKER = "(run_iss_SmartSfp_thread) - "
OVERFLOW = "[ERROR] SrvSmartSfp:* " + WORKER + "Buffer overflow, message lost!\n"
PORTS = 0x8000003
PORT_LIST = "c0000010"
FULL_PDU = bytes((index * 7 + 1) % 256 for index in range(516))


def rule(code, fp_id=0, ports=PORT_LIST):
    return trap([(1, "027e51", "ffffff"), (4, "b788", "ffff"), (11, "027e51f1bc", "ffffffffff")], (fp_id, 0),
                entryKind=4, encapType=1, ruleWord=2, portList=ports, entryCount=4, actionCode=code)


def pdu(octets="0180c200", ports=PORTS, size=4):
    return record.make(record.SMARTSFP_PDU_CMD, pdu=octets, pbmp=ports, size=size)


def request(enable_filter=0, send_out=0, ports=PORTS, size=4, text="1:128:194:0", action=77):
    return (enable_filter, action, send_out, ports, size, text)


def reply_of(arguments, ports):
    enable_filter, action, send_out, _, size, _ = arguments
    return (enable_filter, action, send_out, ports, size, "")


def call_of(board, arguments):
    return board.bus.call(SMART_SFP, "setSmartSfpParams", "uuuuus", *arguments)


def carried_out(board, arguments, expected, replied, fp_id=0, **answer):
    """The request makes this one message, and its reply carries the ports of the answer."""
    call = call_of(board, arguments)
    serve(board, expected, (fp_id, 0), **answer)
    assert call.reply() == reply_of(arguments, replied)


def test_first_filter_is_created(board):
    board.up()
    carried_out(board, request(1, 0, ports=0x1), rule(1, ports="80000000"), 0x1, fp_id=17)
    board.log.wait("[INFO] SrvSmartSfp:* " + WORKER + "FP 0 action 1")
    board.log.wait("[INFO] SrvSmartSfp:* (setFpId) - smartSfp ID = 17")


def test_filter_is_modified_and_deleted_by_the_id_of_ops(board):
    board.up()
    carried_out(board, request(1, 0), rule(1), PORTS, fp_id=17)
    carried_out(board, request(1, 0, ports=0x4), rule(3, 17, "20000000"), 0x4, fp_id=17)
    carried_out(board, request(1, 0, ports=0), rule(2, 17, "00000000"), 0, fp_id=17)
    board.log.wait("[INFO] SrvSmartSfp:* " + WORKER + "FP 17 action 2")
    carried_out(board, request(1, 0), rule(3, 17), PORTS, fp_id=0)
    carried_out(board, request(1, 0), rule(1), PORTS, fp_id=-2)
    carried_out(board, request(1, 0), rule(3, -2), PORTS)


@pytest.mark.parametrize("action", [0, 1, 2, 3, 0xFFFFFFFF])
def test_action_of_the_caller_is_only_handed_back(board, action):
    board.up()
    carried_out(board, request(1, 0, action=action), rule(1), PORTS)


def test_reply_to_a_filter_carries_the_ports_of_the_answer(board):
    board.up()
    carried_out(board, request(1, 0), rule(1), 0x80000004, fp_id=5, ports="20000001")


def test_reply_to_a_pdu_carries_the_ports_of_the_answer(board):
    board.up()
    arguments = request(0, 1)
    call = call_of(board, arguments)
    sent = board.ops.receive()
    assert sent == pdu()
    board.ops.answer(sent, pbmp=0xFEDCBA98)
    assert call.reply() == reply_of(arguments, 0xFEDCBA98)
    carried_out(board, request(1, 0), rule(1), PORTS)


@pytest.mark.parametrize("text, octets", [("1:2:300", "01022c"), ("1,2 3", "010203"), ("1::2", "01"), ("x1:2", ""),
                                          ("", "")])
def test_pdu_text(board, text, octets):
    board.up()
    carried_out(board, request(0, 1, text=text, size=1), pdu(octets, size=1), PORTS)


def test_pdu_of_1_2_300_keeps_the_low_byte(board):
    board.up()
    carried_out(board, request(0, 1, text="1:2:300"), pdu("01022c"), PORTS)


def test_pdu_ends_before_the_ports(board):
    board.up()
    text = ":".join(str(octet) for octet in FULL_PDU + bytes([9] * 100))
    carried_out(board, request(0, 1, text=text), pdu(FULL_PDU.hex()), PORTS)


def test_filter_and_pdu_go_out_in_order_with_one_reply(board):
    board.up(level=9)
    arguments = request(1, 1)
    call = call_of(board, arguments)
    serve(board, rule(1), (17, 0))
    second = board.ops.receive()
    assert second == pdu()
    assert not call.answered
    board.ops.answer(second)
    assert call.reply() == reply_of(arguments, PORTS)
    board.log.wait("[DEBUG3] main:580 (main) - sent reply over OTNbus\n")
    assert len(board.log.find("[DEBUG3] main:572 (main) - send reply over OTNbus\n")) == 1
    assert len(board.log.find("[DEBUG3] SrvSmartSfp:* " + WORKER + "message writepoiter *")) == 2
    carried_out(board, request(1, 0), rule(3, 17), PORTS)


def test_request_for_nothing_gets_no_reply(board):
    board.up(level=9)
    call = call_of(board, request(0, 0))
    board.log.wait("[DEBUG3] SrvSmartSfp:* " + WORKER + "mutex unlock")
    carried_out(board, request(1, 0), rule(1), PORTS)
    board.alive()
    assert not call.answered
    assert board.ops.silent()


def test_batch_of_two_does_not_fit_at_write_index_17(board):
    board.connected(level=9)
    fill.queue(board, *range(1, 18))
    board.expect_log(OVERFLOW)
    assert call_of(board, request(1, 1)).reply() == request(1, 1), "the PDU's text, too, comes back"
    call = call_of(board, request(0, 1))
    board.log.wait("[DEBUG3] SrvSmartSfp:* " + WORKER + "message writepoiter 17")
    assert call_of(board, request(1, 0)).reply() == request(1, 0), "the ring is full"
    board.make_ready()
    fill.serve(board, *range(1, 18))
    serve(board, pdu())
    assert call.reply() == reply_of(request(0, 1), PORTS)
    board.sync_ops()
    assert board.ops.silent()


def test_batch_behind_the_reader_is_answered_at_once(board):
    board.connected(level=9)
    third = fill.behind_the_reader(board)
    board.expect_log(OVERFLOW)
    assert call_of(board, request(1, 1)).reply() == request(1, 1)
    call = call_of(board, request(1, 0))
    board.log.wait("[DEBUG3] SrvSmartSfp:* " + WORKER + "message writepoiter 0")
    board.ops.answer(third)
    fill.serve(board, *range(4, 21))
    serve(board, rule(1), (17, 0))
    assert call.reply() == reply_of(request(1, 0), PORTS)


def test_error_of_ops_is_reported_and_the_reply_goes_out(board):
    board.expect_refused()
    board.up()
    carried_out(board, request(1, 0), rule(1), PORTS, fp_id=61, error="Error\r\n")
    board.cam.wait_report("OPS REPORTED ERROR IN SMARTSFP REPLY MESSAGE!\n")
    carried_out(board, request(1, 0, ports=0), rule(2, 61, "00000000"), 0)
    assert len(board.cam.reports()) == 1


def test_numbers_pass_unchanged(board):
    board.up()
    carried_out(board, request(0, 0x80000000, ports=0xFFFFFFFF, size=0xFFFFFFFE, action=0xDEADBEEF),
                pdu(ports=0xFFFFFFFF, size=0xFFFFFFFE), 0xFFFFFFFF)
