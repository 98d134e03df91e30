"""Records by their offsets, in a table of this package's own: a mistake in the other tables is not one here."""

SIZE = 6924
ERROR_AT, ERROR_SIZE, STATUS_AT, RESPONSE_AT = 6412, 500, 6916, 6920

(MSR_RELOAD, TASK_INIT, INSERT_DELETE, RUN_SCRIPT, TRAP, TUNNEL, ISS_ACTIVE, INTERVAL, SYNCE, SYNCE_PDU, FLUSH, CPU,
 SFP_PDU, PORT_STATUS, REDUNDANCY, MRP_MAPPING, ETS_MAPPING, LLDP) = (
     1, 2, 7, 8, 10, 11, 12, 13, 14, 15, 16, 18, 19, 20, 22, 23, 24, 25)
ANSWERS = (7, 8, 9, 10, 11, 14, 15, 16, 17, 19, 22, 23, 24, 25)
"""Types that answer what is outstanding."""

NAMES = ("InvalidMsgType", "MSR_RELOAD_STATUS", "TASK_INIT_STATUS", "RM_ACTIVE_STANDBY_READY_STATUS", "RM_SYNC_UP_STATUS",
         "RM_GO_ACTIVE_STANDBY_IND", "CONFIG_STATUS", "IFC_INSERT_DELETE_IND", "RUN_DEFAULT_SCRIPT_COMMAND",
         "MGMT_INTERFACE_MAPPING", "INTERESTED_PACKET_IND", "MGMT_INTERFACE_MAPPING_IND", "WATCH_DOG_ISS_ACTIVE",
         "WATCH_DOG_INTERVAL", "SYNCE_CMD", "SYNCE_PDU_CMD", "FLUSH_CMD",
         "GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS", "CPU_THRESHOLD", "SMARTSFP_PDU_CMD",
         "PORT_STATUS_CHANGE_IND", "GET_PORT_STATUS", "REDUNDANCY_STATE", "MRP_VLAN_MAPPING", "ETS_VLAN_MAPPING",
         "LLDP_TLV_INFO")

TRAILER = [(6412, 500, "error text"), (6912, 4, "error values"), (6916, 1, "status"), (6920, 1, "isResponse")]
ENTRIES = [(4 + 20 * entry + offset, size, f"entry {entry} {name}")
           for entry in range(10) for offset, size, name in ((0, 4, "type"), (4, 8, "value"), (12, 8, "mask"))]
VLANS = [(4, 4, "key"), (8, 4, "vpn"), (12, 6912, "data VLANs")]
FIELDS = {
    INSERT_DELETE: [(4, 4, "interface"), (8, 4, "speed"), (12, 4, "interface type"), (516, 4, "count"), (520, 1, "flag")],
    RUN_SCRIPT: [(4, 24, "input file"), (28, 24, "output file")],
    TRAP: [*ENTRIES, (204, 4, "port list"), (208, 4, "entry kind"), (212, 4, "encapsulation"), (216, 4, "rule word"),
           (220, 4, "FP ID 0"), (224, 4, "FP ID 1"), (232, 1, "entry count"), (236, 1, "action code")],
    TUNNEL: [(4, 6, "destination MAC"), (10, 6, "source MAC"), (16, 4, "acVlan"), (20, 4, "pwVlan"), (24, 4, "acPort"),
             (28, 4, "pwPort"), (32, 4, "first rate"), (36, 4, "second rate"), (40, 4, "out label"), (44, 4, "in label"),
             (48, 4, "tunnel id"), (56, 4, "VPN id"), (60, 4, "circuit id"), (64, 4, "pseudowire id"),
             (6404, 4, "count"), (6408, 1, "map flag")],
    SYNCE: [(4, 4, "enableClk"), (8, 4, "slot"), (12, 4, "clksrc"), (16, 4, "phymode")],
    SYNCE_PDU: [(4, 4, "pduWord1"), (8, 4, "pduWord2"), (12, 4, "pduWord3")],
    FLUSH: [(4, 4, "vpn"), (8, 4, "vp")],
    SFP_PDU: [(4, 516, "pdu"), (520, 4, "pbmp"), (524, 4, "size")],
    REDUNDANCY: [(4, 4, "state")],
    MRP_MAPPING: VLANS,
    ETS_MAPPING: VLANS,
    LLDP: [(4, 4, "chassisId"), (8, 4, "MgmtIp"), (12, 2, "slotId"), (14, 1, "create"), (236, 1, "action code")],
}


