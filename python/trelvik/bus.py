"""Peers on the private bus: callers of the daemon, receivers of its signals, the redundancy manager."""
import socket
import threading

from jeepney import (DBusAddress, HeaderFields, MessageFlag, MessageType, new_error, new_method_call,
                     new_method_return, new_signal)
from jeepney.io.blocking import open_dbus_connection

from .wait import DEADLINE, until

NAME = "otn.Trelvik"
PATH = "/otn/Trelvik/"
COMMON = (PATH + "ob_common", "otn.OBcommon_1_0")
PORT_PARAMS = (PATH + "IssSetLanWanAsync", "otn.OBsetPortParams_1_0")
SYNC_E = (PATH + "IssSetSyncEAsync", "otn.OBsetSyncEParams_1_0")
SMART_SFP = (PATH + "IssSetSmartSfpAsync", "otn.OBsetSmartSfpParams_1_0")
MANAGER = "otn.redundancyManager"
REDUNDANCY = ("/otn/redundancyManager/redundant_state_signal", "otn.OBredundantInfo_1_0")
INTROSPECTABLE = "org.freedesktop.DBus.Introspectable"
HANG = object()
"""As the answer of `Bus.serve`: none."""


class BusError(Exception):
    def __init__(self, message):
        super().__init__(message.header.fields[HeaderFields.error_name], *message.body)
        self.name = self.args[0]
        self.text = self.args[1] if len(self.args) > 1 else ""


class Call:
    """A method call that was sent; its reply may be awaited, or not."""

    def __init__(self, bus, serial, what):
        self._bus = bus
        self._serial = serial
        self._what = what

    @property
    def answered(self):
        return self._serial in self._bus.replies

    def reply(self, deadline=None):
        until(lambda: self.answered, f"reply to {self._what}", deadline)
        message = self._bus.replies[self._serial]
        if message.header.message_type == MessageType.error:
            raise BusError(message)
        return message.body

    def error(self, deadline=None):
        """The name of the error that the call must get."""
        return self.refusal(deadline).name

    def refusal(self, deadline=None):
        """The error that the call must get."""
        try:
            body = self.reply(deadline)
        except BusError as error:
            return error
        raise AssertionError(f"{self._what} was answered with {body}, not with an error")


class Bus:
    """One connection to the private bus, read by a thread of its own."""

    def __init__(self, address):
        self._connection = open_dbus_connection(bus=address)
        self.unique_name = self._connection.unique_name
        self.replies = {}  # by serial
        self.signals = []  # in order of arrival
        self.order = []  # serials of replies and members of signals, in order of arrival
        self.lost = False
        self._answers = {}
        self.served = []  # members of the calls that were served
        self._sending = threading.Lock()
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        try:
            while True:
                self._incoming(self._connection.receive())
        except (OSError, ValueError, KeyError):
            self.lost = True

    def _incoming(self, message):
        kind = message.header.message_type
        fields = message.header.fields
        if kind in (MessageType.method_return, MessageType.error):
            self.replies[fields[HeaderFields.reply_serial]] = message
            self.order.append(fields[HeaderFields.reply_serial])
        elif kind == MessageType.signal:
            self.signals.append(message)
            self.order.append(fields[HeaderFields.member])
        else:
            self._serve(message)

    def _serve(self, call):
        member = call.header.fields[HeaderFields.member]
        answer = self._answers.get(member)
        if callable(answer):
            answer = answer()
        if answer is HANG:
            pass
        elif answer is None:
            self.send(new_error(call, "org.freedesktop.DBus.Error.UnknownMethod"))
        elif isinstance(answer, str):
            self.send(new_error(call, answer))
        else:
            self.send(new_method_return(call, *answer))
        self.served.append(member)

    def serve(self, member, answer):
        """Answers calls of `member` with (signature, body), with an error of the name given, or with HANG; a
        function is called for the answer, on the reading thread."""
        self._answers[member] = answer

    def send(self, message):
        with self._sending:
            serial = next(self._connection.outgoing_serial)
            self._connection.send(message, serial=serial)
        return serial

    def call(self, where, member, signature=None, *body, name=NAME, expect_reply=True):
        path, interface = where
        message = new_method_call(DBusAddress(path, name, interface), member, signature, body)
        if not expect_reply:
            message.header.flags = MessageFlag.no_reply_expected
        return Call(self, self.send(message), f"{member}{body}"[:200])

    def signal(self, where, member, signature=None, *body, to=None):
        path, interface = where
        message = new_signal(DBusAddress(path, None, interface), member, signature, body)
        if to is not None:
            message.header.fields[HeaderFields.destination] = to
        self.send(message)

    def bus(self, member, signature=None, *body):
        return self.call(("/org/freedesktop/DBus", "org.freedesktop.DBus"), member, signature, *body,
                         name="org.freedesktop.DBus").reply()

    def owner_of(self, name):
        return self.bus("GetNameOwner", "s", name)[0]

    def request_name(self, name):
        (result,) = self.bus("RequestName", "su", name, 4)
        assert result == 1, f"{name} not taken: {result}"

    def subscribe(self, member):
        self.bus("AddMatch", "s", f"type='signal',member='{member}'")

    def wait_signal(self, member, count=1, deadline=None):
        """The body of the count-th signal of that name."""
        def found():
            bodies = [(s.body, s.header.fields) for s in self.signals
                      if s.header.fields[HeaderFields.member] == member]
            return bodies[count - 1] if len(bodies) >= count else None
        return until(found, f"signal {member} (x{count})", deadline)

    # The daemon's interfaces.

    def set_trace_level(self, level):
        return self.call(COMMON, "set_trace_level", "i", level).reply()

    def get_trace_level(self):
        return self.call(COMMON, "get_trace_level").reply()

    def set_port_params(self, action, port, if_type=6, speed=1000, configure=True, ac_vlan=100, extra1=7,
                        extra2=8, **options):
        return self.call(PORT_PARAMS, "setPortParams", "uuuubuuu", action, if_type, port, speed, configure,
                         ac_vlan, extra1, extra2, **options)

    def set_redundant_state(self, state, to=None):
        self.signal(REDUNDANCY, "setRedundantState", "i", state, to=to)

    def introspect(self, path):
        return self.call((path, INTROSPECTABLE), "Introspect").reply()[0]

    def leave(self):
        if self._thread is None:
            return
        try:
            self._connection.sock.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass  # the bus went first
        self._thread.join(DEADLINE)
        self._connection.close()
        self._thread = None
