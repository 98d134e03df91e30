import pytest

from trelvik import record

D1 = "[DEBUG1] MsgHandle:{} (printPacket) - {}"
D2 = "[DEBUG2] MsgHandle:{} (printPacket) - {}"
NO_INFORMATION = D2.format(130, "No information about this message to print\n")


def dump(board, raw, level=9):
    """The packet dump of one record that comes from the debug client, which takes any record."""
    if not board.running:
        board.connected()
    board.bus.set_trace_level(level)
    since = board.log.mark()
    board.debug.send(raw)
    # A pass of the main loop looks at the debug socket first: the record is handled before this message.
    board.sync_ops()
    lines = [line.text for line in board.log.all()[since:] if " MsgHandle:" in line.text]
    if level < 7:
        return lines
    return lines[:len(lines) - 1 - lines[::-1].index(head("CPU_THRESHOLD", 18))]


def head(name, value):
    return D1.format(44, f"Msg Type = {name} [{value}]")


def test_zero_record(board):
    assert dump(board, bytes(record.SIZE)) == (
        [head("InvalidMsgType", 0)] + [D1.format(50, "0")] * 100 + [D1.format(52, "\n"), NO_INFORMATION])


def test_type_0_shows_its_first_100_bytes(board):
    raw = bytes(4) + bytes(range(4, 200)) + bytes(record.SIZE - 200)
    assert dump(board, raw) == (
        [head("InvalidMsgType", 0)] + [D1.format(50, f"{byte:x}") for byte in raw[:100]] +
        [D1.format(52, "\n"), NO_INFORMATION])


def test_reload_status(board):
    assert dump(board, record.reloaded()) == [head("MSR_RELOAD_STATUS", 1)]


@pytest.mark.parametrize("node, node_name", [(1, "ISS_OTN_IPC_ACTIVE"), (0, "ISS_OTN_IPC_STANDBY"),
                                             (2, "ISS_OTN_IPC_STANDBY")])
@pytest.mark.parametrize("status, status_name", [(0, "OSIX_SUCCESS"), (1, "OSIX_FAILURE"), (255, "OSIX_FAILURE")])
def test_go_active_standby(board, node, node_name, status, status_name):
    assert dump(board, record.make(record.RM_GO_ACTIVE_STANDBY_IND, nodeType=node, statusFlag=status)) == [
        head("RM_GO_ACTIVE_STANDBY_IND", 5), D2.format(60, f"Node Type = {node_name}\n"),
        D2.format(61, f"Status Flag = {status_name}\n")]


@pytest.mark.parametrize("count, shown", [(0, 0), (1, 1), (3, 3), (42, 42), (43, 42), (0xFFFFFFFF, 42)])
def test_interface_list(board, count, shown):
    raw = record.make(record.IFC_INSERT_DELETE_IND, interfaceNum=3, interfaceSpeed=1000, interfaceType=0xFFFFFFFF,
                      interfaceCount=count, statusFlag=1)
    entry = [D2.format(68, "Interface Type = -1\n"), D2.format(69, "Interface Num = 3\n"),
             D2.format(70, "Interface speed = 1000\n")]
    assert dump(board, raw) == [head("IFC_INSERT_DELETE_IND", 7),
                                D2.format(65, "Status Flag = ISS_OTN_IFC_INSERT\n")] + entry * shown


def test_interface_removal(board):
    for flag in (0, 2, 255):
        assert dump(board, record.make(record.IFC_INSERT_DELETE_IND, statusFlag=flag)) == [
            head("IFC_INSERT_DELETE_IND", 7), D2.format(65, "Status Flag = ISS_OTN_IFC_DELETE\n")]


def test_script(board):
    assert dump(board, record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile="/tmp/in", outputFile="out.sh")) == [
        head("RUN_DEFAULT_SCRIPT_COMMAND", 8), D2.format(85, "Script input file: /tmp/in \n"),
        D2.format(86, "Script output file: out.sh \n")]


def test_texts_without_an_end_are_bounded(board):
    assert dump(board, record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile="i" * 24, outputFile="o" * 24)) == [
        head("RUN_DEFAULT_SCRIPT_COMMAND", 8), D2.format(85, "Script input file: " + "i" * 24 + " \n"),
        D2.format(86, "Script output file: " + "o" * 24 + " \n")]
    answer = record.make(record.MGMT_INTERFACE_MAPPING, errorString="e" * 500, errorValue=b"abcd", isResponse=1)
    assert dump(board, answer) == [
        head("MGMT_INTERFACE_MAPPING", 9), NO_INFORMATION,
        D1.format(135, "Response error string = " + "e" * 500),
        D1.format(139, "Response error value = 97 98 99 100\n"),
        D1.format(140, "Response status = OSIX_SUCCESS\n")]


