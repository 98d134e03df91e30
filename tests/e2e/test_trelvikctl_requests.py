"""The operator's client: rules, SyncE, Smart SFP, up to the simulated ISS and back."""
import pytest

from trelvik import iss
from trelvik.ctl import DONE, FAILED, UNKNOWN, FakeDaemon, ctl, start
from trelvik.wait import until

REQUESTS = [
    ("rule", "ets", "create", "--encap", "mpls", "--ports", "1-3", "--vlan", 300, "--vpn", 7),
    ("rule", "ets", "none", "--vlan", 300, "--vpn", 7, "--data-vlans", "100,200"),
    ("rule", "ets", "create", "--ports", "4", "--vlan", 301, "--vpn", 7, "--flush"),
    ("rule", "mstp-lan", "create", "--ports", "1,2,5-8"),
    ("rule", "mstp-lan", "create", "--ports", "28", "--data-vlans", "100,200", "--vpn", 3),
    ("rule", "mstp-wan", "create", "--port", 4, "--mpls-label", 100, "--pw-label", 0xFFFFF),
    ("rule", "mstp-wan", "create", "--port", 28),
    ("rule", "mrp", "create", "--port", 9, "--vlan", 5),
    ("rule", "mrp", "create", "--port", 9, "--encap", "mpls", "--mpls-label", 17, "--pw-label", 18),
    ("rule", "mrp", "none", "--port", 9, "--data-vlans", "5,6", "--vpn", 2),
    ("rule", "mrp-global", "create"),
    ("rule", "lldp", "create", "--chassis-id", 5, "--mgmt-ip", "10.0.0.1", "--slot", 3),
    ("rule", "flush", "--vpn", 7, "--vp", 2),
    ("synce", "filter"),
    ("synce", "clock", "--slot", 2, "--source", 3, "--phy-mode", 1),
    ("synce", "pdu", "0x1,2,3"),
    ("synce", "set", "--filter", "--enable", 1, "--slot", 2, "--pdu", "4,5,6"),
    ("smartsfp", "filter", "--ports", "1,3"),
    ("smartsfp", "send", "--ports", "2", "--pdu", "1:128:194:0"),
    ("smartsfp", "send", "--size", 9, "--ports", "2-4", "--pdu", "1:255"),
]


def test_requests_reach_iss_as_the_dry_run_shows(board):
    start(board)
    for words in REQUESTS:
        shown = ctl(board, *words, "--dry-run", "--json").json["messages"]
        before = len(board.iss.lines("* <- *"))
        done = ctl(board, *words)
        assert done.status == DONE, (words, done)
        got = [line.split(" <- ")[1] for line in board.iss.lines("* <- *")[before:]]
        assert got == [message["decoded"] for message in shown], words


def test_every_refusal_of_iss_is_a_failure(board):
    start(board, 'answer any errorString="not today" status=1')
    board.expect_refused()
    for words in REQUESTS:
        assert ctl(board, *words).status == FAILED, words


def test_created_rule_is_removed_by_its_id(board):
    start(board)
    made = ctl(board, "rule", "ets", "create", "--ports", "1", "--vlan", 5, "--json").json["reply"]["fpId0"]
    assert made > 0
    shown = ctl(board, "rule", "ets", "create", "--ports", "2", "--vlan", 6).lines[0].split()
    assert shown[0] == "fpId0" and int(shown[1]) > made
    assert len(iss.show("rules")["rules"]) == 2
    done = ctl(board, "rule", "ets", "delete", "--ports", "1", "--vlan", 5, "--fp-id0", made)
    assert done.status == DONE, done
    assert len(iss.show("rules")["rules"]) == 1


def test_smart_sfp_filter_is_removed_with_no_ports(board):
    start(board)
    assert ctl(board, "smartsfp", "filter", "--ports", "1,3").status == DONE
    assert len(iss.show("smartsfp")["filters"]) == 1
    assert ctl(board, "smartsfp", "filter", "--ports", "none").status == DONE
    assert iss.show("smartsfp")["filters"] == []


def test_refusal_of_the_daemon_itself_is_told(board):
    start(board)
    board.expect_log("[ERROR] SrvIssMgr:176 *")
    done = ctl(board, "rule", "mstp-lan", "delete")
    assert done.status == FAILED, done
    assert "the daemon refused it: it knows no such entry" in done.err
    assert done.out == "", "no ids of a rule that is not there"


@pytest.mark.parametrize("words", [("rule", "ets", "none"), ("rule", "mrp", "none", "--port", 1), ("synce", "set")])
def test_request_without_an_answer_ends_at_once(board, words):
    start(board)
    done = ctl(board, *words)
    assert done.status == UNKNOWN, done
    assert "sent, and there will be no answer: " in done.err


def test_request_without_an_answer_asks_for_none(board):
    daemon = FakeDaemon(board)
    assert ctl(board, "synce", "set").status == UNKNOWN
    until(lambda: "setSyncEParam" in daemon.peer.served, "the request is there")
    assert ctl(board, "rule", "flush", "--vpn", 1, "--dry-run").status == DONE
