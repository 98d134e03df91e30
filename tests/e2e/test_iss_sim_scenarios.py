"""The gallery of scenarios, each played to the daemon."""
import os
import time

from trelvik import record
from trelvik.board import CONNECTED, CSM_BOARD, LOST
from trelvik.files import write, write_script
from trelvik.places import COMMIT_MARKER, OPEN_PORTS, READY_MARKER, RELOAD_MARKER
from trelvik.wait import SLOW, until

RETRY = 7 * SLOW
PROBE = "IFC_INSERT_DELETE_IND"
READY = "[INFO] main:396 (main) - MSR reload succeeded"
CORRUPTED = "CORRUPTED CONFIG FILE! REMOVED ISS CONFIG AND REBOOT!\n"
OUTSTANDING = "[NOTICE] main:* (main) - *outstanding*"


def play(board, gallery, **options):
    iss = board.start_iss(gallery=gallery)
    board.start(ops=False, **options)
    board.log.wait(CONNECTED)
    return iss


def seconds(line):
    """The time of a line of the simulator, within a day."""
    hours, minutes, rest = line.split(" ", 1)[0].split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


def test_clean_start(board):
    iss = play(board, "clean-start.sim")
    board.log.sequence(["[INFO] main:355 (main) - OPS ready to receive messages.\n", READY])
    board.wait_file(READY_MARKER)
    assert os.path.exists(RELOAD_MARKER)
    call = board.bus.set_port_params(3, 4)
    assert call.reply()[0] == 3
    iss.wait(f"* <- {PROBE} *")
    assert board.cam.reports() == []


def test_first_start_of_a_csm_board(board):
    write(record.DEFAULT_SCRIPT, "configure terminal\nend\n")
    write_script(OPEN_PORTS, "touch /tmp/ports_opened")
    iss = play(board, "csm-first-start.sim", name=CSM_BOARD)
    board.log.sequence(["[INFO] main:355 (main) - OPS ready to receive messages.\n",
                        "[INFO] main:362 (main) - Creating default.conf!\n",
                        "[INFO] main:380 (main) - default.conf created!\n"])
    board.wait_file(READY_MARKER)
    assert os.path.exists(COMMIT_MARKER) and os.path.exists("/tmp/ports_opened")
    assert not os.path.exists(RELOAD_MARKER)
    iss.wait(f"* <- RUN_DEFAULT_SCRIPT_COMMAND * inputFile={record.DEFAULT_SCRIPT} *")
    assert board.bus.set_port_params(3, 4).reply()[0] == 3


def test_failed_restore(board):
    board.expect_log("[CRITICAL] main:428 (main) - MSR RELOAD FAILED!")
    play(board, "failed-restore.sim")
    board.cam.wait_report(CORRUPTED)
    assert not os.path.exists(READY_MARKER)
    call = board.bus.set_port_params(3, 4)
    board.log.wait(LOST)
    assert not call.answered
    board.log.wait(READY, deadline=RETRY)
    assert call.reply()[0] == 3


def test_failed_restore_on_a_csm_board(board):
    for line in ("[CRITICAL] main:428 (main) - MSR RELOAD FAILED!",
                 "[CRITICAL] main:340 (main) - CONNECTION TO OPS LOST\n",
                 "[ERROR] main:803 (deletePersistentIssConfig) - Delete iss folder on flash *"):
        board.expect_log(line)
    os.makedirs("/flash/config/current")
    os.makedirs("/flash/config/c1/iss")
    write("/flash/config/current/selected.txt", "dir /flash/config/c1\n")
    write(COMMIT_MARKER, "")
    write_script(OPEN_PORTS)
    play(board, "failed-restore.sim", name=CSM_BOARD)
    board.cam.wait_report(CORRUPTED)
    assert not os.path.exists("/flash/config/c1/iss")
    board.cam.wait_report("CONNECTION TO OPS LOST !\n")
    board.log.wait(READY, deadline=RETRY)
    assert board.bus.set_port_params(3, 4).reply()[0] == 3