def word(value):
    return (value & 0xFFFFFFFF).to_bytes(4, "little")


def half(value):
    return (value & 0xFFFF).to_bytes(2, "little")


def byte(value):
    return bytes([value & 0xFF])


def text(words, size):
    """A text in its field, cut so that its end fits too."""
    return words.encode()[:size - 1].ljust(size, b"\0")


def signed(value):
    """What %d shows of 32 bits."""
    value &= 0xFFFFFFFF
    return value - (1 << 32) if value >> 31 else value


def record(msg_type, *parts, of=None):
    """Zero but for the type and these (offset, number of 32 bits or bytes); or a changed copy of `of`."""
    raw = bytearray(of or bytes(SIZE))
    for offset, what in ((0, msg_type), *parts):
        piece = what if isinstance(what, bytes) else word(what)
        raw[offset:offset + len(piece)] = piece
    assert len(raw) == SIZE
    return bytes(raw)


def word_at(raw, offset):
    return int.from_bytes(raw[offset:offset + 4], "little")


def text_at(raw, offset, size):
    return raw[offset:offset + size].split(b"\0")[0]


def port_list(bitmap):
    """Four bytes; the first one's highest bit is bit 0."""
    return int(f"{bitmap & 0xFFFFFFFF:032b}"[::-1], 2).to_bytes(4, "big")


def bitmap(ports):
    return int(f"{int.from_bytes(ports, 'big'):032b}"[::-1], 2)


def entry(number, msg_type, value=b"", mask=b""):
    """A filter entry, as a part of a record."""
    return 4 + 20 * number, word(msg_type) + value.ljust(8, b"\0") + mask.ljust(8, b"\0")


def name_of(msg_type):
    return NAMES[msg_type] if msg_type < len(NAMES) else "UnknownMsgType"


def differences(expected, got):
    """A line for each field in which the two are not the same."""
    if len(got) != len(expected):
        return [f"{len(expected)} bytes expected, got {len(got)}"]
    kind = word_at(expected, 0)
    fields = [(0, 4, "type"), *(FIELDS.get(kind, [])), *TRAILER]
    lines, told = [], set()
    for offset, size, name in fields:
        mine, yours = expected[offset:offset + size], got[offset:offset + size]
        different = [offset + at for at in range(len(mine)) if mine[at] != yours[at]]
        told.update(different)
        if different:
            first = different[0] - offset if size > 32 else 0
            last = different[-1] - offset + 1 if size > 32 else size
            shown = slice(first, min(last, first + 32))
            lines.append(f"{name} at {offset + first}: expected {mine[shown].hex(' ')}, got {yours[shown].hex(' ')}")
    rest = [at for at in range(SIZE) if expected[at] != got[at] and at not in told]
    if rest:
        shown = slice(rest[0], min(rest[-1] + 1, rest[0] + 32))
        lines.append(f"no field, at {rest[0]}: expected {expected[shown].hex(' ')}, got {got[shown].hex(' ')}")
    return lines


def show(raw):
    """The type and what is not zero of a record, field by field."""
    kind = word_at(raw, 0)
    words = [f"{name_of(kind)} [{kind}]"]
    for offset, size, name in FIELDS.get(kind, []):
        piece = raw[offset:offset + size].rstrip(b"\0")
        if piece:
            words.append(f"{name} {piece[:32].hex()}")
    return ", ".join(words)
