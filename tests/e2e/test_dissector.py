"""The Wireshark dissector, as tshark runs it, on recorded and on made-up captures."""
import os
import random
import re
import socket
import struct
import subprocess

from trelvik import record
from trelvik.board import PREFIX, READY_MARKER
from trelvik.wait import SLOW

DISSECTOR = os.path.join(PREFIX, "share", "trelvik", "wireshark", "ops.lua")
CLIENT, SERVER = 49152, 8000
FLUSH = "<- FLUSH_CMD [16] vpn=7 vp=0"
LOST = "bytes that are no record"


def tshark(capture, *args):
    """What tshark prints of a capture, by lines. The dissector never fails."""
    done = subprocess.run(["tshark", "-r", capture, "-X", "lua_script:" + DISSECTOR, *args], capture_output=True,
                          text=True, timeout=50 * SLOW, check=False)
    assert done.returncode == 0 and "Lua" not in done.stderr and "Lua" not in done.stdout, done.stderr + done.stdout
    return done.stdout.splitlines()


def infos(capture, *args):
    """The records of a capture as the info column shows them, without the times of answers."""
    lines = tshark(capture, *args, "-Y", "ops", "-T", "fields", "-e", "_ws.col.Info")
    return [re.sub(r" \(after [0-9.]+ ms\)$", "", info) for line in lines for info in line.split("; ")]


def fields(capture, display_filter, *names):
    """The values of these fields in each packet that passes the filter, after two passes."""
    options = [option for name in names for option in ("-e", name)]
    lines = tshark(capture, "-2", "-Y", display_filter, "-T", "fields", *options)
    return [line.split("\t") for line in lines]


class Capture:
    """A pcap file, packet by packet: connections one after the other, each from its own port."""

    def __init__(self, directory, handshake=True):
        self.path = os.path.join(directory, "made.pcap")
        self._packets = []
        self._client = CLIENT
        self.connect(handshake)

    def connect(self, handshake=True, snap=65535):
        """The next connection, of whose packets so many bytes are captured."""
        self._client += 1
        self._snap = snap
        self._next = {True: 1000, False: 2000}
        if handshake:
            self._add(True, 2)
            self._add(False, 18)
            self._add(True, 16)
        return self

    def _add(self, to_iss, flags, payload=b""):
        ports = (self._client, SERVER) if to_iss else (SERVER, self._client)
        tcp = struct.pack(">HHIIBBHHH", *ports, self._next[to_iss], self._next[not to_iss], 0x50, flags, 65535, 0, 0)
        ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 40 + len(payload), 0, 0x4000, 64, 6, 0, b"\x7f\0\0\1", b"\x7f\0\0\1")
        packet = ip + tcp + payload
        self._packets.append((packet[:self._snap], len(packet)))
        self._next[to_iss] += len(payload) + (1 if flags & 2 else 0)

    def write(self, to_iss, *pieces):
        for piece in pieces:
            self._add(to_iss, 24, piece)
        return self

    def save(self):
        with open(self.path, "wb") as file:
            file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101))
            for number, (kept, size) in enumerate(self._packets):
                file.write(struct.pack("<IIII", 1000, number * 1000, len(kept), size) + kept)
        return self.path


def flush(mark=7):
    return record.make(record.FLUSH_CMD, vpn=mark)


def answered(raw, text=record.NO_ERROR):
    return record.change(raw, errorString=text, isResponse=1)


def pieces(raw, size):
    return [raw[at:at + size] for at in range(0, len(raw), size)]


