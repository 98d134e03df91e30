"""Fills the ring with the debug socket's messages, which are told apart by their marks, or the connection to OPS. Needs
trace level 9."""
from . import record
from .wait import SLOW


def message(mark):
    return record.make(record.FLUSH_CMD, vpn=mark)


def queue(board, *marks):
    """Returns when the main loop has queued or returned them all."""
    for mark in marks:
        board.debug.send(message(mark))
    board.sync_debug()


def serve(board, *marks):
    """Has OPS receive and answer them, in this order."""
    for mark in marks:
        board.ops.serve(record.FLUSH_CMD, vpn=mark)


def behind_the_reader(board):
    """Connected, and then: ISS ready, read index 2 with its message outstanding, write index 0. Returns that message;
    once it is answered, `serve` the marks 4 to 20."""
    queue(board, *range(1, 19))
    board.make_ready()
    serve(board, 1, 2)
    third = board.ops.expect(record.FLUSH_CMD, vpn=3)
    queue(board, 19, 20)
    return third


def connection(board, request):
    """Has OPS answer without reading until the sender stays in its write, with the ring's lock; returns the place in
    the log. OPS's receive buffer should be small."""
    while True:
        place = board.log.mark()
        board.debug.send(request)
        board.log.wait("[DEBUG3] main:733 *", place)
        try:
            board.log.wait("[DEBUG3] main:735 *", place, deadline=0.5 * SLOW)
        except AssertionError:
            return place
        board.ops.answer(request)
        board.debug.receive()
