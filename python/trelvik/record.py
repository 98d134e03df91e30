"""OPS records as bytes. Every field is named here once, with its place and how its value is written in a test; a test
compares this table with the message reference, which comes from the daemon's own."""
import struct

SIZE = 6924
NO_ERROR = "No Error\r\n"
DEFAULT_SCRIPT = "/etc/iss/bh_default.txt"
TYPES = 26

(InvalidMsgType, MSR_RELOAD_STATUS, TASK_INIT_STATUS, RM_ACTIVE_STANDBY_READY_STATUS, RM_SYNC_UP_STATUS,
 RM_GO_ACTIVE_STANDBY_IND, CONFIG_STATUS, IFC_INSERT_DELETE_IND, RUN_DEFAULT_SCRIPT_COMMAND, MGMT_INTERFACE_MAPPING,
 INTERESTED_PACKET_IND, MGMT_INTERFACE_MAPPING_IND, WATCH_DOG_ISS_ACTIVE, WATCH_DOG_INTERVAL, SYNCE_CMD, SYNCE_PDU_CMD,
 FLUSH_CMD, GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS, CPU_THRESHOLD, SMARTSFP_PDU_CMD, PORT_STATUS_CHANGE_IND,
 GET_PORT_STATUS, REDUNDANCY_STATE, MRP_VLAN_MAPPING, ETS_VLAN_MAPPING, LLDP_TLV_INFO) = range(TYPES)


def numbers(offset, size, *names, kind="number"):
    """Numbers of one size that follow each other."""
    return {name: (offset + size * place, size, kind) for place, name in enumerate(names)}


TRAILER = {"errorString": (6412, 500, "text"), "errorValue": (6912, 4, "values"), "status": (6916, 1, "number"),
           "isResponse": (6920, 1, "number")}
VLANS = {**numbers(4, 4, "key", "vpn"), "dataVlans": (12, 6912, "vlanList")}

FIELDS = {
    MSR_RELOAD_STATUS: numbers(14, 1, "reloadStatus"),
    RM_GO_ACTIVE_STANDBY_IND: numbers(4, 1, "nodeType", "statusFlag"),
    IFC_INSERT_DELETE_IND: {**numbers(4, 4, "interfaceNum", "interfaceSpeed", "interfaceType"),
                            **numbers(516, 4, "interfaceCount"), **numbers(520, 1, "statusFlag")},
    RUN_DEFAULT_SCRIPT_COMMAND: numbers(4, 24, "inputFile", "outputFile", kind="text"),
    INTERESTED_PACKET_IND: {"entries": (4, 200, "filterEntries"), "portList": (204, 4, "portList"),
                            **numbers(208, 4, "entryKind", "encapType", "ruleWord", "fpId0", "fpId1"),
                            **numbers(232, 1, "entryCount"), **numbers(236, 1, "actionCode")},
    MGMT_INTERFACE_MAPPING_IND: {**numbers(4, 6, "destinationMac", "sourceMac", kind="mac"),
                                 **numbers(16, 4, "acVlan", "pwVlan", "acPort", "pwPort", "peakRate", "committedRate",
                                           "outTunnelLabel", "inTunnelLabel", "tunnelId"),
                                 **numbers(56, 4, "vpnId", "tunnelIndex", "pwId"),
                                 **numbers(6404, 4, "entryCount"), **numbers(6408, 1, "mapFlag")},
    SYNCE_CMD: numbers(4, 4, "enableClk", "slot", "clksrc", "phymode"),
    SYNCE_PDU_CMD: numbers(4, 4, "pduWord1", "pduWord2", "pduWord3", kind="label"),
    FLUSH_CMD: numbers(4, 4, "vpn", "vp"),
    GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS: numbers(
        4, 4, "interfaceNum", "rxOctets", "rxUnicastPackets", "rxDiscarded", "rxErrors", "rxUnknownProtocol",
        "txOctets", "txUnicastPackets", "txDiscarded", "txErrors"),
    CPU_THRESHOLD: {"threadName": (6412, 500, "text"), "pid": (6912, 4, "bigEndianNumber")},
    SMARTSFP_PDU_CMD: {"pdu": (4, 516, "bytes"), "pbmp": (520, 4, "label"), **numbers(524, 4, "size")},
    PORT_STATUS_CHANGE_IND: {**numbers(4, 4, "interfaceNum"), **numbers(8, 1, "adminStatus", "operationalStatus")},
    REDUNDANCY_STATE: {"state": (4, 4, "redundancyState")},
    MRP_VLAN_MAPPING: VLANS,
    ETS_VLAN_MAPPING: VLANS,
    LLDP_TLV_INFO: {**numbers(4, 4, "chassisId"), "mgmtIp": (8, 4, "ipAddress"), **numbers(12, 2, "slotId"),
                    **numbers(14, 1, "create"), **numbers(236, 1, "actionCode")},
}
ENTRY = {**numbers(0, 4, "type"), **numbers(4, 8, "value", "mask", kind="bytes")}
"""One of the filter entries, from its own start."""
ENTRY_SIZE = 20


