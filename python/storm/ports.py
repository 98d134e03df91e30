"""The port parameters: records, and the scripts that ISS runs."""
from .decision import Decision
from .layout import INSERT_DELETE, RUN_SCRIPT, TUNNEL, byte, record, signed, text, word_at
from .logged import line

SET_UP, RELEASE, PROBE, DETACH, ACKNOWLEDGE = 1, 2, 3, 4, 5
WORKER = "run_iss_script_thread"
TUNNEL_MAC = bytes.fromhex("01005e900000")
UNKNOWN = line("WARNING", "SrvIss", WORKER, "Unknown action request in message")
OVERFLOW = line("ERROR", "SrvIss", WORKER, "Buffer overflow, message lost!\n")

SET_UP_AC = ("configure terminal", "vlan {ac}", "ports gigabitethernet 0/24", "end")
SET_UP_PORT = (
    "configure terminal", "vlan {pw}", "ports {kind} 0/{number} untagged {kind} 0/{number}", "end",
    "configure terminal", "interface {kind} 0/{number}", "shutdown", "mtu 9246", "switchport pvid {pw}", "no shutdown",
    "end",
    "configure terminal", "snmpset mib name ifMainRowStatus.{ip} value 5",
    "snmpset mib name ifAlias.{ip} value 76:6c:61:6e:{alias}", "snmpset mib name ifMainType.{ip} value 136",
    "snmpset mib name ifIpAddrAllocMethod.{ip} value 1",
    "snmpset mib name ifIpDestMacAddress.{ip} value 01:00:5e:90:00:00", "snmpset mib name ifMainRowStatus.{ip} value 1",
    "snmpset mib name ifMainRowStatus.{above} value 5", "snmpset mib name ifMainType.{above} value 166",
    "snmpset mib name ifStackStatus.{above}.{ip} value 5", "snmpset mib name ifStackStatus.{above}.{ip} value 1",
    "snmpset mib name ifMainRowStatus.{above} value 1", "snmpset mib name ifMainAdminStatus.{above} value 1",
    "snmpset mib name ifMainAdminStatus.{ip} value 1", "end")
RELEASE_PORT = (
    "configure terminal", "no vlan {pw}", "no vlan {ac}", "end",
    "configure terminal", "interface vlan {pw}", "shutdown", "no ip unnumbered 01:00:5E:90:00:00", "no mpls ip", "end",
    "configure terminal", "no interface vlan {pw}", "end")


def _script(lines, port, ac_vlan):
    vlan = (port + 4000) & 0xFFFFFFFF
    small = port <= 24
    digits = f"{vlan & 0xFFF:04d}"
    words = {"ac": signed(ac_vlan), "pw": signed(vlan), "kind": "gigabitethernet" if small else "extreme-ethernet",
             "number": signed(port if small else port - 24), "ip": signed(port + 37), "above": signed(port + 183),
             "alias": ":".join(f"{ord(digit):02x}" for digit in digits)}
    return "".join(each.format(**words) + "\n" for each in lines)


def _set_up_script(state, port, ac_vlan):
    return _script(SET_UP_PORT if state.no_ac_port else SET_UP_AC + SET_UP_PORT, port, ac_vlan)


def _release_script(state, port, ac_vlan):
    return _script([each for each in RELEASE_PORT if not (state.no_ac_port and "{ac}" in each)], port, ac_vlan)


def _tunnel(state, port, ac_vlan, ids, flag):
    tunnel, vpn, pseudowire, circuit = ids
    return record(TUNNEL, (4, TUNNEL_MAC), (10, state.mac), (16, ac_vlan), (20, port + 4000),
                  (24, 0xFFFFFFFF if state.no_ac_port else 24), (28, port), (32, 1000), (36, 1000), (40, 1500), (44, 1500),
                  (48, tunnel), (56, vpn), (60, circuit), (64, pseudowire), (6404, 1), (6408, byte(flag)))


def _interface(kind, port, speed, flag):
    return record(INSERT_DELETE, (4, port), (8, speed), (12, kind), (516, 1), (520, byte(flag)))


def _run(path):
    return record(RUN_SCRIPT, (4, text(path, 24)), (28, text("/tmp/outscr.sh", 24)))


def _trace(level, text, function=WORKER):
    return line(level, "SrvIss", function, text)


HEAD = [_trace("DEBUG3", "SetPortParam message received over OTNBus\n", "setPortParams"),
        _trace("DEBUG2", "Processing Setportparam message!")]
LOCKED = _trace("DEBUG3", "mutex lock\n")


def _tail(count):
    return [_trace("DEBUG3", f"SetPortParam split up in {count} messages to OPS\n"),
            _trace("DEBUG3", "send signal for sending message"), _trace("DEBUG3", "mutex unlock"),
            _trace("DEBUG2", "stopped")]


def _queued(place):
    return _trace("DEBUG3", f"message writepointer {place}\n")


def decide(state, args, place):
    """`place` is the ring's write index when the request is decided."""
    action, kind, port, speed, configure, ac_vlan, _, _ = args
    path = f"/tmp/SetVlanPort{signed(port)}_{place}"
    lines, scripts = [*HEAD, LOCKED], []
    if action in (PROBE, DETACH):
        records = [_interface(kind, port, speed, 1 if action == PROBE else 2)]
    elif action == SET_UP and configure:
        records = [_run(path), _tunnel(state, port, ac_vlan, (1, 1, 1, 1), 1)]
        scripts = [(path, _set_up_script(state, port, ac_vlan))]
    elif action == RELEASE and configure:
        tunnel, vpn, pseudowire, circuit = ids = state.tunnels.get(port, (0, 0, 0, 0))
        records = [_tunnel(state, port, ac_vlan, ids, 2), _run(path)]
        scripts = [(path, _release_script(state, port, ac_vlan))]
        lines.append(line("NOTICE", "SrvIss", WORKER,
                          f"ReleasePort: portNr={signed(port)}, tunnelId={signed(tunnel)}, pwId={signed(pseudowire)}, "
                          f"vpnId={signed(vpn)}, acId={signed(circuit)}"))
    elif action in (SET_UP, RELEASE, ACKNOWLEDGE):
        return Decision(reply=args, lines=lines, tail=_tail(0))
    else:
        return Decision(reply=args, lines=[*HEAD, UNKNOWN])
    return Decision(records, None, lambda answer: args, args, OVERFLOW, lines, scripts, tail=_tail(len(records)),
                    queued=_queued)


def keep(state, raw):
    """Keeps the ids of an answer that has made a tunnel; returns the lines that come of it."""
    if word_at(raw, 0) != TUNNEL or raw[6408] != 1:
        return []
    port, *ids = (word_at(raw, at) for at in (28, 48, 56, 64, 60))
    if 1 <= port <= 28:
        state.tunnels[port] = tuple(ids)
    return [line("DEBUG3", "MsgHandle:242", "IsCreateMgmtTunnelPacket", "IsCreateMgmtTunnelPacket"),
            line("DEBUG3", "MsgHandle:253", "StoreDcnTunnelIds", f"store DCN tunnels port: {signed(port)}")]
