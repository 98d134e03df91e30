"""TRELVIK_ANSWER_LIMIT: what becomes of a message that ISS does not answer, with the limit and without."""
import os
import time

import pytest

from trelvik import fill, record
from trelvik.board import CONNECTED, CSM_BOARD, LOST
from trelvik.bus import PATH
from trelvik.wait import SLOW

RETRY = 7 * SLOW
LATE = ("[ERROR] main:* (main) - gave up {}, sent {} s ago: ISS did not answer within TRELVIK_ANSWER_LIMIT; {}, {} "
        "more of its messages are not sent")
CLOSED = "; the connection is closed, for a late answer would be taken for another message's"
OVER = ("[ERROR] main:* (main) - gave up {}, sent * s ago: the connection was lost before ISS answered; {}, {} more "
        "of its messages are not sent")
CALLER = "its caller gets the values of its request"
PROBE = "IssSetLanWanAsync (source 1) message 1 of 1, IFC_INSERT_DELETE_IND [7], port {}, probe [3]"
NO_LIMIT = ('[ERROR] main:* (main) - TRELVIK_ANSWER_LIMIT is "{}" and not a number of seconds from 1 to 86400: no '
            "message to ISS is given up")


def up(board, limit, **options):
    board.up(env={"TRELVIK_ANSWER_LIMIT": str(limit)}, **options)


def ready_again(board):
    """The daemon makes the connection anew, and ISS comes up once more."""
    board.ops.accept(RETRY)
    board.make_ready()


def rule(board):
    return board.bus.call((PATH + "IssSetIssMgrAsync", "otn.OBsetIssMgrParams_1_0"), "setIssMgrParams",
                          "uuuuiuuuuuusuuuqii", 1, 0, 3, 4, 1, 12, 0, 7, 34, 8, 9, "1,2", 10, 11, 12, 13, 14, 15)


def sync_e(board):
    return board.bus.call((PATH + "IssSetSyncEAsync", "otn.OBsetSyncEParams_1_0"), "setSyncEParam", "u" * 9,
                          0, 3, 1, 2, 5, 1, 7, 8, 9)


def smart_sfp(board):
    return board.bus.call((PATH + "IssSetSmartSfpAsync", "otn.OBsetSmartSfpParams_1_0"), "setSmartSfpParams",
                          "uuuuus", 1, 4, 1, 0x8000004, 2, "0102")


def test_late_message_is_given_up_to_the_second(board):
    board.expect_log(LATE.format(PROBE.format(4), 2, CALLER, 0) + CLOSED)
    up(board, 2)
    call = board.bus.set_port_params(3, 4, extra1=11)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    sent = time.monotonic()
    assert call.reply(2 + 3 * SLOW) == (3, 6, 4, 1000, True, 100, 11, 8)
    assert 1.9 < time.monotonic() - sent < 2 + SLOW
    board.ops.end_of_stream()
    board.log.wait(LOST)


def test_after_a_late_message_the_next_one_is_sent(board):
    board.expect_log(LATE.format(PROBE.format(4), 1, CALLER, 0) + CLOSED)
    up(board, 1)
    first = board.bus.set_port_params(3, 4)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND, interfaceNum=4)
    second = board.bus.set_port_params(3, 5)
    first.reply()
    board.ops.send_if_open(record.answer(request))
    board.ops.end_of_stream()
    ended = time.monotonic()
    board.ops.accept(RETRY)
    assert time.monotonic() - ended > 4.5
    board.sync_ops()
    assert board.ops.silent() and not second.answered
    board.make_ready()
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=5)
    assert second.reply()[2] == 5
    board.sync_ops()
    assert board.ops.silent(), "nothing is sent twice"


def test_rest_of_a_late_request_is_not_sent(board):
    board.expect_log(LATE.format("IssSetLanWanAsync (source 1) message 1 of 2, RUN_DEFAULT_SCRIPT_COMMAND [8], "
                                 "port 9, set up [1]", 1, CALLER, 1) + CLOSED)
    up(board, 1)
    call = board.bus.set_port_params(1, 9)
    board.ops.expect(record.RUN_DEFAULT_SCRIPT_COMMAND)
    assert call.reply()[2] == 9
    ready_again(board)
    call = board.bus.set_port_params(3, 4)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=4)
    call.reply()