def test_flapping_link(board):
    board.bus.subscribe("linkStatusChange")
    play(board, "flapping-link.sim")
    board.bus.wait_signal("linkStatusChange", count=41, deadline=10 * SLOW)
    assert board.alive()
    changes = [s.body for s in board.bus.signals if len(s.body) == 3]
    assert [up for port, _, up in changes if port == 5] == [False, True] * 20
    assert [change for change in changes if change[0] == 6] == [(6, True, False)]


def test_cpu_alarm_storm(board):
    play(board, "cpu-alarm-storm.sim")
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread L2 learning\n")
    for port in range(1, 11):
        assert board.bus.set_port_params(3, port).reply()[2] == port
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread L2 learning\n", count=500,
                   deadline=10 * SLOW)
    board.log.wait("[INFO] main:444 (main) - CPU exceeds threshold for thread RSTP\n", count=50)
    assert board.cam.reports() == []


def test_slow_iss(board):
    iss = play(board, "slow-iss.sim")
    early = board.bus.set_port_params(3, 1)
    board.log.wait("[INFO] main:355 (main) - OPS ready to receive messages.\n")
    assert not iss.lines(f"* <- {PROBE} *")
    board.log.wait(READY)
    calls = [early] + [board.bus.set_port_params(3, port) for port in (2, 3, 4, 5)]
    for port, call in enumerate(calls, start=1):
        assert call.reply(10 * SLOW)[2] == port
    # One at a time: each goes out with the answer to the one before.
    times = [seconds(line) for line in iss.lines(f"* <- {PROBE} *")]
    assert len(times) == 5
    assert all(0.39 < later - earlier for earlier, later in zip(times, times[1:]))
    assert board.cam.reports() == []


def test_restart_under_load(board):
    iss = play(board, "iss-restart-under-load.sim")
    board.wait_file(READY_MARKER)
    calls = [board.bus.set_port_params(3, port) for port in range(1, 13)]
    # The daemon's workers queue them in an order of their own.
    board.log.wait(LOST)
    until(lambda: sum(call.answered for call in calls) == 4, "four replies")
    iss.wait("* ISS is gone")
    board.log.wait(CONNECTED, count=2, deadline=RETRY)
    board.log.wait(OUTSTANDING)
    for port, call in enumerate(calls, start=1):
        assert call.reply()[2] == port
    # What was lost was not sent again.
    assert len(iss.lines(f"* <- {PROBE} *")) == 12


def test_hostile_iss(board):
    board.expect_log("[ERROR] main:624 (main) - unexpected message received from OPS\n")
    board.expect_refused()
    iss = play(board, "hostile-iss.sim")
    board.wait_file(READY_MARKER)
    calls = []
    nudged = [0.0]

    def unstick():
        """What an answer that was lost leaves waiting needs one more, from whomever."""
        if all(call.answered for call in calls):
            return True
        if time.monotonic() - nudged[0] > 0.3:
            nudged[0] = time.monotonic()
            iss.inject(f'send {PROBE} errorString="No Error\\r\\n" isResponse=1')
        return False

    for port in range(1, 25):
        nudged[0] = time.monotonic()
        for action in (3, 4):
            calls.append(board.bus.set_port_params(action, port))
        until(unstick, f"answers for port {port}", 20 * SLOW)
    assert board.alive()
    for fault in ("drop", "delay", "duplicate", "type", "error-length", "split", "merge", "garbage", "flood"):
        assert iss.lines(f"* rule: *any {fault}*"), f"{fault} did not happen"
    board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n")
    # Good again, ISS is served as if nothing had been.
    iss.inject("clear all")
    iss.inject("close")
    board.log.wait(CONNECTED, count=2, deadline=RETRY)
    board.log.wait(READY, count=2)
    for port in range(1, 6):
        assert board.bus.set_port_params(3, port).reply()[2] == port


def test_gallery_is_complete():
    gallery = os.listdir(os.path.join(os.path.dirname(__file__), "..", "..", "sim", "scenarios"))
    with open(__file__, encoding="utf-8") as tests:
        played = tests.read()
    assert gallery and [name for name in gallery if f'"{name}"' not in played] == []
