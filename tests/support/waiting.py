"""Waiting for what another process does."""

import time

PATIENCE = 120  # seconds for a condition to become true: it takes milliseconds, but the machine may be busy


def until(condition, what):
    """The first true value that `condition` gives."""
    end = time.monotonic() + PATIENCE
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not within {PATIENCE} s: {what}")
        time.sleep(0.02)
