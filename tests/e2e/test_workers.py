"""The workers' bounds while ISS does not read: the sender stays in its write and keeps the ring's lock."""
from trelvik import fill, record
from trelvik.bus import COMMON
from trelvik.wait import SLOW, until

OVERFLOW = "[ERROR] SrvIss:* (run_iss_script_thread) - Buffer overflow, message lost!\n"
LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded"
WORKERS, WAITING, BUS_QUEUE = 16, 1024, 1024
TAKEN = WORKERS + WAITING + 1 + BUS_QUEUE
"""Requests that find a worker, a place, the bus thread, or room in its queue."""
CALLERS = 4
CALLS = 5000


def status(board, field):
    with open(f"/proc/{board.daemon.pid}/status", encoding="ascii") as lines:
        return next(int(line.split()[1]) for line in lines if line.startswith(field + ":"))


def deaf(board):
    """ISS is ready and stops reading."""
    board.start_ops(receive_buffer=4096)
    board.up(level=9)
    fill.connection(board, record.make(record.FLUSH_CMD))
    board.bus.set_trace_level(6)


def hear(board, calls):
    """ISS reads again, and answers everything that it has not answered before; returns when all calls are answered."""
    earlier = len(board.log.find("[DEBUG3] main:733 *"))
    for _ in range(earlier - 1):
        board.ops.expect(record.FLUSH_CMD)
    board.ops.serve(record.FLUSH_CMD)

    def answered():
        while not board.ops.silent():
            board.ops.serve(record.IFC_INSERT_DELETE_IND)
        return all(call.answered for call in calls)
    until(answered, "every call is answered", 10 * SLOW)


def flood(board):
    """Probes of several callers, more than the daemon takes; returns when it has refused the rest."""
    callers = [board.peer() for _ in range(CALLERS)]
    calls = [callers[number % CALLERS].set_port_params(3, 1 + number % 28, extra1=number) for number in range(CALLS)]
    until(lambda: sum(call.answered for call in calls) >= CALLS - TAKEN, "the rest is refused", 10 * SLOW)
    return calls


def test_flood_while_iss_is_deaf_is_bounded_and_answered(board):
    board.expect_log(OVERFLOW)
    deaf(board)
    threads, memory = status(board, "Threads"), status(board, "VmRSS")
    calls = flood(board)
    refused = [call for call in calls if call.answered]
    assert all(call.error() == LIMITS_EXCEEDED for call in refused)
    assert WORKERS + WAITING < CALLS - len(refused) <= TAKEN
    assert status(board, "Threads") == threads + WORKERS
    assert status(board, "VmRSS") < memory + 16 * 1024 * SLOW

    hear(board, calls)
    for number, call in enumerate(calls):
        if call not in refused:
            assert call.reply()[6] == number
    assert status(board, "Threads") == threads + WORKERS, "they are kept"


def test_stop_while_iss_is_deaf_and_every_place_is_taken(board):
    board.expect_log("[ERROR] IssSocket:81 (sentPacket) - Failed to send msg to ISS: *")
    board.expect_log(OVERFLOW)
    deaf(board)
    flood(board)
    waiting = board.bus.call(COMMON, "get_trace_level")
    assert waiting.error() == LIMITS_EXCEEDED, "the bus thread waits for a place"
    board.stop()


def test_workers_are_kept_from_request_to_request(board):
    board.up()
    threads = status(board, "Threads")
    for number in range(200):
        call = board.bus.set_port_params(3, 1, extra1=number)
        board.ops.serve(record.IFC_INSERT_DELETE_IND)
        call.reply()
    assert threads < status(board, "Threads") <= threads + 2