def test_filter_rule(board):
    assert dump(board, record.make(record.INTERESTED_PACKET_IND)) == [
        head("INTERESTED_PACKET_IND", 10),
        D2.format(90, "No special treatment for ISS_OTN_IPC_INTERESTED_PACKET_IND\n")]


@pytest.mark.parametrize("count, shown", [(0, 0), (1, 1), (3, 3), (100, 100), (101, 100), (0xFFFFFFFF, 100)])
def test_tunnel_table(board, count, shown):
    raw = record.make(record.MGMT_INTERFACE_MAPPING_IND, acVlan=100, pwVlan=4005, pwPort=5, outTunnelLabel=1500,
                      inTunnelLabel=1501, tunnelId=11, vpnId=12, tunnelIndex=13, pwId=14, acPort=77,
                      entryCount=count, mapFlag=1)
    entry = [D2.format(78, "PwVlan = 4005\nPwPort = 5\nAcVlan = 100\nAcPort = 24\n"),
             D2.format(79, "InTunnelLabel = 1501\nOutTunnelLabel = 1500\n "),
             D2.format(80, "TunnelId = 11\nVpnId = 12\nPwId = 14\n ")]
    assert dump(board, raw) == [head("MGMT_INTERFACE_MAPPING_IND", 11),
                                D2.format(75, "Status Flag = ISS_OTN_MAP_MGMT_INTERFACE\n")] + entry * shown


def test_tunnel_removal(board):
    assert dump(board, record.make(record.MGMT_INTERFACE_MAPPING_IND, mapFlag=2)) == [
        head("MGMT_INTERFACE_MAPPING_IND", 11), D2.format(75, "Status Flag = ISS_OTN_UNMAP_MGMT_INTERFACE\n")]


def test_counters(board):
    raw = record.make(record.GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS, interfaceNum=7, rxOctets=0xFFFFFFFF,
                      rxUnicastPackets=2, rxDiscarded=3, rxErrors=4, rxUnknownProtocol=5, txOctets=6,
                      txUnicastPackets=8, txDiscarded=9, txErrors=10)
    assert dump(board, raw) == [
        head("GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS", 17), D2.format(94, "interface number: 7\n"),
        D2.format(95, "\r\nReception Counters\r\n"),
        D2.format(96, "   Octets                    : 4294967295\r\n"),
        D2.format(97, "   Unicast Packets           : 2\r\n"),
        D2.format(98, "   Discarded Packets         : 3\r\n"),
        D2.format(99, "   Error Packets             : 4\r\n"),
        D2.format(100, "   Unknown Protocol          : 5\r\n"),
        D2.format(101, "\r\nTransmission Counters\r\n"),
        D2.format(102, "   Octets                    : 6\r\n"),
        D2.format(103, "   Unicast Packets           : 8\r\n"),
        D2.format(104, "   Discarded Packets         : 9\r\n"),
        D2.format(105, "   Error Packets             : 10")]


def test_cpu_threshold(board):
    assert dump(board, record.make(record.CPU_THRESHOLD, threadName="task", pid=1234)) == [
        head("CPU_THRESHOLD", 18), D2.format(114, "Thread name : task\n"), D2.format(115, "Thread pid  : 1234\n")]
    assert dump(board, record.make(record.CPU_THRESHOLD, pid=0xFFFFFFFF))[-1] == D2.format(
        115, "Thread pid  : 4294967295\n")


def test_port_status(board):
    raw = record.make(record.PORT_STATUS_CHANGE_IND, interfaceNum=9, adminStatus=1, operationalStatus=255)
    assert dump(board, raw) == [
        head("PORT_STATUS_CHANGE_IND", 20), D2.format(120, "Interface number: 9\n"),
        D2.format(121, "Port administrative status: 1\n"), D2.format(122, "Port operational status   : 255\n")]


def test_redundancy_state(board):
    names = ["INV", "BTG", "ACT", "ACT0", "ACT1", "ACT2", "ACT3", "PAS0", "PAS1", "PAS2", "STB3", "FAIL", "NIS",
             "DEF", "SWO", "RED?"]
    for state, name in enumerate(names):
        assert dump_more(board, record.make(record.REDUNDANCY_STATE, state=state), state) == [
            head("REDUNDANCY_STATE", 22), D2.format(126, f"Redundancy State received from OPS: {name}\n")]


