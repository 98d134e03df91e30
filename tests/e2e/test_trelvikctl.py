"""The operator's client: what every command has in common, ports, trace level, signals, status."""
import os
import pty
import re
import subprocess

import pytest

from trelvik import fill, iss, record
from trelvik.board import MAC, OTHER_BOARD
from trelvik.bus import HANG, MANAGER, NAME, REDUNDANCY
from trelvik.ctl import (DONE, FAILED, NO_DAEMON, PROGRAM, UNKNOWN, USAGE, FakeDaemon, Running, ctl,
                         environment, start)
from trelvik.diagnostics import status
from trelvik.life_cycle import MARKER, calls, install
from trelvik.users import as_stranger, need_others
from trelvik.wait import until

SETUP = ("port", "setup", 5, "--ac-vlan", 100)



def test_without_a_daemon_it_says_so_at_once(board):
    board.start_bus()
    for words in (SETUP, ("trace",), ("iss", "start"), ("rule", "ets", "none"), ("status",), ("watch",)):
        done = ctl(board, *words)
        assert done.status == NO_DAEMON, done
        assert "nobody owns otn.Trelvik): start it (systemctl start trelvik)" in done.err


def test_without_a_bus_it_says_so_at_once(board):
    done = ctl(board, "trace")
    assert done.status == NO_DAEMON
    assert f"no bus at {board.bus_address} (No such file or directory): start dbus-daemon" in done.err


@pytest.mark.parametrize("words, reason", [
    (("port", "setup", 29, "--ac-vlan", 100), "PORT needs a number from 1 to 28, not 29; --force sends it all"),
    (("port", "setup", 5, "--ac-vlan", 4095), "--ac-vlan needs a number from 1 to 4094, not 4095"),
    (("port", "setup", 5), "--ac-vlan is required"),
    (("port", "setup", "x", "--ac-vlan", 1), "PORT needs a number from 1 to 28, not x"),
    (("port", "jump", 5), "commands: setup, release, probe, detach, acknowledge; help: trelvikctl port --help"),
    (("rule", "mstp-lan", "create", "--ports", "1,29"), "--ports needs ports from 1 to 28"),
    (("rule", "ets", "create", "--ports", "1", "--encap", "l3"), "--encap needs one of l2, mpls, not l3"),
    (("rule", "ets", "delete", "--ports", "1"), "--fp-id0 is required"),
    (("rule", "mrp", "none", "--port", 1, "--flush", "--data-vlans", "1"), "--flush and --data-vlans exclude"),
    (("smartsfp", "send", "--ports", "1", "--pdu", "1:2:300"), "--pdu needs bytes from 0 to 255"),
    (("trace", "set", "loud"), "names: critical, error"),
    (("--timeout", "0", "trace"), "--timeout needs a time above 0"),
    ((), "a command is missing (commands: port, rule, synce"),
])
def test_wrong_usage_says_what_is_allowed(board, words, reason):
    done = ctl(board, *words)
    assert done.status == USAGE, done
    assert reason in done.err and done.err.startswith("trelvikctl: ")
    assert done.out == ""


def test_set_up_port_is_set_up_in_iss(board):
    start(board)
    done = ctl(board, *SETUP)
    assert done.status == DONE, done
    assert board.iss.lines("*<- MGMT_INTERFACE_MAPPING_IND*acVlan=100 pwVlan=4005*mapFlag=1*")
    done = ctl(board, "port", "release", 5, "--ac-vlan", 100)
    assert done.status == DONE, done
    assert board.iss.lines("*<- MGMT_INTERFACE_MAPPING_IND*pwPort=5*tunnelId=1005*mapFlag=2*")


def test_release_alone_leaves_the_attachment_circuit_vlan(board):
    start(board)
    ctl(board, *SETUP)
    done = ctl(board, "port", "release", 5)
    assert done.status == DONE, done
    shown = iss.show("vlans")["vlans"]
    assert [row["vlan"] for row in shown] == [1, 100]


