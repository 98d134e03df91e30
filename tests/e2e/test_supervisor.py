"""What a supervisor is told while the daemon runs."""
import os
import socket
import time

import pytest

from trelvik import record
from trelvik.board import LOST
from trelvik.wait import SLOW, until


class Supervisor:
    """The socket on which systemd hears of a service."""

    def __init__(self, board):
        self.path = os.path.join(board.dir, "notify")
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(self.path)
        self._socket.setblocking(False)
        self.lines = []

    @property
    def env(self):
        return {"NOTIFY_SOCKET": self.path}

    def told(self, start, deadline=None):
        """Waits for a line that begins so and was not asked for before."""
        def found():
            try:
                while True:
                    self.lines.append(self._socket.recv(4096).decode())
            except BlockingIOError:
                pass
            while self.lines:
                line = self.lines.pop(0)
                if line.startswith("STATUS=" + start):
                    return line
            return None
        return until(found, f"the supervisor is told {start!r}", deadline)

    def close(self):
        self._socket.close()


@pytest.fixture
def supervisor(board):
    made = Supervisor(board)
    yield made
    made.close()


def test_supervisor_is_told_each_change_of_the_link(board, supervisor):
    board.connected(env=supervisor.env)
    supervisor.told("connected to ISS, ISS not ready; nothing with ISS; ")
    board.make_ready()
    supervisor.told("ISS ready; ")
    board.ops.drop()
    board.log.wait(LOST)
    supervisor.told("not connected to ISS; ")


@pytest.mark.takes(60)
def test_supervisor_is_told_every_30_seconds(board, supervisor):
    board.up(env=supervisor.env)
    supervisor.told("ISS ready; ")
    since = time.monotonic()
    call = board.bus.set_port_params(3, 4)
    request = board.ops.expect(record.IFC_INSERT_DELETE_IND)
    line = supervisor.told("ISS ready; IFC_INSERT_DELETE_IND [7] of IssSetLanWanAsync with ISS for ", 35 * SLOW)
    assert 29 <= time.monotonic() - since <= 30 + 2 * SLOW
    assert "; ring 1, waiting 0; sent 1, " in line
    board.ops.answer(request)
    call.reply()


def test_supervisor_that_has_gone_does_not_matter(board, supervisor):
    board.up(env=supervisor.env)
    os.unlink(supervisor.path)
    board.ops.drop()
    board.log.wait(LOST)
    board.ops.accept(deadline=10)
    board.make_ready()
    board.alive()
