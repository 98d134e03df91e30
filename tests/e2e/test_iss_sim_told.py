"""The simulator tells what left its socket, and when; and what it is about to do."""
import json
import os
import subprocess

import pytest

from trelvik import record
from trelvik.board import CONNECTED, LOST
from trelvik.places import PREFIX, READY_MARKER
from trelvik.wait import DEADLINE, until

ISS_SIM = os.path.join(PREFIX, "bin", "iss-sim")
PROBE = "IFC_INSERT_DELETE_IND"
UNEXPECTED = "[ERROR] main:624 (main) - unexpected message received from OPS\n"


def ready(board, *scenario):
    """ISS is ready; nothing that the scenario does not say comes from it."""
    iss = board.start_iss("keepalive off", *scenario)
    board.start(ops=False)
    board.log.wait(CONNECTED)
    board.wait_file(READY_MARKER)
    return iss


def probe(board, port=4):
    return board.bus.set_port_params(3, port)


def shown(*words):
    """A subject's tables."""
    done = subprocess.run([ISS_SIM, "show", *words, "--json"], capture_output=True, text=True, timeout=DEADLINE,
                          check=False)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


def counted(number=record.IFC_INSERT_DELETE_IND):
    """The counts of one type of message."""
    return next(row for row in shown("messages")["messages"] if row["type"] == number)


@pytest.fixture
def watch(board):
    """Begins a watch of JSON lines; returns a function that tells what it has so far."""
    begun = []

    def begin():
        path = os.path.join(board.dir, "watch")
        with open(path, "wb") as output:
            begun.append(subprocess.Popen([ISS_SIM, "watch", "--json"], stdin=subprocess.DEVNULL, stdout=output))

        def lines():
            with open(path, encoding="utf-8") as text:
                return [json.loads(line) for line in text.read().split("\n")[:-1]]
        until(lambda: board.iss.inject("cpu hello 1") or lines(), "the watch's first line")
        return lambda name=PROBE: [line for line in lines() if line["name"] == name and line["direction"] == "out"]

    yield begin
    for process in begun:
        process.kill()
        process.wait()


def test_dropped_answer_is_told_as_dropped(board, watch):
    iss = ready(board, f"fault {PROBE} times 1 drop")
    sent = watch()
    call = probe(board)
    iss.wait(f"* -> {PROBE} * (dropped)")
    until(sent, "the watch's line")
    assert [(line["how"], line["bytes"], line["latencyMs"]) for line in sent()] == [("dropped", 0, None)]
    assert (counted()["answered"], counted()["dropped"], counted()["leastMs"]) == (0, 1, None)
    iss.inject(f'send {PROBE} errorString="No Error\\r\\n" isResponse=1')
    call.reply()
    assert (counted()["answered"], counted()["dropped"]) == (1, 1)


def test_delayed_answer_is_told_when_it_leaves(board, watch):
    iss = ready(board, f"fault {PROBE} delay 600ms")
    sent = watch()
    call = probe(board)
    iss.wait(f"* rule: {PROBE} delay")
    assert iss.lines(f"* -> {PROBE} *") == []
    assert [row["message"] for row in shown("schedule")["delayed"]] == [PROBE]
    call.reply()
    iss.wait(f"* -> {PROBE} * (delayed 600 ms)")
    until(sent, "the watch's line")
    line = sent()[0]
    assert line["how"] == "delayed 600 ms" and line["latencyMs"] >= 600
    assert counted()["leastMs"] >= 600
    assert shown("schedule")["delayed"] == []


def test_second_answer_is_told_as_the_second(board, watch):
    iss = ready(board, f"fault {PROBE} times 1 duplicate")
    sent = watch()
    probe(board).reply()
    iss.wait(f"* -> {PROBE} * (2 of 2)")
    assert len(iss.lines(f"* -> {PROBE} * (1 of 2)")) == 1
    until(lambda: len(sent()) == 2, "both lines of the watch")
    assert [line["how"] for line in sent()] == ["1 of 2", "2 of 2"]
    assert sent()[0]["latencyMs"] is not None and sent()[1]["latencyMs"] is None
    assert counted()["answered"] == 2


