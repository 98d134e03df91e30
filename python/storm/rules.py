"""The rules of the ISS manager: which records each makes, and which it refuses."""
from .decision import Decision
from .layout import (ETS_MAPPING, FLUSH, LLDP, MRP_MAPPING, SIZE, TRAP, byte, entry, half, port_list, record, signed, word,
                     word_at)
from .logged import line
from .reading import with_commas

ETS, LAN, WAN, FLUSH_ONLY, MRP, MRP_GLOBAL, LLDP_RULE = range(7)
CREATE, DELETE, MODIFY, NONE = range(4)
RULES = ("ETS", "MST_TOPO_LAN", "MST_TOPO_WAN", "FLUSH", "MRP", "MRP_GLOB", "LLDP")
ACTIONS = ("CREATE", "DELETE", "MODIFY", "NOT_APPLICABLE")
CODES = {CREATE: 1, DELETE: 2, MODIFY: 3}
WORKER = "run_iss_IssMgr_thread"
OVERFLOW = line("ERROR", "SrvIssMgr:478|486", WORKER, "Buffer overflow, message lost!\n")
NAMES = ("rule", "action", "l2", "mpls", "flush", "vpn", "vp", "port", "vlan", "mpls_label", "pw_label", "vlans", "chassis",
         "reserved", "ip", "slot", "id0", "id1")
SAVED = 12

STP_MAC, MRP_MAC = bytes.fromhex("0180c2000000"), bytes.fromhex("01154e000002")
ALL = bytes.fromhex("ffffffffffff")
ETHERTYPE = bytes.fromhex("e388"), bytes.fromhex("ffff")
ENCAPSULATIONS = {ETS: {1: (1, 2, 12), 2: (15, 8, 12)}, MRP: {1: (2, 4, 12), 2: (8, 10, 12)}}
"""By rule and vp, the types of its first entries."""


def _rule(asked, entries, kind, encapsulation, ports=b"", rule_word=3, ids=(0, 0), count=None):
    return record(TRAP, *[entry(number, *each) for number, each in enumerate(entries)], (204, ports), (208, kind),
                  (212, encapsulation), (216, rule_word), (220, ids[0]), (224, ids[1]),
                  (232, byte(count or len(entries))), (236, byte(CODES.get(asked["action"], 0))))


def _error(number, text):
    return line("ERROR", f"SrvIssMgr:{number}" if number else "SrvIssMgr", WORKER, text)


def _action(asked):
    return ACTIONS[asked["action"]] if asked["action"] < len(ACTIONS) else "UnknownL2cpRuleAction"


def _unsupported(asked, number):
    return _error(number, f"ruleType = {RULES[asked['rule']]} does not support action = {_action(asked)} "
                          f"[{signed(asked['action'])}]")


def _labels(asked):
    """The entry of the labels, or None where there is none."""
    labels = asked["mpls_label"], asked["pw_label"]
    if not any(labels):
        return None
    value = b"".join(word((label << 12) & 0xFFFFFF) for label in labels)
    mask = b"".join(word(0x00F0FFFF if label else 0) for label in labels)
    return 11, value, mask


def _wrong_vp(asked):
    return _error(None, f"ruleType = {RULES[asked['rule']]}, action = {_action(asked)}: vp = {asked['vp']} is not "
                        "supported")


def _ets(asked, state):
    if asked["action"] == NONE:
        return None, None, None
    types = ENCAPSULATIONS[ETS].get(asked["vp"])
    if types is None:
        return None, _wrong_vp(asked), None
    ports = asked["l2"] if asked["vp"] == 1 else asked["mpls"]
    entries = [(types[0], bytes.fromhex("025ac3001eff"), ALL),
               (types[1], bytes.fromhex("000000000001"), bytes.fromhex("000000000003")),
               (types[2], b"\x6e\x78" + byte(asked["vlan"]), bytes.fromhex("ffffff")),
               (7, word(asked["vpn"]), word(0xFFFF))]
    return _rule(asked, entries, 3, 1 if asked["vp"] == 1 else 3, port_list(ports),
                 ids=(asked["id0"], asked["id1"])), None, None