def dump_more(board, raw, number):
    """As dump, with the ring emptied before it is full."""
    if number == 0:
        board.up(level=9)
    dumped = dump(board, raw)
    board.ops.receive()
    board.ops.answer(record.make(record.FLUSH_CMD))
    board.debug.receive()
    return dumped


@pytest.mark.parametrize("state", [-1, 0x7FFFFFFF, -0x80000000])
def test_redundancy_state_out_of_range(board, state):
    assert dump(board, record.make(record.REDUNDANCY_STATE, state=state))[1] == D2.format(
        126, "Redundancy State received from OPS: RED?\n")


def test_types_without_information(board):
    names = {2: "TASK_INIT_STATUS", 3: "RM_ACTIVE_STANDBY_READY_STATUS", 4: "RM_SYNC_UP_STATUS",
             6: "CONFIG_STATUS", 9: "MGMT_INTERFACE_MAPPING", 12: "WATCH_DOG_ISS_ACTIVE", 13: "WATCH_DOG_INTERVAL",
             14: "SYNCE_CMD", 15: "SYNCE_PDU_CMD", 16: "FLUSH_CMD", 19: "SMARTSFP_PDU_CMD", 21: "GET_PORT_STATUS",
             23: "MRP_VLAN_MAPPING", 24: "ETS_VLAN_MAPPING", 25: "LLDP_TLV_INFO"}
    for number, (value, name) in enumerate(names.items()):
        assert dump_more(board, record.make(value), number) == [head(name, value), NO_INFORMATION]


@pytest.mark.parametrize("value, shown", [(26, 26), (0x7FFFFFFF, 0x7FFFFFFF), (0xFFFFFFFF, -1)])
def test_types_above_the_table(board, value, shown):
    first, second = dump(board, record.make(value))
    assert first.startswith("[DEBUG1] MsgHandle:44 (printPacket) - Msg Type = ")
    assert first.endswith(f" [{shown}]")
    assert second == NO_INFORMATION


def test_trailer_of_an_answer(board):
    assert dump(board, record.make(record.FLUSH_CMD, errorString=record.NO_ERROR, errorValue=bytes((1, 2, 254, 255)),
                                   status=0, isResponse=1))[2:] == [
        D1.format(135, "Response error string = No Error\r\n"),
        D1.format(139, "Response error value = 1 2 254 255\n"), D1.format(140, "Response status = OSIX_SUCCESS\n")]
    assert dump(board, record.make(record.FLUSH_CMD, status=2, isResponse=1))[-1] == D1.format(
        140, "Response status = OSIX_FAILURE\n")


def test_no_trailer_unless_it_is_an_answer(board):
    for is_response in (0, 2, 255):
        assert dump(board, record.make(record.FLUSH_CMD, errorString="x", isResponse=is_response)) == [
            head("FLUSH_CMD", 16), NO_INFORMATION]


def test_level_7_shows_debug1_only(board):
    raw = record.make(record.IFC_INSERT_DELETE_IND, interfaceCount=3, errorString="x", isResponse=1)
    assert dump(board, raw, level=7) == [
        head("IFC_INSERT_DELETE_IND", 7), D1.format(135, "Response error string = x"),
        D1.format(139, "Response error value = 0 0 0 0\n"), D1.format(140, "Response status = OSIX_SUCCESS\n")]


def test_level_8_shows_the_whole_dump(board):
    assert len(dump(board, record.make(record.IFC_INSERT_DELETE_IND, interfaceCount=3), level=8)) == 2 + 3 * 3


def test_level_6_shows_nothing(board):
    assert dump(board, record.make(record.IFC_INSERT_DELETE_IND, interfaceCount=0xFFFFFFFF), level=6) == []


def test_messages_of_ops_are_dumped_too(board):
    board.expect_log("[ERROR] main:624 *")
    board.connected(level=8)
    board.ops.send(record.make(record.RM_GO_ACTIVE_STANDBY_IND, nodeType=1))
    board.log.sequence(["[DEBUG1] MsgHandle:44 (printPacket) - Msg Type = RM_GO_ACTIVE_STANDBY_IND [5]",
                        D2.format(60, "Node Type = ISS_OTN_IPC_ACTIVE\n"),
                        "[ERROR] main:624 (main) - unexpected message received from OPS\n"])
