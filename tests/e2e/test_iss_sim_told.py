"""The simulator tells what left its socket, and when; and what it is about to do."""
import json

import pytest

from trelvik import record
from trelvik.board import LOST
from trelvik.iss import ask, show
from trelvik.port_params import probe
from trelvik.wait import until

PROBE = "IFC_INSERT_DELETE_IND"
UNEXPECTED = "[ERROR] main:624 (main) - unexpected message received from OPS\n"


def counted(number=record.IFC_INSERT_DELETE_IND):
    """The counts of one type of message."""
    return next(row for row in show("messages")["messages"] if row["type"] == number)


@pytest.fixture
def watch_sent(watch):
    """Begins a watch; returns a function that tells what ISS has sent so far, of one type."""
    def begin():
        messages = watch("--json")
        return lambda name=PROBE: [line for line in map(json.loads, messages.lines())
                                   if (line["name"], line["direction"]) == (name, "out")]
    return begin


def test_dropped_answer_is_told_as_dropped(board, watch_sent):
    iss = board.iss_ready(f"fault {PROBE} times 1 drop")
    sent = watch_sent()
    call = probe(board)
    iss.wait(f"* -> {PROBE} * (dropped)")
    until(sent, "the watch's line")
    assert [(line["how"], line["bytes"], line["latencyMs"]) for line in sent()] == [("dropped", 0, None)]
    assert (counted()["answered"], counted()["dropped"], counted()["leastMs"]) == (0, 1, None)
    iss.inject(f'send {PROBE} errorString="No Error\\r\\n" isResponse=1')
    call.reply()
    assert (counted()["answered"], counted()["dropped"]) == (1, 1)


def test_delayed_answer_is_told_when_it_leaves(board, watch_sent):
    iss = board.iss_ready(f"fault {PROBE} delay 600ms")
    sent = watch_sent()
    call = probe(board)
    iss.wait(f"* rule: {PROBE} delay")
    assert iss.lines(f"* -> {PROBE} *") == []
    assert [row["message"] for row in show("schedule")["delayed"]] == [PROBE]
    call.reply()
    iss.wait(f"* -> {PROBE} * (delayed 600 ms)")
    until(sent, "the watch's line")
    line = sent()[0]
    assert line["how"] == "delayed 600 ms" and line["latencyMs"] >= 600
    assert counted()["leastMs"] >= 600
    assert show("schedule")["delayed"] == []


def test_second_answer_is_told_as_the_second(board, watch_sent):
    iss = board.iss_ready(f"fault {PROBE} times 1 duplicate")
    sent = watch_sent()
    probe(board).reply()
    iss.wait(f"* -> {PROBE} * (2 of 2)")
    assert len(iss.lines(f"* -> {PROBE} * (1 of 2)")) == 1
    until(lambda: len(sent()) == 2, "both lines of the watch")
    assert [line["how"] for line in sent()] == ["1 of 2", "2 of 2"]
    assert sent()[0]["latencyMs"] is not None and sent()[1]["latencyMs"] is None
    assert counted()["answered"] == 2


def test_changed_answer_is_told_as_it_left(board, watch_sent):
    board.expect_log(UNEXPECTED)
    iss = board.iss_ready(f"fault {PROBE} times 1 type CONFIG_STATUS", f"answer {PROBE} status=9")
    sent = watch_sent()
    probe(board)
    iss.wait("* -> CONFIG_STATUS [6] *")
    assert iss.lines(f"* -> {PROBE} *") == []
    until(lambda: sent("CONFIG_STATUS"), "the watch's line")
    line = sent("CONFIG_STATUS")[0]
    assert (line["how"], line["fields"]["status"]) == (f"type was {PROBE}", 9)
    board.log.wait(UNEXPECTED)


