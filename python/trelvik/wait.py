"""Waiting on a condition with a deadline."""
import os
import time

SLOW = float(os.environ.get("TRELVIK_SLOWNESS", "3" if os.environ.get("TRELVIK_LAUNCHER") else "1"))
"""How many times longer than natively everything may take (sanitizers, emulation)."""

DEADLINE = 5 * SLOW
"""Seconds for anything that happens at once."""

STEP = 0.002


def until(condition, what, deadline=None):
    """Returns the condition's first true value; fails when the deadline passes before there is one."""
    end = time.monotonic() + (DEADLINE if deadline is None else deadline)
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not in time: {what() if callable(what) else what}")
        time.sleep(STEP)
