"""How the tests wait."""
import time

import pytest

from trelvik.wait import until


def test_what_does_not_come_is_told_after_the_deadline():
    began = time.monotonic()
    with pytest.raises(AssertionError, match="not in time: the day"):
        until(lambda: False, "the day", 0.2)
    assert time.monotonic() - began >= 0.2


def test_a_machine_that_stood_still_used_no_time_up():
    looks = []

    def second_look():
        looks.append(time.monotonic())
        while len(looks) == 1 and time.monotonic() < looks[0] + 0.5:
            pass
        return len(looks) == 2
    assert until(second_look, "the second look", 0.3)