def test_last_message_of_a_request_is_given_up(board):
    board.expect_log(LATE.format("IssSetLanWanAsync (source 1) message 2 of 2, MGMT_INTERFACE_MAPPING_IND [11], "
                                 "port 9, set up [1]", 1, CALLER, 0) + CLOSED)
    up(board, 1)
    call = board.bus.set_port_params(1, 9)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.ops.expect(record.MGMT_INTERFACE_MAPPING_IND)
    assert call.reply()[2] == 9


@pytest.mark.parametrize("ask, sent, left, reply", [
    (rule, record.INTERESTED_PACKET_IND, 1, (1, 0, 3, 4, 1, 12, 0, 7, 34, 8, 9, "1,2", 0, 0, 0, 0, -1, -1)),
    (sync_e, 14, 1, (0, 3, 1, 2, 5, 1, 7, 8, 9)),
    (smart_sfp, record.INTERESTED_PACKET_IND, 1, (1, 4, 1, 0x8000004, 2, ""))])
def test_each_caller_gets_its_own_values_back(board, ask, sent, left, reply):
    board.expect_log(LATE.format("* message 1 of 2, *", 1, CALLER, left) + CLOSED)
    up(board, 1)
    call = ask(board)
    board.ops.expect(sent)
    assert call.reply() == reply


def test_debug_client_gets_its_own_bytes_back(board):
    board.expect_log(LATE.format("debug socket (source 2) message 1 of 1, GET_PORT_STATUS [21]", 1,
                                 "its client gets its request back", 0) + CLOSED)
    up(board, 1)
    request = record.of_type(record.GET_PORT_STATUS, bytes(place % 251 for place in range(record.SIZE)))
    board.debug.send(request)
    assert board.ops.receive() == request
    assert board.debug.receive() == request
    ready_again(board)
    board.sync_ops()
    assert board.ops.silent() and board.debug.receive_now() is None


def test_late_redundancy_state_lets_the_next_one_go(board):
    board.expect_log(LATE.format("redundant_state_signal (source 6) message 1 of 1, REDUNDANCY_STATE [22], state "
                                 "ACT [2]", 1, "ISS may not know the state", 0) + CLOSED)
    board.bus.request_name("otn.redundancyManager")
    up(board, 1)
    board.bus.set_redundant_state(2)
    board.ops.expect(record.REDUNDANCY_STATE, state=2)
    board.bus.set_redundant_state(7)
    board.ops.end_of_stream()
    ready_again(board)
    board.ops.serve(record.REDUNDANCY_STATE, state=7)
    board.sync_ops()


def test_other_messages_of_iss_do_not_put_the_limit_off(board):
    board.expect_log(LATE.format(PROBE.format(4), 2, CALLER, 0) + CLOSED)
    up(board, 2)
    call = board.bus.set_port_params(3, 4)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    sent = time.monotonic()
    while not call.answered and time.monotonic() < sent + 2 + 3 * SLOW:
        board.ops.send_if_open(record.make(record.WATCH_DOG_ISS_ACTIVE))
        time.sleep(0.05)
    assert call.reply()[2] == 4
    assert 1.9 < time.monotonic() - sent < 2 + SLOW


def test_lost_message_is_given_up_once_iss_is_ready(board):
    board.expect_log(OVER.format(PROBE.format(4), CALLER, 0))
    up(board, 86400)
    first = board.bus.set_port_params(3, 4)
    board.ops.expect(record.IFC_INSERT_DELETE_IND, interfaceNum=4)
    second = board.bus.set_port_params(3, 5)
    board.ops.drop()
    board.ops.accept(RETRY)
    board.sync_ops()
    assert board.ops.silent() and not first.answered
    board.make_ready()
    assert first.reply()[2] == 4
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=5)
    assert second.reply()[2] == 5
    board.sync_ops()
    assert board.ops.silent(), "nothing is sent twice, and the connection stays"


def test_message_lost_twice_is_given_up_once(board):
    board.expect_log(OVER.format(PROBE.format(4), CALLER, 0))
    up(board, 86400)
    call = board.bus.set_port_params(3, 4)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.ops.drop()
    board.ops.accept(RETRY)
    board.log.wait(CONNECTED, count=2)
    board.ops.drop()
    board.ops.accept(RETRY)
    board.sync_ops()
    assert not call.answered
    board.make_ready()
    assert call.reply()[2] == 4
    board.sync_ops()
    assert len(board.log.find(OVER.format("*", "*", "*"))) == 1


