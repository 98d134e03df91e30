"""The operator's client: what the doctor finds."""
import os

from trelvik.board import READY_MARKER
from trelvik.ctl import FAILED, FakeDaemon, ctl, start
from trelvik.life_cycle import SCRIPT


def checks(board, **env):
    done = ctl(board, "doctor", "--json", **env)
    return done, {check["check"]: check for check in done.json["checks"]}


def test_doctor_finds_a_board_without_a_daemon(board):
    board.start_bus()
    if os.path.exists(SCRIPT):
        os.unlink(SCRIPT)
    done, found = checks(board)
    assert done.status == FAILED
    assert found["bus"]["state"] == "good"
    assert (found["daemon"]["state"], found["daemon"]["toDo"]) == ("bad", "systemctl start trelvik")
    assert (found["port 8000"]["state"], found["port 8000"]["found"]) == ("bad", "nobody listens")
    assert found["debug socket"]["state"] == "bad"
    assert found["start script"]["state"] == "bad"
    assert found["disk /tmp"]["state"] == "good"


def test_doctor_finds_a_daemon_at_work(board):
    start(board)
    board.wait_file(READY_MARKER)
    _, found = checks(board)
    assert found["port 8000"]["state"] == "good" and found["port 8000"]["found"].startswith("iss-sim (")
    assert found["daemon"]["found"].endswith(" owns otn.Trelvik") and found["policy"]["state"] == "good"
    assert found["marker /tmp/iss_is_ready"]["state"] == "good"
    assert found["debug socket"]["state"] == "good"
    assert (found["board MAC"]["state"], found["board MAC"]["found"]) == ("good", "00:1a:2b:3c:4d:5e")


def test_doctor_finds_no_bus(board):
    done, found = checks(board)
    assert done.status == FAILED and found["bus"]["state"] == "bad"
    assert "start dbus-daemon" in found["bus"]["toDo"]


def test_doctor_compares_versions(board):
    FakeDaemon(board, version="0.9.0")
    _, found = checks(board)
    assert found["version"]["state"] == "bad" and found["version"]["found"].startswith("daemon 0.9.0, trelvikctl ")