def test_probe_and_detach_reach_iss(board):
    start(board)
    assert ctl(board, "port", "probe", 3, "--type", 7, "--speed", 10000).status == DONE
    assert ctl(board, "port", "detach", 3).status == DONE
    fields = "*<- IFC_INSERT_DELETE_IND [7] interfaceNum=3 interfaceSpeed={} interfaceType={} *statusFlag={}"
    assert board.iss.lines(fields.format(10000, 7, 1)) and board.iss.lines(fields.format(1000, 6, 2))


def test_out_of_range_value_is_sent_by_force(board):
    start(board)
    done = ctl(board, "port", "probe", 29, "--force")
    assert done.status == DONE, done
    assert board.iss.lines("*interfaceNum=29 *")


def test_refused_set_up_does_not_look_like_success(board):
    start(board, 'answer RUN_DEFAULT_SCRIPT_COMMAND errorString="no such port" status=1')
    board.expect_refused()
    done = ctl(board, *SETUP)
    assert done.status == FAILED, done
    assert "port 5, set-up: ISS refused it" in done.err and done.out == ""


def test_request_that_a_full_ring_refuses_is_told(board):
    board.expect_log("[ERROR] SrvIss:* (run_iss_script_thread) - Buffer overflow, message lost!\n")
    board.connected(level=9)
    fill.queue(board, *range(1, 19))
    done = ctl(board, *SETUP)
    assert done.status == FAILED, done
    assert "port 5, set-up: the daemon's ring was full, and nothing was sent" in done.err


def test_status_of_the_daemon_is_shown(board):
    start(board)
    assert ctl(board, *SETUP).status == DONE
    shown = ctl(board, "status", "--json").json
    assert (shown["boardName"], shown["boardMac"]) == (OTHER_BOARD, MAC)
    assert shown["opsConnected"] is True and shown["issReady"] is True and shown["messagesSent"] >= 2
    ports = [row for row in shown["interfaces"] if row["interface"] == "IssSetLanWanAsync"]
    assert ports == [{"interface": "IssSetLanWanAsync", "received": 1, "answered": 1, "refusedByIss": 0,
                      "refusedByRing": 0, "neverAnswered": 0}]
    text = ctl(board, "status").out
    assert "boardName" in text and "IssSetLanWanAsync" in text


def test_refusal_is_told_from_the_daemons_counts(board):
    daemon = FakeDaemon(board)
    daemon.serve_port((1, 1, 1, 0, 0))
    done = ctl(board, *SETUP)
    assert done.status == FAILED, done
    assert "port 5, set-up: ISS refused it" in done.err
    daemon.serve_port((1, 1, 0, 1, 0))
    assert "the daemon's ring was full, and nothing was sent" in ctl(board, *SETUP).err
    daemon.serve_port((1, 1, 0, 0, 0))
    done = ctl(board, *SETUP)
    assert (done.status, done.out) == (DONE, "port 5, set-up: done, ISS accepted it\n"), done


def test_refusal_beside_other_callers_is_not_success(board):
    daemon = FakeDaemon(board)
    daemon.serve_port((2, 2, 1, 0, 0))
    done = ctl(board, *SETUP)
    assert done.status == FAILED
    assert "others called it at the same time" in done.err
    daemon.serve_port((2, 2, 0, 0, 0))
    assert ctl(board, *SETUP).status == DONE, "nobody was refused"


def test_without_counts_a_success_is_not_claimed(board):
    daemon = FakeDaemon(board)
    daemon.serve_port((1, 1, 0, 0, 0))
    daemon.peer.serve("getStatus", "org.freedesktop.DBus.Error.UnknownObject")
    done = ctl(board, *SETUP)
    assert done.status == UNKNOWN
    assert "whether ISS accepted it cannot be told" in done.err


