#!/usr/bin/python3
"""Stops the installed daemon at random moments under load; in scripts/sandbox.

Prints how long the stops took and how the daemon ended. Exits 1 when one took more than 2 s or ended with
another status than 0.
"""
import argparse
import os
import random
import socket
import subprocess
import sys
import time
from collections import Counter
from signal import SIGTERM

from trelvik import record
from trelvik.board import Board
from trelvik.ops import ADDRESS
from trelvik.places import PREFIX, iss_sim, module

LIMIT = 2.0
STRESS = os.path.join(os.path.dirname(PREFIX), "bench", "trelvik-stress")
ANSWER = record.answer(record.make(record.IFC_INSERT_DELETE_IND))


class Iss:
    """OPS as one of the loads wants it: answering, mute, deaf, or not there."""

    KINDS = ("answers", "mute", "deaf", "absent")

    def __init__(self, kind):
        self.simulator = None
        self.peer = None
        if kind == "answers":
            self.simulator = subprocess.Popen([iss_sim(PREFIX), "--quiet"],
                                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        elif kind in ("mute", "deaf"):
            self.peer = subprocess.Popen([*module("stress.stops"), "--peer", kind],
                                         stdout=subprocess.PIPE)
            self.peer.stdout.readline()

    def close(self):
        for process in (self.simulator, self.peer):
            if process is not None:
                process.kill()
                process.wait()


def peer(kind):
    """Reports ISS ready, then reads without answering, or answers without reading."""
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    listener.bind(ADDRESS)
    listener.listen()
    print("listening", flush=True)
    while True:
        client, _ = listener.accept()
        try:
            client.sendall(record.reloaded())
            while kind == "mute" and client.recv(65536):
                pass
            while kind == "deaf":
                client.sendall(ANSWER)
                time.sleep(0.0005)  # the load: answers by the clock, so that the daemon's sends fill every buffer
        except OSError:
            pass  # the daemon has gone


def blocks_sigterm(pid):
    """main has run its first statement."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        for line in status:
            if line.startswith("SigBlk:"):
                return int(line.split()[1], 16) >> (SIGTERM - 1) & 1 == 1
    return False


def one_stop(board, chance):
    kind = chance.choice(Iss.KINDS)
    iss = Iss(kind)
    board.start(ops=False)
    daemon = board.daemon
    while not blocks_sigterm(daemon.pid):
        assert daemon.poll() is None, "the daemon ended by itself"
    after = chance.choice((0.0, chance.uniform(0, 0.1), chance.uniform(0, 3.0)))
    load = None
    until = time.monotonic() + after
    if after > 0.1:
        environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=board.bus_address)
        load = subprocess.Popen(
            [STRESS, "--count", "1000000", "--window", str(chance.choice((8, 40, 120))), "--action",
             str(chance.choice((1, 3, 5)))],
            env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if chance.random() < 0.4:
            subprocess.Popen(
                ["busctl", "--address=" + board.bus_address, "call", "otn.Trelvik", "/otn/Trelvik/ob_common",
                 "otn.OBcommon_1_0", "set_trace_level", "i", "9"],
                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).wait()
    time.sleep(max(0.0, until - time.monotonic()))
    start = time.monotonic()
    daemon.send_signal(SIGTERM)
    try:
        status = daemon.wait(20)
    except subprocess.TimeoutExpired:
        status = "hangs"
        daemon.kill()
        daemon.wait()
    took = time.monotonic() - start
    board.daemon = None
    if load is not None:
        load.kill()
        load.wait()
    iss.close()
    return kind, after, status, took


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--count", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--peer", choices=("mute", "deaf"), help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.peer:
        peer(options.peer)
    chance = random.Random(options.seed)
    board = Board()
    board.start_bus()
    statuses, times, bad = Counter(), [], 0
    for number in range(options.count):
        kind, after, status, took = one_stop(board, chance)
        statuses[status] += 1
        times.append(took)
        if status != 0 or took > LIMIT:
            bad += 1
            print(f"stop {number}: ISS {kind}, after {after:.3f} s: status {status}, {took:.3f} s", flush=True)
    times.sort()
    print(f"{options.count} stops: longest {times[-1]:.3f} s, median {times[len(times) // 2]:.3f} s, "
          f"exit statuses {dict(statuses)}")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
