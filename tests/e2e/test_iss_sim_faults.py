"""A hostile ISS: each fault of the simulator, and what the daemon does then."""
import time

from trelvik import record
from trelvik.board import CONNECTED, LOST
from trelvik.iss import ask
from trelvik.port_params import probe
from trelvik.wait import SLOW, until

RETRY = 7 * SLOW
PROBE = "IFC_INSERT_DELETE_IND"
GOOD = 'errorString="No Error\\r\\n" isResponse=1'
REPORT = "OPS REPORTED ERROR IN REPLY MESSAGE!\n"
UNEXPECTED = "[ERROR] main:624 (main) - unexpected message received from OPS\n"
OUTSTANDING = "[NOTICE] main:* (main) - *outstanding*"


def answered(call, port=4):
    action, _, reply_port, *_ = call.reply()
    return (action, reply_port) == (3, port)


def sync(board):
    """Waits until the daemon has handled all that ISS has sent; needs an admitted INFO."""
    since = board.log.mark()
    board.iss.inject("send CPU_THRESHOLD threadName=sync")
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread sync\n", since)


def test_dropped_answer_keeps_the_next_request_back(board):
    iss = board.iss_ready(f"fault {PROBE} times 1 drop")
    first, second = probe(board, 4), probe(board, 5)
    iss.wait(f"* rule: {PROBE} drop")
    iss.inject("alive")
    sync(board)
    assert not first.answered and not second.answered
    assert len(iss.lines(f"* <- {PROBE} *")) == 1
    iss.inject(f"send {PROBE} {GOOD}")
    assert answered(first, 4) and answered(second, 5)
    assert board.cam.reports() == []


def test_delayed_answer_is_awaited(board):
    iss = board.iss_ready(f"fault {PROBE} delay 600ms")
    began = time.monotonic()
    call = probe(board)
    iss.wait(f"* rule: {PROBE} delay")
    sync(board)
    assert board.alive() and not call.answered
    assert answered(call)
    assert time.monotonic() - began >= 0.6


def test_second_answer_is_not_routed(board):
    iss = board.iss_ready(f"fault {PROBE} times 1 duplicate", level=9)
    assert answered(probe(board))
    sync(board)
    board.log.sequence(["[DEBUG3] main:449 (main) - MESSAGE SOURCE 1\n",
                        "[DEBUG3] main:449 (main) - MESSAGE SOURCE 0\n"])
    assert answered(probe(board, 5), 5)
    assert len(iss.lines(f"* <- {PROBE} *")) == 2


def test_answer_of_a_type_that_is_none_is_unexpected(board):
    board.expect_log(UNEXPECTED)
    iss = board.iss_ready(f"fault {PROBE} times 1 type CONFIG_STATUS")
    call = probe(board)
    board.log.wait(UNEXPECTED)
    sync(board)
    assert not call.answered
    iss.inject(f"send {PROBE} {GOOD}")
    assert answered(call)


def test_answer_of_an_unknown_type_is_unexpected(board):
    board.expect_log(UNEXPECTED)
    iss = board.iss_ready(f"fault {PROBE} times 1 type 4294967295", level=7)
    call = probe(board)
    board.log.wait("[DEBUG1] MsgHandle:44 (printPacket) - Msg Type = UnknownMsgType [-1]")
    board.log.wait(UNEXPECTED)
    iss.inject(f"send {PROBE} {GOOD}")
    assert answered(call)


def test_answer_of_another_request_is_matched_by_order(board):
    board.iss_ready(f"fault {PROBE} times 1 type FLUSH_CMD")
    assert answered(probe(board))
    assert board.cam.reports() == []


