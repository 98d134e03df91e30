"""Ports set up and released: the scripts for ISS, the OPS records, and the whole of it as a caller sees it."""
from . import record
from .board import MAC

TUNNEL_MAC = "01:00:5e:90:00:00"
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


def mapping(port, flag, ids=(1, 1, 1, 1), ac_vlan=100, ac_port=24, mac=MAC):
    """A map (1) or unmap (2) message; ids: tunnel, VPN, pseudowire, attachment circuit."""
    tunnel, vpn, pseudowire, circuit = ids
    return record.make(record.MGMT_INTERFACE_MAPPING_IND, destinationMac=TUNNEL_MAC, sourceMac=mac, acVlan=ac_vlan,
                       pwVlan=port + 4000, acPort=ac_port, pwPort=port, peakRate=1000, committedRate=1000,
                       outTunnelLabel=1500, inTunnelLabel=1500, tunnelId=tunnel, vpnId=vpn, pwId=pseudowire,
                       tunnelIndex=circuit, entryCount=1, mapFlag=flag)


def script_message(port, index):
    return record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile=f"/tmp/SetVlanPort{port}_{index}",
                       outputFile=OUTPUT)


def probe(board, port=4):
    """A request of one message to ISS."""
    return board.bus.set_port_params(PROBE, port)


def set_up(board, port, index, ids, error=record.NO_ERROR, map_flag=1, answer_port=None):
    """Sets a port up; OPS answers the map message with these ids."""
    call = board.bus.set_port_params(SET_UP, port)
    board.ops.answer(board.ops.expect(record.RUN_DEFAULT_SCRIPT_COMMAND,
                                      inputFile=f"/tmp/SetVlanPort{port}_{index}"))
    request = board.ops.expect(record.MGMT_INTERFACE_MAPPING_IND)
    tunnel, vpn, pseudowire, circuit = ids
    board.ops.answer(record.change(request, tunnelId=tunnel, vpnId=vpn, pwId=pseudowire, tunnelIndex=circuit,
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
