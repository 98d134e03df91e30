import xml.etree.ElementTree as ElementTree

import pytest

from trelvik import record
from trelvik.bus import COMMON, PATH, PORT_PARAMS
from trelvik.wait import until

ERROR = "org.freedesktop.DBus.Error."
SET = "[NOTICE] SrvCommon:37 (set_trace_level) - Set trace level to [{}]"
GET = "[NOTICE] SrvCommon:44 (get_trace_level) - Get trace level [{}]"


def test_trace_level_is_set_and_got(board):
    board.connected()
    for level in (10, 0, 9, 5, 6):
        assert board.bus.set_trace_level(level) == ()
        assert board.bus.get_trace_level() == (level,)
    board.log.sequence([SET.format(10), GET.format(10), SET.format(0), GET.format(5), SET.format(6)])


@pytest.mark.parametrize("level", [11, -1, 0x7FFFFFFF, -0x80000000])
def test_trace_level_out_of_range_is_told_and_ignored(board, level):
    board.connected()
    assert board.bus.set_trace_level(level) == ()
    assert board.bus.get_trace_level() == (6,)
    board.log.sequence([SET.format(level), GET.format(6)])


def test_trace_level_below_notice_is_silent(board):
    board.connected()
    board.bus.set_trace_level(4)
    board.log.wait(SET.format(4))
    board.bus.get_trace_level()
    board.bus.set_trace_level(11)
    board.bus.set_trace_level(7)
    assert board.bus.get_trace_level() == (7,)
    board.log.wait(GET.format(7))
    assert not board.log.find(SET.format(7)) + board.log.find(SET.format(11)) + board.log.find(GET.format(4))


def test_levels_admit_their_words(board):
    board.expect_log("[CRITICAL] main:428 (main) - MSR RELOAD FAILED!")
    board.expect_log("[ERROR] main:624 *")
    board.expect_log("[WARNING] SrvIss:* (run_iss_script_thread) - Unknown action request in message")
    board.connected()
    for level, expected in ((1, ""), (2, "C"), (3, "CE"), (4, "CEW"), (5, "CEW"), (6, "CEWI"), (7, "CEWID1"),
                            (8, "CEWID1D2"), (9, "CEWID1D2D3"), (10, "CEWID1D2D3")):
        board.bus.set_trace_level(level)
        since = board.log.mark()
        board.ops.send(record.reloaded(failed=True))
        board.cam.wait("report", count=level)
        board.ops.send(record.make(record.CONFIG_STATUS))
        board.ops.send(record.make(record.CPU_THRESHOLD, threadName="x"))
        board.ops.send(record.make(record.WATCH_DOG_INTERVAL))
        board.cam.wait("kick", "OPS", count=level)
        board.bus.set_port_params(99, 1).reply()
        board.bus.set_trace_level(0)
        texts = board.log.texts(since=since)
        words = {"C": "[CRITICAL]", "E": "[ERROR]", "W": "[WARNING]", "I": "[INFO]", "D1": "[DEBUG1]",
                 "D2": "[DEBUG2]", "D3": "[DEBUG3]"}
        found = "".join(key for key, word in words.items() if any(text.startswith(word) for text in texts))
        assert found == expected, f"at level {level}"
    board.bus.set_trace_level(6)


def children(node):
    return {child.get("name") for child in node.findall("node")}


def interface(node, name):
    (found,) = [child for child in node.findall("interface") if child.get("name") == name]
    return found


def test_introspection_walks_from_the_root(board):
    board.connected()
    node = ElementTree.fromstring(board.bus.introspect("/"))
    assert children(node) == {"otn"}
    node = ElementTree.fromstring(board.bus.introspect("/otn"))
    assert children(node) == {"Trelvik"}
    node = ElementTree.fromstring(board.bus.introspect("/otn/Trelvik"))
    assert {"ob_common", "IssSetLanWanAsync"} <= children(node)
    assert not {"IssGetParams", "redundant_state_signal"} & children(node)


@pytest.mark.parametrize("where, description", [
    (COMMON, "Common interface, to be exported by all components"),
    (PORT_PARAMS, "To set up, release, probe and detach NPU ports")])
def test_introspection_describes_the_interface(board, where, description):
    board.connected()
    path, name = where
    found = interface(ElementTree.fromstring(board.bus.introspect(path)), name)
    assert {note.get("name"): note.get("value") for note in found.findall("annotation")}[
        "otn.Description"] == description
    for member in found.findall("method") + found.findall("signal"):
        assert all(arg.get("name") for arg in member.findall("arg")), member.get("name")


def signature(member, direction):
    return [(arg.get("name"), arg.get("type")) for arg in member.findall("arg")
            if arg.get("direction", "out") == direction]


