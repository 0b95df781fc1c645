"""Time limits, stretched by QDV_SLOW, and waiting for something to become true."""

import os
import time

SLOW = float(os.environ.get("QDV_SLOW", "1"))


def limit(seconds):
    return seconds * SLOW


def wait_until(condition, seconds, what):
    """Polls until condition() is true and returns its value; fails with `what` after the time limit."""
    end = time.monotonic() + limit(seconds)
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not within {limit(seconds):.0f} s: {what}")
        time.sleep(0.01)
