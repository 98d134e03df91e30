"""The services of one or two records each: SyncE, Smart SFP, the redundancy state, the debug socket, and those that send
nothing."""
from .decision import Decision
from .dumped import STATES, dump
from .layout import REDUNDANCY, SFP_PDU, SIZE, SYNCE, SYNCE_PDU, TRAP, bitmap, byte, entry, half, port_list, record, signed
from .layout import word, word_at
from .logged import like, line
from .reading import with_one_between

OVERFLOW = "Buffer overflow, message lost!\n"
ALL = bytes.fromhex("ffffffffffff")

ESMC = record(TRAP, entry(0, 2, bytes.fromhex("0180c2000002"), ALL), entry(1, 4, half(0x8809), half(0xFFFF)),
              entry(2, 11, bytes.fromhex("0a0019a70001"), ALL), (204, bytes.fromhex("fffffff0")), (208, 1), (212, 1),
              (216, 2), (232, byte(3)), (236, byte(1)))


def _tail(source, function, *more):
    """The end of a request that was not refused."""
    return [line("DEBUG3", source, function, "send signal for sending message"),
            line("DEBUG3", source, function, "mutex unlock"), *more]


def sync_e(state, args, place):
    enable_filter, slot, enable_clk, clksrc, phymode, send_pdu, *words = args
    worker = "run_iss_syncE_thread"
    shown = (f"enableFilter={signed(enable_filter)},enableClk={signed(enable_clk)},slot={signed(slot)},"
             f"clksrc={signed(clksrc)},phymode={signed(phymode)}\n")
    records = []
    lines = [line("DEBUG2", "SrvSyncE:202", "setSyncEParam", "setSyncEParam: " + shown),
             line("DEBUG3", "SrvSyncE:204", "setSyncEParam", "SetSyncEParam message received over OTNBus\n"),
             line("DEBUG2", "SrvSyncE:31", worker, "Processing SetSyncEParam message"),
             line("DEBUG2", "SrvSyncE:33", worker, shown), line("DEBUG3", "SrvSyncE:111", worker, "mutex lock")]
    if enable_filter == 2:
        records.append(ESMC)
        lines.append(line("INFO", "SrvSyncE:39", worker, "creating enable filter message"))
    if enable_clk:
        records.append(record(SYNCE, (4, enable_clk), (8, slot), (12, clksrc), (16, phymode)))
    if send_pdu:
        records.append(record(SYNCE_PDU, (4, words[0]), (8, words[1]), (12, words[2])))
    tail = [line("DEBUG3", "SrvSyncE:140", worker, f"SetPortParam split up in {len(records)} messages to OPS\n"),
            line("DEBUG3", "SrvSyncE:166", worker, "send signal for sending message"),
            line("DEBUG3", "SrvSyncE:168", worker, "mutex unlock"), line("DEBUG2", "SrvSyncE:174", worker, "stopped")]
    return Decision(records, None, lambda answer: args, args, line("ERROR", "SrvSyncE:118|131", worker, OVERFLOW), lines,
                    tail=tail,
                    queued=lambda index: line("DEBUG3", "SrvSyncE:145", worker, f"message writepoiter {index}\n"))


