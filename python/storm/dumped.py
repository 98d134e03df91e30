"""What the daemon traces of a message that it has received, field by field."""
from .layout import (ERROR_AT, ERROR_SIZE, RESPONSE_AT, STATUS_AT, name_of, signed, text_at, word_at)
from .logged import line

FUNCTION = "printPacket"
STATES = ("INV", "BTG", "ACT", "ACT0", "ACT1", "ACT2", "ACT3", "PAS0", "PAS1", "PAS2", "STB3", "FAIL", "NIS", "DEF", "SWO")
INTERFACES, TUNNELS = 42, 100
"""So many find room in their fields."""
RECEIVED = ("Octets                    ", "Unicast Packets           ", "Discarded Packets         ",
            "Error Packets             ", "Unknown Protocol          ")


def _trace(level, number, text):
    return line(level, f"MsgHandle:{number}", FUNCTION, text)


def _text(raw, offset, size):
    return text_at(raw, offset, size).decode(errors="replace")


def _status(value):
    return "OSIX_SUCCESS" if value == 0 else "OSIX_FAILURE"


def _nothing(raw):
    return []


def _node(raw):
    return [(60, "Node Type = " + ("ISS_OTN_IPC_ACTIVE" if raw[4] == 1 else "ISS_OTN_IPC_STANDBY") + "\n"),
            (61, f"Status Flag = {_status(raw[5])}\n")]


def _interfaces(raw):
    one = [(68, f"Interface Type = {signed(word_at(raw, 12))}\n"), (69, f"Interface Num = {signed(word_at(raw, 4))}\n"),
           (70, f"Interface speed = {signed(word_at(raw, 8))}\n")]
    flag = "ISS_OTN_IFC_INSERT" if raw[520] == 1 else "ISS_OTN_IFC_DELETE"
    return [(65, f"Status Flag = {flag}\n")] + one * min(word_at(raw, 516), INTERFACES)


def _script(raw):
    return [(85, f"Script input file: {_text(raw, 4, 24)} \n"), (86, f"Script output file: {_text(raw, 28, 24)} \n")]


def _tunnels(raw):
    words = {name: signed(word_at(raw, at)) for name, at in (
        ("ac", 16), ("pw", 20), ("port", 28), ("out", 40), ("into", 44), ("tunnel", 48), ("vpn", 56), ("id", 64))}
    one = [(78, "PwVlan = {pw}\nPwPort = {port}\nAcVlan = {ac}\nAcPort = 24\n"),
           (79, "InTunnelLabel = {into}\nOutTunnelLabel = {out}\n "),
           (80, "TunnelId = {tunnel}\nVpnId = {vpn}\nPwId = {id}\n ")]
    flag = "ISS_OTN_MAP_MGMT_INTERFACE" if raw[6408] == 1 else "ISS_OTN_UNMAP_MGMT_INTERFACE"
    return ([(75, f"Status Flag = {flag}\n")]
            + [(number, text.format(**words)) for number, text in one] * min(word_at(raw, 6404), TUNNELS))


def _rule(raw):
    return [(90, "No special treatment for ISS_OTN_IPC_INTERESTED_PACKET_IND\n")]


def _counters(raw):
    lines = [(94, f"interface number: {signed(word_at(raw, 4))}\n"), (95, "\r\nReception Counters\r\n")]
    lines += [(96 + place, f"   {name}: {word_at(raw, 8 + 4 * place)}\r\n") for place, name in enumerate(RECEIVED)]
    lines.append((101, "\r\nTransmission Counters\r\n"))
    lines += [(102 + place, f"   {name}: {word_at(raw, 28 + 4 * place)}\r\n") for place, name in enumerate(RECEIVED[:3])]
    return [*lines, (105, f"   {RECEIVED[3]}: {word_at(raw, 40)}")]


def _thread(raw):
    return [(114, f"Thread name : {_text(raw, ERROR_AT, ERROR_SIZE)}\n"),
            (115, f"Thread pid  : {int.from_bytes(raw[6912:6916], 'big')}\n")]


def _port(raw):
    return [(120, f"Interface number: {signed(word_at(raw, 4))}\n"), (121, f"Port administrative status: {raw[8]}\n"),
            (122, f"Port operational status   : {raw[9]}\n")]


def _state(raw):
    state = word_at(raw, 4)
    name = STATES[state] if state < len(STATES) else "RED?"
    return [(126, f"Redundancy State received from OPS: {name}\n")]


def _other(raw):
    return [(130, "No information about this message to print\n")]


BY_TYPE = {1: _nothing, 5: _node, 7: _interfaces, 8: _script, 10: _rule, 11: _tunnels, 17: _counters, 18: _thread,
           20: _port, 22: _state}


def dump(raw):
    kind = word_at(raw, 0)
    lines = [_trace("DEBUG1", 44, f"Msg Type = {name_of(kind)} [{signed(kind)}]")]
    if kind == 0:
        lines += [_trace("DEBUG1", 50, f"{each:x}") for each in raw[:100]]
        lines.append(_trace("DEBUG1", 52, "\n"))
    lines += [_trace("DEBUG2", *each) for each in BY_TYPE.get(kind, _other)(raw)]
    if raw[RESPONSE_AT] == 1:
        values = " ".join(str(each) for each in raw[6912:6916])
        lines += [_trace("DEBUG1", 135, f"Response error string = {_text(raw, ERROR_AT, ERROR_SIZE)}"),
                  _trace("DEBUG1", 139, f"Response error value = {values}\n"),
                  _trace("DEBUG1", 140, f"Response status = {_status(raw[STATUS_AT])}\n")]
    return lines
