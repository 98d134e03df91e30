import os
import signal
import subprocess

import pytest

from trelvik import record
from trelvik.board import CSM_BOARD
from trelvik.bus import PORT_PARAMS
from trelvik.files import write, write_script
from trelvik.places import COMMIT_MARKER, OPEN_PORTS, READY_MARKER, RELOAD_MARKER

OPS_READY = "[INFO] main:355 (main) - OPS ready to receive messages.\n"
CREATING = "[INFO] main:362 (main) - Creating default.conf!\n"
CREATED = "[INFO] main:380 (main) - default.conf created!\n"
RELOAD_FAILED = "[CRITICAL] main:428 (main) - MSR RELOAD FAILED!"
NO_SELECTION = ("[NOTICE] main:766 (deletePersistentIssConfig) - "
                "/flash/config/current/selected.txt does not exist")
UNEXPECTED = "[ERROR] main:624 (main) - unexpected message received from OPS\n"
ANSWERS = (record.IFC_INSERT_DELETE_IND, record.RUN_DEFAULT_SCRIPT_COMMAND, record.MGMT_INTERFACE_MAPPING,
           record.INTERESTED_PACKET_IND, record.MGMT_INTERFACE_MAPPING_IND, record.SYNCE_CMD, record.SYNCE_PDU_CMD,
           record.FLUSH_CMD, record.GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS, record.SMARTSFP_PDU_CMD,
           record.REDUNDANCY_STATE, record.MRP_VLAN_MAPPING, record.ETS_VLAN_MAPPING, record.LLDP_TLV_INFO)
"""The types that end a request."""
PORTS_OPENED = "/tmp/ports_opened"


def install_open_ports(body=f"touch {PORTS_OPENED}"):
    write_script(OPEN_PORTS, body)


def test_ops_ready_on_other_boards_only_logs(board):
    board.connected()
    board.ops.send(record.make(record.TASK_INIT_STATUS))
    board.log.wait(OPS_READY)
    board.sync_ops()
    assert board.ops.silent()
    assert not board.log.find(CREATING) and not os.path.exists(COMMIT_MARKER)


def test_csm_board_requests_its_default_script(board):
    install_open_ports(f"test -e {COMMIT_MARKER} && touch {PORTS_OPENED}")
    board.bus.subscribe("issStatusChange")
    board.connected(name=CSM_BOARD)
    call = board.bus.set_port_params(3, 2)
    board.ops.send(record.make(record.TASK_INIT_STATUS))
    board.log.sequence([OPS_READY, CREATING])
    request = board.ops.receive()
    assert request == record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile=record.DEFAULT_SCRIPT,
                                  outputFile="outscr.sh")
    board.sync_ops()
    assert board.ops.silent() and not os.path.exists(READY_MARKER) and not os.path.exists(COMMIT_MARKER)
    board.ops.answer(request)
    board.log.wait(CREATED)
    board.wait_file(READY_MARKER)
    assert os.path.exists(PORTS_OPENED) and not os.path.exists(RELOAD_MARKER)
    assert os.path.getsize(COMMIT_MARKER) == 0
    assert board.bus.wait_signal("issStatusChange")[0] == (True,)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=2)
    call.reply()


def test_csm_board_with_commit_marker_requests_nothing(board):
    write(COMMIT_MARKER, "")
    board.connected(name=CSM_BOARD)
    board.ops.send(record.make(record.TASK_INIT_STATUS))
    board.log.wait(OPS_READY)
    board.sync_ops()
    assert board.ops.silent() and not board.log.find(CREATING)


def test_commit_marker_that_cannot_be_made_is_told(board):
    not_made = (f"[WARNING] main:* (main) - {COMMIT_MARKER} not made (Read-only file system): ISS runs its default script "
                "again when it starts next")
    board.expect_log(not_made)
    install_open_ports()
    board.connected(name=CSM_BOARD)
    place = os.path.dirname(COMMIT_MARKER)
    subprocess.run(["mount", "--bind", place, place], check=True)
    subprocess.run(["mount", "-o", "remount,bind,ro", place], check=True)
    for _ in range(2):
        board.ops.send(record.make(record.TASK_INIT_STATUS))
        board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.log.wait(not_made, count=2)
    board.wait_file(READY_MARKER)
    subprocess.run(["umount", place], check=True)
    board.sync_ops()
    descriptors = f"/proc/{board.daemon.pid}/fd"
    before = sorted(os.listdir(descriptors))
    board.ops.send(record.make(record.TASK_INIT_STATUS))
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.sync_ops()
    assert os.path.exists(COMMIT_MARKER)
    assert sorted(os.listdir(descriptors)) == before


