"""The bounds of the workers, and of what waits for them."""
import pytest

from trelvik import deaf, record
from trelvik.bus import COMMON
from trelvik.deaf import LIMITS_EXCEEDED, OVERFLOW, TAKEN, WAITING, WORKERS, status
from trelvik.wait import SLOW, until

CALLERS = 4
CALLS = 5000


def flood(board):
    """More probes than the daemon takes while ISS is deaf; returns when it has refused the rest."""
    calls = deaf.flood([board.peer() for _ in range(CALLERS)], CALLS)
    until(lambda: sum(call.answered for call in calls) >= CALLS - TAKEN, "the rest is refused", 10 * SLOW)
    return calls


def test_flood_while_iss_is_deaf_is_bounded_and_answered(board):
    board.expect_log(OVERFLOW)
    deaf.start(board)
    threads, memory = status(board, "Threads"), status(board, "VmRSS")
    calls = flood(board)
    refused = {call for call in calls if call.answered}
    assert all(call.error() == LIMITS_EXCEEDED for call in refused)
    assert WORKERS + WAITING < CALLS - len(refused) <= TAKEN
    assert status(board, "Threads") == threads + WORKERS
    assert status(board, "VmRSS") < memory + 16 * 1024 * SLOW

    deaf.hear(board, calls)
    for number, call in enumerate(calls):
        if call not in refused:
            assert call.reply()[6] == number
    assert status(board, "Threads") == threads + WORKERS, "they are kept"


def test_stop_while_iss_is_deaf_and_every_place_is_taken(board):
    board.expect_log("[ERROR] IssSocket:81 (sentPacket) - Failed to send msg to ISS: *")
    board.expect_log(OVERFLOW)
    deaf.start(board)
    flood(board)
    assert board.bus.call(COMMON, "get_trace_level").error() == LIMITS_EXCEEDED, "the bus thread waits for a place"
    board.stop()


def test_workers_are_kept_from_request_to_request(board):
    board.up()
    threads = status(board, "Threads")
    for number in range(200):
        call = board.bus.set_port_params(3, 1, extra1=number)
        board.ops.serve(record.IFC_INSERT_DELETE_IND)
        call.reply()
    assert threads < status(board, "Threads") <= threads + 2


@pytest.mark.takes(150)
def test_iss_that_sends_and_does_not_read_is_told(board):
    blocked = "[WARNING] main:* (main) - ISS has not taken a message for * s, and nothing else can be queued or sent: *"
    board.expect_log(blocked)
    deaf.start(board)
    board.ops.send(record.make(record.WATCH_DOG_ISS_ACTIVE))
    board.log.wait(blocked, deadline=120)
    board.expect_log("[ERROR] IssSocket:81 (sentPacket) - Failed to send msg to ISS: Interrupted system call")
    board.expect_log("[WARNING] main:* (main) - no answer from ISS for * s: *")
    board.stop()
