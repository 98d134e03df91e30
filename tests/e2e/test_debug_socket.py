import os

from trelvik import record
from trelvik.debugsocket import CLIENT, SERVER
from trelvik.files import write
from trelvik.users import as_stranger, run_as
from trelvik.wait import until


WRONG_SIZE = "[WARNING] main:* (main) - debug request of {} bytes instead of 6924: {}"


def patterned(seed):
    """A record of a routed type whose every other byte tells its place."""
    return record.of_type(record.FLUSH_CMD, bytes((seed + place) % 251 for place in range(record.SIZE)))


def test_request_and_answer_pass_unchanged(board):
    board.up(level=9)
    sent = patterned(1)
    board.debug.send(sent)
    assert board.ops.receive() == sent
    answer = patterned(2)
    board.ops.send(answer)
    assert board.debug.receive() == answer
    board.log.sequence(["[DEBUG3] main:291 (main) - Message from debug server received: RP=0 WP=0\n",
                        "[DEBUG1] MsgHandle:44 (printPacket) - Msg Type = FLUSH_CMD [16]",
                        "[DEBUG3] main:314 (main) - main thread: send signal for sending message\n",
                        "[DEBUG3] main:316 (main) - main thread: mutex unlock\n",
                        "[DEBUG3] main:449 (main) - MESSAGE SOURCE 2\n",
                        "[DEBUG3] main:452 (main) - Sending reply msg to debug socket\n"])
    assert board.cam.reports() == []


def test_two_requests_are_answered_in_order(board):
    board.up()
    board.debug.send(patterned(1))
    board.debug.send(patterned(2))
    for seed in (1, 2):
        assert board.ops.receive() == patterned(seed)
        board.ops.send(patterned(seed + 10))
    assert board.debug.receive() == patterned(11)
    assert board.debug.receive() == patterned(12)


def test_short_request_leaves_the_rest_zero(board):
    board.expect_log(WRONG_SIZE.format(50, "the rest is taken as zero"))
    board.up()
    board.debug.send(patterned(1))
    board.ops.answer(board.ops.receive())
    board.debug.receive()
    board.debug.send(patterned(3)[:50])
    assert board.ops.receive() == patterned(3)[:50] + bytes(record.SIZE - 50)


def test_empty_request_is_a_zero_record(board):
    board.expect_log(WRONG_SIZE.format(0, "the rest is taken as zero"))
    board.up()
    board.debug.send(b"")
    assert board.ops.receive() == bytes(record.SIZE)


def test_long_request_is_cut(board):
    board.expect_log(WRONG_SIZE.format(7724, "what is beyond is dropped"))
    board.up()
    board.debug.send(patterned(1) + b"too much" * 100)
    assert board.ops.receive() == patterned(1)
    board.ops.answer(patterned(1))
    assert len(board.debug.receive()) == record.SIZE


def test_stale_socket_file_is_replaced(board):
    write(SERVER, "left over")
    board.connected(level=9)
    board.make_ready()
    until(lambda: not os.path.isfile(SERVER), "the stale file is gone")
    board.debug.send(patterned(1))
    assert board.ops.receive() == patterned(1)


def test_strangers_file_is_replaced(board):
    run_as(as_stranger(), "open('/tmp/socket-server', 'w').write('mine')")
    board.up()
    board.debug.send(patterned(1))
    assert board.ops.receive() == patterned(1)


def test_stranger_may_not_send(board):
    board.up()
    assert run_as(as_stranger(), "import socket\n"
                  "tool = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)\n"
                  "try:\n"
                  f"    tool.sendto(bytes({record.SIZE}), {SERVER!r})\n"
                  "except PermissionError:\n"
                  "    print('refused')\n") == "refused"
    board.debug.send(patterned(1))
    assert board.ops.receive() == patterned(1)


def test_name_that_cannot_be_bound_leaves_the_daemon_running(board):
    board.expect_log("[WARNING] SrvDbg:43 (StartUdpServer) - Debug socket binding failed\n")
    board.expect_log("[WARNING] SrvDbg:* (StartUdpServer) - No debug socket at /tmp/socket-server (Is a directory): "
                     "remove what stands there and start the daemon again\n")
    os.mkdir(SERVER)
    board.up()
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()


def test_client_that_went_away_costs_nothing(board):
    board.up()
    board.debug.send(patterned(1))
    request = board.ops.receive()
    board.debug.leave()
    assert not os.path.exists(CLIENT)
    board.ops.answer(request)
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
    board.debug.join()
    board.debug.send(patterned(2))
    board.ops.answer(board.ops.receive())
    assert record.type_of(board.debug.receive()) == record.FLUSH_CMD


def test_client_that_does_not_read_does_not_hold_the_daemon(board):
    board.up()
    for seed in range(1, 41):
        board.debug.send(patterned(seed))
        assert board.ops.receive() == patterned(seed)
        board.ops.send(patterned(seed + 100))
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
    read = []
    while (datagram := board.debug.receive_now()) is not None:
        read.append(datagram)
    assert 1 <= len(read) < 40
    assert read == [patterned(seed + 100) for seed in range(1, len(read) + 1)]


def test_client_that_reads_no_returned_request_holds_nobody(board):
    board.connected()
    for seed in range(1, 61):
        board.debug.send(patterned(seed))
    board.sync_ops()
    board.alive()


def test_error_answer_is_the_clients_own_affair(board):
    board.up()
    board.debug.send(patterned(1))
    request = board.ops.receive()
    board.ops.answer(request, error="Error\r\n", status=1)
    assert board.debug.receive() == record.answer(request, error="Error\r\n", status=1)
    board.sync_ops()
    assert board.cam.reports() == []


def test_debug_and_bus_requests_share_the_ring(board):
    board.up(level=9)
    board.debug.send(patterned(1))
    request = board.ops.receive()
    call = board.bus.set_port_params(3, 1)
    board.log.wait("[DEBUG2] SrvIss:* (run_iss_script_thread) - stopped")
    board.debug.send(patterned(2))
    board.sync_debug()
    board.ops.answer(request)
    assert record.type_of(board.debug.receive()) == record.FLUSH_CMD
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
    assert board.ops.receive() == patterned(2)