def test_default_script_answer_makes_other_boards_ready_too(board):
    install_open_ports()
    board.connected()
    board.ops.send(record.answer(record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile=record.DEFAULT_SCRIPT)))
    board.wait_file(READY_MARKER)
    board.bus.set_port_params(3, 2)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    assert not board.log.find(CREATED)
    assert not os.path.exists(COMMIT_MARKER) and not os.path.exists(PORTS_OPENED)


def test_answer_for_another_script_is_no_default_script_answer(board):
    board.connected()
    board.ops.send(record.answer(record.make(record.RUN_DEFAULT_SCRIPT_COMMAND,
                                             inputFile=record.DEFAULT_SCRIPT[:-1])))
    board.sync_ops()
    assert not os.path.exists(READY_MARKER)


def test_reload_succeeded(board):
    install_open_ports()
    board.bus.subscribe("issStatusChange")
    board.up(level=9)
    assert os.path.exists(READY_MARKER) and os.path.exists(RELOAD_MARKER) and not os.path.exists(PORTS_OPENED)
    assert board.bus.wait_signal("issStatusChange")[0] == (True,)
    board.ops.send(record.reloaded())
    board.log.wait("[DEBUG1] MsgHandle:210 (MSRReloadFailed) - MSR Reload status flag = 0")
    board.log.wait("[DEBUG2] SrvIss:* (sendIssStatusChange) - bStatus=UP\n")
    board.bus.wait_signal("issStatusChange", count=2)


def test_reload_succeeded_on_csm_opens_ports(board):
    install_open_ports()
    board.connected(name=CSM_BOARD, level=8)
    board.make_ready()
    board.log.wait("[DEBUG2] main:408 (main) - execute command for opening ports = "
                   "/bin/sh -c /etc/iss/openPorts.sh\n")
    assert os.path.exists(PORTS_OPENED) and os.path.exists(RELOAD_MARKER)


def test_open_ports_that_fails_is_ignored(board):
    board.expect_stderr("*openPorts.sh*")
    board.up(name=CSM_BOARD)
    assert os.path.exists(RELOAD_MARKER)


def test_markers_that_cannot_be_made_are_errors(board):
    board.expect_log("[ERROR] main:416 (main) - Failed to touch /tmp/iss_msr_succeeded")
    board.expect_log("[ERROR] main:420 (main) - Failed to touch /tmp/iss_is_ready")
    board.expect_log("[ERROR] main:386 (main) - Failed to touch /tmp/iss_is_ready")
    board.expect_stderr("touch: *")
    for marker in (READY_MARKER, RELOAD_MARKER):
        os.symlink("/nowhere/at/all", marker)
    board.connected()
    board.ops.send(record.reloaded())
    board.log.wait("[ERROR] main:420 *")
    board.ops.send(record.answer(record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile=record.DEFAULT_SCRIPT)))
    board.log.wait("[ERROR] main:386 *")
    board.bus.set_port_params(3, 2)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)


def test_reload_failed_is_reported_and_leaves_iss_not_ready(board):
    board.expect_log(RELOAD_FAILED)
    board.connected()
    call = board.bus.set_port_params(3, 2)
    board.ops.send(record.reloaded(failed=True))
    board.cam.wait_report("CORRUPTED CONFIG FILE! REMOVED ISS CONFIG AND REBOOT!\n")
    board.sync_ops()
    assert board.ops.silent() and not os.path.exists(READY_MARKER)
    assert not board.log.find(NO_SELECTION)
    board.make_ready()
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()


def test_reload_failed_leaves_a_ready_iss_ready(board):
    board.expect_log(RELOAD_FAILED)
    board.up()
    board.ops.send(record.change(record.reloaded(), reloadStatus=0xFF))
    board.log.wait(RELOAD_FAILED)
    board.bus.set_port_params(3, 2)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)


