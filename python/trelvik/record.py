"""OPS records as bytes: a table of offsets of the tests' own, independent of the daemon's structures."""
import struct

SIZE = 6924
NO_ERROR = "No Error\r\n"

MSR_RELOAD_STATUS = 1
TASK_INIT_STATUS = 2
RM_GO_ACTIVE_STANDBY_IND = 5
CONFIG_STATUS = 6
IFC_INSERT_DELETE_IND = 7
RUN_DEFAULT_SCRIPT_COMMAND = 8
INTERESTED_PACKET_IND = 10
MGMT_INTERFACE_MAPPING_IND = 11
WATCH_DOG_ISS_ACTIVE = 12
WATCH_DOG_INTERVAL = 13
FLUSH_CMD = 16
COUNTERS = 17
CPU_THRESHOLD = 18
PORT_STATUS_CHANGE_IND = 20
GET_PORT_STATUS = 21
REDUNDANCY_STATE = 22
LLDP_TLV_INFO = 25

DEFAULT_SCRIPT = "/etc/iss/bh_default.txt"

# name: (offset, struct format)
FIELDS = {
    "type": (0, "I"),
    "error": (6412, "500s"),
    "errorValue": (6912, "4s"),
    "status": (6916, "B"),
    "isResponse": (6920, "B"),
    # MSR_RELOAD_STATUS
    "reloadStatus": (14, "B"),
    # RM_GO_ACTIVE_STANDBY_IND
    "nodeType": (4, "B"),
    "nodeStatus": (5, "B"),
    # IFC_INSERT_DELETE_IND
    "ifNum": (4, "I"),
    "ifSpeed": (8, "I"),
    "ifType": (12, "I"),
    "ifCount": (516, "I"),
    "ifFlag": (520, "B"),
    # RUN_DEFAULT_SCRIPT_COMMAND
    "inputFile": (4, "24s"),
    "outputFile": (28, "24s"),
    # MGMT_INTERFACE_MAPPING_IND
    "destinationMac": (4, "6s"),
    "sourceMac": (10, "6s"),
    "acVlan": (16, "I"),
    "pwVlan": (20, "I"),
    "acPort": (24, "I"),
    "pwPort": (28, "I"),
    "rate1": (32, "I"),
    "rate2": (36, "I"),
    "outLabel": (40, "I"),
    "inLabel": (44, "I"),
    "tunnelId": (48, "I"),
    "vpnId": (56, "I"),
    "acId": (60, "I"),
    "pwId": (64, "I"),
    "entryCount": (6404, "I"),
    "mapFlag": (6408, "B"),
    # PORT_STATUS_CHANGE_IND
    "interface": (4, "I"),
    "admin": (8, "B"),
    "operational": (9, "B"),
    # REDUNDANCY_STATE
    "state": (4, "i"),
    # FLUSH_CMD and others that carry a mark of the test
    "mark": (4, "I"),
}


def counters(*words):
    """A counters record: interface number, five reception and four transmission counters."""
    raw = bytearray(make(COUNTERS))
    struct.pack_into("<10I", raw, 4, *words)
    return bytes(raw)


def change(record, **fields):
    """A copy of the record with the named fields set; texts are given as str or bytes."""
    raw = bytearray(record)
    for name, value in fields.items():
        offset, form = FIELDS[name]
        if isinstance(value, str):
            value = value.encode()
        struct.pack_into("<" + form, raw, offset, value)
    return bytes(raw)


def make(msg_type, **fields):
    return change(bytes(SIZE), type=msg_type, **fields)


def field(record, name):
    offset, form = FIELDS[name]
    (value,) = struct.unpack_from("<" + form, record, offset)
    if form.endswith("s") and name in ("error", "inputFile", "outputFile"):
        return value.split(b"\0")[0].decode()
    return value


def answer(request, error=NO_ERROR, status=0, **fields):
    """OPS's answer to a request: the request with its trailer filled."""
    return change(request, error=error, status=status, isResponse=1, **fields)


def reloaded(failed=False):
    return make(MSR_RELOAD_STATUS, reloadStatus=int(failed))


def show(record):
    return f"type {field(record, 'type')}, first words {record[:32].hex(' ', 4)}"
