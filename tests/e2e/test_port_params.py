import os

import pytest

from trelvik import record
from trelvik.board import MAC

TUNNEL_MAC = bytes.fromhex("01005e900000")
OUTPUT = "/tmp/outscr.sh"
SET_UP, RELEASE, PROBE, DETACH, ACKNOWLEDGE = 1, 2, 3, 4, 5

SET_UP_5 = """\
configure terminal
vlan 100
ports gigabitethernet 0/24
end
configure terminal
vlan 4005
ports gigabitethernet 0/5 untagged gigabitethernet 0/5
end
configure terminal
interface gigabitethernet 0/5
shutdown
mtu 9246
switchport pvid 4005
no shutdown
end
configure terminal
snmpset mib name ifMainRowStatus.42 value 5
snmpset mib name ifAlias.42 value 76:6c:61:6e:34:30:30:35
snmpset mib name ifMainType.42 value 136
snmpset mib name ifIpAddrAllocMethod.42 value 1
snmpset mib name ifIpDestMacAddress.42 value 01:00:5e:90:00:00
snmpset mib name ifMainRowStatus.42 value 1
snmpset mib name ifMainRowStatus.188 value 5
snmpset mib name ifMainType.188 value 166
snmpset mib name ifStackStatus.188.42 value 5
snmpset mib name ifStackStatus.188.42 value 1
snmpset mib name ifMainRowStatus.188 value 1
snmpset mib name ifMainAdminStatus.188 value 1
snmpset mib name ifMainAdminStatus.42 value 1
end
"""
AC_VLAN_LINES = 4

RELEASE_5 = """\
configure terminal
no vlan 4005
no vlan 100
end
configure terminal
interface vlan 4005
shutdown
no ip unnumbered 01:00:5E:90:00:00
no mpls ip
end
configure terminal
no interface vlan 4005
end
"""


def script_for(port, ac_vlan=100):
    """The set-up script of port 5, told for another port."""
    text = SET_UP_5.replace("vlan 100\n", f"vlan {ac_vlan}\n").replace("4005", str(4000 + port))
    text = text.replace(".188", f".{port + 183}").replace(".42", f".{port + 37}")
    if port <= 24:
        text = text.replace("gigabitethernet 0/5", f"gigabitethernet 0/{port}")
    else:
        text = text.replace("gigabitethernet 0/5", f"extreme-ethernet 0/{port - 24}")
    digits = ":".join(f"{ord(digit):02x}" for digit in f"{(4000 + port) & 0xFFF:04d}")
    return text.replace("34:30:30:35", digits)


def without_ac_vlan(script):
    return "".join(script.splitlines(keepends=True)[AC_VLAN_LINES:])


def read(path):
    with open(path, encoding="ascii") as text:
        return text.read()


def mapping(port, flag, ids=(1, 1, 1, 1), ac_vlan=100, ac_port=24, mac=MAC):
    """A map (1) or unmap (2) message; ids: tunnel, VPN, pseudowire, attachment circuit."""
    tunnel, vpn, pseudowire, circuit = ids
    return record.make(record.MGMT_INTERFACE_MAPPING_IND, destinationMac=TUNNEL_MAC,
                       sourceMac=bytes.fromhex(mac.replace(":", "")), acVlan=ac_vlan, pwVlan=port + 4000,
                       acPort=ac_port, pwPort=port, rate1=1000, rate2=1000, outLabel=1500, inLabel=1500,
                       tunnelId=tunnel, vpnId=vpn, pwId=pseudowire, acId=circuit, entryCount=1, mapFlag=flag)


def script_message(port, index):
    return record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile=f"/tmp/SetVlanPort{port}_{index}",
                       outputFile=OUTPUT)


def set_up(board, port, index, ids, error=record.NO_ERROR, map_flag=1, answer_port=None):
    """Sets a port up; OPS answers the map message with these ids."""
    call = board.bus.set_port_params(SET_UP, port)
    board.ops.answer(board.ops.expect(record.RUN_DEFAULT_SCRIPT_COMMAND,
                                      inputFile=f"/tmp/SetVlanPort{port}_{index}"))
    request = board.ops.expect(record.MGMT_INTERFACE_MAPPING_IND)
    tunnel, vpn, pseudowire, circuit = ids
    board.ops.answer(record.change(request, tunnelId=tunnel, vpnId=vpn, pwId=pseudowire, acId=circuit,
                                   mapFlag=map_flag, pwPort=port if answer_port is None else answer_port),
                     error=error)
    call.reply()


def release(board, port, ids):
    """Releases a port, whose unmap message must carry these ids."""
    since = board.log.mark()
    call = board.bus.set_port_params(RELEASE, port)
    request = board.ops.receive()
    assert request == mapping(port, 2, ids)
    board.ops.answer(request)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    call.reply()
    tunnel, vpn, pseudowire, circuit = ids
    board.log.wait(f"[NOTICE] SrvIss:* (run_iss_script_thread) - ReleasePort: portNr={port}, tunnelId={tunnel}, "
                   f"pwId={pseudowire}, vpnId={vpn}, acId={circuit}", since)


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
    board.bus.set_port_params(SET_UP, 5)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    assert read("/tmp/SetVlanPort5_0") == without_ac_vlan(SET_UP_5)
    request = board.ops.receive()
    assert request == mapping(5, 1, ac_port=0xFFFFFFFF)
    board.ops.answer(request)
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
    assert request == record.make(record.IFC_INSERT_DELETE_IND, ifNum=3, ifSpeed=1000, ifType=6, ifCount=1,
                                  ifFlag=flag)
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
    with open("/tmp/SetVlanPort5_0", "w", encoding="ascii") as old:
        old.write("old\n" * 1000)
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
    board.ops.serve(record.IFC_INSERT_DELETE_IND, ifNum=0xFFFFFFFF, ifSpeed=0xFFFFFFFE, ifType=0x80000000)
    assert call.reply() == (PROBE, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFE, True, 0xDEADBEEF, 0x12345678, 0)
