"""The developer's tool on the debug socket."""
import os
import socket

from .wait import DEADLINE, until

SERVER = "/tmp/socket-server"
CLIENT = "/tmp/socket-client"


class DebugSocket:
    def __init__(self):
        self.sent = 0
        self.join()

    def join(self):
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        if os.path.exists(CLIENT):
            os.unlink(CLIENT)
        self._socket.bind(CLIENT)

    def send(self, raw):
        """Sends one datagram, as soon as the daemon's queue takes it."""
        self._socket.settimeout(DEADLINE)
        self._socket.sendto(raw, SERVER)
        self.sent += 1

    def receive(self, deadline=None):
        self._socket.settimeout(DEADLINE if deadline is None else deadline)
        try:
            return self._socket.recv(65536)
        except TimeoutError:
            raise AssertionError("not in time: a datagram on the debug socket") from None

    def receive_now(self):
        """A datagram that has arrived already, or None."""
        self._socket.setblocking(False)
        try:
            return self._socket.recv(65536)
        except BlockingIOError:
            return None

    def leave(self):
        self._socket.close()
        if os.path.exists(CLIENT):
            os.unlink(CLIENT)


def wait_for_server():
    until(lambda: os.path.exists(SERVER), "the debug socket's file")