def test_introspection_names_every_argument(board):
    board.connected()
    common = interface(ElementTree.fromstring(board.bus.introspect(COMMON[0])), COMMON[1])
    methods = {method.get("name"): method for method in common.findall("method")}
    assert signature(methods["get_trace_level"], "out") == [("level", "i")]
    assert signature(methods["set_trace_level"], "in") == [("level", "i")]
    ports = interface(ElementTree.fromstring(board.bus.introspect(PORT_PARAMS[0])), PORT_PARAMS[1])
    (method,) = ports.findall("method")
    arguments = [("action", "u"), ("ifType", "u"), ("portNr", "u"), ("ifSpeed", "u"), ("bConfigure", "b"),
                 ("acVlan", "u"), ("extra1", "u"), ("extra2", "u")]
    assert method.get("name") == "setPortParams"
    assert signature(method, "in") == arguments and signature(method, "out") == arguments
    signals = {signal.get("name"): signature(signal, "out") for signal in ports.findall("signal")}
    assert signals == {"issStatusChange": [("up", "b")],
                       "linkStatusChange": [("ifIndex", "u"), ("admin", "b"), ("operational", "b")]}


def test_counters_interface_is_not_registered(board):
    board.connected()
    call = board.bus.call((PATH + "IssGetParams", "otn.OBgetIssParams_1_0"),
                          "getInterfaceReceptionAndTransmissionCounters", "uuuuuuuuuu", *range(10))
    assert call.error() == ERROR + "UnknownObject"


def test_wrong_calls_get_errors_and_reach_no_service(board):
    board.up(level=9)
    since = board.log.mark()
    path, name = PORT_PARAMS
    assert board.bus.call(PORT_PARAMS, "setPortParams", "uuuubuu", 3, 6, 1, 1000, True, 1, 2).error() == (
        ERROR + "InvalidArgs")
    assert board.bus.call(PORT_PARAMS, "setPortParams", "uuuuuuuu", *range(8)).error() == ERROR + "InvalidArgs"
    assert board.bus.call(PORT_PARAMS, "setPortParams").error() == ERROR + "InvalidArgs"
    assert board.bus.call(COMMON, "set_trace_level", "u", 3).error() == ERROR + "InvalidArgs"
    assert board.bus.call(PORT_PARAMS, "setNothing", "u", 3).error() == ERROR + "UnknownMethod"
    assert board.bus.call((path, "otn.Nothing_1_0"), "setPortParams", "u", 3).error() in (
        ERROR + "UnknownInterface", ERROR + "UnknownMethod")
    assert board.bus.call((PATH + "nothing", name), "setPortParams", "u", 3).error() == ERROR + "UnknownObject"
    assert board.bus.call((path, "org.freedesktop.DBus.Properties"), "Get", "ss", name, "nothing").error() == (
        ERROR + "UnknownProperty")
    assert board.bus.get_trace_level() == (9,)
    assert not board.log.find("* SrvIss:*", since) + board.log.find("* SrvCommon:37 *", since)
    board.sync_ops()
    assert board.ops.silent()


def test_peer_interface_is_answered(board):
    board.connected()
    assert board.bus.call((PATH + "ob_common", "org.freedesktop.DBus.Peer"), "Ping").reply() == ()


def test_call_that_expects_no_reply_is_carried_out(board):
    board.up()
    board.bus.set_port_params(3, 12, expect_reply=False)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, interfaceNum=12)
    board.bus.get_trace_level()
    assert len(board.bus.replies) == 1


def test_caller_that_goes_away_costs_one_line_at_most(board):
    board.up()
    caller = board.peer()
    caller.set_port_params(3, 12)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND, interfaceNum=12)
    caller.leave()
    since = board.log.mark()
    board.ops.answer(request)
    board.sync_ops()
    board.alive()
    assert len([line for line in board.log.all()[since:] if "thread sync" not in line.text
                and "Get trace level" not in line.text]) <= 1


def test_call_that_is_unanswered_at_the_stop_ends(board):
    board.up()
    call = board.bus.set_port_params(3, 12)
    board.ops.expect(record.IFC_INSERT_DELETE_IND)
    board.stop()
    assert call.error() == ERROR + "NoReply"


def test_many_callers_and_calls_are_all_answered(board):
    board.connected()
    callers = [board.peer() for _ in range(5)]
    calls = [caller.call(COMMON, "get_trace_level") for _ in range(100) for caller in callers]
    assert all(call.reply() == (6,) for call in calls)


def test_replies_keep_the_order_of_the_calls(board):
    board.connected()
    calls = [board.bus.set_port_params(5, 1) for _ in range(3)] + [board.bus.call(COMMON, "get_trace_level")
                                                                  for _ in range(3)]
    for call in calls:
        call.reply()
    levels = [serial for serial in board.bus.order
              if serial in board.bus.replies and board.bus.replies[serial].body == (6,)]
    assert len(levels) == 3 and levels == sorted(levels)


def test_second_daemon_waits_for_the_name_and_gives_up(board):
    board.connected()
    owner = board.bus.owner_of("otn.Trelvik")
    board.expect_log("[ERROR] main:187 (main) - Failed to start OTN bus thread")
    board.expect_log("[WARNING] otnbus:* - Component Trelvik is not on the bus yet, trying again: *")
    second = board.second_daemon()
    until(lambda: second.poll() is not None, "the second daemon's end", 30)
    assert second.returncode == 255
    assert board.bus.owner_of("otn.Trelvik") == owner
    board.alive()