def test_error_texts_of_any_length_are_reported(board):
    board.expect_refused()
    faults = ["error-length 0", "error-length 1", "error-length 499", "error-length 500 no-nul",
              "error-length 3 no-nul"]
    texts = ["", "e", "e" * 499, "e" * 500, "eee" + "~" * 497]
    iss = board.iss_ready(level=7)
    for count, (fault, text) in enumerate(zip(faults, texts), start=1):
        iss.inject(f"fault {PROBE} times 1 {fault}")
        since = board.log.mark()
        assert answered(probe(board))
        board.cam.wait_report(REPORT, count)
        board.log.wait(f"[DEBUG1] MsgHandle:135 (printPacket) - Response error string = {text}", since)
        board.log.wait("[DEBUG1] MsgHandle:140 (printPacket) - Response status = OSIX_FAILURE\n", since)


def test_success_without_its_line_end_is_an_error(board):
    board.expect_refused()
    board.iss_ready(f'answer {PROBE} errorString="No Error"')
    assert answered(probe(board))
    board.cam.wait_report(REPORT)


def test_first_piece_of_a_split_answer_counts_as_the_answer(board):
    board.expect_refused()
    board.expect_log(UNEXPECTED)
    board.iss_ready(f"fault {PROBE} times 1 split 6412 pause 300ms")
    assert answered(probe(board))
    board.cam.wait_report(REPORT)
    board.log.wait(UNEXPECTED)
    sync(board)
    assert answered(probe(board, 5), 5)


def test_answer_in_many_pieces_is_as_many_messages(board):
    board.expect_refused()
    board.expect_log(UNEXPECTED)
    board.iss_ready(f"fault {PROBE} times 1 split 1000 pause 100ms", level=9)
    since = board.log.mark()
    assert answered(probe(board))
    board.log.wait(UNEXPECTED, count=6)
    sync(board)
    assert len(board.log.find("[DEBUG3] main:322 (main) - Message from OPS received: *", since)) == 8
    assert answered(probe(board, 5), 5)


def test_two_messages_in_one_write_are_read_one_by_one(board):
    board.iss_ready(f"fault {PROBE} merge CPU_THRESHOLD threadName=merged pid=7")
    assert answered(probe(board))
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread merged\n")
    assert answered(probe(board, 5), 5)
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread merged\n", count=2)
    assert board.cam.reports() == []


def test_close_before_an_answer_leaves_the_request_outstanding(board):
    iss = board.iss_ready(f"fault {PROBE} times 1 close before")
    call = probe(board)
    board.log.wait(LOST)
    board.log.wait(CONNECTED, count=2, deadline=RETRY)
    board.log.wait(OUTSTANDING)
    board.log.wait("[INFO] main:396 (main) - MSR reload succeeded", count=2)
    sync(board)
    assert not call.answered
    assert len(iss.lines(f"* <- {PROBE} *")) == 1
    iss.inject(f"send {PROBE} {GOOD}")
    assert answered(call)


def test_close_within_an_answer_delivers_the_part(board):
    board.expect_refused()
    iss = board.iss_ready(f"fault {PROBE} times 1 close within 100")
    assert answered(probe(board))
    board.cam.wait_report(REPORT)
    board.log.wait(LOST)
    board.log.wait(CONNECTED, count=2, deadline=RETRY)
    board.log.wait("[INFO] main:396 (main) - MSR reload succeeded", count=2)
    assert not board.log.find(OUTSTANDING)
    assert answered(probe(board, 5), 5)
    assert len(iss.lines("* client lost: closed by the simulator")) == 1


def test_close_after_an_answer_only_costs_the_connection(board):
    board.iss_ready(f"fault {PROBE} times 1 close after")
    assert answered(probe(board))
    board.log.wait(LOST)
    call = probe(board, 5)
    board.log.wait(CONNECTED, count=2, deadline=RETRY)
    assert answered(call, 5)
    assert not board.log.find(OUTSTANDING)
    assert board.cam.reports() == []


def test_reset_in_place_of_an_answer_is_an_error(board):
    board.expect_log("[ERROR] IssSocket:92 (getPacket) - Failed to receive msg from ISS: Connection reset by peer")
    board.expect_stderr("shutdown failed: *")
    board.iss_ready(f"fault {PROBE} times 1 close before reset")
    probe(board)
    board.log.wait(LOST)
    board.log.wait(CONNECTED, count=2, deadline=RETRY)
    board.log.wait(OUTSTANDING)


