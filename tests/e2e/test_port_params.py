import os

import pytest

from trelvik import record
from trelvik.files import read, write
from trelvik.port_params import (ACKNOWLEDGE, DETACH, PROBE, RELEASE, RELEASE_5, SET_UP, SET_UP_5, mapping, release,
                                 script_for, script_message, set_up, without_ac_vlan)


def test_set_up_sends_script_then_mapping(board):
    board.up()
    call = board.bus.set_port_params(SET_UP, 5)
    first = board.ops.receive()
    assert first == script_message(5, 0)
    assert read("/tmp/SetVlanPort5_0") == SET_UP_5
    board.ops.answer(first)
    second = board.ops.receive()
    assert second == mapping(5, 1)
    assert not call.answered
    board.ops.answer(second)
    assert call.reply() == (SET_UP, 6, 5, 1000, True, 100, 7, 8)


@pytest.mark.parametrize("port", [1, 24, 25, 28])
def test_set_up_script_of_port(board, port):
    board.up()
    board.bus.set_port_params(SET_UP, port, ac_vlan=4094)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    assert read(f"/tmp/SetVlanPort{port}_0") == script_for(port, 4094)


def test_port_names_change_after_24(board):
    board.up()
    for index, port, names in ((0, 24, "gigabitethernet 0/24"), (2, 25, "extreme-ethernet 0/1")):
        board.bus.set_port_params(SET_UP, port)
        board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
        board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
        text = read(f"/tmp/SetVlanPort{port}_{index}")
        assert f"ports {names} untagged {names}\n" in text and f"interface {names}\n" in text


def test_without_ac_port(board):
    board.up("-p")
    call = board.bus.set_port_params(SET_UP, 5)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    assert read("/tmp/SetVlanPort5_0") == without_ac_vlan(SET_UP_5)
    request = board.ops.receive()
    assert request == mapping(5, 1, ac_port=0xFFFFFFFF)
    board.ops.answer(request)
    call.reply()
    board.bus.set_port_params(RELEASE, 5)
    request = board.ops.receive()
    assert request == mapping(5, 2, ac_port=0xFFFFFFFF)
    board.ops.answer(request)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    assert read("/tmp/SetVlanPort5_2") == RELEASE_5.replace("no vlan 100\n", "")


@pytest.mark.parametrize("port, alias", [(96, "30:30:30:30"), (100, "30:30:30:34"),
                                         (99, "30:30:30:33")])
def test_pseudowire_vlan_from_4096_is_masked_in_the_alias(board, port, alias):
    board.up()
    board.bus.set_port_params(SET_UP, port)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND, pwVlan=port + 4000)
    text = read(f"/tmp/SetVlanPort{port}_0")
    assert text == script_for(port)
    assert f"ifAlias.{port + 37} value 76:6c:61:6e:{alias}\n" in text
    assert f"switchport pvid {port + 4000}\n" in text


def test_release_sends_unmapping_with_the_stored_ids_then_script(board):
    board.up()
    set_up(board, 5, index=0, ids=(11, 12, 13, 14))
    call = board.bus.set_port_params(RELEASE, 5)
    first = board.ops.receive()
    assert first == mapping(5, 2, ids=(11, 12, 13, 14))
    board.log.wait("[NOTICE] SrvIss:* (run_iss_script_thread) - "
                   "ReleasePort: portNr=5, tunnelId=11, pwId=13, vpnId=12, acId=14")
    board.ops.answer(first)
    second = board.ops.receive()
    assert second == script_message(5, 2)
    assert read("/tmp/SetVlanPort5_2") == RELEASE_5
    assert not call.answered
    board.ops.answer(second)
    assert call.reply() == (RELEASE, 6, 5, 1000, True, 100, 7, 8)


def test_release_of_a_port_never_set_up_sends_zero_ids(board):
    board.up()
    set_up(board, 5, index=0, ids=(11, 12, 13, 14))
    release(board, 6, (0, 0, 0, 0))
    release(board, 5, (11, 12, 13, 14))


def test_ids_of_the_last_set_up_count(board):
    board.up()
    set_up(board, 28, index=0, ids=(1, 2, 3, 4))
    set_up(board, 28, index=2, ids=(0xFFFFFFF, 6, 7, 8))
    release(board, 28, (0xFFFFFFF, 6, 7, 8))
    release(board, 28, (0xFFFFFFF, 6, 7, 8))


def test_error_answer_stores_no_ids(board):
    board.expect_refused()
    board.up()
    set_up(board, 5, index=0, ids=(11, 12, 13, 14), error="Error\r\n")
    board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n")
    release(board, 5, (0, 0, 0, 0))


def test_answer_that_maps_nothing_stores_no_ids(board):
    board.up()
    set_up(board, 5, index=0, ids=(11, 12, 13, 14), map_flag=2)
    release(board, 5, (0, 0, 0, 0))


@pytest.mark.parametrize("answer_port", [0, 29, 0xFFFFFFFF, 0x80000000])
def test_answer_for_a_port_that_is_none_stores_no_ids(board, answer_port):
    board.up()
    set_up(board, 5, index=0, ids=(11, 12, 13, 14), answer_port=answer_port)
    for port in (1, 28, 5):
        release(board, port, (0, 0, 0, 0))


def test_answer_decides_the_port_of_the_ids(board):
    board.up()
    set_up(board, 5, index=0, ids=(11, 12, 13, 14), answer_port=28)
    release(board, 5, (0, 0, 0, 0))
    release(board, 28, (11, 12, 13, 14))


