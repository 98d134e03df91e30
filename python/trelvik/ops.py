"""OPS, scripted: a real TCP peer on 127.0.0.1:8000 that does what the test says and nothing else."""
import select
import socket
import struct
import time

from . import record
from .wait import DEADLINE, until

ADDRESS = ("127.0.0.1", 8000)


class Ops:
    def __init__(self, backlog=1, receive_buffer=None):
        self._listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        if receive_buffer:
            self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self._listener.bind(ADDRESS)
        self._listener.listen(backlog)
        self._peer = None
        self._pending = b""

    def accept(self, deadline=None):
        self._listener.settimeout(DEADLINE if deadline is None else deadline)
        try:
            self._peer, _ = self._listener.accept()
        except TimeoutError:
            raise AssertionError("not in time: a connection to OPS") from None
        self._peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._pending = b""

    def receive(self, deadline=None):
        """The next whole record from the daemon."""
        end = time.monotonic() + (DEADLINE if deadline is None else deadline)
        while len(self._pending) < record.SIZE:
            self._peer.settimeout(max(0.01, end - time.monotonic()))
            try:
                part = self._peer.recv(record.SIZE - len(self._pending))
            except TimeoutError:
                raise AssertionError(
                    f"not in time: a record from the daemon ({len(self._pending)} bytes came)") from None
            assert part, "the daemon closed the connection"
            self._pending += part
        complete, self._pending = self._pending, b""
        return complete

    def expect(self, msg_type, deadline=None, **fields):
        """The next record, which must have this type and these field values."""
        got = self.receive(deadline)
        assert record.type_of(got) == msg_type, f"expected type {msg_type}, got {record.show(got)}"
        for name, value in fields.items():
            assert record.field(got, name) == value, f"{name} is {record.field(got, name)!r}, not {value!r}"
        return got

    def silent(self):
        """True when nothing waits to be read. Proves nothing by itself: await a later event first."""
        if self._pending:
            return False
        readable, _, _ = select.select([self._peer], [], [], 0)
        return not readable

    def send(self, raw):
        """Sends one record, or any bytes, in one piece."""
        self._peer.settimeout(DEADLINE)
        self._peer.sendall(raw)

    def send_if_open(self, raw):
        """As send, and nothing when the daemon has closed the connection."""
        try:
            self.send(raw)
        except (BrokenPipeError, ConnectionResetError):
            pass

    def answer(self, request, **changes):
        self.send(record.answer(request, **changes))

    def serve(self, msg_type, error=record.NO_ERROR, **fields):
        """Expects a record of this type with these field values and answers it; returns the request."""
        request = self.expect(msg_type, **fields)
        self.answer(request, error=error)
        return request

    def wait_all_read(self):
        """Until the daemon's kernel has taken and the daemon has read all that was sent."""
        def drained():
            raw = self._peer.getsockopt(socket.IPPROTO_TCP, socket.TCP_INFO, 32)
            return struct.unpack_from("<I", raw, 24)[0] == 0  # tcpi_unacked
        until(drained, "everything sent to the daemon is acknowledged")

    def end_of_stream(self, deadline=None):
        """Waits until the daemon has closed its side; what it still sent is thrown away."""
        self._peer.settimeout(DEADLINE if deadline is None else deadline)
        while self._peer.recv(65536):
            pass

    def drop(self, reset=False):
        """Closes the connection; with `reset` without the courtesy of an orderly end."""
        if reset:
            self._peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self._peer.close()
        self._peer = None

    def close_listener(self):
        """From now on connections are refused."""
        self._listener.close()

    def close(self):
        if self._peer is not None:
            self._peer.close()
        self._listener.close()
