#!/usr/bin/python3
"""A peer of the daemon: sets up a front port and shows the daemon's reply. Its user must be root or in the group otn.

usage: port-peer.py PORT

Names and types of the arguments are those of the interface's description, in /usr/share/dbus-1/interfaces. Needs
python3-jeepney.
"""
import sys
import xml.etree.ElementTree as ElementTree

from jeepney import DBusAddress, MessageType, new_method_call
from jeepney.io.blocking import open_dbus_connection

INTERFACE = "otn.OBsetPortParams_1_0"
DAEMON = DBusAddress("/otn/Trelvik/IssSetLanWanAsync", "otn.Trelvik", INTERFACE)
LIMIT = 30
"""Seconds; a request is answered once ISS has carried it out."""


def arguments_of(method, direction):
    """[(name, type)] of a method of the interface."""
    tree = ElementTree.parse(f"/usr/share/dbus-1/interfaces/{INTERFACE}.xml")
    return [(argument.get("name"), argument.get("type"))
            for argument in tree.findall(f".//method[@name='{method}']/arg[@direction='{direction}']")]


def call(method, **values):
    """Calls a method with its arguments by name; those that are not named are 0. Returns the reply by name."""
    wanted = arguments_of(method, "in")
    body = tuple(values.pop(name, False if kind == "b" else 0) for name, kind in wanted)
    assert not values, f"{method} has no argument {', '.join(values)}"
    with open_dbus_connection(bus="SYSTEM") as connection:
        signature = "".join(kind for _, kind in wanted)
        reply = connection.send_and_get_reply(new_method_call(DAEMON, method, signature, body), timeout=LIMIT)
    if reply.header.message_type == MessageType.error:
        sys.exit(f"port-peer.py: {reply.body[0] if reply.body else 'the daemon refused'}")
    return dict(zip((name for name, _ in arguments_of(method, "out")), reply.body))


def main():
    if len(sys.argv) != 2 or not sys.argv[1].isdigit():
        sys.exit(__doc__.split("\n\n")[1])
    reply = call("setPortParams", action=1, ifType=6, portNr=int(sys.argv[1]), ifSpeed=1000, bConfigure=True)
    print(f"port {reply['portNr']} is set up")


if __name__ == "__main__":
    main()
