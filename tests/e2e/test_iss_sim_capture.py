"""What passes between the daemon and ISS, recorded and played again."""
import os
import struct

from trelvik import record
from trelvik.board import CONNECTED
from trelvik.iss import ask
from trelvik.places import READY_MARKER
from trelvik.wait import SLOW

RETRY = 7 * SLOW
PROBE = "IFC_INSERT_DELETE_IND"


def packets(path):
    """The packets of a pcapng file, whose every block is checked on the way."""
    with open(path, "rb") as capture:
        raw = capture.read()
    found = []
    at = 0
    while at < len(raw):
        kind, length = struct.unpack_from("<II", raw, at)
        assert length % 4 == 0 and struct.unpack_from("<I", raw, at + length - 4)[0] == length
        if at == 0:
            assert kind == 0x0A0D0D0A and struct.unpack_from("<IHH", raw, 8) == (0x1A2B3C4D, 1, 0)
        if kind == 1:
            assert struct.unpack_from("<H", raw, at + 8)[0] == 101, "packets begin with their IP header"
        if kind == 6:
            size, original = struct.unpack_from("<II", raw, at + 20)
            assert size == original
            found.append(raw[at + 28:at + 28 + size])
        at += length
    assert at == len(raw)
    return found


def total(data):
    """The Internet checksum's sum; all ones when the data carry their own sum."""
    data += b"\0" * (len(data) % 2)
    words = sum(struct.unpack(f">{len(data) // 2}H", data))
    while words >> 16:
        words = (words & 0xFFFF) + (words >> 16)
    return words


def streams(path):
    """(to ISS, to the daemon) of a capture's one connection; numbers and sums are checked on the way."""
    sent = {True: b"", False: b""}
    following = {}
    flags_seen = []
    for packet in packets(path):
        assert total(packet[:20]) == 0xFFFF
        segment = packet[20:]
        assert total(packet[12:20] + struct.pack(">HH", 6, len(segment)) + segment) == 0xFFFF
        source, target, sequence, acknowledged = struct.unpack_from(">HHII", segment)
        flags = segment[13]
        flags_seen.append(flags)
        to_iss = target == 8000
        assert to_iss or source == 8000
        if flags & 2:
            following[to_iss] = sequence
        assert sequence == following[to_iss]
        if flags & 16:
            assert acknowledged == following[not to_iss]
        payload = segment[20:]
        following[to_iss] += len(payload) + bool(flags & 3)
        sent[to_iss] += payload
    assert flags_seen[:3] == [2, 18, 16]
    return sent[True], sent[False]


def types(stream):
    assert len(stream) % record.SIZE == 0
    return [record.type_of(stream[at:at + record.SIZE]) for at in range(0, len(stream), record.SIZE)]


def recorded(board, path, *scenario):
    """A daemon's life with one probe, one flush and a port change, recorded."""
    iss = board.start_iss("keepalive off", *scenario, args=("--record", path))
    board.start(ops=False)
    board.wait_file(READY_MARKER)
    assert board.bus.set_port_params(3, 4).reply()[2] == 4
    board.debug.send(record.make(record.FLUSH_CMD, vpn=7))
    assert record.field(board.debug.receive(), "vpn") == 7
    iss.inject("port 9 down")
    iss.wait("* -> PORT_STATUS_CHANGE_IND *")
    board.stop()
    iss.wait("* client lost: *")
    iss.leave()
    os.unlink(READY_MARKER)


def test_capture_holds_both_streams_whole(board):
    path = os.path.join(board.dir, "ops.pcapng")
    recorded(board, path)
    to_iss, to_daemon = streams(path)
    assert types(to_iss) == [record.IFC_INSERT_DELETE_IND, record.FLUSH_CMD]
    assert types(to_daemon) == [record.TASK_INIT_STATUS, record.MSR_RELOAD_STATUS, record.IFC_INSERT_DELETE_IND,
                                record.FLUSH_CMD, record.PORT_STATUS_CHANGE_IND]


def test_capture_shows_the_pieces_of_a_fault(board):
    path = os.path.join(board.dir, "ops.pcapng")
    recorded(board, path, "fault FLUSH_CMD merge WATCH_DOG_ISS_ACTIVE")
    sizes = [len(packet) - 40 for packet in packets(path) if len(packet) > 40]
    assert sizes.count(2 * record.SIZE) == 1
    assert record.WATCH_DOG_ISS_ACTIVE in types(streams(path)[1])


def test_replay_plays_iss_again(board):
    board.expect_refused('*: "Recorded"; *')
    path = os.path.join(board.dir, "ops.pcapng")
    recorded(board, path, f"answer {PROBE} errorString=Recorded")
    iss = board.replay(path)
    board.start(ops=False)
    board.wait_file(READY_MARKER)
    reports = len(board.cam.reports())
    board.bus.subscribe("linkStatusChange")
    assert board.bus.set_port_params(3, 4).reply()[2] == 4
    board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n", reports + 1)
    board.debug.send(record.make(record.FLUSH_CMD, vpn=7))
    assert record.field(board.debug.receive(), "vpn") == 7
    assert board.bus.wait_signal("linkStatusChange")[0] == (9, True, False)
    assert not iss.lines("* something else *")
    board.stop()
    iss.wait("* the capture is played to its end")


def test_replay_plays_a_lost_connection_again(board):
    path = os.path.join(board.dir, "ops.pcapng")
    lost = "[INFO] main:343 (main) - CONNECTION TO OPS LOST, try reconnecting in 5s\n"
    iss = board.start_iss("keepalive off", f"fault {PROBE} times 1 close after", args=("--record", path))
    board.start(ops=False)
    board.wait_file(READY_MARKER)
    board.bus.set_port_params(3, 4).reply()
    board.log.wait(lost)
    iss.wait("* client connected", count=2, deadline=RETRY)
    board.log.wait("[INFO] main:396 (main) - MSR reload succeeded", count=2)
    board.stop()
    iss.leave()
    since = board.log.mark()
    board.replay(path, "--fast")
    board.start(ops=False)
    board.log.wait("[INFO] main:396 (main) - MSR reload succeeded", since)
    board.bus.set_port_params(3, 4).reply()
    board.log.wait(lost, since)
    board.log.wait(CONNECTED, since, count=2, deadline=RETRY)
    board.log.wait("[INFO] main:396 (main) - MSR reload succeeded", since, count=2)


def test_capture_that_cannot_be_read_is_told_in_one_line(board):
    path = os.path.join(board.dir, "ops.pcapng")
    recorded(board, path)
    with open(path, "rb") as capture:
        raw = capture.read()
    cut = os.path.join(board.dir, "cut.pcapng")
    with open(cut, "wb") as capture:
        capture.write(raw[:10000])
    refused = ask("replay", cut)
    assert refused.returncode == 2
    assert refused.stderr.startswith(f"iss-sim: {cut}: block ") and refused.stderr.count("\n") == 1
