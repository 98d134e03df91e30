import json

from trelvik import record
from trelvik.bus import MANAGER
from trelvik.files import read
from trelvik.iss import ask, show
from trelvik.wait import until

CPU_ALARM = "[INFO] main:444 (main) - CPU exceeds threshold for thread {}\n"


def through_debug_socket(board, raw):
    """The answer's error text and error values."""
    board.debug.send(raw)
    answer = board.debug.receive()
    return record.field(answer, "errorString"), record.field(answer, "errorValue")


def rule(action, kind, fp_id=0):
    """A filter rule on port 1."""
    return record.make(record.INTERESTED_PACKET_IND, portList="80000000", entryKind=kind, encapType=1, ruleWord=3,
                       fpId0=fp_id, actionCode=action)


def one(rows, **wanted):
    """The one row that has these values."""
    found = [row for row in rows if all(row[name] == value for name, value in wanted.items())]
    assert len(found) == 1, f"{wanted}: {found} of {rows}"
    return found[0]


def test_show_follows_a_port_set_up_and_released(board):
    board.iss_ready()
    board.bus.set_port_params(1, 5).reply()
    vlans = show("vlans")["vlans"]
    assert one(vlans, vlan=100) == {"vlan": 100, "members": [24], "untagged": []}
    assert one(vlans, vlan=4005) == {"vlan": 4005, "members": [5], "untagged": [5]}
    port = one(show("ports")["ports"], port=5)
    assert port == {"port": 5, "name": "gigabitethernet 0/5", "admin": "up", "oper": "up", "mtu": 9246,
                    "pvid": 4005, "vlans": [1, 4005]}
    interfaces = show("interfaces")
    assert one(interfaces["rows"], index=42)["alias"] == "vlan4005"
    assert interfaces["stack"] == [{"higher": 188, "lower": 42, "status": "active"}]
    tunnel = one(show("tunnels")["tunnels"], pwPort=5)
    assert (tunnel["tunnelId"], tunnel["pwVlan"], tunnel["sourceMac"]) == (1005, 4005, "00:1a:2b:3c:4d:5e")

    board.bus.set_port_params(2, 5).reply()
    assert [vlan["vlan"] for vlan in show("vlans")["vlans"]] == [1]
    assert one(show("ports")["ports"], port=5)["pvid"] == 1
    assert show("interfaces") == {"interfaces": [], "vlanInterfaces": [], "rows": [], "stack": []}
    assert show("tunnels") == {"tunnels": []}
    assert board.cam.reports() == []


def test_set_up_port_is_reported_down_and_up(board):
    board.bus.subscribe("linkStatusChange")
    board.iss_ready()
    board.bus.set_port_params(1, 5).reply()
    assert board.bus.wait_signal("linkStatusChange", 1)[0] == (5, False, False)
    assert board.bus.wait_signal("linkStatusChange", 2)[0] == (5, True, True)


def test_refused_script_tells_line_command_and_reason(board):
    board.expect_refused('*: "Script line 2: "vlan 5000": no VLAN id, 1 to 4094"*')
    board.iss_ready()
    board.bus.set_port_params(1, 5, ac_vlan=5000).reply()
    board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n")
    assert read("/tmp/outscr.sh").endswith('iss(config)# vlan 5000\n% line 2: "vlan 5000": no VLAN id, 1 to 4094\n')
    text = '"Script line 2: \\"vlan 5000\\": no VLAN id, 1 to 4094\\r\\n" errorValue=2,3,0,2 status=1'
    assert any(text in line for line in board.iss.lines())
    assert one(show("messages")["messages"], type=record.RUN_DEFAULT_SCRIPT_COMMAND)["refused"] == 1


def test_show_probed_interfaces(board):
    board.iss_ready()
    board.bus.set_port_params(3, 7, if_type=6, speed=1000).reply()
    assert show("interfaces")["interfaces"] == [
        {"interfaceNum": 7, "interfaceSpeed": 1000, "interfaceType": 6}]
    board.bus.set_port_params(4, 7).reply()
    assert show("interfaces")["interfaces"] == []