def test_no_answer_within_the_timeout(board):
    start(board, "fault RUN_DEFAULT_SCRIPT_COMMAND drop")
    done = ctl(board, "--timeout", "200ms", *SETUP)
    assert done.status == UNKNOWN, done
    assert "port 5, set-up: no answer within 200 ms; the request stays with the daemon" in done.err


def test_ctrl_c_ends_a_wait(board):
    board.connected()
    client = Running(board, *SETUP)
    board.make_ready()
    board.ops.expect(8)
    client.interrupt()
    done = client.end()
    assert done.status == UNKNOWN, done
    assert "interrupted" in done.err


def test_daemon_that_ends_meanwhile_is_not_there(board):
    daemon = FakeDaemon(board)
    daemon.peer.serve("setPortParams", HANG)
    client = Running(board, *SETUP)
    until(lambda: "setPortParams" in daemon.peer.served, "the request is there")
    daemon.peer.bus("ReleaseName", "s", NAME)
    daemon.peer.leave()
    done = client.end()
    assert done.status == NO_DAEMON, done
    assert "port 5, set-up: the daemon ended before it answered" in done.err


def test_stranger_is_told_what_he_lacks(board):
    need_others()
    FakeDaemon(board)
    words = [str(word) for word in SETUP]
    done = subprocess.run(["setpriv", *as_stranger(), PROGRAM, *words], env=environment(board), capture_output=True,
                          text=True, check=False)
    assert done.returncode == FAILED, done
    assert "does not let this user call the daemon: be root or a member of the group otn" in done.stderr


def test_set_up_without_configuring_asks_nothing_of_iss(board):
    start(board)
    done = ctl(board, *SETUP, "--no-configure")
    assert (done.status, done.out) == (DONE, "port 5, set-up: answered; ISS was not asked\n"), done
    assert not board.iss.lines("*<- *")


def test_help_is_there_for_each_command(board):
    for words in (("help",), ("--help",), ("help", "port", "setup"), ("port", "setup", "--help")):
        done = ctl(board, *words)
        assert done.status == DONE and "Usage: trelvikctl" in done.out, done
    assert "--ac-vlan 1..4094 REQUIRED" in done.out


def test_json_is_one_object_whatever_happens(board):
    daemon = FakeDaemon(board)
    daemon.serve_port((1, 1, 0, 0, 0))
    answer = ctl(board, "--json", *SETUP).json
    assert answer["outcome"] == "done" and answer["reply"]["acVlan"] == 100 and answer["reply"]["bConfigure"] is True
    daemon.serve_port((1, 1, 1, 0, 0))
    assert ctl(board, *SETUP, "--json").json["outcome"] == "failed"
    assert ctl(board, "--json", "port", "setup").json["outcome"] == "usage"


def test_dry_run_shows_what_iss_then_gets(board):
    start(board)
    shown = [ctl(board, "--dry-run", "--json", *words).json for words in (SETUP, ("port", "probe", 7))]
    assert shown[0]["call"] == ("busctl call otn.Trelvik /otn/Trelvik/IssSetLanWanAsync otn.OBsetPortParams_1_0 "
                                "setPortParams uuuubuuu 1 6 5 1000 true 100 0 0")
    assert not board.iss.lines("*<- IFC*") and not board.iss.lines("*<- RUN*SetVlan*")
    ctl(board, *SETUP)
    ctl(board, "port", "probe", 7)
    script, mapping = (message["decoded"] for message in shown[0]["messages"])
    got = board.iss.wait("*<- RUN_DEFAULT_SCRIPT_COMMAND*SetVlanPort5_*").split("<- ")[1]
    assert script == got.replace("SetVlanPort5_" + got.split("SetVlanPort5_")[1].split(" ")[0], "SetVlanPort5_")
    got = board.iss.wait("*<- MGMT_INTERFACE_MAPPING_IND*").split("<- ")[1]
    assert mapping == got.replace("sourceMac=00:1a:2b:3c:4d:5e", "sourceMac=00:00:00:00:00:00")
    assert shown[1]["messages"][0]["decoded"] == board.iss.wait("*<- IFC_INSERT*").split("<- ")[1]


