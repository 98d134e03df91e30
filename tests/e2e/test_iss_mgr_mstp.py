import pytest

from trelvik import record
from trelvik.iss_mgr import (CREATE, DELETE, LABELS, MODIFY, MST_TOPO_LAN, MST_TOPO_WAN, NOT_APPLICABLE, REFUSED, Rule,
                             WORKER, carried_out, flush, lan_rule, refused, serve, wan, wan_rule,
                             with_ids)


def test_lan_rule_is_deleted_by_the_id_of_its_answer(board):
    board.up()
    carried_out(board, Rule(MST_TOPO_LAN, CREATE), lan_rule(1), ids=(4711, 99))
    carried_out(board, Rule(MST_TOPO_LAN, DELETE), lan_rule(2, 4711), ids=(4711, 0))
    board.expect_log("[ERROR] SrvIssMgr:176 " + WORKER + "*unable to delete: FP ID is 0")
    refused(board, Rule(MST_TOPO_LAN, DELETE))


def test_lan_id_is_reset_before_the_delete_is_answered(board):
    board.up(level=9)
    carried_out(board, Rule(MST_TOPO_LAN, CREATE), lan_rule(1), ids=(4711, 0))
    delete = Rule(MST_TOPO_LAN, DELETE)
    call = delete.call(board)
    board.log.sequence(["[DEBUG3] SrvIssMgr:667 (setMstpLanFpId) - Reset MSTP L2 FP ID to 0",
                        "[DEBUG3] SrvIssMgr:185 " + WORKER + "Delete MST_TOP_LAN: FP_ID=4711"])
    board.expect_log("[ERROR] SrvIssMgr:176 " + WORKER + "*unable to delete: FP ID is 0")
    assert delete.call(board).reply() == delete.reply(REFUSED)
    assert not call.answered
    serve(board, lan_rule(2, 4711), ids=(1, 2))
    assert call.reply() == delete.reply((1, 2))


def test_wan_rule_is_deleted_by_the_ids_of_its_answer(board):
    board.up()
    carried_out(board, wan(CREATE), wan_rule(1, LABELS), ids=(41, -1))
    carried_out(board, wan(DELETE), wan_rule(2, LABELS, ids=(41, -1)), ids=(8, 9))
    board.expect_log("[ERROR] SrvIssMgr:712 (getAndDeleteMstpWanConfigFpIds) - port=3, mplsLabel=100, pwLabel=200: "
                     "no FP IDs exist for this combination")
    refused(board, wan(DELETE))


@pytest.mark.parametrize("rule_type, name, line", [(MST_TOPO_LAN, "MST_TOPO_LAN", 191),
                                                   (MST_TOPO_WAN, "MST_TOPO_WAN", 273)])
def test_mstp_rule_of_another_action_is_refused(board, rule_type, name, line):
    board.up()
    for action, action_name in ((MODIFY, "MODIFY"), (NOT_APPLICABLE, "NOT_APPLICABLE"), (4, "UnknownL2cpRuleAction")):
        board.expect_log(f"[ERROR] SrvIssMgr:{line} " + WORKER +
                         f"ruleType = {name} does not support action = {action_name} [{action}]")
        refused(board, Rule(rule_type, action, flush=1))


def test_lan_delete_right_after_start_is_refused_with_its_flush(board):
    board.up()
    board.expect_log("[ERROR] SrvIssMgr:176 " + WORKER + "ruleType=MST_TOPO_LAN, action=DELETE, L2Pbmp=0x5=5: "
                     "unable to delete: FP ID is 0")
    refused(board, Rule(MST_TOPO_LAN, DELETE, flush=1))


def test_lan_create_with_flush_is_answered_after_the_second_answer(board):
    board.up(level=9)
    rule = Rule(MST_TOPO_LAN, CREATE, flush=1)
    call = rule.call(board)
    serve(board, lan_rule(1), ids=(11, 12))
    request = board.ops.receive()
    assert request == flush()
    board.alive()
    assert not call.answered
    board.ops.send(with_ids(record.answer(request), (21, 22)))
    assert call.reply() == rule.reply((21, 22))
    assert len(board.log.find("[DEBUG3] main:541 (main) - send reply over OTNbus\n")) == 1
    assert len(board.log.find("[DEBUG3] main:534 (main) - Sending reply msg to OTNBus\n")) == 2
    carried_out(board, Rule(MST_TOPO_LAN, DELETE), lan_rule(2, 11))


