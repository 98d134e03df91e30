"""The services of one or two records each: SyncE, Smart SFP, the redundancy state, the debug socket, and those that send
nothing."""
from .decision import Decision
from .layout import REDUNDANCY, SFP_PDU, SIZE, SYNCE, SYNCE_PDU, TRAP, bitmap, byte, entry, half, port_list, record, signed
from .layout import word, word_at
from .logged import like, line
from .reading import with_one_between

STATES = ("INV", "BTG", "ACT", "ACT0", "ACT1", "ACT2", "ACT3", "PAS0", "PAS1", "PAS2", "STB3", "FAIL", "NIS", "DEF", "SWO")
OVERFLOW = "Buffer overflow, message lost!\n"
ALL = bytes.fromhex("ffffffffffff")

ESMC = record(TRAP, entry(0, 2, bytes.fromhex("0180c2000002"), ALL), entry(1, 4, half(0x8809), half(0xFFFF)),
              entry(2, 11, bytes.fromhex("0a0019a70001"), ALL), (204, bytes.fromhex("fffffff0")), (208, 1), (212, 1),
              (216, 2), (232, byte(3)), (236, byte(1)))


def sync_e(state, args, place):
    enable_filter, slot, enable_clk, clksrc, phymode, send_pdu, *words = args
    records, lines = [], []
    if enable_filter == 2:
        records.append(ESMC)
        lines.append(line("INFO", "SrvSyncE:39", "run_iss_syncE_thread", "creating enable filter message"))
    if enable_clk:
        records.append(record(SYNCE, (4, enable_clk), (8, slot), (12, clksrc), (16, phymode)))
    if send_pdu:
        records.append(record(SYNCE_PDU, (4, words[0]), (8, words[1]), (12, words[2])))
    return Decision(records, None, lambda answer: args, args,
                    line("ERROR", "SrvSyncE:118|131", "run_iss_syncE_thread", OVERFLOW), lines)


def smart_sfp(state, args, place):
    enable_filter, action, send_out, ports, size, pdu = args
    worker = "run_iss_SmartSfp_thread"
    records, lines = [], []
    if enable_filter:
        code = 1 if state.sfp_id == 0 else 2 if ports == 0 else 3
        records.append(record(
            TRAP, entry(0, 1, bytes.fromhex("027e51"), bytes.fromhex("ffffff")), entry(1, 4, word(0x88B7), word(0xFFFF)),
            entry(2, 11, bytes.fromhex("027e51f1bc"), bytes.fromhex("ffffffffff")), (204, port_list(ports)), (208, 4),
            (212, 1), (216, 2), (220, state.sfp_id), (232, byte(4)), (236, byte(code))))
        lines.append(line("INFO", "SrvSmartSfp", worker, f"FP {signed(state.sfp_id)} action {code}"))
    if send_out:
        octets = bytes(value & 0xFF for value in with_one_between(pdu))[:516]
        records.append(record(SFP_PDU, (4, octets), (520, ports), (524, size)))

    def final(answer):
        return enable_filter, action, send_out, ports_of(answer), size, ""
    return Decision(records, None, final, args, line("ERROR", "SrvSmartSfp", worker, OVERFLOW), lines)


def ports_of(raw):
    """What the reply to a Smart SFP request shows of an answer."""
    return bitmap(raw[204:208]) if word_at(raw, 0) == TRAP else word_at(raw, 520)


def keep_sfp(state, raw):
    if word_at(raw, 0) != TRAP:
        return []
    state.sfp_id = word_at(raw, 220)
    return [line("INFO", "SrvSmartSfp", "setFpId", f"smartSfp ID = {signed(state.sfp_id)}")]


def redundancy(state, args, place):
    name = STATES[args[0]] if 0 <= args[0] < len(STATES) else "RED?"
    told = line("INFO", "SrvRedundancy", "setRedundantState", f"setRedundantState: redundancyState={name}\n")
    lost = line("ERROR", "SrvRedundancy.cpp", "run_iss_redundancy_thread", OVERFLOW)
    return Decision([record(REDUNDANCY, (4, args[0]))], None, None, None, lost, [told])


def debug(state, args, place):
    """`args` is the datagram."""
    lines = [] if len(args) == SIZE else [like("WARNING", rf"main:\d+ \(main\) - debug request of {len(args)} bytes "
                                                          rf"instead of {SIZE}: .*")]
    whole = args[:SIZE].ljust(SIZE, b"\0")
    return Decision([whole], None, lambda answer: answer, whole, None, lines)


def get_level(state, args, place):
    return Decision(reply=(state.level,),
                    lines=[line("NOTICE", "SrvCommon:44", "get_trace_level", f"Get trace level [{state.level}]")])


def set_level(state, args, place):
    def take(of):
        if 0 <= args[0] <= 10:
            of.level = args[0]
    return Decision(reply=(), takes=take,
                    lines=[line("NOTICE", "SrvCommon:37", "set_trace_level", f"Set trace level to [{args[0]}]")])


def trigger(state, args, place):
    """Of a state that starts and stops nothing."""
    wrong = line("ERROR", "SrvIss", "run_och_thread", f"INVALID({args[0]}) is not supported")
    return Decision(reply=(args[0], True), lines=[] if args[0] == 0 else [wrong, wrong])