def test_dry_run_needs_no_daemon(board):
    done = ctl(board, "--dry-run", *SETUP)
    assert done.status == DONE
    assert done.lines[0].startswith("busctl call otn.Trelvik ")
    assert "  acVlan=100" in done.lines
    assert "  the daemon fills in the end of inputFile: the ring slot's number" in done.lines


def test_trace_level_is_shown_and_set(board):
    board.connected()
    assert ctl(board, "trace", "--json").json["level"] == 6
    done = ctl(board, "trace", "set", "debug3")
    assert (done.status, done.lines) == (DONE, ["level  9", "name   debug3"])
    assert board.bus.get_trace_level() == (9,)
    assert ctl(board, "trace", "set", 4).status == DONE
    assert ctl(board, "trace", "get", "--json").json["name"] == "warning"


def test_trace_level_that_the_daemon_does_not_take(board):
    board.connected()
    done = ctl(board, "--force", "trace", "set", 11)
    assert done.status == FAILED
    assert "the daemon kept trace level 6: it takes 0 to 10" in done.err


def test_iss_start_waits_with_progress(board):
    install(start=f"sleep 2; touch {MARKER}")
    board.connected()
    done = ctl(board, "iss", "start")
    assert (done.status, done.lines[-1]) == (DONE, "ISS is up"), done
    assert "start of ISS: waiting for ISS, 1 s" in done.err
    assert calls() == ["start"]
    install()
    assert ctl(board, "iss", "stop").lines[-1] == "ISS is down"


def test_iss_start_that_does_not_come_to_an_end(board):
    install()
    board.connected()
    done = ctl(board, "iss", "start", "--timeout", "1500ms")
    assert done.status == UNKNOWN
    assert "The daemon waits on" in done.err
    with open(MARKER, "w", encoding="ascii"):
        pass
    board.alive()


def test_redundancy_state_is_the_managers(board):
    board.start_bus()
    done = ctl(board, "redundancy", "show")
    assert done.status == FAILED and "nobody owns otn.redundancyManager" in done.err
    manager = board.peer()
    manager.request_name(MANAGER)
    manager.serve("getRedundantState", ("i", (3,)))
    assert ctl(board, "redundancy", "show").lines == ["state   ACT0", "number  3"]


def test_redundancy_manager_that_does_not_answer_is_named(board):
    manager = board.peer()
    manager.request_name(MANAGER)
    manager.serve("getRedundantState", HANG)
    done = ctl(board, "redundancy", "show", "--timeout", "200ms")
    assert done.status == UNKNOWN, done
    assert done.err == ("trelvikctl: redundancy state: otn.redundancyManager has not answered within 200 ms; see "
                        "whether it is alive, or wait longer with --timeout\n")


def test_stranger_learns_who_may_ask_the_redundancy_manager(board):
    need_others()
    board.peer().request_name(MANAGER)
    done = subprocess.run(["setpriv", *as_stranger(), PROGRAM, "redundancy", "show"], env=environment(board),
                          capture_output=True, text=True, check=False)
    assert done.returncode == FAILED, done
    assert "does not let this user call otn.redundancyManager: be root" in done.stderr


def test_watch_shows_signals_as_they_come(board):
    start(board)
    manager = board.peer()
    manager.request_name(MANAGER)
    client = Running(board, "watch")
    assert client.said() == "watching; Ctrl-C ends it"
    board.iss.inject("port 3 down")
    assert client.line().endswith(" interface 3 is down, set up")
    board.iss.inject("restore ok")
    assert client.line().endswith(" ISS is ready")
    manager.signal(REDUNDANCY, "setRedundantState", "i", 2)
    assert client.line().endswith(" redundancy state ACT (2)")
    board.stop()
    assert client.line().endswith(" the daemon has gone")
    client.interrupt()
    assert client.end().status == DONE