def test_part_of_an_answer_is_told_with_its_bytes(board):
    board.expect_refused()  # what it has of the answer lacks the text that tells of success
    iss = board.iss_ready(f"fault {PROBE} times 1 close within 100")
    probe(board).reply()
    board.log.wait(LOST)
    iss.wait(f"* -> {PROBE} * (100 of 6924 bytes)")
    assert (counted()["answered"], counted()["dropped"]) == (0, 1)


def test_flood_is_told_with_its_number(board):
    iss = board.iss_ready()
    iss.inject("flood 200 WATCH_DOG_INTERVAL")
    iss.wait("* -> WATCH_DOG_INTERVAL * (200 times)")
    assert counted(record.WATCH_DOG_INTERVAL)["sent"] == 200


def test_delayed_answer_goes_with_its_connection(board):
    iss = board.iss_ready(f"fault {PROBE} times 1 delay 1m")
    probe(board)
    iss.wait(f"* rule: {PROBE} delay")
    iss.inject("close")
    iss.wait(f"* -> {PROBE} * (delayed 60000 ms, not sent, the connection ended)")
    assert show("schedule")["delayed"] == []


def test_show_faults_and_clear_them(board):
    iss = board.iss_ready(f"fault {PROBE} skip 1 times 3 delay 1ms", "fault any chance 50% drop",
                "answer FLUSH_CMD vpn=3")
    iss.inject("clear faults")
    assert [row["fault"] for row in show("faults")["faults"]] == ["answer vpn=3"]
    iss.inject(f"fault {PROBE} skip 1 times 3 delay 1ms")
    rows = show("faults")["faults"]
    assert (rows[1]["type"], rows[1]["fault"], rows[1]["hits"], rows[1]["left"], rows[1]["next"]) == \
        (PROBE, "delay 1ms", 0, 3, 2)
    probe(board, 4).reply()
    probe(board, 5).reply()
    rows = show("faults")["faults"]
    assert (rows[1]["hits"], rows[1]["left"], rows[1]["next"]) == (1, 2, 1)


def test_show_schedule(board):
    iss = board.iss_ready("after 1m port 5 down", "every 30s times 4 cpu CLIC 17", "on FLUSH_CMD skip 2 alive")
    schedule = show("schedule")
    assert [row["directive"] for row in schedule["waiting"]] == ["cpu CLIC 17", "port 5 down"]
    assert [row["left"] for row in schedule["waiting"]] == [4, 1]
    assert 0 < schedule["waiting"][0]["dueMs"] <= 30000 < schedule["waiting"][1]["dueMs"] <= 60000
    assert schedule["standing"] == [{"occasion": "FLUSH_CMD", "seen": 0, "skip": 2, "left": None,
                                     "directive": "alive"}]
    iss.inject("clear schedule")
    assert show("schedule") == {"waiting": [], "standing": [], "delayed": []}


def test_show_some_ports(board):
    board.iss_ready()
    assert [row["port"] for row in show("ports", "5")["ports"]] == [5]
    assert [row["port"] for row in show("ports", "1-3,28")["ports"]] == [1, 2, 3, 28]


def test_ports_go_down_by_the_range(board):
    iss = board.iss_ready()
    iss.inject("port 3-5,9 down")
    down = [row["port"] for row in show("ports")["ports"] if row["oper"] == "down"]
    assert down == [3, 4, 5, 9]
    assert len(iss.lines("* -> PORT_STATUS_CHANGE_IND *")) == 4


def test_text_tables_have_no_blank_in_a_column(board):
    board.iss_ready("fault any chance 0.5% split 3000 pause 30ms", "on connect after 1m cpu \"L2 learning\" 77")
    board.bus.set_port_params(1, 5).reply()
    for subject in ("ports", "vlans", "interfaces", "tunnels", "rules", "faults", "schedule", "messages"):
        text = ask("show", subject).stdout
        for table in text.split("\n\n"):
            lines = [line for line in table.rstrip("\n").split("\n") if line != "(none)" and not line.endswith(":")]
            assert len({len(line.split()) for line in lines}) <= 1, f"{subject}:\n{text}"
