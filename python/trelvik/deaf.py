"""ISS that does not read: the daemon's sender stays in its write, and keeps the ring's lock."""
from . import fill, record
from .wait import SLOW, until

OVERFLOW = "[ERROR] SrvIss:* (run_iss_script_thread) - Buffer overflow, message lost!\n"
LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded"
WORKERS, WAITING, BUS_QUEUE = 16, 1024, 1024
TAKEN = WORKERS + WAITING + 1 + BUS_QUEUE
"""Requests at most that find a worker, a place, the bus thread, or room in its queue."""


def status(board, field):
    """A number of the daemon's /proc/PID/status; KiB where it is memory."""
    with open(f"/proc/{board.daemon.pid}/status", encoding="ascii") as lines:
        return next(int(line.split()[1]) for line in lines if line.startswith(field + ":"))


def start(board):
    """ISS is ready and stops reading; trace level 6."""
    board.start_ops(receive_buffer=4096)
    board.up(level=9)
    fill.connection(board, record.make(record.FLUSH_CMD))
    board.bus.set_trace_level(6)


def flood(callers, count):
    """Sends `count` probes, of these callers in turn; `extra1` is the number of the call."""
    return [callers[number % len(callers)].set_port_params(3, 1 + number % 28, extra1=number)
            for number in range(count)]


def hear(board, calls, deadline=None):
    """ISS reads again, and answers everything that it has not answered before; returns when all calls are answered."""
    earlier = len(board.log.find("[DEBUG3] main:733 *"))
    for _ in range(earlier - 1):
        board.ops.expect(record.FLUSH_CMD)
    board.ops.serve(record.FLUSH_CMD)

    def answered():
        while not board.ops.silent():
            board.ops.serve(record.IFC_INSERT_DELETE_IND)
        return all(call.answered for call in calls)
    until(answered, "every call is answered", 10 * SLOW if deadline is None else deadline)