def test_changed_answer_is_told_as_it_left(board, watch):
    board.expect_log(UNEXPECTED)
    iss = ready(board, f"fault {PROBE} times 1 type CONFIG_STATUS", f"answer {PROBE} status=9")
    sent = watch()
    probe(board)
    iss.wait("* -> CONFIG_STATUS [6] *")
    assert iss.lines(f"* -> {PROBE} *") == []
    until(lambda: sent("CONFIG_STATUS"), "the watch's line")
    line = sent("CONFIG_STATUS")[0]
    assert (line["how"], line["fields"]["status"]) == (f"type was {PROBE}", 9)
    board.log.wait(UNEXPECTED)


def test_part_of_an_answer_is_told_with_its_bytes(board):
    board.expect_refused()  # what it has of the answer lacks the text that tells of success
    iss = ready(board, f"fault {PROBE} times 1 close within 100")
    probe(board).reply()
    board.log.wait(LOST)
    iss.wait(f"* -> {PROBE} * (100 of 6924 bytes)")
    assert (counted()["answered"], counted()["dropped"]) == (0, 1)


def test_flood_is_told_with_its_number(board):
    iss = ready(board)
    iss.inject("flood 200 WATCH_DOG_INTERVAL")
    iss.wait("* -> WATCH_DOG_INTERVAL * (200 times)")
    assert counted(13)["sent"] == 200


def test_delayed_answer_goes_with_its_connection(board):
    iss = ready(board, f"fault {PROBE} times 1 delay 1m")
    probe(board)
    iss.wait(f"* rule: {PROBE} delay")
    iss.inject("close")
    iss.wait(f"* -> {PROBE} * (delayed 60000 ms, not sent, the connection ended)")
    assert shown("schedule")["delayed"] == []


def test_show_faults_and_clear_them(board):
    iss = ready(board, f"fault {PROBE} skip 1 times 3 delay 1ms", "fault any chance 50% drop",
                "answer FLUSH_CMD vpn=3")
    iss.inject("clear faults")
    assert [row["fault"] for row in shown("faults")["faults"]] == ["answer vpn=3"]
    iss.inject(f"fault {PROBE} skip 1 times 3 delay 1ms")
    rows = shown("faults")["faults"]
    assert (rows[1]["type"], rows[1]["fault"], rows[1]["hits"], rows[1]["left"], rows[1]["next"]) == \
        (PROBE, "delay 1ms", 0, 3, 2)
    probe(board, 4).reply()
    probe(board, 5).reply()
    rows = shown("faults")["faults"]
    assert (rows[1]["hits"], rows[1]["left"], rows[1]["next"]) == (1, 2, 1)


def test_show_schedule(board):
    iss = ready(board, "after 1m port 5 down", "every 30s times 4 cpu CLIC 17", "on FLUSH_CMD skip 2 alive")
    schedule = shown("schedule")
    assert [row["directive"] for row in schedule["waiting"]] == ["cpu CLIC 17", "port 5 down"]
    assert [row["left"] for row in schedule["waiting"]] == [4, 1]
    assert 0 < schedule["waiting"][0]["dueMs"] <= 30000 < schedule["waiting"][1]["dueMs"] <= 60000
    assert schedule["standing"] == [{"occasion": "FLUSH_CMD", "seen": 0, "skip": 2, "left": None,
                                     "directive": "alive"}]
    iss.inject("clear schedule")
    assert shown("schedule") == {"waiting": [], "standing": [], "delayed": []}


def test_show_some_ports(board):
    ready(board)
    assert [row["port"] for row in shown("ports", "5")["ports"]] == [5]
    assert [row["port"] for row in shown("ports", "1-3,28")["ports"]] == [1, 2, 3, 28]


def test_ports_go_down_by_the_range(board):
    iss = ready(board)
    iss.inject("port 3-5,9 down")
    down = [row["port"] for row in shown("ports")["ports"] if row["oper"] == "down"]
    assert down == [3, 4, 5, 9]
    assert len(iss.lines("* -> PORT_STATUS_CHANGE_IND *")) == 4


def test_text_tables_have_no_blank_in_a_column(board):
    ready(board, "fault any chance 0.5% split 3000 pause 30ms", "on connect after 1m cpu \"L2 learning\" 77")
    board.bus.set_port_params(1, 5).reply()
    for subject in ("ports", "vlans", "interfaces", "tunnels", "rules", "faults", "schedule", "messages"):
        text = subprocess.run([ISS_SIM, "show", subject], capture_output=True, text=True, check=True).stdout
        for table in text.split("\n\n"):
            lines = [line for line in table.rstrip("\n").split("\n") if line != "(none)" and not line.endswith(":")]
            assert len({len(line.split()) for line in lines}) <= 1, f"{subject}:\n{text}"