def recorded(board, *scenario, name="ops.pcapng"):
    """A capture of a daemon's probe, of a debug client's flush, and of a port change; and what iss-sim printed."""
    path = os.path.join(board.dir, name)
    iss = board.start_iss("keepalive off", *scenario, args=("--record", path))
    board.start(ops=False)
    board.wait_file(READY_MARKER)
    assert board.bus.set_port_params(3, 4).reply()[2] == 4
    board.debug.send(flush())
    assert record.field(board.debug.receive(), "vpn") == 7
    iss.inject("port 9 down")
    iss.wait("* -> PORT_STATUS_CHANGE_IND *")
    board.stop()
    iss.wait("* client lost: *")
    iss.leave()
    os.unlink(READY_MARKER)
    return path, [line.split(" ", 1)[1] for line in iss.lines() if re.match(r"\S+ (<-|->) ", line)]


def test_dissector_reads_a_daemons_life_as_iss_sim_does(board):
    path, printed = recorded(board)
    assert len(printed) >= 6
    assert infos(path) == printed
    assert infos(path, "-2") == printed


def test_dissector_reads_split_files(board):
    path, printed = recorded(board)
    part = os.path.join(board.dir, "part.pcapng")
    subprocess.run(["editcap", "-c", "7", path, part], check=True)
    parts = sorted(os.path.join(board.dir, name) for name in os.listdir(board.dir) if name.startswith("part"))
    assert len(parts) > 2
    assert [info for name in parts for info in infos(name)] == printed


def test_dissector_reads_merged_files(board):
    first, printed = recorded(board)
    second, printed_then = recorded(board, name="then.pcapng")
    merged = os.path.join(board.dir, "merged.pcapng")
    subprocess.run(["mergecap", "-w", merged, second, first], check=True)
    assert infos(merged) == printed + printed_then


def test_dissector_leads_from_request_to_answer_and_back(board):
    path, _ = recorded(board)
    requests = fields(path, "ops.request == 1", "frame.number", "ops.response_in", "ops.name")
    answers = fields(path, "ops.latency", "ops.request_in", "frame.number", "ops.name", "ops.latency", "frame.time_epoch")
    assert requests and [request[:3] for request in requests] == [answer[:3] for answer in answers]
    sent = dict(fields(path, "ops.request == 1", "frame.number", "frame.time_epoch"))
    for number, _, _, latency, when in answers:
        assert abs(float(when) - float(sent[number]) - float(latency)) < 1e-6


def test_dissector_filters_by_field(board):
    path, _ = recorded(board)
    assert fields(path, "ops.type == 7 && ops.request == 1", "ops.interfacenum", "ops.statusflag") == [["4", "1"]]
    assert fields(path, "ops.interfacenum == 9", "ops.operationalstatus") == [["0"]]
    assert fields(path, "ops.vpn == 7 && ops.isresponse == 1", "ops.errorstring") == [["No Error\\r\\n"]]
    assert fields(path, "ops.vpn == 8", "frame.number") == []


def test_dissector_makes_a_refusal_an_expert_info(board):
    board.expect_refused('*: "No such port"; *')
    path, _ = recorded(board, 'answer IFC_INSERT_DELETE_IND errorString="No such port\\r\\n" status=1')
    told = fields(path, "ops.refused", "ops.type", "_ws.expert.message")
    # The comment on what the rule did is an expert info of Wireshark's own.
    assert told == [["7", 'IFC_INSERT_DELETE_IND answer,ISS refused the request: "No such port\\r\\n"']]
    assert fields(path, "ops && _ws.expert", "ops.type") == [["7"]]


def comments(board, *scenario):
    """The comments of a capture in which a client sent three flushes and got so many bytes."""
    path = os.path.join(board.dir, "ops.pcapng")
    iss = board.start_iss("keepalive off", "startup none", *scenario, args=("--record", path))
    with socket.create_connection(("127.0.0.1", SERVER)) as client:
        for mark in (1, 2, 3):
            client.sendall(flush(mark))
            iss.wait("* <- FLUSH_CMD *", count=mark)
        iss.wait("* vpn=3 * isResponse=1*")
    iss.wait("* client lost: *")
    iss.leave()
    return fields(path, "frame.comment", "frame.comment", "ops.vpn")