def _lan(asked, state):
    entries = [(2, STP_MAC, ALL), (12, bytes.fromhex("00000003"), bytes.fromhex("00ffffff"))]
    ports = port_list(asked["l2"])
    if asked["action"] == CREATE:
        return _rule(asked, entries, 2, 1, ports), None, None
    if asked["action"] != DELETE:
        return None, _unsupported(asked, 191), None
    if state.lan_id == 0:
        return None, _error(176, f"ruleType=MST_TOPO_LAN, action=DELETE, L2Pbmp=0x{asked['l2']:x}={signed(asked['l2'])}: "
                                 "unable to delete: FP ID is 0"), None

    def forget(of):
        of.lan_id = 0
    return _rule(asked, entries, 2, 1, ports, ids=(state.lan_id, 0)), None, forget


def _wan(asked, state):
    shift = 31 - asked["port"]
    ports = (1 << shift if 0 <= shift <= 31 else 0).to_bytes(4, "big")
    entries = [(8, STP_MAC, ALL), _labels(asked) or (0,), (12, bytes.fromhex("00000003"), bytes.fromhex("00ffffff"))]
    if asked["action"] == CREATE:
        return _rule(asked, entries, 2, 3, ports), None, None
    if asked["action"] != DELETE:
        return None, _unsupported(asked, 273), None
    key = tuple(signed(asked[name]) for name in ("port", "mpls_label", "pw_label"))
    if key not in state.wan:
        return None, line("ERROR", "SrvIssMgr:712", "getAndDeleteMstpWanConfigFpIds",
                          "port={}, mplsLabel={}, pwLabel={}: no FP IDs exist for this combination".format(*key)), None

    def forget(of):
        del of.wan[key]
    return _rule(asked, entries, 2, 3, ports, ids=state.wan[key]), None, forget


