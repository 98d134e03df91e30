import os
import signal
import socket
import threading

import pytest

from trelvik import fill, record
from trelvik.board import CONNECTED, CSM_BOARD, REFUSED
from trelvik.bus import HANG
from trelvik.files import write_script
from trelvik.ops import ADDRESS
from trelvik.places import OPEN_PORTS
from trelvik.wait import until

STOPPING = "[NOTICE] main:66 (handle_sig) - Signal {} ({}) received: killing Trelvik and stopping threads"
FINISHED = "[INFO] main:658 (main) - Finished"


@pytest.mark.parametrize("number, name", [(signal.SIGTERM, "Terminated"), (signal.SIGQUIT, "Quit"),
                                          (signal.SIGINT, "Interrupt")])
def test_stop_signals_end_the_daemon(board, number, name):
    board.up(level=9)
    board.log.wait("[INFO] main:717 *")
    since = board.log.mark()
    board.stop(number)
    board.log.sequence([STOPPING.format(name, int(number)),
                        "[DEBUG1] main:643 (main) - Waiting for otnbus_thread to stop",
                        "[DEBUG1] main:645 (main) - otnbus_thread stopped; waiting for isscom_thread to stop",
                        "[DEBUG1] main:647 (main) - isscom_thread stopped", FINISHED], since)
    board.log.wait("[DEBUG1] main:710 (start_otn_comm) - OTNBUS thread stopped", since)
    board.log.wait("[DEBUG1] main:728 (iss_comm) - iss_comm thread stopped", since)
    assert not board.log.find("[NOTICE] main:280 *", since)


def test_stop_unregisters_the_activities(board):
    board.up()
    kicks = board.cam.ops("kick")
    board.stop()
    assert board.cam.ops("unregister") == ["OPS", "main"]
    assert board.cam.ops("kick") == kicks
    assert len(board.cam.ops("close")) >= 2


def test_stop_releases_the_name_and_the_connection(board):
    board.up()
    board.stop()
    board.ops.end_of_stream()
    assert board.bus.bus("NameHasOwner", "s", "otn.Trelvik") == (False,)


def test_second_signal_during_the_stop_does_no_harm(board):
    board.up()
    board.daemon.send_signal(signal.SIGTERM)
    board.daemon.send_signal(signal.SIGINT)
    board.stop()


def test_daemon_can_be_started_again(board):
    for _ in range(3):
        board.up()
        call = board.bus.set_port_params(3, 1)
        board.ops.serve(record.IFC_INSERT_DELETE_IND)
        call.reply()
        board.stop()


@pytest.mark.parametrize("line", ["[INFO] main:673 *", "[INFO] SrvRedundancy:*", "[INFO] main:717 *",
                                  "[INFO] SrvDbg:50 *", CONNECTED])
def test_stop_during_the_start(board, line):
    board.start()
    board.log.wait(line)
    board.stop()
    board.log.wait(FINISHED)


def test_stop_while_the_bus_does_not_answer_the_query(board):
    manager = board.peer()
    manager.serve("getRedundantState", HANG)
    manager.request_name("otn.redundancyManager")
    board.start()
    until(lambda: manager.served, "the query")
    board.stop()


def test_stop_without_ops(board):
    board.expect_log(REFUSED)
    board.start(ops=False)
    board.log.wait(REFUSED)
    board.alive()
    board.stop()


def test_stop_before_ops_says_anything(board):
    board.connected()
    board.bus.set_port_params(3, 1)
    board.alive()
    board.stop()


def test_stop_with_a_record_outstanding(board):
    board.up()
    call = board.bus.set_port_params(3, 1)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.stop()
    assert call.error() == "org.freedesktop.DBus.Error.NoReply"


def test_stop_as_the_answer_comes(board):
    for _ in range(8):
        board.up()
        call = board.bus.set_port_params(3, 1)
        board.ops.serve(record.IFC_INSERT_DELETE_IND)
        board.stop()
        until(lambda: call.answered, "a reply, or the end of the connection")


def test_stop_after_the_connection_was_lost(board):
    board.up()
    board.bus.set_port_params(3, 1)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.ops.drop()
    board.log.wait("[INFO] main:343 *")
    board.stop()


def test_stop_with_a_full_ring(board):
    board.connected(level=9)
    fill.queue(board, *range(19))
    board.debug.receive()
    board.stop()