def test_capture_tells_what_was_dropped(board):
    (comment, vpn), = comments(board, "fault FLUSH_CMD skip 1 times 1 drop")
    assert comment.startswith("FLUSH_CMD drop: dropped, FLUSH_CMD [16] vpn=2 vp=0 ") and vpn == ""


def test_capture_tells_what_was_changed(board):
    assert comments(board, "answer FLUSH_CMD skip 1 times 1 status=1") == [["FLUSH_CMD answer", "2"]]


def test_capture_tells_what_was_split_and_doubled(board):
    shown = comments(board, "fault FLUSH_CMD times 1 split 5000 pause 1ms", "fault FLUSH_CMD skip 1 times 1 duplicate")
    assert shown == [["FLUSH_CMD split: in 2 pieces", "1"], ["FLUSH_CMD duplicate: 1 of 2", "2"],
                     ["FLUSH_CMD duplicate: 2 of 2", "2"]]


def test_capture_without_faults_has_no_comment(board):
    assert comments(board) == []


def test_dissector_reads_every_type_as_iss_sim_does(board):
    dice = random.Random(6924)
    lines = []
    for number in list(range(26)) + [26, 4711]:
        for trailer in ("", ' errorString="Full \\\\ \\"x\\"" isResponse=1'):
            body = bytes(dice.choice((0, dice.randrange(256))) for _ in range(260)).hex()
            lines.append(f"on connect send {number} @4={body} @520={body[:24]}{trailer}")
    for kind in (1, 2, 3, 4, 5) * 4:
        # Entries of every type that has a meaning, with masks that take all, a part and nothing.
        entries = b"".join(struct.pack("<I", dice.randrange(1, 16)) + dice.randbytes(8) +
                           dice.choice((b"\xff\xff\0\0\0\0\0\0", b"\xff" * 8, bytes(8), dice.randbytes(8)))
                           for _ in range(10))
        lines.append(f"on connect send INTERESTED_PACKET_IND @4={entries.hex()} entryKind={kind} entryCount=10")
    lines.append('on connect send CPU_THRESHOLD threadName="L2 learning" pid=77')
    lines.append("on connect send ETS_VLAN_MAPPING key=1 vpn=2 dataVlans=10,4094,-1 isResponse=1")
    path = os.path.join(board.dir, "ops.pcapng")
    iss = board.start_iss("keepalive off", "startup none", *lines, args=("--record", path))
    with socket.create_connection(("127.0.0.1", SERVER)) as client:
        left = len(lines) * record.SIZE
        while left > 0:
            left -= len(client.recv(left))
    iss.wait("* client lost: *")
    iss.leave()
    printed = [line.split(" ", 1)[1] for line in iss.lines("* -> *")]
    assert len(printed) == len(lines)
    assert infos(path) == printed


def test_dissector_puts_pieces_of_records_together(board):
    capture = Capture(board.dir)
    for size in (1, 3, 1000, 1448, 6923):
        raw = flush()
        if size < 4:
            capture.write(True, *pieces(raw[:12], size), raw[12:])
        else:
            capture.write(True, *pieces(raw, size))
        capture.write(False, *pieces(answered(raw), max(size, 100)))
    shown = infos(capture.save())
    assert [line.split(" errorString")[0] for line in shown] == [FLUSH, FLUSH.replace("<-", "->")] * 5
    assert not fields(capture.path, "_ws.expert.severity > 0x200000 && ops", "frame.number")


def test_dissector_takes_records_of_one_write_apart(board):
    both = answered(flush()) + record.make(record.CPU_THRESHOLD, threadName="CLIC")
    capture = Capture(board.dir).write(True, flush()).write(False, both, both[:9000], both[9000:])
    capture.write(False, both[:100], both[100:])
    shown = infos(capture.save())
    assert [line.split()[1] for line in shown] == ["FLUSH_CMD"] + ["FLUSH_CMD", "CPU_THRESHOLD"] * 3


