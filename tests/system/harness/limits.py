"""Time limits, stretched by QDV_SLOW, and waiting for something to become true."""

import os
import time

SLOW = float(os.environ.get("QDV_SLOW", "1"))
PATIENCE = 30 * SLOW
"""Seconds after which a wait is given up. A sound agent is far quicker, also on a busy machine."""


def wait_until(condition, what):
    """Polls until condition() is true and returns its value."""
    end = time.monotonic() + PATIENCE
    while not (value := condition()):
        assert time.monotonic() < end, f"not within {PATIENCE:.0f} s: {what}"
        time.sleep(0.01)
    return value
