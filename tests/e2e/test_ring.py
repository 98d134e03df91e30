from trelvik import fill, record
from trelvik.bus import Bus

OVERFLOW = "[ERROR] SrvIss:* (run_iss_script_thread) - Buffer overflow, message lost!\n"


def serve_all(board, *marks):
    for mark in marks:
        board.ops.serve(record.FLUSH_CMD, vpn=mark)
        assert record.field(board.debug.receive(), "vpn") == mark


def two_served_of_18(board):
    """Returns the third message, which is outstanding."""
    board.connected(level=9)
    fill.queue(board, *range(1, 19))
    board.make_ready()
    serve_all(board, 1, 2)
    return board.ops.expect(record.FLUSH_CMD, vpn=3)


def test_messages_wait_until_ready_and_go_in_order(board):
    board.connected(level=9)
    fill.queue(board, *range(1, 8))
    board.sync_ops()
    assert board.ops.silent()
    board.make_ready()
    serve_all(board, *range(1, 8))


def test_one_message_is_outstanding_at_a_time(board):
    board.up(level=9)
    fill.queue(board, 1, 2, 3)
    first = board.ops.expect(record.FLUSH_CMD, vpn=1)
    board.sync_ops()
    assert board.ops.silent()
    board.ops.answer(first)
    second = board.ops.expect(record.FLUSH_CMD, vpn=2)
    board.sync_ops()
    assert board.ops.silent()
    board.ops.answer(second)
    board.ops.serve(record.FLUSH_CMD, vpn=3)


def test_ring_takes_18_ahead_of_the_reader(board):
    board.connected(level=9)
    fill.queue(board, *range(1, 19))
    assert board.debug.receive_now() is None
    board.debug.send(fill.message(19))
    assert board.debug.receive() == fill.message(19)
    board.log.wait("[DEBUG3] main:301 (main) - Out of Mem for debug server msg: RP=0 WP=18\n")
    board.make_ready()
    serve_all(board, *range(1, 19))


def test_ring_takes_19_behind_the_reader(board):
    third = two_served_of_18(board)
    fill.queue(board, 19, 20, 21)
    board.debug.send(fill.message(22))
    assert board.debug.receive() == fill.message(22)
    board.log.wait("[DEBUG3] main:301 (main) - Out of Mem for debug server msg: RP=2 WP=1\n")
    board.ops.answer(third)
    assert record.field(board.debug.receive(), "vpn") == 3
    serve_all(board, *range(4, 22))


def test_ring_with_room_at_its_end_takes_the_19th_slot(board):
    two_served_of_18(board)
    fill.queue(board, 19)
    assert board.log.find("[DEBUG3] main:291 (main) - Message from debug server received: RP=2 WP=18\n")
    fill.queue(board, 20)
    assert board.log.find("[DEBUG3] main:291 (main) - Message from debug server received: RP=2 WP=19\n")
    assert board.debug.receive_now() is None


def test_full_ring_answers_a_bus_request_at_once(board):
    board.expect_log(OVERFLOW)
    board.connected(level=9)
    fill.queue(board, *range(1, 19))
    assert board.bus.set_port_params(3, 9, extra1=5).reply() == (3, 6, 9, 1000, True, 100, 5, 8)
    assert len(board.log.find(OVERFLOW)) == 1
    board.make_ready()
    serve_all(board, *range(1, 19))
    board.sync_ops()
    assert board.ops.silent()


def test_request_of_two_needs_room_for_both(board):
    board.expect_log(OVERFLOW)
    board.connected(level=9)
    fill.queue(board, *range(1, 18))
    assert board.bus.set_port_params(1, 9).reply()[2] == 9
    board.log.wait(OVERFLOW)
    fill.queue(board, 18)
    board.make_ready()
    serve_all(board, *range(1, 19))
    board.sync_ops()
    assert board.ops.silent()


def test_request_of_two_that_just_fits_is_taken(board):
    board.connected(level=9)
    fill.queue(board, *range(1, 17))
    call = board.bus.set_port_params(1, 9)
    board.log.wait("[DEBUG2] SrvIss:* (run_iss_script_thread) - stopped")
    assert not call.answered
    board.make_ready()
    serve_all(board, *range(1, 17))
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    call.reply()


def test_requests_go_round_the_ring_many_times(board):
    board.up()
    for mark in range(1, 70):
        call = board.bus.set_port_params(3, mark % 28 + 1, extra1=mark)
        board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=mark % 28 + 1)
        assert call.reply()[6] == mark


def test_requests_of_many_callers_are_each_answered_once(board):
    board.up()
    callers = [board.peer() for _ in range(4)]
    calls = [(caller, caller.set_port_params(3, number + 1, extra1=number * 10 + index))
             for number, caller in enumerate(callers) for index in range(4)]
    for _ in calls:
        board.ops.serve(record.IFC_INSERT_DELETE_IND)
    for number, (_, call) in enumerate(calls):
        assert call.reply()[6] == number // 4 * 10 + number % 4
    assert all(isinstance(caller, Bus) and len(caller.order) == len(set(caller.order)) for caller in callers)
