"""ISS manager rules: requests on the bus, and OPS records of the tests' own making."""
import struct

from . import record
from .bus import PATH

ISS_MGR = (PATH + "IssSetIssMgrAsync", "otn.OBsetIssMgrParams_1_0")
SIGNATURE = "uuuuiuuuuuusuuuqii"
ETS, MST_TOPO_LAN, MST_TOPO_WAN, FLUSH, MRP, MRP_GLOB, LLDP = range(7)
CREATE, DELETE, MODIFY, NOT_APPLICABLE = range(4)
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


def trap(entries, ids=(0, 0), **fields):
    """A filter rule with these entries."""
    return record.make(record.INTERESTED_PACKET_IND, entries=entries, fpId0=ids[0], fpId1=ids[1],
                       **{"entryCount": len(entries), "ruleWord": 3, **fields})


def little_endian(*words):
    return struct.pack(f"<{len(words)}I", *words).hex()


MPLS = 3


def encapsulation(mpls):
    return MPLS if mpls else 1


def ets_rule(code, mpls=False, ids=(71, -2)):
    return trap([(15 if mpls else 1, "025ac3001eff", "ffffffffffff"),
                 (8 if mpls else 2, "000000000001", "000000000003"),
                 (12, "6e78a700", "ffffff00"),
                 (7, little_endian(4660), little_endian(0xFFFF))],
                ids, entryKind=3, encapType=encapsulation(mpls), portList="c0000010" if mpls else "a0000000",
                actionCode=code)


def lan_rule(code, fp_id=0):
    return trap([(2, "0180c2000000", "ffffffffffff"), (12, "00000003", "00ffffff")], (fp_id, 0),
                entryKind=2, encapType=1, portList="a0000000", actionCode=code)


def wan_rule(code, labels=None, ports="10000000", ids=(0, 0)):
    label_entry = (11, little_endian(*labels), little_endian(0xF0FFFF, 0xF0FFFF)) if labels else (0, "", "")
    return trap([(8, "0180c2000000", "ffffffffffff"), label_entry, (12, "00000003", "00ffffff")], ids,
                entryKind=2, encapType=MPLS, portList=ports, actionCode=code)


def mrp_rule(code, mpls=False, ports="08000000"):
    last = (9, 0x8100) if mpls else (3, 679)
    return trap([(8 if mpls else 2, "01154e000002", "ffffffffffff"),
                 (10 if mpls else 4, "e388", "ffff"),
                 (12, "03", "ff"),
                 (last[0], little_endian(last[1]), little_endian(0xFFFF))],
                (71, -2), entryKind=5, encapType=encapsulation(mpls), portList=ports, actionCode=code)


def mrp_global_rule(code):
    return trap([(2, "01154e000000", "ffffffffff00"), (4, "e388", "ffff")], (71, -2),
                entryKind=5, encapType=1, ruleWord=1, actionCode=code)


def lldp_info(code):
    return record.make(record.LLDP_TLV_INFO, chassisId=0xC0FFEE01, mgmtIp=0xC0A80164, slotId=7982,
                       create=int(code == 1), actionCode=code)


def flush(vpn=4660, vp=1):
    return record.make(record.FLUSH_CMD, vpn=vpn, vp=vp)


def mapping(msg_type, key, *vlans):
    return record.make(msg_type, key=key, vpn=4660, dataVlans=vlans)


def with_ids(answer, ids, **fields):
    """An answer to any message of the ISS manager has its ids where one to a filter rule has them."""
    return record.change(answer, like=record.INTERESTED_PACKET_IND, fpId0=ids[0], fpId1=ids[1], **fields)


def serve(board, expected, ids=(0, 0), error=record.NO_ERROR, ports=None):
    """Expects exactly this record; answers it with these ids and, where given, this port list."""
    request = board.ops.receive()
    assert request == expected
    board.ops.send(with_ids(record.answer(request, error=error), ids, **({"portList": ports} if ports else {})))


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