def test_reload_failed_on_csm_without_selection(board):
    board.expect_log(RELOAD_FAILED)
    board.connected(name=CSM_BOARD)
    board.ops.send(record.reloaded(failed=True))
    board.log.sequence([RELOAD_FAILED, NO_SELECTION])
    board.cam.wait_report("CORRUPTED CONFIG FILE! REMOVED ISS CONFIG AND REBOOT!\n")


@pytest.mark.parametrize("kind", [record.WATCH_DOG_ISS_ACTIVE, record.WATCH_DOG_INTERVAL])
def test_alive_message_kicks_the_ops_activity(board, kind):
    board.connected(level=8)
    board.ops.send(record.make(kind))
    board.log.wait("[DEBUG2] main:439 (main) - Received ALIVE message\n")
    board.cam.wait("kick", "OPS")
    assert "main" not in board.cam.ops("kick")


def test_cpu_threshold_is_logged(board):
    board.connected()
    board.ops.send(record.make(record.CPU_THRESHOLD, threadName="ospfTask"))
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread ospfTask\n")
    board.ops.send(record.make(record.CPU_THRESHOLD, threadName="x" * 500, pid=0x79797979, status=0x7A))
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread " + "x" * 500 + "\n")


def test_port_status_changes_go_to_the_bus(board):
    board.bus.subscribe("linkStatusChange")
    board.connected(level=8)
    for admin, operational in ((1, 1), (1, 0), (0, 1), (2, 255)):
        board.ops.send(record.make(record.PORT_STATUS_CHANGE_IND, interfaceNum=0xFFFFFFFE, adminStatus=admin,
                                   operationalStatus=operational))
    for count, expected in enumerate(((True, True), (True, False), (False, True), (False, False)), 1):
        body, _ = board.bus.wait_signal("linkStatusChange", count)
        assert body == (0xFFFFFFFE, *expected)
    board.log.wait("[DEBUG2] SrvIss:* (sendLinkStatusChange) - "
                   "ifIndex=4294967294,bPortAdminStatus=UP,bPortOperationalStatus=DOWN\n")


@pytest.mark.parametrize("kind", [record.PORT_STATUS_CHANGE_IND, record.WATCH_DOG_ISS_ACTIVE,
                                  record.TASK_INIT_STATUS, record.MSR_RELOAD_STATUS, record.CPU_THRESHOLD])
def test_message_between_does_not_release_the_sender(board, kind):
    board.up()
    first = board.bus.set_port_params(3, 1)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND, interfaceNum=1)
    board.ops.send(record.make(kind))
    board.bus.set_trace_level(9)
    second = board.bus.set_port_params(3, 2)
    board.log.wait("[DEBUG2] SrvIss:* (run_iss_script_thread) - stopped")
    board.sync_ops()
    assert board.ops.silent() and not first.answered
    board.ops.answer(request)
    first.reply()
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=2)
    second.reply()


@pytest.mark.parametrize("kind", [record.InvalidMsgType, record.RM_ACTIVE_STANDBY_READY_STATUS, record.RM_SYNC_UP_STATUS,
                                  record.RM_GO_ACTIVE_STANDBY_IND, record.CONFIG_STATUS, record.GET_PORT_STATUS, 26,
                                  0x7FFFFFFF, 0xFFFFFFFF])
def test_unexpected_message_is_an_error(board, kind):
    board.expect_log(UNEXPECTED)
    board.connected()
    board.ops.send(record.make(kind))
    board.log.wait(UNEXPECTED)
    board.sync_ops()


@pytest.mark.parametrize("kind", ANSWERS)
def test_unsolicited_answer_consumes_nothing(board, kind):
    board.connected(level=9)
    board.make_ready()
    since = board.log.mark()
    for _ in range(3):
        board.ops.send(record.answer(record.make(kind)))
    board.log.wait("[DEBUG3] main:449 (main) - MESSAGE SOURCE 0\n", since, count=3)
    assert board.log.find("[DEBUG3] main:322 (main) - Message from OPS received: RP=0 WP=0\n", since)
    call = board.bus.set_port_params(3, 1)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    assert not call.answered
    since = board.log.mark()
    board.ops.answer(request)
    call.reply()
    board.log.wait("[DEBUG3] main:322 (main) - Message from OPS received: RP=0 WP=1\n", since)
    board.log.wait("[DEBUG3] main:449 (main) - MESSAGE SOURCE 1\n", since)