def hex_of(raw):
    return raw.rstrip(b"\0").hex()


def pack_entry(entry):
    return b"".join(KINDS[kind][0](value, size) for value, (_, size, kind) in zip(entry, ENTRY.values()))


def unpack_entries(raw):
    entries = [raw[at:at + ENTRY_SIZE] for at in range(0, len(raw), ENTRY_SIZE)]
    while entries and not any(entries[-1]):
        entries.pop()
    return [tuple(KINDS[kind][1](entry[offset:offset + size]) for offset, size, kind in ENTRY.values())
            for entry in entries]


# kind: (the bytes of a value in a field of so many bytes, the value of the field's bytes)
UNSIGNED = (lambda value, size: (value & (1 << 8 * size) - 1).to_bytes(size, "little"),
            lambda raw: int.from_bytes(raw, "little"))
KINDS = {
    "number": UNSIGNED,
    "label": UNSIGNED,
    "ipAddress": UNSIGNED,
    "redundancyState": (lambda value, size: value.to_bytes(size, "little", signed=True),
                        lambda raw: int.from_bytes(raw, "little", signed=True)),
    "bigEndianNumber": (lambda value, size: value.to_bytes(size, "big"), lambda raw: int.from_bytes(raw, "big")),
    "text": (lambda value, size: (value if isinstance(value, bytes) else value.encode()).ljust(size, b"\0"),
             lambda raw: raw.split(b"\0")[0].decode()),
    "mac": (lambda value, size: bytes.fromhex(value.replace(":", "")), lambda raw: raw.hex(":")),
    "values": (lambda value, size: bytes(value), bytes),
    "bytes": (lambda value, size: bytes.fromhex(value).ljust(size, b"\0"), hex_of),
    "portList": (lambda value, size: bytes.fromhex(value), bytes.hex),
    "filterEntries": (lambda value, size: b"".join(map(pack_entry, value)).ljust(size, b"\0"), unpack_entries),
    # Its field ends with the record: what follows the last VLAN stays, as the trailer may stand there.
    "vlanList": (lambda value, size: struct.pack(f"<{len(value)}i", *value),
                 lambda raw: struct.unpack(f"<{len(raw) // 4}i", raw)),
}
"""How a value of each kind is written: texts (or their bytes), numbers, "00:1a:2b:3c:4d:5e" of an address, hex of
bytes, and of a filter entry (type, hex of the value, hex of the mask)."""


def type_of(record):
    return int.from_bytes(record[:4], "little")


def place(name, msg_type):
    """(offset, size, kind) of a field that a record of this type has; every type may have the trailer."""
    return FIELDS.get(msg_type, {}).get(name) or TRAILER[name]


def change(record, like=None, **fields):
    """A copy of the record with the named fields set; `like` is the type that has them, where it is not its own."""
    raw = bytearray(record)
    for name, value in fields.items():
        offset, size, kind = place(name, type_of(record) if like is None else like)
        packed = KINDS[kind][0](value, size)
        assert len(packed) <= size, f"{name} has {size} bytes, not {len(packed)}"
        raw[offset:offset + len(packed)] = packed
    return bytes(raw)


def of_type(msg_type, rest):
    """A record of this type, with the bytes that `rest` has behind it."""
    return msg_type.to_bytes(4, "little") + rest[4:]


def make(msg_type, **fields):
    """A record that is zero but for these fields."""
    return change(of_type(msg_type, bytes(SIZE)), **fields)


def field(record, name):
    offset, size, kind = place(name, type_of(record))
    return KINDS[kind][1](record[offset:offset + size])


def answer(request, error=NO_ERROR, status=0, **fields):
    """OPS's answer to a request: the request with its trailer filled, and these fields."""
    return change(request, **fields, errorString=error, status=status, isResponse=1)


def reloaded(failed=False):
    return make(MSR_RELOAD_STATUS, reloadStatus=int(failed))


def show(record):
    return f"type {type_of(record)}, first words {record[:32].hex(' ', 4)}"
