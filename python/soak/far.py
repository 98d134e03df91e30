"""A caller that is a process of its own, so that it can be stopped, or ended without a farewell.

As a program: far.py ADDRESS reads calls and tells replies, a JSON value a line."""
import json
import subprocess
import sys
import threading

from trelvik.bus import Bus, BusError
from trelvik.places import module
from trelvik.wait import DEADLINE, until


class FarCall:
    def __init__(self, peer, number):
        self.peer = peer
        self._number = number

    @property
    def answered(self):
        return self._number in self.peer.replies

    def reply(self, deadline=None):
        until(lambda: self.answered, "reply to a caller that is a process of its own", deadline)
        body, error = self.peer.replies[self._number]
        if error is not None:
            raise AssertionError(f"answered with the error {error}")
        return tuple(body)


class FarPeer:
    def __init__(self, address):
        self._process = subprocess.Popen([*module("soak.far"), address], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         text=True)
        self.replies, self.order, self._calls = {}, [], 0
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()
        until(lambda: self.order, "the caller on the bus", DEADLINE)
        self.order.clear()

    def _read(self):
        for told in self._process.stdout:
            number, *reply = json.loads(told)
            self.replies[number] = reply
            self.order.append(number)

    @property
    def pid(self):
        return self._process.pid

    def call(self, where, member, signature=None, *body, expect_reply=True):
        self._calls += 1
        self._process.stdin.write(json.dumps([self._calls, where, member, signature, body, expect_reply]) + "\n")
        self._process.stdin.flush()
        return FarCall(self, self._calls)

    def leave(self):
        """At once, whatever state it is in."""
        self._process.kill()
        self._process.wait()
        self._thread.join(DEADLINE)
        self._process.stdin.close()
        self._process.stdout.close()


def _tell(*words):
    print(json.dumps(words), flush=True)


def _reply_of(call):
    try:
        return call.reply(0), None
    except BusError as error:
        return None, error.name


def main():
    """Calls are made as they come; each reply is told once."""
    bus = Bus(sys.argv[1])
    waiting, ended = {}, threading.Event()

    def take():
        for asked in sys.stdin:
            number, where, member, signature, body, expect_reply = json.loads(asked)
            call = bus.call(where, member, signature, *body, expect_reply=expect_reply)
            if expect_reply:
                waiting[number] = call
        ended.set()
    threading.Thread(target=take, daemon=True).start()
    _tell(0)
    while not ended.wait(0.005):
        for number in [number for number, call in list(waiting.items()) if call.answered]:
            _tell(number, *_reply_of(waiting.pop(number)))


if __name__ == "__main__":
    main()