def test_show_rules_and_unknown_ids(board):
    board.iss_ready()
    assert through_debug_socket(board, rule(1, 1)) == (record.NO_ERROR, bytes(4))
    assert through_debug_socket(board, rule(1, 4)) == (record.NO_ERROR, bytes(4))
    assert [row["fpId0"] for row in show("rules")["rules"]] == [1, 2]
    assert [row["fpId0"] for row in show("synce")["filters"]] == [1]
    assert [row["fpId0"] for row in show("smartsfp")["filters"]] == [2]
    assert through_debug_socket(board, rule(2, 1, fp_id=9)) == ("Unknown forwarding entry\r\n", bytes([3, 4, 0, 0]))
    assert through_debug_socket(board, rule(2, 1, fp_id=1)) == (record.NO_ERROR, bytes(4))
    assert [row["fpId0"] for row in show("rules")["rules"]] == [2]
    through_debug_socket(board, record.make(record.FLUSH_CMD, vpn=7, vp=2))
    assert show("rules")["flushes"] == [{"vpn": 7, "vp": 2, "count": 1}]


def test_show_counters_that_grow(board):
    board.iss_ready()
    raw = record.make(record.GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS, interfaceNum=4)
    through_debug_socket(board, raw)
    first = one(show("counters")["counters"], interfaceNum=4)
    through_debug_socket(board, raw)
    second = one(show("counters")["counters"], interfaceNum=4)
    assert second["rxOctets"] > first["rxOctets"] > 0


def test_show_redundancy(board):
    manager = board.peer()
    manager.serve("getRedundantState", ("i", (15,)))
    manager.request_name(MANAGER)
    board.iss_ready()
    assert show("redundancy") == {"redundancy": []}
    manager.set_redundant_state(3)
    until(lambda: show("redundancy") == {"redundancy": [{"state": 3, "name": "ACT0"}]}, "the state at ISS")


def test_show_is_aligned_text(board):
    board.iss_ready()
    lines = ask("show", "ports").stdout.split("\n")
    assert lines[0] == "port  name                  admin  oper   mtu  pvid  vlans"
    assert lines[5] == "   5  gigabitethernet_0/5   up     up    1500     1  1"
    assert len(lines) == 1 + 28 + 1


def test_wrong_requests_are_refused_and_change_nothing(board):
    board.iss_ready()
    for words in (("show", "nonsense"), ("show",), ("show", "ports", "vlans"), ("inject", "nonsense"),
                  ("inject", "x" * 5000), ("watch", "nonsense"), ("show", "ports", "--nonsense")):
        answer = ask(*words)
        assert (answer.returncode, answer.stdout) == (2, "")
        assert answer.stderr.startswith("iss-sim: ") and answer.stderr.count("\n") == 1
    assert len(show("ports")["ports"]) == 28
    board.bus.set_port_params(3, 7).reply()


def test_watch_shows_each_message_as_it_passes(board, watch):
    board.iss_ready()
    messages = watch()
    board.bus.set_port_params(3, 7).reply()
    request = messages.wait(lambda line: " <- " in line)
    assert request.endswith(" <- IFC_INSERT_DELETE_IND [7] interfaceNum=7 interfaceSpeed=1000 interfaceType=6 "
                            "interfaceCount=1 statusFlag=1")
    answer = messages.wait(lambda line: " -> IFC_INSERT_DELETE_IND " in line)
    assert ' errorString="No Error\\r\\n" ' in answer
    before, after = answer.rsplit(" (after ", 1)
    assert after.endswith(" ms)") and 0 <= float(after[:-len(" ms)")]) < 5000
    assert len(before.split(" ")[0]) == len("12:34:56.789")


def test_watch_as_json(board, watch):
    board.iss_ready()
    messages = watch("--json")
    board.bus.set_port_params(3, 7).reply()
    line = messages.wait(lambda line: json.loads(line)["name"] == "IFC_INSERT_DELETE_IND")
    message = json.loads(line)
    assert (message["direction"], message["type"], message["latencyMs"]) == ("in", 7, None)
    assert message["fields"]["interfaceNum"] == 7
    line = messages.wait(lambda line: json.loads(line)["latencyMs"] is not None)
    assert json.loads(line)["fields"]["errorString"] == record.NO_ERROR


def test_watch_ends_with_the_simulator(board, watch):
    board.iss_ready()
    messages = watch()
    board.stop()
    board.iss.leave()
    until(lambda: messages.status is not None, "the end of the watch")
    assert messages.status == 0


def test_injected_alarm_reaches_the_daemon(board):
    board.iss_ready()
    board.iss.inject("cpu CLIC 17")
    board.log.wait(CPU_ALARM.format("CLIC"))


def test_second_simulator_on_the_port_says_so(board):
    board.iss_ready()
    second = ask()
    assert (second.returncode, second.stdout) == (1, "")
    assert second.stderr == "iss-sim: 127.0.0.1:8000: in use, is another instance running?\n"
    assert len(show("ports")["ports"]) == 28
