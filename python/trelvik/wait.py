"""Waiting on a condition with a deadline."""
import os
import time

SLOW = float(os.environ.get("TRELVIK_SLOWNESS", "3" if os.environ.get("TRELVIK_LAUNCHER") else "1"))
"""How many times longer than natively everything may take (sanitizers, emulation)."""

DEADLINE = 5 * SLOW
"""Seconds for anything that happens at once."""

STEP = 0.002

STANDSTILL = 0.1
"""Seconds that one STEP counts at most. One that took longer was none of ours: a virtual machine may stand still for
seconds, and whoever waits may be the first that it wakes."""


def until(condition, what, deadline=None):
    """Returns the condition's first true value; fails when the deadline passes before there is one. What the condition
    itself takes counts in full."""
    left = DEADLINE if deadline is None else deadline
    stood = 0
    while True:
        began = time.monotonic()
        value = condition()
        if value:
            return value
        looked = time.monotonic()
        left -= looked - began
        if left < 0:
            still = f"; the machine stood still for {stood:.1f} s besides" if stood else ""
            raise AssertionError(f"not in time: {what() if callable(what) else what}{still}")
        time.sleep(STEP)
        slept = time.monotonic() - looked
        left -= min(slept, STANDSTILL)
        stood += max(slept - STANDSTILL, 0)
