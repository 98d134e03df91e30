"""Waiting on a condition with a deadline."""
import os
import time

SLOW = float(os.environ.get("TRELVIK_SLOWNESS", "3" if os.environ.get("TRELVIK_LAUNCHER") else "1"))
"""How many times longer than natively everything may take (sanitizers, emulation)."""

DEADLINE = 5 * SLOW
"""Seconds for anything that happens at once."""

STEP = 0.002

STANDSTILL = 0.1
"""Seconds that one look at a condition counts at most: a virtual machine may stand still for seconds, and whoever waits may
be the first that it wakes."""


def until(condition, what, deadline=None):
    """Returns the condition's first true value; fails when the deadline passes before there is one."""
    left = DEADLINE if deadline is None else deadline
    looked = time.monotonic()
    while True:
        value = condition()
        if value:
            return value
        if left < 0:
            raise AssertionError(f"not in time: {what() if callable(what) else what}")
        time.sleep(STEP)
        now = time.monotonic()
        left -= min(now - looked, STANDSTILL)
        looked = now
