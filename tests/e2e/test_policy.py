import os
import xml.etree.ElementTree as ElementTree

import pytest

from trelvik.board import BUS_LOST
from trelvik.bus import COMMON, MANAGER, NAME, REDUNDANCY
from trelvik.diagnostics import DIAGNOSTICS
from trelvik.places import PREFIX
from trelvik.users import GROUP, as_member, as_root, as_stranger, run_as, set_groups, start_as

DENIED = "org.freedesktop.DBus.Error.AccessDenied"
OTN_GROUP = f"otn:x:{GROUP}:"
CLIENT = """
import sys
from jeepney import DBusAddress, HeaderFields, MessageType, message_bus, new_method_call, new_signal
from jeepney.io.blocking import open_dbus_connection
address, kind, name, path, interface, member, signature, *body = sys.argv[1:]
connection = open_dbus_connection(bus=address)
values = tuple(int(value) if kind in "iu" else value for kind, value in zip(signature, body))
if kind == "signal":
    message = new_signal(DBusAddress(path, None, interface), member, signature or None, values)
    if name:
        message.header.fields[HeaderFields.destination] = name
else:
    message = new_method_call(DBusAddress(path, name, interface), member, signature or None, values)
serial = next(connection.outgoing_serial)
connection.send(message, serial=serial)
# A signal has no reply, but a refusal; it comes before the answer to what is asked behind the signal.
last = serial
if kind == "signal":
    last = next(connection.outgoing_serial)
    connection.send(message_bus.GetId(), serial=last)
while True:
    reply = connection.receive(timeout=10)
    answered = reply.header.fields.get(HeaderFields.reply_serial)
    if answered == serial or answered == last:
        break
failed = reply.header.message_type == MessageType.error
print(reply.header.fields[HeaderFields.error_name] if failed else "ok",
      *(() if failed or kind == "signal" else reply.body))
"""

LISTENER = """
import sys
from jeepney import MatchRule, message_bus
from jeepney.io.blocking import Proxy, open_dbus_connection
address, member = sys.argv[1:]
connection = open_dbus_connection(bus=address)
rule = MatchRule(type="signal", member=member)
Proxy(message_bus, connection).AddMatch(rule)
with connection.filter(rule) as queue:
    print("listening", flush=True)
    print(*connection.recv_until_filtered(queue, timeout=10).body)
"""


def act_as(board, options, kind, name, where, member, signature="", *body):
    """What a process of another user gets for a call or a signal: an error's name, or "ok" and the reply."""
    return run_as(options, CLIENT, board.bus_address, kind, name, *where, member, signature, *body)


def get_trace_level(board, options, name=NAME):
    return act_as(board, options, "call", name, COMMON, "get_trace_level")


def signal(board, options, name):
    return act_as(board, options, "signal", name, REDUNDANCY, "setRedundantState", "i", 2)


def request_name(board, options, name):
    return act_as(board, options, "call", "org.freedesktop.DBus", ("/org/freedesktop/DBus", "org.freedesktop.DBus"),
                  "RequestName", "su", name, 4)


def name_owner(board):
    """A peer in the daemon's place, which shows what gets through; its well-known and its unique name."""
    set_groups(OTN_GROUP)
    owner = board.peer()
    owner.request_name(NAME)
    owner.serve("get_trace_level", ("i", (6,)))
    return owner, (NAME, owner.unique_name)


def test_strangers_may_not_call(board):
    board.connected()
    assert get_trace_level(board, as_stranger()) == DENIED
    assert get_trace_level(board, as_stranger(), board.bus.owner_of(NAME)) == DENIED
    assert get_trace_level(board, as_root()) == "ok 6"
    assert not board.log.find("[NOTICE] SrvCommon:44 *")[1:]


def test_strangers_may_not_own_the_names(board):
    board.start_bus()
    for name in (NAME, MANAGER):
        assert request_name(board, as_stranger(), name) == DENIED
        assert request_name(board, as_root(), name) == "ok 1"


def test_group_otn_may_ask_for_the_status_strangers_not(board):
    set_groups(OTN_GROUP)
    board.connected()
    assert act_as(board, as_member(), "call", NAME, DIAGNOSTICS, "getStatus").startswith("ok ")
    assert act_as(board, as_stranger(), "call", NAME, DIAGNOSTICS, "getStatus") == DENIED


def test_group_otn_may_call_but_not_own(board):
    set_groups(OTN_GROUP)
    board.connected()
    assert get_trace_level(board, as_member()) == "ok 6"
    assert get_trace_level(board, as_stranger()) == DENIED
    assert request_name(board, as_member(), NAME) == DENIED
    assert request_name(board, as_member(), MANAGER) == DENIED
    assert act_as(board, as_member(), "call", MANAGER, REDUNDANCY, "getRedundantState") != "ok"


def test_strangers_messages_do_not_arrive(board):
    owner, names = name_owner(board)
    for name in names:
        assert get_trace_level(board, as_stranger(), name) == DENIED
        assert signal(board, as_stranger(), name) == DENIED
    owner.bus("GetId")
    assert owner.served == []
    assert "setRedundantState" not in owner.order


@pytest.mark.parametrize("options", [as_member(), as_root()])
def test_messages_of_root_and_group_otn_arrive(board, options):
    owner, names = name_owner(board)
    for count, name in enumerate(names, 1):
        assert get_trace_level(board, options, name) == "ok 6"
        assert signal(board, options, name) == "ok"
        assert owner.wait_signal("setRedundantState", count)[0] == (2,)


def test_strangers_broadcasts_do_not_arrive(board):
    owner, _ = name_owner(board)
    owner.subscribe("setRedundantState")
    witness = board.peer()
    witness.subscribe("setRedundantState")
    assert signal(board, as_stranger(), "") == "ok"
    assert witness.wait_signal("setRedundantState")[0] == (2,)
    owner.bus("GetId")
    assert "setRedundantState" not in owner.order


def test_strangers_hear_the_daemons_signals(board):
    owner, _ = name_owner(board)
    with start_as(as_stranger(), LISTENER, board.bus_address, "issStatusChange") as listener:
        assert listener.stdout.readline() == "listening\n"
        owner.signal(("/otn/Trelvik/IssSetLanWanAsync", "otn.OBsetPortParams_1_0"), "issStatusChange", "b", True)
        assert listener.stdout.readline() == "True\n"


def test_policy_loads_without_the_group(board):
    set_groups()
    board.connected()
    board.alive()
    assert get_trace_level(board, as_stranger()) == DENIED


def test_every_send_rule_names_its_destination(board):
    policy = ElementTree.parse(os.path.join(PREFIX, "share", "dbus-1", "system.d", "otn.Trelvik.conf"))
    rules = [rule for rule in policy.getroot().iter() if rule.tag in ("allow", "deny")]
    assert rules
    for rule in rules:
        assert "send_destination" in rule.attrib or set(rule.attrib) == {"own"}, rule.attrib
    assert {tuple(part.attrib.items()) for part in policy.getroot().iter("policy")} == {
        (("context", "default"),), (("user", "root"),), (("group", "otn"),)}


def test_lost_bus_ends_the_daemon_in_order(board):
    board.expect_log(BUS_LOST)
    board.up()
    board.bus.set_port_params(3, 1)
    board.stop_bus()
    board.wait_exit(0)
    board.log.sequence([BUS_LOST, "[NOTICE] main:66 (handle_sig) - Signal Terminated (15) received: "
                        "killing Trelvik and stopping threads", "[INFO] main:658 (main) - Finished"])
    assert board.log.find(BUS_LOST)[0].priority & 7 == 2
