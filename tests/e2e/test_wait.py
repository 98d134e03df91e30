"""How the tests wait."""
import pytest

from trelvik import wait


class Clock:
    """Stands in for the module `time`: a step of sleep takes `step` seconds."""

    def __init__(self, step=None):
        self.now, self.step = 0, step

    def monotonic(self):
        return self.now

    def sleep(self, seconds):
        self.now += self.step or seconds

    def look(self, seconds=0):
        """A condition that never holds, and takes so long."""
        self.now += seconds


@pytest.fixture
def clock(monkeypatch):
    one = Clock()
    monkeypatch.setattr(wait, "time", one)
    return one


def test_what_does_not_come_is_told_at_the_deadline(clock):
    with pytest.raises(AssertionError, match="^not in time: the day$"):
        wait.until(clock.look, "the day", 2)
    assert 2 <= clock.now < 2.01


def test_condition_uses_the_time_up_that_it_takes(clock):
    with pytest.raises(AssertionError, match="^not in time: the day$"):
        wait.until(lambda: clock.look(1.5), "the day", 2)
    assert 3 <= clock.now < 3.01


def test_machine_that_stands_still_uses_no_time_up_and_is_told(clock):
    clock.step = 10.1
    with pytest.raises(AssertionError, match="^not in time: the day; the machine stood still for 210.0 s besides$"):
        wait.until(clock.look, "the day", 2.05)


def test_what_holds_at_the_last_look_is_in_time(clock):
    assert wait.until(lambda: clock.now >= 2, "two o'clock", 2) is True