def smart_sfp(state, args, place):
    enable_filter, action, send_out, ports, size, pdu = args
    worker = "run_iss_SmartSfp_thread"
    gap = " " * 19
    shown = (f"enableFilter={signed(enable_filter)}, action={signed(action)}, sendOutPDU={signed(send_out)},{gap}"
             "{}" f"={signed(ports)}, size={signed(size)}")
    records = []
    lines = [line("DEBUG2", "SrvSmartSfp", "setSmartSfpParams", "setSmartSfpParams: " + shown.format("pbmp")),
             line("DEBUG2", "SrvSmartSfp", worker, "stub-process-thread: " + shown.format("L2Pbmp")),
             line("DEBUG3", "SrvSmartSfp", worker, "mutex lock")]
    if enable_filter:
        code = 1 if state.sfp_id == 0 else 2 if ports == 0 else 3
        listed = port_list(ports)
        records.append(record(
            TRAP, entry(0, 1, bytes.fromhex("027e51"), bytes.fromhex("ffffff")), entry(1, 4, word(0x88B7), word(0xFFFF)),
            entry(2, 11, bytes.fromhex("027e51f1bc"), bytes.fromhex("ffffffffff")), (204, listed), (208, 4),
            (212, 1), (216, 2), (220, state.sfp_id), (232, byte(4)), (236, byte(code))))
        lines += [line("INFO", "SrvSmartSfp", worker, f"FP {signed(state.sfp_id)} action {code}"),
                  line("DEBUG3", "SrvSmartSfp", worker, f"L2Pbmp=0x{ports:x} => portListL2= "
                                                        + " ".join(f"0x{each:02x}" for each in listed))]
    if send_out:
        octets = bytes(value & 0xFF for value in with_one_between(pdu))[:516]
        records.append(record(SFP_PDU, (4, octets), (520, ports), (524, size)))
        lines.append(line("DEBUG3", "SrvSmartSfp", worker, f"Size of str:4 m_size:{signed(size)} pbmp:{signed(ports)} "
                                                           f"fpId={signed(state.sfp_id)}"))

    def final(answer):
        return enable_filter, action, send_out, ports_of(answer), size, ""
    return Decision(records, None, final, args, line("ERROR", "SrvSmartSfp", worker, OVERFLOW), lines,
                    tail=_tail("SrvSmartSfp", worker),
                    queued=lambda index: line("DEBUG3", "SrvSmartSfp", worker, f"message writepoiter {index}"))


def ports_of(raw):
    """What the reply to a Smart SFP request shows of an answer."""
    return bitmap(raw[204:208]) if word_at(raw, 0) == TRAP else word_at(raw, 520)


def keep_sfp(state, raw):
    if word_at(raw, 0) != TRAP:
        return []
    state.sfp_id = word_at(raw, 220)
    listed = " ".join(f"0x{each:02x}" for each in raw[204:208])
    return [line("INFO", "SrvSmartSfp", "setFpId", f"smartSfp ID = {signed(state.sfp_id)}"),
            line("DEBUG3", "MsgHandle:414", "ParseFpIdandPorts",
                 f"**** portList: {listed} => pbmp=0x{ports_of(raw):x} ****")]


def redundancy(state, args, place):
    name = STATES[args[0]] if 0 <= args[0] < len(STATES) else "RED?"
    source, worker = "SrvRedundancy.cpp", "run_iss_redundancy_thread"
    lines = [line("INFO", "SrvRedundancy", "setRedundantState", f"setRedundantState: redundancyState={name}\n"),
             line("DEBUG2", source, worker, f"Processing setRedundantState with state = {name}\n"),
             line("DEBUG3", source, worker, "mutex lock")]
    return Decision([record(REDUNDANCY, (4, args[0]))], None, None, None, line("ERROR", source, worker, OVERFLOW), lines,
                    tail=_tail(source, worker, line("DEBUG2", source, worker, worker + " stopped")),
                    queued=lambda index: line("DEBUG3", source, worker, f"message writepoiter {index}\n"))


def debug(state, args, place):
    """`args` is the datagram."""
    lines = [] if len(args) == SIZE else [like("WARNING", rf"main:\d+ \(main\) - debug request of {len(args)} bytes "
                                                          rf"instead of {SIZE}: .*")]
    whole = args[:SIZE].ljust(SIZE, b"\0")
    lines += [like("DEBUG3", r"main:291 \(main\) - Message from debug server received: RP=\d+ WP=\d+\n"), *dump(whole)]
    full = like("DEBUG3", r"main:301 \(main\) - Out of Mem for debug server msg: RP=\d+ WP=\d+\n")
    tail = [line("DEBUG3", "main:314", "main", "main thread: send signal for sending message\n"),
            line("DEBUG3", "main:316", "main", "main thread: mutex unlock\n")]
    return Decision([whole], None, lambda answer: answer, whole, full, lines, tail=tail)


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
    name = "INITIALIZED" if args[0] == 0 else "INVALID"
    lines = [line("DEBUG1", "SrvIss", "triggerDataUser", name), line("DEBUG1", "SrvIss", "run_och_thread", name)]
    if args[0] == 0:
        lines += [line("DEBUG1", "SrvIss", "run_och_thread", f"{name} is not handled")] * 2
    else:
        lines += [line("ERROR", "SrvIss", "run_och_thread", f"{name}({args[0]}) is not supported")] * 2
    return Decision(reply=(args[0], True), lines=lines)
