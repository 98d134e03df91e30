"""What scripts/board is made of, by itself."""
import os
import socket
import subprocess
import time

from board import lines, programs
from trelvik.places import REPO
from trelvik.wait import until


def test_line_said_first_and_heard_last_stands_first():
    now = lines.now_ms()
    order = lines.Order()
    order.add(lines.Line(now, "iss", "second"))
    order.add(lines.Line(now - 50, "Trelvik", "first"))
    order.add(lines.Line(now, "board", "third"))
    assert not list(order.take()) and 0 < order.wait() <= lines.WINDOW
    assert [line.text for line, in until(lambda: list(order.take()), "lines are due")] == ["first", "second", "third"]
    order.add(lines.Line(now - 50, "Trelvik", "too late"))
    (late,), = order.take(everything=True)
    assert late.ms >= now


def test_stamps_of_the_parties_become_the_one_clock():
    midnight = 1000 * int(time.mktime((2026, 3, 14, 0, 0, 0, 0, 0, -1)))
    assert programs.time_of_day("00:00:01.250 <- X", midnight + 1300) == (midnight + 1250, "<- X")
    assert programs.time_of_day("23:59:59.990 <- X", midnight + 5) == (midnight - 10, "<- X")
    assert programs.time_of_day("no stamp", 7) == (7, "no stamp")
    assert programs.time_of_epoch("12.345678 kick OPS", 99999) == (12345, "kick OPS")
    assert programs.time_of_epoch("no stamp", 7) == (7, "no stamp")


def test_syslog_line_has_the_time_at_which_it_was_sent(tmp_path):
    heard, path = [], str(tmp_path / "log")
    syslog = programs.Syslog(programs.Loop(), lambda *line: heard.append(line), path)
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
        before = lines.now_ms()
        sender.sendto(b"<30>Nov 21 15:03:47 Trelvik: [INFO] said\n", path)
    after = lines.now_ms()
    until(lambda: lines.now_ms() > after + 20, "it is heard later than it was said")
    syslog.read()
    ((ident, text, ms, priority),) = heard
    assert (ident, text, priority) == ("Trelvik", "[INFO] said", 30)
    assert before <= ms <= after


def test_bus_is_there_when_it_takes_a_connection(tmp_path):
    path = str(tmp_path / "bus")
    assert not programs.listens(path)
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as bus:
        bus.bind(path)
        assert not programs.listens(path)
        bus.listen()
        assert programs.listens(path)


def test_board_needs_no_packages_of_the_tests():
    def packages(*section):
        return subprocess.run(["bash", "-c", '. "$repo/scripts/lib/common.sh"; list_packages "$@"', "--", *section],
                              env={**os.environ, "repo": REPO}, capture_output=True, text=True,
                              check=True).stdout.split()
    board, test = packages("board"), packages("test")
    assert {"bubblewrap", "dbus", "g++", "python3-jeepney"} <= set(board)
    assert {"g++-arm-linux-gnueabihf", "qemu-user", "clang-tidy", "python3-pytest"} <= set(test)
    assert not set(board) & set(test) and packages() == board + test
