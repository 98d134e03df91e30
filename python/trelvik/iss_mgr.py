"""ISS manager rules: requests on the bus, and OPS records of the tests' own making."""
import struct

from . import record
from .bus import PATH

ISS_MGR = (PATH + "IssSetIssMgrAsync", "otn.OBsetIssMgrParams_1_0")
SIGNATURE = "uuuuiuuuuuusuuuqii"
ETS, MST_TOPO_LAN, MST_TOPO_WAN, FLUSH, MRP, MRP_GLOB, LLDP = range(7)
CREATE, DELETE, MODIFY, NOT_APPLICABLE = range(4)
MRP_VLAN_MAPPING, ETS_VLAN_MAPPING = 23, 24
WORKER = "(run_iss_IssMgr_thread) - "
REFUSED = (-1, -1)


class Rule:
    """A request and what its reply must be."""

    def __init__(self, rule_type, action, l2=5, mpls=0x8000003, flush=0, vpn=4660, vp=1, port=3, vlan=679, mpls_label=0,
                 pw_label=0, ids=(71, -2), vlans="", chassis=0xC0FFEE01, ip=0xC0A80164, slot=7982):
        self._saved = (rule_type, action, l2, mpls, flush, vpn, vp, port, vlan, mpls_label, pw_label, vlans)
        self._rest = (chassis, 1, ip, slot) + ids

    def call(self, board, **options):
        return board.bus.call(ISS_MGR, "setIssMgrParams", SIGNATURE, *self._saved, *self._rest, **options)

    def reply(self, ids):
        return self._saved + (0, 0, 0, 0) + ids


def put(raw, words=None, octets=None):
    """The record with little-endian words and runs of bytes at these offsets."""
    changed = bytearray(raw)
    for offset, value in (words or {}).items():
        struct.pack_into("<I", changed, offset, value & 0xFFFFFFFF)
    for offset, text in (octets or {}).items():
        value = bytes.fromhex(text)
        changed[offset:offset + len(value)] = value
    return bytes(changed)


def message(msg_type, words=None, octets=None):
    return put(record.make(msg_type), words, octets)


def trap(kind, encapsulation, count, code, words, octets, ids=(0, 0), rule_word=3):
    tail = {208: kind, 212: encapsulation, 216: rule_word, 220: ids[0], 224: ids[1], 232: count, 236: code}
    return message(record.INTERESTED_PACKET_IND, {**words, **tail}, octets)


def ets_rule(code, mpls=False, ids=(71, -2)):
    return trap(3, 3 if mpls else 1, 4, code,
                {4: 15 if mpls else 1, 24: 8 if mpls else 2, 44: 12, 64: 7, 68: 4660, 76: 0xFFFF},
                {8: "025ac3001eff", 16: "ffffffffffff", 33: "01", 41: "03", 48: "6e78a700", 56: "ffffff00",
                 204: "c0000010" if mpls else "a0000000"}, ids)


def lan_rule(code, fp_id=0):
    return trap(2, 1, 2, code, {4: 2, 24: 12},
                {8: "0180c2000000", 16: "ffffffffffff", 28: "00000003", 36: "00ffffff", 204: "a0000000"}, (fp_id, 0))


def wan_rule(code, labels=None, ports="10000000", ids=(0, 0)):
    label_entry = {24: 11, 28: labels[0], 32: labels[1], 36: 0xF0FFFF, 40: 0xF0FFFF} if labels else {}
    return trap(2, 3, 3, code, {4: 8, 44: 12, **label_entry},
                {8: "0180c2000000", 16: "ffffffffffff", 48: "00000003", 56: "00ffffff", 204: ports}, ids)


def mrp_rule(code, mpls=False, ports="08000000"):
    last = {64: 9, 68: 0x8100, 76: 0xFFFF} if mpls else {64: 3, 68: 679, 76: 0xFFFF}
    return trap(5, 3 if mpls else 1, 4, code, {4: 8 if mpls else 2, 24: 10 if mpls else 4, 44: 12, **last},
                {8: "01154e000002", 16: "ffffffffffff", 28: "e388", 36: "ffff", 48: "03", 56: "ff", 204: ports},
                (71, -2))


def mrp_global_rule(code):
    return trap(5, 1, 2, code, {4: 2, 24: 4},
                {8: "01154e000000", 16: "ffffffffff00", 28: "e388", 36: "ffff"}, (71, -2), rule_word=1)


def lldp_info(code):
    return message(record.LLDP_TLV_INFO, {4: 0xC0FFEE01, 8: 0xC0A80164},
                   {12: "2e1f", 14: "01" if code == 1 else "00", 236: f"{code:02x}"})


def flush(vpn=4660, vp=1):
    return message(record.FLUSH_CMD, {4: vpn, 8: vp})


def mapping(msg_type, key, *vlans):
    return message(msg_type, {4: key, 8: 4660, **{12 + 4 * index: vlan for index, vlan in enumerate(vlans)}})


def serve(board, expected, ids=(0, 0), error=record.NO_ERROR, ports=None):
    """Expects exactly this record; answers it with these ids and, where given, this port list."""
    request = board.ops.receive()
    assert request == expected
    answer = put(record.answer(request, error=error), {220: ids[0], 224: ids[1]})
    board.ops.send(put(answer, octets={204: ports}) if ports else answer)


def carried_out(board, rule, expected, ids=(301, 302), **answer):
    """The rule makes this one message, and its reply carries the ids of the answer."""
    call = rule.call(board)
    serve(board, expected, ids, **answer)
    assert call.reply() == rule.reply(ids)


def refused(board, rule):
    """The rule is answered at once and OPS gets nothing. The reply comes while OPS owes no answer."""
    assert rule.call(board).reply() == rule.reply(REFUSED)
    board.sync_ops()
    assert board.ops.silent()


def silent(board, rule):
    """The rule gets no reply, and OPS no message; trace level 9."""
    since = board.log.mark()
    call = rule.call(board)
    board.log.wait("[DEBUG2] SrvIssMgr:537 " + WORKER + "stopped", since)
    carried_out(board, Rule(MRP_GLOB, CREATE), mrp_global_rule(1))
    board.alive()
    assert not call.answered
    return call


def wan(action, mpls_label=100, pw_label=200, **other):
    return Rule(MST_TOPO_WAN, action, mpls_label=mpls_label, pw_label=pw_label, **other)


LABELS = (100 << 12, 200 << 12)