def _mrp(asked, state):
    if asked["action"] == NONE:
        return None, None, None
    types = ENCAPSULATIONS[MRP].get(asked["vp"])
    if types is None:
        return None, _wrong_vp(asked), None
    number = asked["l2"] & 0xFFFF
    ports = bytearray(4)
    if 1 <= number <= 32:
        ports[(number - 1) // 8] = 0x80 >> (number - 1) % 8
    entries = [(types[0], MRP_MAC, ALL), (types[1], *ETHERTYPE), (types[2], b"\x03", b"\xff")]
    labels = _labels(asked)
    if labels:
        entries.append(labels)
    entries.append((3, word(asked["vlan"]), word(0xFFFF)) if asked["vp"] == 1 else (9, half(0x8100), half(0xFFFF)))
    return _rule(asked, entries, 5, 1 if asked["vp"] == 1 else 3, bytes(ports),
                 ids=(asked["id0"], asked["id1"])), None, None


def _mrp_global(asked, state):
    entries = [(2, bytes.fromhex("01154e000000"), bytes.fromhex("ffffffffff00")), (4, *ETHERTYPE)]
    return _rule(asked, entries, 5, 1, rule_word=1, ids=(asked["id0"], asked["id1"])), None, None


def _lldp(asked, state):
    return record(LLDP, (4, asked["chassis"]), (8, asked["ip"]), (12, half(asked["slot"])),
                  (14, byte(asked["action"] == CREATE)), (236, byte(CODES.get(asked["action"], 0)))), None, None


def _flush_only(asked, state):
    return None, None, None


BY_RULE = {ETS: _ets, LAN: _lan, WAN: _wan, FLUSH_ONLY: _flush_only, MRP: _mrp, MRP_GLOBAL: _mrp_global, LLDP_RULE: _lldp}
"""By rule, a function that gives the record, the line of a refusal, and what is forgotten."""


def _second(asked):
    """The records that flushAct adds."""
    if asked["flush"] == 1:
        return [record(FLUSH, (4, asked["vpn"]), (8, asked["vp"]))]
    if asked["flush"] == 2:
        values = with_commas(asked["vlans"])[:(SIZE - 12) // 4]
        kind, key = (ETS_MAPPING, asked["vlan"]) if asked["rule"] == ETS else (MRP_MAPPING, asked["l2"])
        return [record(kind, (4, key), (8, asked["vpn"]), (12, b"".join(map(word, values))))]
    return []


def _trace(level, number, text, function=WORKER):
    return line(level, f"SrvIssMgr:{number}", function, text)


def _named(names, value, other):
    return names[value] if value < len(names) else other


def _head(asked):
    """What is traced of the arguments, as they come and as they are worked on."""
    shown = {name: signed(value) if isinstance(value, int) else value for name, value in asked.items()}
    shown.update(l2x=asked["l2"], mplsx=asked["mpls"], rule=_named(RULES, asked["rule"], "UnknownRuleType"),
                 action=_action(asked))
    first = ("ruleType={rule}, action={action}, L2Pbmp=0x{l2x:x}={l2}, MplsPbmp=0x{mplsx:x}={mpls}, flushAct={flush}, "
             "vpn={vpn}, vp={vp}, port={port}, vlan={vlan}, mplsLbl={mpls_label}, pwLbl={pw_label} dataVfis={vlans} "
             "fpId={id0},{id1}")
    second = ("ruleType={rule}, action={action}, L2Pbmp=0x{l2x:x}={l2} MplsPbmp=0x{mplsx:x}={mpls}, flush={flush}, "
              "vpn={vpn}, vp={vp}, port={port}, vlan={vlan}, mplsLbl={mpls_label}, pwLbl={pw_label} dataVfis={vlans}")
    return [_trace("DEBUG2", 591, first.format(**shown), "setIssMgrParams"), _trace("DEBUG2", 65, second.format(**shown))]


def _told(asked, taken):
    """What is traced while the rule and its second record are made; `taken` are the ids that a delete has found."""
    lines = [_trace("DEBUG3", 471, "mutex lock")]
    if asked["rule"] == WAN:
        shift = 31 - asked["port"]
        ports = 1 << shift if 0 <= shift <= 31 else 0
        lines.append(_trace("DEBUG3", 207, f"port={signed(asked['port'])} => portListMpls=0x{ports:x}"))
    if asked["rule"] == LLDP_RULE:
        lines.append(_trace("DEBUG1", 411, f"Pass LLDP chassisId={signed(asked['chassis'])} MgmtIp=0x{asked['ip']:08x} "
                                           f"slotId={asked['slot']} action={signed(asked['action'])}"))
    if taken and asked["rule"] == LAN:
        lines += [_trace("DEBUG3", 185, f"Delete MST_TOP_LAN: FP_ID={signed(taken[0])}"),
                  _trace("DEBUG3", 667, "Reset MSTP L2 FP ID to 0", "setMstpLanFpId")]
    elif taken:
        lines += [_trace("DEBUG3", 267, f"Delete MST_TOP_WAN: FP_ID_0={taken[0]}, FP_ID_1={taken[1]}"),
                  _trace("DEBUG3", 707, f"MstpWanConfigFpIds: new list size = {taken[2]}",
                         "getAndDeleteMstpWanConfigFpIds")]
    if asked["flush"] == 1:
        lines.append(_trace("DEBUG1", 431, "Sending flush cmd"))
    elif asked["flush"] == 2:
        key = asked["vlan"] if asked["rule"] == ETS else asked["l2"]
        lines.append(_trace("DEBUG2", 451, f"Flush Key1={signed(key)} VLAN={signed(asked['vpn'])} and data "
                                           f"vlans={asked['vlans']}"))
    return lines


def _queued(place):
    return _trace("DEBUG3", 505, f"message writepoiter {place}\n")


TAIL = [_trace("DEBUG3", 529, "send signal for sending message"), _trace("DEBUG3", 531, "mutex unlock"),
        _trace("DEBUG2", 537, "stopped")]


def _taken(asked, state):
    if asked["action"] != DELETE:
        return None
    if asked["rule"] == LAN and state.lan_id:
        return (state.lan_id,)
    key = tuple(signed(asked[name]) for name in ("port", "mpls_label", "pw_label"))
    return (*state.wan[key], len(state.wan) - 1) if asked["rule"] == WAN and key in state.wan else None


def decide(state, args, place):
    asked = dict(zip(NAMES, args))
    saved = args[:SAVED] + (0, 0, 0, 0)
    refused = saved + (-1, -1)
    lines, rule, takes = [*_head(asked), *_told(asked, _taken(asked, state))], None, None
    if asked["rule"] in BY_RULE:
        rule, error, takes = BY_RULE[asked["rule"]](asked, state)
        if error:
            return Decision(reply=refused, lines=[*lines, error], overflow_line=OVERFLOW, discarded=len(_second(asked)))
    else:
        lines.append(_error(425, f"Processing SetIssMgrParam received an unknown ruleType [{signed(asked['rule'])}]"))
    records = ([rule] if rule else []) + _second(asked)

    def final(answer):
        return saved + (signed(word_at(answer, 220)), signed(word_at(answer, 224)))
    return Decision(records, None, final, refused, OVERFLOW, lines, takes=takes, tail=TAIL, queued=_queued)
