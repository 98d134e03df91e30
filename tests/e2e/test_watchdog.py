"""The critical activity monitor: when the activities are kicked, and what a device that refuses does to the daemon."""
import signal

from trelvik import record
from trelvik.wait import SLOW


LIMIT = 32 + 3 * SLOW


def kicks_after_30_s(board, since, deadline=LIMIT):
    """Waits for the kicks at the time-out; `since` is the monitor's line from which the 30 s count."""
    board.cam.wait("kick", "OPS", deadline=deadline)
    lines = board.cam.timed()
    ours = lines.index(next(line for line in lines if line[1:] == ("kick", "OPS")))
    assert lines[ours - 1][1:] == ("kick", "main"), "main is kicked first"
    began = next(float(when) for when, *what in lines if tuple(what) == since)
    assert 29.5 < float(lines[ours][0]) - began < 31 + 2 * SLOW


def test_both_activities_are_kicked_after_30_s_of_silence(board):
    board.connected()
    kicks_after_30_s(board, ("register", "OPS"))
    assert board.cam.ops("kick") == ["main", "OPS"]


def test_input_does_not_put_the_kicks_off(board):
    board.connected()
    for _ in range(round(LIMIT)):
        try:
            board.cam.wait("kick", "OPS", deadline=1)
            break
        except AssertionError:
            board.sync_ops()
    kicks_after_30_s(board, ("register", "OPS"), deadline=1)


def test_interruption_begins_the_30_s_anew(board):
    board.connected()
    board.daemon.send_signal(signal.SIGPIPE)
    board.log.wait("[NOTICE] main:280 *")
    board.cam.wait("kick", "main")
    kicks_after_30_s(board, ("kick", "main"))
    assert board.cam.ops("kick") == ["main", "main", "OPS"]


def test_report_leaves_no_descriptor(board):
    board.expect_refused()
    board.up()
    for count in range(1, 4):
        call = board.bus.set_port_params(3, 1)
        board.ops.serve(record.IFC_INSERT_DELETE_IND, error="refused")
        call.reply()
        board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n", count)
        board.sync_ops()
        lines = board.cam.lines()[-3:]
        assert [op for op, _ in lines] == ["open", "report", "close"]
        assert lines[0][1] == lines[2][1]


def test_refused_registration_leaves_no_descriptor(board):
    board.cam.refuse("register")
    board.up()
    board.sync_ops()
    lines = board.cam.lines()
    assert [line for line in lines if line[0] not in ("open", "close")] == [
        ("refused", "register main"), ("refused", "register OPS")]
    assert [op for op, _ in lines] == ["open", "refused", "close"] * 2
    assert lines[0][1] == lines[2][1] and lines[3][1] == lines[5][1]
    board.daemon.send_signal(signal.SIGPIPE)
    board.log.wait("[NOTICE] main:280 *")
    board.sync_ops()
    assert board.cam.lines() == lines, "nothing to kick"
    board.cam.refuse()
    board.ops.drop()
    board.ops.accept(7 * SLOW)
    board.cam.wait("register", "OPS")
    board.stop()
    assert board.cam.ops("unregister") == ["OPS"]


def test_activity_without_its_time_out_is_kicked_all_the_same(board):
    board.cam.refuse("timeout")
    board.up()
    board.ops.send(record.make(record.WATCH_DOG_INTERVAL))
    board.cam.wait("kick", "OPS")


def test_refused_kicks_and_reports_are_no_failure(board):
    board.expect_refused()
    board.cam.refuse("kick", "report", "unregister OPS")
    board.up()
    board.ops.send(record.make(record.WATCH_DOG_INTERVAL))
    board.cam.wait("refused", "kick OPS")
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND, error="refused")
    call.reply()
    board.cam.wait("refused", "report OPS REPORTED ERROR IN REPLY MESSAGE!\\n")
    board.stop()
    assert board.cam.ops("unregister") == ["main"]