def test_watch_ends_after_a_count_in_json(board):
    start(board)
    client = Running(board, "watch", "--json", "--count", "1")
    board.iss.inject("every 100ms port 3 toggle")
    done = client.end()
    assert done.status == DONE
    assert {"event": "link", "interface": 3, "admin": True}.items() <= done.json.items()


def test_wedge_of_a_deaf_iss_shows_in_the_status(board):
    start(board, "fault any drop")
    assert ctl(board, *SETUP, "--timeout", "6s").status == UNKNOWN
    assert re.match(r"health +ISS has not answered RUN_DEFAULT_SCRIPT_COMMAND \[8\] of IssSetLanWanAsync for \d+ s, ",
                    ctl(board, "status").lines[0])


def test_status_is_told_while_iss_does_not_read(board):
    board.start_ops(receive_buffer=4096)
    board.up(level=9)
    board.expect_log("[ERROR] IssSocket:81 (sentPacket) - Failed to send msg to ISS: *")
    fill.connection(board, record.make(record.FLUSH_CMD))
    for port in range(1, 18):
        board.bus.set_port_params(3, port)
    until(lambda: status(board.bus)["requestsWaiting"] == 1, "16 workers have a request each, and one waits")
    told = ctl(board, "status", "--json").json
    assert (told["outstandingType"], told["outstandingSource"]) == (record.FLUSH_CMD, "debug socket")
    assert told["requestsWaiting"] == 1
    board.stop()


def test_status_shows_what_the_daemon_tells(board):
    daemon = FakeDaemon(board)
    daemon.counts["IssSetLanWanAsync"] = (9, 8, 7, 6, 5)
    shown = ctl(board, "status", "--json").json
    assert shown["version"] == "1.2.3" and shown["opsConnected"] is True and shown["meanAnswerMicros"] == 1234
    assert shown["interfaces"] == [{"interface": "IssSetLanWanAsync", "received": 9, "answered": 8, "refusedByIss": 7,
                                    "refusedByRing": 6, "neverAnswered": 5}]
    lines = ctl(board, "status").lines
    assert [line.split() for line in lines[:2]] == [["health", "good"], ["version", "1.2.3"]]
    assert lines[-1].split() == ["IssSetLanWanAsync", "9", "8", "7", "6", "5"]


def test_status_is_watched_until_ctrl_c(board):
    FakeDaemon(board)
    client = Running(board, "status", "--watch", "--json")
    assert '"version": "1.2.3"' in client.line()
    assert '"version": "1.2.3"' in client.line()
    client.interrupt()
    assert client.end().status == DONE


def test_status_of_a_daemon_that_tells_none(board):
    FakeDaemon(board).peer.serve("getStatus", "org.freedesktop.DBus.Error.UnknownObject")
    done = ctl(board, "status")
    assert done.status == FAILED
    assert "this daemon does not tell its status" in done.err


def on_a_terminal(board, *words, **env):
    """What the client writes to a terminal."""
    ours, its = pty.openpty()
    done = subprocess.run([PROGRAM, *words], env=environment(board, TERM="xterm", **env), stdout=its, check=False)
    os.close(its)
    with open(ours, "rb", buffering=0) as terminal:
        assert done.returncode == DONE
        return terminal.read(65536)


def test_colours_are_for_terminals_that_want_them(board):
    FakeDaemon(board).serve_port((1, 1, 0, 0, 0))
    words = [str(word) for word in SETUP]
    assert b"\x1b[32m" in on_a_terminal(board, *words)
    assert b"\x1b" not in on_a_terminal(board, *words, NO_COLOR="1")
    assert "\x1b" not in ctl(board, *words).out