def test_garbage_in_front_of_an_answer_is_unexpected(board):
    board.expect_log(UNEXPECTED)
    board.iss_ready("seed 1", f"fault {PROBE} garbage {record.SIZE}")
    assert answered(probe(board))
    assert len(board.log.find(UNEXPECTED)) == 1


def test_garbage_by_itself_is_unexpected(board):
    board.expect_log(UNEXPECTED)
    iss = board.iss_ready("seed 1")
    for count, size in enumerate((1, 3, 4, 100, record.SIZE - 1), start=1):
        iss.inject(f"garbage {size}")
        board.log.wait(UNEXPECTED, count=count)
    sync(board)
    assert answered(probe(board))


def test_flood_is_taken_before_the_answer(board):
    iss = board.iss_ready(f"fault {PROBE} times 1 flood 500 WATCH_DOG_INTERVAL", level=8)
    assert answered(probe(board))
    assert len(board.log.find("[DEBUG2] main:439 (main) - Received ALIVE message\n")) == 500
    assert len(board.cam.ops("kick")) >= 500
    assert board.cam.reports() == []
    iss.inject("flood 200 RM_SYNC_UP_STATUS")
    board.expect_log(UNEXPECTED)
    board.log.wait(UNEXPECTED, count=200)
    assert answered(probe(board, 5), 5)


def test_count_of_interfaces_beyond_the_list_is_bounded(board):
    board.iss_ready(f"answer {PROBE} interfaceCount=4294967295", level=8)
    assert answered(probe(board))
    board.log.wait("[DEBUG2] MsgHandle:69 (printPacket) - Interface Num = *\n")
    assert len(board.log.find("[DEBUG2] MsgHandle:69 (printPacket) - Interface Num = *\n")) == 42


def test_count_of_tunnels_beyond_the_table_is_bounded(board):
    iss = board.iss_ready("answer MGMT_INTERFACE_MAPPING_IND entryCount=4294967295", level=8)
    board.debug.send(record.make(record.MGMT_INTERFACE_MAPPING_IND, pwPort=3, entryCount=1, mapFlag=1))
    answer = board.debug.receive()
    assert record.field(answer, "entryCount") == 0xFFFFFFFF
    iss.inject(f"send {PROBE} interfaceCount=0")
    sync(board)
    # The request itself counts one.
    assert len(board.log.find("[DEBUG2] MsgHandle:78 (printPacket) - PwVlan = *")) == 101


def test_chances_come_again_with_their_seed(board):
    iss = board.iss_ready("fault FLUSH_CMD chance 50% merge WATCH_DOG_ISS_ACTIVE")

    def hits():
        before = len(iss.lines())
        iss.inject("seed 7")
        for mark in range(24):
            board.debug.send(record.make(record.FLUSH_CMD, vpn=mark))
            assert record.field(board.debug.receive(), "vpn") == mark
        return ["rule" in line for line in iss.lines()[before:] if "rule: " in line or "<- FLUSH" in line]

    first = hits()
    assert 24 < len(first) < 48
    assert hits() == first


def test_cleared_faults_are_gone(board):
    iss = board.iss_ready(f"fault {PROBE} drop", f"answer {PROBE} status=1")
    iss.inject("clear all")
    assert answered(probe(board))
    assert not iss.lines("* rule: *")


def test_wrong_directive_is_refused_and_changes_nothing(board):
    iss = board.iss_ready()
    for wrong, reason in ((f"fault {PROBE} explode", "unknown fault explode"),
                          ("port 29 down", "port needs ports from 1 to 28 (5 or 1-4,7), not 29"),
                          ("send FLUSH_CMD vpn=x", "bad value x for vpn")):
        refused = ask("inject", wrong)
        assert refused.returncode == 2
        assert refused.stderr == f"iss-sim: {reason}\n"
    assert answered(probe(board))
    until(lambda: iss.lines(f"* -> {PROBE} *"), "the answer's line")