@pytest.mark.parametrize("port", [0, 29])
def test_release_of_a_port_that_is_none_sends_zero_ids(board, port):
    board.up()
    for index, known in enumerate((1, 28)):
        set_up(board, known, index=2 * index, ids=(11, 12, 13, 14))
    release(board, port, (0, 0, 0, 0))


@pytest.mark.parametrize("action, flag", [(PROBE, 1), (DETACH, 2)])
def test_probe_and_detach(board, action, flag):
    board.up()
    call = board.bus.set_port_params(action, 3, if_type=6, speed=1000, configure=False)
    request = board.ops.receive()
    assert request == record.make(record.IFC_INSERT_DELETE_IND, interfaceNum=3, interfaceSpeed=1000,
                                  interfaceType=6, interfaceCount=1, statusFlag=flag)
    assert not call.answered
    board.ops.answer(request)
    assert call.reply() == (action, 6, 3, 1000, False, 100, 7, 8)


def answered_at_once(board, action, configure):
    board.connected(level=9)  # not ready: nothing but an immediate reply can come
    call = board.bus.set_port_params(action, 5, configure=configure, extra1=0xFFFFFFFF)
    assert call.reply() == (action, 6, 5, 1000, configure, 100, 0xFFFFFFFF, 8)
    board.make_ready()
    board.sync_ops()
    assert board.ops.silent() and not os.path.exists("/tmp/SetVlanPort5_0")


@pytest.mark.parametrize("action", [SET_UP, RELEASE])
def test_without_configuration_the_reply_comes_at_once(board, action):
    answered_at_once(board, action, configure=False)
    board.log.sequence(["[DEBUG3] SrvIss:* (run_iss_script_thread) - SetPortParam split up in 0 messages to OPS\n",
                        "[DEBUG3] SrvIss:* (run_iss_script_thread) - send signal for sending message",
                        "[DEBUG3] main:726 (iss_comm) - iss thread: signal otn msg ready received\n"])


@pytest.mark.parametrize("configure", [True, False])
def test_acknowledge_is_answered_at_once(board, configure):
    answered_at_once(board, ACKNOWLEDGE, configure)


@pytest.mark.parametrize("action", [0, 6, 0x7FFFFFFF, 0xFFFFFFFF])
def test_unknown_action_is_told_and_answered_at_once(board, action):
    board.expect_log("[WARNING] SrvIss:* (run_iss_script_thread) - Unknown action request in message")
    answered_at_once(board, action, configure=True)
    assert not board.log.find("[DEBUG3] SrvIss:* (run_iss_script_thread) - send signal for sending message")


def test_script_that_cannot_be_created_is_a_zero_record(board):
    board.expect_log("[ERROR] SrvIss:* (CreateOPSFile) - Unable to create OPS file!!\n")
    board.expect_log("[WARNING] SrvIss:* (CreateOPSFile) - Script /tmp/SetVlanPort5_0 not written (Is a directory): *")
    board.expect_refused("IssSetLanWanAsync (source 1) message 1 of 2, InvalidMsgType [0], port 5, set up [1]: *")
    os.mkdir("/tmp/SetVlanPort5_0")
    board.up()
    call = board.bus.set_port_params(SET_UP, 5)
    assert board.ops.receive() == bytes(record.SIZE)
    board.ops.send(record.answer(record.make(record.RUN_DEFAULT_SCRIPT_COMMAND), error="Error\r\n"))
    board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n")
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    call.reply()


def test_script_name_follows_the_write_index(board):
    board.up()
    for index in (0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 0):
        board.bus.set_port_params(SET_UP, 7)
        request = board.ops.receive()
        assert request == script_message(7, index)
        board.ops.answer(request)
        board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)


def test_earlier_script_of_that_name_is_replaced(board):
    write("/tmp/SetVlanPort5_0", "old\n" * 1000)
    board.up()
    board.bus.set_port_params(SET_UP, 5)
    board.ops.expect(record.RUN_DEFAULT_SCRIPT_COMMAND)
    assert read("/tmp/SetVlanPort5_0") == SET_UP_5


def test_script_name_is_cut_to_its_field(board):
    board.up()
    port = 1234567890
    board.bus.set_port_params(SET_UP, port)
    board.ops.expect(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile=f"/tmp/SetVlanPort{port}_0"[:23])
    assert os.path.exists(f"/tmp/SetVlanPort{port}_0")


def test_request_of_two_gets_one_reply_after_the_last_answer(board):
    board.up(level=9)
    call = board.bus.set_port_params(SET_UP, 5)
    first = board.ops.expect(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.ops.answer(first)
    second = board.ops.expect(record.MGMT_INTERFACE_MAPPING_IND)
    board.bus.get_trace_level()
    assert not call.answered
    board.ops.answer(second)
    call.reply()
    board.bus.get_trace_level()
    assert len(board.log.find("[DEBUG3] main:477 (main) - send reply over OTNbus\n")) == 1
    assert len(board.log.find("[DEBUG3] main:473 (main) - Sending reply msg to OTNBus\n")) == 2
    assert board.log.find("[DEBUG3] SrvIss:* (run_iss_script_thread) - "
                          "SetPortParam split up in 2 messages to OPS\n")


def test_numbers_pass_unchanged(board):
    board.up()
    call = board.bus.set_port_params(PROBE, 0xFFFFFFFF, if_type=0x80000000, speed=0xFFFFFFFE, ac_vlan=0xDEADBEEF,
                                     extra1=0x12345678, extra2=0)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=0xFFFFFFFF, interfaceSpeed=0xFFFFFFFE,
                    interfaceType=0x80000000)
    assert call.reply() == (PROBE, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFE, True, 0xDEADBEEF, 0x12345678, 0)