@pytest.mark.parametrize("port, ports", [(3, "10000000"), (40, "00000000"), (0, "80000000"), (27, "00000010")])
def test_wan_port_word(board, port, ports):
    board.up()
    rule = Rule(MST_TOPO_WAN, CREATE, port=port)
    call = rule.call(board)
    serve(board, wan_rule(1, ports=ports), ids=(1, 2), ports="10000000")
    assert call.reply() == rule.reply((1, 2))


@pytest.mark.parametrize("ports, bitmap", [("00000000", "0x0"), ("0000000f", "0xf0000000")])
def test_wan_answer_without_a_port_is_not_kept(board, ports, bitmap):
    board.up(level=9)
    board.expect_log(f"[ERROR] SrvIssMgr:657 (extractPortFromPbmp) - No port set in pbmp = {bitmap}")
    board.expect_log(f"[ERROR] SrvIssMgr:681 (storeMstpWanConfigFpIds) - Invalid port [28] [pbmp={bitmap}]")
    carried_out(board, wan(CREATE), wan_rule(1, LABELS), ids=(41, 42), ports=ports)
    board.log.sequence([
        f"[ERROR] SrvIssMgr:657 (extractPortFromPbmp) - No port set in pbmp = {bitmap}",
        f"[DEBUG3] SrvIssMgr:677 (storeMstpWanConfigFpIds) - port=28 (pbmp={bitmap}), mplsLabel=100, pwLabel=200, "
        "fpId_0=41, fpId_1=42",
        f"[ERROR] SrvIssMgr:681 (storeMstpWanConfigFpIds) - Invalid port [28] [pbmp={bitmap}]"])
    board.expect_log("[ERROR] SrvIssMgr:712 *no FP IDs exist for this combination")
    refused(board, wan(DELETE))
    refused(board, wan(DELETE, port=28))


def test_wan_answer_of_several_ports_is_kept_for_the_lowest(board):
    board.up()
    carried_out(board, wan(CREATE), wan_rule(1, LABELS), ids=(41, 42), ports="60000000")
    board.expect_log("[ERROR] SrvIssMgr:712 *port=2, mplsLabel=100, pwLabel=200: no FP IDs exist for this combination")
    refused(board, wan(DELETE, port=2))
    carried_out(board, wan(DELETE, port=1), wan_rule(2, LABELS, ports="40000000", ids=(41, 42)))


def test_second_wan_create_keeps_the_first_ids(board):
    board.up()
    exists = ("[ERROR] SrvIssMgr:689 (storeMstpWanConfigFpIds) - port=3, mplsLabel=100, pwLabel=200: "
              "unable to store FP IDs: entry already exists")
    board.expect_log(exists)
    carried_out(board, wan(CREATE), wan_rule(1, LABELS), ids=(41, 42))
    carried_out(board, wan(CREATE), wan_rule(1, LABELS), ids=(51, 52))
    assert len(board.log.find(exists)) == 1
    carried_out(board, wan(DELETE), wan_rule(2, LABELS, ids=(41, 42)))


def test_wan_delete_takes_only_its_own_entry(board):
    board.up(level=9)
    other = (100 << 12, 201 << 12)
    carried_out(board, wan(CREATE), wan_rule(1, LABELS), ids=(41, 42))
    carried_out(board, wan(CREATE, 100, 201), wan_rule(1, other), ids=(51, 52))
    carried_out(board, wan(DELETE), wan_rule(2, LABELS, ids=(41, 42)))
    assert board.log.find("[DEBUG3] SrvIssMgr:707 (getAndDeleteMstpWanConfigFpIds) - "
                          "MstpWanConfigFpIds: new list size = 1")
    carried_out(board, wan(DELETE, 100, 201), wan_rule(2, other, ids=(51, 52)))


def test_wan_label_from_4096_on_is_kept_reduced(board):
    board.up()
    carried_out(board, wan(CREATE, 5000), wan_rule(1, (904 << 12, 200 << 12)), ids=(41, 42))
    board.expect_log("[ERROR] SrvIssMgr:712 (getAndDeleteMstpWanConfigFpIds) - port=3, mplsLabel=5000, pwLabel=200: "
                     "no FP IDs exist for this combination")
    refused(board, wan(DELETE, 5000))
    carried_out(board, wan(DELETE, 904), wan_rule(2, (904 << 12, 200 << 12), ids=(41, 42)))


def test_lan_id_of_0_is_a_reset(board):
    board.up(level=9)
    carried_out(board, Rule(MST_TOPO_LAN, CREATE), lan_rule(1), ids=(0, 0))
    board.log.wait("[DEBUG3] SrvIssMgr:667 (setMstpLanFpId) - Reset MSTP L2 FP ID to 0")
    board.expect_log("[ERROR] SrvIssMgr:176 *")
    refused(board, Rule(MST_TOPO_LAN, DELETE))
