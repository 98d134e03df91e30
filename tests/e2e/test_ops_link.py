import socket
import subprocess
import time

import pytest

from trelvik import record
from trelvik.board import CONNECTED, CSM_BOARD, LOST, REFUSED
from trelvik.ops import ADDRESS, Ops
from trelvik.wait import SLOW

RETRY = 7 * SLOW
CSM_LOST = "[CRITICAL] main:340 (main) - CONNECTION TO OPS LOST\n"
OUTSTANDING = "[NOTICE] main:* (main) - *outstanding*"


def test_refused_connection_is_tried_again_after_5_s(board):
    board.expect_log(REFUSED)
    board.start(ops=False)
    board.log.wait(REFUSED)
    refused = time.monotonic()
    board.cam.wait("kick", "main")
    board.start_ops().accept(RETRY)
    assert 4.5 < time.monotonic() - refused < RETRY
    board.log.wait(CONNECTED)
    assert len(board.log.find(REFUSED)) == 1
    board.make_ready()


def test_refused_connection_is_told_at_trace_level_9(board):
    board.expect_log(REFUSED)
    board.start(ops=False)
    board.log.wait(REFUSED)
    board.bus.set_trace_level(9)
    board.log.wait(REFUSED, count=2, deadline=RETRY)
    board.log.wait("[DEBUG3] main:258 (main) - retry connecting with ISS in 5 s")
    board.start_ops().accept(RETRY)
    board.log.wait("[DEBUG1] main:249 (main) - TrelvikFd=*, dbgservfd=*, maxfd=*")


def test_part_of_a_message_is_treated_as_a_whole(board):
    board.connected()
    board.expect_log("[ERROR] main:624 (main) - unexpected message received from OPS\n")
    board.ops.send(record.make(record.CPU_THRESHOLD, threadName="before"))
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread before\n")
    whole = record.make(record.CPU_THRESHOLD, threadName="ring")
    board.ops.send(whole[:100])
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread \n")
    board.ops.send(whole[100:])
    board.log.wait("[ERROR] main:624 (main) - unexpected message received from OPS\n")
    board.sync_ops()


def test_messages_in_one_segment_are_read_one_by_one(board):
    board.connected()
    board.ops.send(b"".join(record.make(record.CPU_THRESHOLD, threadName=name) for name in ("a", "b", "c")))
    board.log.sequence([f"[INFO] main:444 (main) - CPU exceeds threshold for thread {name}\n"
                        for name in ("a", "b", "c")])


def test_lost_connection_is_made_again(board):
    board.up()
    kicks = len(board.cam.ops("kick"))
    board.ops.drop()
    board.log.wait(LOST)
    lost = time.monotonic()
    board.cam.wait("kick", "main")
    board.ops.accept(RETRY)
    assert time.monotonic() - lost > 4.5
    board.log.wait(CONNECTED, count=2)
    assert len(board.cam.ops("kick")) == kicks + 1
    assert board.cam.reports() == []
    assert board.cam.ops("register") == ["main", "OPS"]
    board.cam.wait("timeout", "120000", count=3)


def test_lost_connection_on_csm_is_reported_and_main_not_kicked(board):
    board.expect_log(CSM_LOST)
    board.connected(name=CSM_BOARD)
    kicks = board.cam.ops("kick")
    board.ops.drop()
    board.log.wait(CSM_LOST)
    board.cam.wait_report("CONNECTION TO OPS LOST !\n")
    board.ops.accept(RETRY)
    board.log.wait(CONNECTED, count=2)
    assert board.cam.ops("kick") == kicks
    assert not board.log.find(LOST)


def test_connection_reset_is_an_error_and_then_lost(board):
    board.expect_log("[ERROR] IssSocket:92 (getPacket) - Failed to receive msg from ISS: Connection reset by peer")
    board.expect_stderr("shutdown failed: *")
    board.up()
    board.ops.drop(reset=True)
    board.log.wait(LOST)
    board.ops.accept(RETRY)
    board.make_ready()


def test_ops_gone_and_back_as_another_process(board):
    board.expect_log(REFUSED)
    board.up()
    board.ops.drop()
    board.ops.close_listener()
    board.log.wait(REFUSED, deadline=RETRY)
    board.ops = Ops()
    board.ops.accept(RETRY)
    board.make_ready()
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=1)
    call.reply()


def test_after_a_loss_messages_wait_until_iss_is_ready_again(board):
    board.up()
    board.ops.drop()
    board.ops.accept(RETRY)
    call = board.bus.set_port_params(3, 4)
    board.bus.set_trace_level(6)
    board.sync_ops()
    assert board.ops.silent()
    board.make_ready()
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()


def test_record_outstanding_at_a_loss_is_told_and_holds_the_sender(board):
    board.up()
    first = board.bus.set_port_params(3, 4)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.ops.drop()
    board.ops.accept(RETRY)
    board.log.wait(CONNECTED, count=2)
    board.log.wait(OUTSTANDING)
    board.make_ready()
    second = board.bus.set_port_params(4, 5)
    board.bus.get_trace_level()
    board.sync_ops()
    assert board.ops.silent() and not first.answered
    board.ops.answer(request)
    assert first.reply()[0] == 3
    board.ops.serve(record.IFC_INSERT_DELETE_IND, statusFlag=2)
    assert second.reply()[0] == 4


def test_nothing_outstanding_at_a_loss_is_not_told(board):
    board.up()
    call = board.bus.set_port_params(3, 4)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
    board.ops.drop()
    board.ops.accept(RETRY)
    board.log.wait(CONNECTED, count=2)
    board.sync_ops()
    assert not board.log.find(OUTSTANDING)


def test_own_port_is_no_connection_and_free_for_ops(board):
    port_range = "/proc/sys/net/ipv4/ip_local_port_range"
    # The sandbox's own is read-only there.
    if subprocess.run(["mount", "-t", "proc", "proc", "/proc"], check=False).returncode != 0:
        pytest.skip("this machine lets nobody mount /proc")
    with open(port_range, encoding="ascii") as before:
        usual = before.read()

    def take_ports(ports):
        with open(port_range, "w", encoding="ascii") as system:
            system.write(ports)
    take_ports("8000 8000")  # the only one that the system can take for a connection
    board.expect_log(REFUSED)
    board.start(ops=False)
    board.log.wait(REFUSED)
    with socket.socket() as listener:
        listener.bind(ADDRESS)  # without SO_REUSEADDR: nothing is left of the connection
        listener.listen()
    take_ports(usual)
    board.start_ops().accept(RETRY)
    board.make_ready()