def test_lost_message_that_is_answered_is_not_given_up(board):
    up(board, 86400)
    call = board.bus.set_port_params(3, 4, extra1=9)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.ops.drop()
    board.ops.accept(RETRY)
    board.log.wait(CONNECTED, count=2)
    board.ops.answer(request)
    assert call.reply()[6] == 9
    board.make_ready()
    call = board.bus.set_port_params(3, 5)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=5)
    call.reply()


def test_limit_holds_while_iss_is_away_as_well(board):
    board.expect_log(LATE.format(PROBE.format(4), 2, CALLER, 0))
    up(board, 2)
    call = board.bus.set_port_params(3, 4)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.ops.drop()
    board.log.wait(LOST)
    assert call.reply(2 + 2 * SLOW)[2] == 4
    assert len(board.log.find(CONNECTED)) == 1
    ready_again(board)
    call = board.bus.set_port_params(3, 5)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=5)
    call.reply()
    assert len(board.log.find(LOST)) == 1


def test_iss_that_does_not_read_is_given_up_too(board):
    board.expect_log(LATE.format("debug socket (source 2) message 1 of 1, FLUSH_CMD [16]", 3,
                                 "its client gets its request back", 0))
    board.expect_log("[ERROR] IssSocket:81 (sentPacket) - Failed to send msg to ISS: Connection timed out")
    board.start_ops(receive_buffer=4096)
    up(board, 3, level=9)
    request = record.make(record.FLUSH_CMD)
    place = fill.connection(board, request)
    assert board.debug.receive(3 + 3 * SLOW) == request
    board.log.wait(LOST, place)
    ready_again(board)
    board.debug.send(request)
    board.ops.serve(record.FLUSH_CMD)
    board.debug.receive()


def test_give_up_on_a_csm_board_reports_the_loss(board):
    board.expect_log(LATE.format(PROBE.format(4), 1, CALLER, 0) + CLOSED)
    board.expect_log("[CRITICAL] main:340 (main) - CONNECTION TO OPS LOST\n")
    board.expect_stderr("*openPorts.sh*")
    up(board, 1, name=CSM_BOARD)
    call = board.bus.set_port_params(3, 4)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    call.reply()
    board.cam.wait_report("CONNECTION TO OPS LOST !\n")


def test_stop_while_a_limited_message_is_out_is_prompt(board):
    up(board, 86400)
    call = board.bus.set_port_params(3, 4)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.stop()
    assert call.error() == "org.freedesktop.DBus.Error.NoReply"


@pytest.mark.parametrize("value", ["", "0", "86401", "-1", "2s", " 2", "0x2", "two"])
def test_anything_but_a_number_of_seconds_is_an_error(board, value):
    board.expect_log(NO_LIMIT.format(value))
    up(board, value)
    call = board.bus.set_port_params(3, 4)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()


def test_value_that_is_wrong_counts_as_unset(board):
    board.expect_log(NO_LIMIT.format("1 s"))
    up(board, "1 s")
    call = board.bus.set_port_params(3, 4)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.ops.drop()
    ready_again(board)
    board.sync_ops()
    assert board.ops.silent() and not call.answered
    board.ops.answer(request)
    call.reply()


def test_without_a_limit_an_unanswerable_message_holds_the_ring(board):
    assert "TRELVIK_ANSWER_LIMIT" not in os.environ
    board.up(level=9)
    request = record.make(record.GET_PORT_STATUS)
    board.debug.send(request)
    assert board.ops.receive() == request
    fill.queue(board, 1)
    board.expect_log("[ERROR] main:624 *")
    board.ops.answer(request)
    board.log.wait("[ERROR] main:624 *")
    board.ops.drop()
    board.ops.accept(RETRY)
    board.make_ready()
    board.sync_ops()
    assert board.ops.silent() and board.debug.receive_now() is None


def test_limit_that_is_set_is_told_at_the_start(board):
    up(board, 60)
    board.log.wait("[INFO] main:* (main) - a message that ISS does not answer within 60 s is given up")
