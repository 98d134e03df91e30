import os
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

from trelvik.board import BUS_LOST, PREFIX
from trelvik.bus import MANAGER, NAME

DENIED = "org.freedesktop.DBus.Error.AccessDenied"
STRANGER = 65534
CLIENT = """
import sys
from jeepney import DBusAddress, HeaderFields, MessageType, new_method_call
from jeepney.io.blocking import open_dbus_connection
address, name, path, interface, member, signature, *body = sys.argv[1:]
connection = open_dbus_connection(bus=address)
values = tuple(int(value) if kind in "iu" else value for kind, value in zip(signature, body))
message = new_method_call(DBusAddress(path, name, interface), member, signature or None, values)
reply = connection.send_and_get_reply(message, timeout=10)
failed = reply.header.message_type == MessageType.error
print(reply.header.fields[HeaderFields.error_name] if failed else "ok", *(() if failed else reply.body))
"""


def call_as(board, options, name, path, interface, member, signature="", *body):
    """What a process of another user gets: an error's name, or "ok" and the reply."""
    done = subprocess.run(
        ["setpriv", *options, sys.executable, "-c", CLIENT, board.bus_address, name, path, interface, member,
         signature, *map(str, body)], check=True, capture_output=True, text=True, timeout=30)
    return done.stdout.strip()


def as_stranger():
    return [f"--reuid={STRANGER}", f"--regid={STRANGER}", "--clear-groups"]


def get_trace_level(board, options):
    return call_as(board, options, NAME, "/otn/Trelvik/ob_common", "otn.OBcommon_1_0", "get_trace_level")


def request_name(board, options, name):
    return call_as(board, options, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                   "RequestName", "su", name, 4)


def set_groups(*lines):
    os.unlink("/etc/group")  # in the sandbox, a link to the machine's
    with open("/etc/group", "w", encoding="ascii") as groups:
        groups.write("".join(line + "\n" for line in ("root:x:0:", *lines)))


def test_strangers_may_not_call(board):
    board.connected()
    assert get_trace_level(board, as_stranger()) == DENIED
    assert get_trace_level(board, ["--reuid=0"]) == "ok 6"
    assert not board.log.find("[NOTICE] SrvCommon:44 *")[1:]


def test_strangers_may_not_own_the_names(board):
    board.start_bus()
    for name in (NAME, MANAGER):
        assert request_name(board, as_stranger(), name) == DENIED
        assert request_name(board, ["--reuid=0"], name) == "ok 1"


def test_group_otn_may_call_but_not_own(board):
    group = 4711
    set_groups(f"otn:x:{group}:")
    options = [f"--reuid={STRANGER}", f"--regid={STRANGER}", f"--groups={group}"]
    board.connected()
    assert get_trace_level(board, options) == "ok 6"
    assert get_trace_level(board, as_stranger()) == DENIED
    assert request_name(board, options, NAME) == DENIED
    assert request_name(board, options, MANAGER) == DENIED
    assert call_as(board, options, MANAGER, "/otn/redundancyManager/redundant_state_signal",
                   "otn.OBredundantInfo_1_0", "getRedundantState") != "ok"


def test_policy_loads_without_the_group(board):
    set_groups()
    board.connected()
    board.alive()


def test_every_send_rule_names_its_destination(board):
    policy = ElementTree.parse(os.path.join(PREFIX, "share", "dbus-1", "system.d", "otn.Trelvik.conf"))
    rules = [rule for rule in policy.getroot().iter() if rule.tag in ("allow", "deny")]
    assert rules
    for rule in rules:
        assert "send_destination" in rule.attrib or set(rule.attrib) == {"own"}, rule.attrib
    assert {tuple(part.attrib.items()) for part in policy.getroot().iter("policy")} == {
        (("user", "root"),), (("group", "otn"),)}


def test_lost_bus_ends_the_daemon_in_order(board):
    board.expect_log(BUS_LOST)
    board.up()
    board.bus.set_port_params(3, 1)
    board.stop_bus()
    board.wait_exit(0)
    board.log.sequence([BUS_LOST, "[NOTICE] main:66 (handle_sig) - Signal Terminated (15) received: "
                        "killing Trelvik and stopping threads", "[INFO] main:658 (main) - Finished"])
    assert board.log.find(BUS_LOST)[0].priority & 7 == 2
