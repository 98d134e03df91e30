#!/usr/bin/python3
"""Starts and stops ISS many times under load of the other interfaces; in scripts/sandbox.

Each trigger comes behind requests to the other services. OPS answers these once the trigger blocks the bus
thread, and each reply must come while it does; calls made meanwhile must wait. Prints the longest time from
an answer of OPS to the reply on the bus, and the longest between two kicks of a monitored activity. Exits 1
when something was not as expected.
"""
import argparse
import os
import sys
import threading
import time

from trelvik import record
from trelvik.board import Board
from trelvik.bus import COMMON, PATH, SMART_SFP, SYNC_E
from trelvik.iss_mgr import CREATE, FLUSH, LLDP, MRP_GLOB, Rule
from trelvik.life_cycle import MARKER, STARTED, STOPPED, WORKER, install, mark, trigger
from trelvik.wait import until

EXPECTED_DELAY = 0.05
EXPIRES = 120.0
"""Seconds without a kick after which the monitor acts."""
NAMES = {STARTED: "STARTED", STOPPED: "STOPPED"}


def requests(board):
    """One message to OPS each; with the redundancy state, 17 messages, which the ring takes at once."""
    bus = board.bus
    made = [bus.set_port_params(3, port) for port in (1, 2, 3, 4)]
    made += [Rule(MRP_GLOB, CREATE).call(board), Rule(LLDP, CREATE).call(board)]
    made += [Rule(FLUSH, CREATE, flush=1).call(board) for _ in range(2)]
    made += [bus.call(SYNC_E, "setSyncEParam", "uuuuuuuuu", 0, 12, 1, 14, 15, 0, 17, 18, 19) for _ in range(4)]
    made += [bus.call(SMART_SFP, "setSmartSfpParams", "uuuuus", 0, 77, 1, 3, 4, "1:128:194:0") for _ in range(4)]
    return made


class Introspection:
    """A peer that reads the interfaces' descriptions without a pause; the bus thread has no part in it."""

    def __init__(self, board):
        self.count = 0
        self.longest = 0.0
        self._peer = board.peer()
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        while not self._stop.is_set():
            start = time.monotonic()
            self._peer.introspect(PATH + "TrelvikOchTriggerAsync")
            self.longest = max(self.longest, time.monotonic() - start)
            self.count += 1

    def close(self):
        self._stop.set()
        self._thread.join()


def one_trigger(board, manager, state, delays):
    since = board.log.mark()
    earlier = requests(board)
    manager.set_redundant_state(3)
    call = trigger(board.bus, state)
    board.log.wait(f"[DEBUG1] {WORKER}{NAMES[state]}", since)
    later = [board.bus.call(COMMON, "get_trace_level") for _ in range(20)]
    board.ops.send(record.make(record.WATCH_DOG_INTERVAL))
    answered = 0
    while answered < len(earlier):
        request = board.ops.receive()
        start = time.monotonic()
        board.ops.answer(request)
        if record.type_of(request) != record.REDUNDANCY_STATE:
            answered += 1
            until(lambda expected=answered: sum(each.answered for each in earlier) == expected,
                  "the reply to an earlier call")
            delays.append(time.monotonic() - start)
    assert not call.answered, "the trigger was answered before its marker was there"
    assert not any(each.answered for each in later), "a later call overtook the trigger"
    if state == STARTED:
        mark()
    else:
        os.unlink(MARKER)
    assert call.reply(30) == (state, True)
    for each in earlier + later:
        each.reply()


def longest_gaps(cam, end):
    """By activity, the longest time between two kicks, from its registration to the end."""
    last, longest = {}, {}
    for when, op, rest in cam.timed() + [(end, "kick", name) for name in ("main", "OPS")]:
        if op in ("register", "kick"):
            name = rest.split(" ")[0]
            longest[name] = max(longest.get(name, 0.0), float(when) - last.get(name, float(when)))
            last[name] = float(when)
    return longest


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--count", type=int, default=100)
    options = parser.parse_args()
    board = Board()
    manager = board.peer()
    manager.serve("getRedundantState", ("i", (15,)))
    manager.request_name("otn.redundancyManager")
    install()
    board.up(level=7)
    introspection = Introspection(board)
    delays = []
    start = time.monotonic()
    done = 0
    try:
        while done < options.count:
            one_trigger(board, manager, STOPPED if done % 2 else STARTED, delays)
            done += 1
    except AssertionError as error:
        print(f"trigger {done}: {str(error)[:2000]}", flush=True)
    took = time.monotonic() - start
    introspection.close()
    gaps = longest_gaps(board.cam, time.time())
    bad = board.log.bad()
    expired = board.cam.ops("expired")
    board.stop()
    delays.sort()
    print(f"{done} triggers in {took:.1f} s, {len(delays)} replies while the bus thread was blocked")
    if delays:
        print(f"from OPS's answer to the reply: longest {delays[-1] * 1000:.1f} ms "
              f"(expected: less than {EXPECTED_DELAY * 1000:.0f}), median {delays[len(delays) // 2] * 1000:.1f} ms")
    print(f"introspections meanwhile: {introspection.count}, longest {introspection.longest * 1000:.1f} ms")
    print("longest between two kicks: " + ", ".join(f"{name} {gap:.1f} s" for name, gap in sorted(gaps.items())))
    for line in bad:
        print(f"unexpected: {line!r}")
    return 1 if done < options.count or bad or expired or max(gaps.values()) >= EXPIRES else 0


if __name__ == "__main__":
    sys.exit(main())