def test_every_answer_type_is_routed(board):
    board.up()
    for kind in ANSWERS:
        sent = record.of_type(kind, record.make(record.FLUSH_CMD, vpn=0x01020304))
        board.debug.send(sent)
        assert board.ops.receive() == sent
        board.ops.answer(sent)
        assert board.debug.receive() == record.answer(sent)


def test_error_answer_is_reported_and_still_answered(board):
    board.expect_refused()
    board.up()
    for count, error in enumerate(("Error\r\n", "", "No Error", "No Error\r\n ", "x" * 500), 1):
        call = board.bus.set_port_params(3, 1, extra1=count)
        board.ops.serve(record.IFC_INSERT_DELETE_IND, error=error)
        assert call.reply()[6] == count
        board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n", count)
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
    assert len(board.cam.reports()) == 5


def test_answer_trace_of_a_request(board):
    board.up(level=9)
    since = board.log.mark()
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
    request = [
        "[DEBUG3] SrvIss:* (setPortParams) - SetPortParam message received over OTNBus\n",
        "[DEBUG2] SrvIss:* (run_iss_script_thread) - Processing Setportparam message!",
        "[DEBUG3] SrvIss:* (run_iss_script_thread) - mutex lock\n",
        "[DEBUG3] SrvIss:* (run_iss_script_thread) - SetPortParam split up in 1 messages to OPS\n",
        "[DEBUG3] SrvIss:* (run_iss_script_thread) - message writepointer 0\n",
        "[DEBUG3] SrvIss:* (run_iss_script_thread) - send signal for sending message",
        "[DEBUG3] main:726 (iss_comm) - iss thread: signal otn msg ready received\n",
        "[DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:0 wp:1 source:1\n"]
    answer = [
        "[DEBUG1] MsgHandle:44 (printPacket) - Msg Type = IFC_INSERT_DELETE_IND [7]",
        "[DEBUG3] main:449 (main) - MESSAGE SOURCE 1\n",
        "[DEBUG3] main:473 (main) - Sending reply msg to OTNBus\n",
        "[DEBUG3] main:477 (main) - send reply over OTNbus\n",
        "[DEBUG3] main:628 (main) - send signal cond2\n",
        "[DEBUG3] main:741 (iss_comm) - iss thread: signal OPS msg ready received\n",
        "[DEBUG3] main:747 (iss_comm) - Received signal OPS is ready processing\n",
        "[DEBUG3] main:748 (iss_comm) - iss thread: mutex unlock\n",
        "[DEBUG3] main:721 (iss_comm) - iss thread: mutex lock rp:1 wp:1\n"]
    # OPS may answer before the sender has told that it has sent. Main then notices the answer, and waits with it for
    # the ring's lock, which the sender holds until it has told.
    sent = "[DEBUG3] main:735 (iss_comm) - Sending packet to OPS\n"
    noticed = "[DEBUG3] main:322 (main) - Message from OPS received: RP=0 WP=1\n"
    board.log.sequence(request + [sent] + answer, since)
    board.log.sequence(request + [noticed] + answer, since)


def test_interruption_is_told_and_kicks_main(board):
    board.up()
    board.daemon.send_signal(signal.SIGPIPE)
    board.log.sequence(["[NOTICE] main:76 (handle_sig_pipe) - Signal Broken pipe (13) received",
                        "[NOTICE] main:280 (main) - select call interrupted: Interrupted system call"])
    board.cam.wait("kick", "main")
    assert "OPS" not in board.cam.ops("kick")
    board.alive()


def test_daemon_survives_a_bus_caller_with_a_broken_request(board):
    board.up()
    call = board.bus.call(PORT_PARAMS, "setPortParams", "u", 3)
    assert call.error() == "org.freedesktop.DBus.Error.InvalidArgs"
    board.alive()
