"""The ids that answers to rules bring, and what is traced of them."""
from .layout import TRAP, bitmap, signed, word_at
from .logged import line

L2, L3, MPLS = 1, 2, 3
ETS_KIND, MSTP_KIND = 3, 2


def _trace(level, number, function, text):
    return line(level, f"MsgHandle:{number}", function, text)


def ids_of(raw):
    return signed(word_at(raw, 220)), signed(word_at(raw, 224))


def keep(state, raw):
    """Returns the lines that come of an answer to a rule."""
    ids = ids_of(raw)
    lines = [_trace("DEBUG3", 362, "GetFpIds", "Returning FPIDs={},{}".format(*ids))]
    if word_at(raw, 0) == TRAP:
        keepers = {ETS_KIND: _ets, MSTP_KIND: _mstp}
        keeper = keepers.get(word_at(raw, 208))
        if keeper:
            lines += keeper(state, raw, ids)
    return lines


def _ets(state, raw, ids):
    texts = {L2: [(277, f"ETS Fp ID: {ids[0]} for L2 EncapType")],
             L3: [(280, "No storage done for ETS Fp ID for L3 EncapType")],
             MPLS: [(285, f"ETS Fp ID0: {ids[0]} for MPLS EncapType"), (286, f"ETS Fp ID1: {ids[1]} for MPLS EncapType")]}
    other = [(289, "ETS Fp ID not set wrong EncapType ")]
    return [_trace("DEBUG3", number, "StoreEtsFpIds", text)
            for number, text in texts.get(word_at(raw, 212), other)]


def _mstp(state, raw, ids):
    encapsulation, created = word_at(raw, 212), raw[236] == 1
    if encapsulation == L3:
        return [_trace("DEBUG3", 321, "StoreMstFpIds", "No storage done for MST Fp ID for L3 EncapType")]
    if encapsulation not in (L2, MPLS):
        return [_trace("DEBUG3", 353, "StoreMstFpIds", "MST Fp ID not set wrong EncapType ")]
    if not created:
        return []
    if encapsulation == MPLS:
        return _wan(state, raw, ids)
    state.lan_id = ids[0]
    told = (664, f"MSTP L2 FP ID = {ids[0]}") if ids[0] else (667, "Reset MSTP L2 FP ID to 0")
    return [line("DEBUG3", f"SrvIssMgr:{told[0]}", "setMstpLanFpId", told[1])]


def _wan(state, raw, ids):
    store = "storeMstpWanConfigFpIds"
    listed, ports = raw[204:208], bitmap(raw[204:208])
    labels = [signed(word_at(raw, at)) >> 12 for at in (28, 32)]
    port = next((bit for bit in range(28) if ports >> bit & 1), 28)
    key = port, *labels
    shown = " ".join(f"0x{each:02x}" for each in listed)
    lines = [_trace("DEBUG2", 343, "StoreMstFpIds",
                    f"**** mpls=0x{labels[0] & 0xFFFFFFFF:x}, pw=0x{labels[1] & 0xFFFFFFFF:x}, portList: {shown} => "
                    f"pbmp=0x{ports:x} ****"),
             line("DEBUG3", "SrvIssMgr:677", store,
                  f"port={port} (pbmp=0x{ports:x}), mplsLabel={labels[0]}, pwLabel={labels[1]}, fpId_0={ids[0]}, "
                  f"fpId_1={ids[1]}")]
    if port == 28:
        lines += [line("ERROR", "SrvIssMgr:657", "extractPortFromPbmp", f"No port set in pbmp = 0x{ports:x}"),
                  line("ERROR", "SrvIssMgr:681", store, f"Invalid port [28] [pbmp=0x{ports:x}]")]
    elif key in state.wan:
        lines.append(line("ERROR", "SrvIssMgr:689", store,
                          "port={}, mplsLabel={}, pwLabel={}: unable to store FP IDs: entry already exists".format(*key)))
    else:
        state.wan[key] = ids
        lines.append(line("DEBUG3", "SrvIssMgr:695", store, f"MstpWanConfigFpIds: new list size = {len(state.wan)}"))
    return lines