def late(board, to_iss, stream, starts):
    """What is shown of captures that begin in the stream's first record: the records of each, by start and size."""
    capture = Capture(board.dir)
    cases = [(start, size) for start in starts for size in (record.SIZE, 1448, 20000)]
    for start, size in cases:
        capture.connect(handshake=False).write(to_iss, *pieces(stream[start:], size))
    shown = {case: [] for case in cases}
    for connection, info in fields(capture.save(), "ops", "tcp.stream", "_ws.col.Info"):
        shown[cases[int(connection) - 1]] += [line for line in info.split("; ") if LOST not in line]
    return shown


def test_dissector_finds_the_first_record_of_a_late_capture(board):
    stream = b"".join(flush(mark) for mark in (3, 16, 7, 7))
    starts = (1, 2, 3, 4, 5, 8, 11, 100, 6800, 6912, 6920, 6923)
    for case, shown in late(board, True, stream, starts).items():
        assert shown == [FLUSH.replace("7", "16"), FLUSH, FLUSH], case


def test_dissector_finds_the_first_answer_of_a_late_capture(board):
    stream = b"".join(answered(flush(mark)) for mark in (3, 16, 7, 7))
    starts = (1, 2, 4, 100, 6411, 6412, 6416, 6800, 6912, 6919, 6920, 6923)
    for case, shown in late(board, False, stream, starts).items():
        assert [line.split()[2:4] for line in shown] == [["[16]", "vpn=16"], ["[16]", "vpn=7"], ["[16]", "vpn=7"]], case


def test_dissector_goes_on_behind_bytes_that_are_no_record(board):
    noise = bytes(random.Random(1).randrange(1, 256) for _ in range(100))
    apart = infos(Capture(board.dir).write(True, flush(), noise, flush(), flush()).save())
    assert apart == [FLUSH, "<- 100 " + LOST, FLUSH, FLUSH]
    together = infos(Capture(board.dir).write(True, flush(), noise + flush(), flush()).save())
    assert together == [FLUSH, "<- 100 " + LOST, FLUSH, FLUSH]


def test_dissector_shows_unknown_types_as_records(board):
    odd = record.of_type(4711, flush())
    capture = Capture(board.dir).write(True, odd, flush())
    assert infos(capture.save()) == ["<- UnknownMsgType [4711] @4=07", FLUSH]
    assert fields(capture.path, "ops.unknown_type", "ops.type") == [["4711"]]


def test_dissector_shows_the_beginning_of_cut_packets(board):
    capture = Capture(board.dir).connect(snap=200).write(True, flush()).write(False, answered(flush()))
    shown = infos(capture.save())
    assert shown == [FLUSH + " (160 bytes captured)", FLUSH.replace("<-", "->") + " (160 bytes captured)"]


def test_dissector_never_fails(board):
    dice = random.Random(24)
    capture = Capture(board.dir)
    for _ in range(30):
        capture.connect(handshake=dice.random() < 0.5, snap=dice.choice((60, 3000, 65535)))
        for _ in range(8):
            raw = bytearray(dice.choice((flush(), answered(flush()), bytes(record.SIZE))))
            for _ in range(dice.choice((0, 3, 500))):
                raw[dice.randrange(len(raw))] = dice.randrange(256)
            struct.pack_into("<I", raw, 0, dice.randrange(28))
            capture.write(dice.random() < 0.5, *pieces(bytes(raw), dice.choice((70, 999, 6924, 9000))))
    assert tshark(capture.save(), "-2", "-V")


def test_dissector_says_what_has_no_partner(board):
    capture = Capture(board.dir).write(False, answered(flush())).write(True, flush(), flush())
    capture.save()
    assert fields(capture.path, "ops.no_request", "frame.number") == [["4"]]
    assert fields(capture.path, "ops.second_request", "frame.number") == [["6"]]
    assert fields(capture.path, "ops.unanswered", "frame.number") == [["5"], ["6"]]