def test_stop_while_ops_does_not_read(board):
    board.expect_log("[ERROR] IssSocket:81 (sentPacket) - Failed to send msg to ISS: *")
    board.start_ops(receive_buffer=4096)
    board.up(level=9)
    place = fill.connection(board, record.make(record.FLUSH_CMD))
    board.ops.send(record.make(record.WATCH_DOG_INTERVAL))  # the main loop then waits for the ring's lock
    board.log.wait("[DEBUG3] main:322 *", place)
    board.stop()


def test_stop_while_the_connection_hangs(board):
    board.expect_log("[WARNING] IssSocket:49 (StartTcpClient) - OPS socket connection failed (*")
    board.start_ops(backlog=0)
    fillers = []

    def connecting():
        with open("/proc/net/tcp", encoding="ascii") as table:
            return sum(1 for line in table if " 0100007F:1F40 02 " in line)
    while not connecting():
        filler = socket.socket()
        filler.setblocking(False)
        filler.connect_ex(ADDRESS)
        fillers.append(filler)
    waiting = connecting()
    board.start()
    until(lambda: connecting() > waiting, "the daemon waits for its connection")
    board.stop()
    for filler in fillers:
        filler.close()


def long_open_ports(board, seconds=60):
    write_script(OPEN_PORTS, "touch /tmp/ports_opened", f"exec sleep {seconds}")
    board.connected(name=CSM_BOARD)
    board.ops.send(record.reloaded())
    board.wait_file("/tmp/ports_opened")


def test_stop_while_a_command_runs(board):
    long_open_ports(board)
    board.stop()


def test_stop_while_a_command_runs_and_workers_wait(board):
    long_open_ports(board)
    for port in range(1, 9):
        board.bus.set_port_params(1, port)
    board.alive()
    board.stop()


def test_stop_while_a_marker_is_made_is_no_failure(board):
    programs = os.path.join(board.dir, "programs")
    os.mkdir(programs)
    write_script(f"{programs}/touch", f"echo > {programs}/begun", "exec sleep 60")
    board.connected(env={"PATH": programs + ":" + os.environ["PATH"]})
    board.ops.send(record.reloaded())
    board.wait_file(f"{programs}/begun")
    board.stop()
    board.log.wait(FINISHED)


def test_stop_while_workers_run(board):
    caller = board.peer()
    board.up()
    stop = threading.Event()

    def call():
        while not stop.is_set():
            try:
                caller.set_port_params(5, 1, expect_reply=False)
            except OSError:
                return
    thread = threading.Thread(target=call)
    thread.start()
    try:
        board.bus.get_trace_level()
        board.stop()
    finally:
        stop.set()
        thread.join()


def test_stop_in_a_flood_of_messages_at_trace_level_9(board):
    board.up(level=9)
    alive = record.make(record.WATCH_DOG_INTERVAL)
    lines_each = 5
    under_way = 8  # more would fill the connection, which then cuts messages
    before = board.log.received()
    stopped = threading.Event()

    def send():
        sent = 0
        while not stopped.is_set():
            if sent - (board.log.received() - before) // lines_each < under_way:
                board.ops.send_if_open(alive)
                sent += 1
    thread = threading.Thread(target=send)
    thread.start()
    try:
        board.log.wait("[DEBUG2] main:439 *", count=100, deadline=20)
        board.stop()
    finally:
        stopped.set()
        thread.join()


def test_stop_in_a_stream_of_messages_that_never_pauses(board):
    board.up()
    unexpected = "[ERROR] main:624 (main) - unexpected message received from OPS\n"
    board.expect_log(unexpected)
    stopped = threading.Event()

    def send():
        while not stopped.is_set():
            board.ops.send_if_open(bytes(record.SIZE * 10))  # wherever it is cut, it is the same message
    thread = threading.Thread(target=send)
    thread.start()
    try:
        board.log.wait(unexpected, count=100)
        board.stop()
    finally:
        stopped.set()
        thread.join()


def test_stop_in_a_flood_of_requests_at_trace_level_9(board):
    board.up(level=9)
    board.bus.set_port_params(1, 1)
    for _ in range(300):
        board.bus.set_port_params(5, 1)
    board.log.wait("[DEBUG2] SrvIss:* (run_iss_script_thread) - stopped")
    board.stop()


def test_sigpipe_only_logs(board):
    board.up()
    for _ in range(3):
        since = board.log.mark()
        board.daemon.send_signal(signal.SIGPIPE)
        board.log.wait("[NOTICE] main:76 (handle_sig_pipe) - Signal Broken pipe (13) received", since)
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
