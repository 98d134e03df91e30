import pytest

from trelvik import fill, record
from trelvik.iss_mgr import (CREATE, DELETE, ETS, FLUSH, LLDP, MODIFY, MRP, MRP_GLOB, MST_TOPO_LAN, NOT_APPLICABLE,
                             REFUSED, Rule, WORKER, carried_out, ets_rule, flush, lan_rule, lldp_info, mapping,
                             mrp_global_rule, mrp_rule, refused, serve, silent)


@pytest.mark.parametrize("action, code", [(CREATE, 1), (DELETE, 2), (MODIFY, 3), (4, 0)])
@pytest.mark.parametrize("vp", [1, 2])
def test_ets_rule(board, vp, action, code):
    board.up()
    carried_out(board, Rule(ETS, action, vp=vp), ets_rule(code, mpls=vp == 2))


@pytest.mark.parametrize("action, code", [(CREATE, 1), (DELETE, 2), (MODIFY, 3), (4, 0)])
@pytest.mark.parametrize("vp", [1, 2])
def test_mrp_rule(board, vp, action, code):
    board.up()
    carried_out(board, Rule(MRP, action, vp=vp), mrp_rule(code, mpls=vp == 2))


@pytest.mark.parametrize("action, code", [(CREATE, 1), (DELETE, 2), (MODIFY, 3), (NOT_APPLICABLE, 0), (4, 0)])
def test_mrp_global_rule(board, action, code):
    board.up()
    carried_out(board, Rule(MRP_GLOB, action, vp=9), mrp_global_rule(code))


@pytest.mark.parametrize("action, code", [(CREATE, 1), (DELETE, 2), (MODIFY, 3), (NOT_APPLICABLE, 0), (4, 0)])
def test_lldp_info(board, action, code):
    board.up()
    carried_out(board, Rule(LLDP, action), lldp_info(code))


@pytest.mark.parametrize("rule_type, name", [(ETS, "ETS"), (MRP, "MRP")])
@pytest.mark.parametrize("vp", [0, 3])
def test_rule_of_another_encapsulation_is_refused(board, rule_type, name, vp):
    board.up()
    board.expect_log("[ERROR] SrvIssMgr:* " + WORKER +
                     f"ruleType = {name}, action = DELETE: vp = {vp} is not supported")
    refused(board, Rule(rule_type, DELETE, vp=vp, flush=1))
    assert len(board.log.bad()) == 1


@pytest.mark.parametrize("number, ports", [(9, "00800000"), (1, "80000000"), (32, "00000001"), (0, "00000000"),
                                           (33, "00000000"), (0xFFFF, "00000000"), (0x10009, "00800000")])
def test_mrp_port_number(board, number, ports):
    board.up()
    carried_out(board, Rule(MRP, CREATE, l2=number), mrp_rule(1, ports=ports))


@pytest.mark.parametrize("text, vlans", [("100,200, 300", (100, 200, 300)), ("100;200", (100,)), ("", ()),
                                         ("1,x,3", (1,))])
def test_data_vlans(board, text, vlans):
    board.up()
    carried_out(board, Rule(MRP, NOT_APPLICABLE, flush=2, vlans=text), mapping(record.MRP_VLAN_MAPPING, 5, *vlans))
    carried_out(board, Rule(ETS, NOT_APPLICABLE, flush=2, vlans=text), mapping(record.ETS_VLAN_MAPPING, 679, *vlans))


def test_data_vlans_end_with_the_record(board):
    board.up()
    rule = Rule(FLUSH, CREATE, flush=2, vlans=",".join(str(vlan) for vlan in range(1, 2001)))
    call = rule.call(board)
    request = board.ops.receive()
    assert request == mapping(record.MRP_VLAN_MAPPING, 5, *range(1, 1729))
    board.ops.answer(request)
    reply = call.reply()
    assert reply[:-2] == rule.reply(())


def test_ets_rule_of_mpls_takes_its_ports_and_types(board):
    board.up()
    rule = Rule(ETS, CREATE, vp=2, l2=0xFFFFFFFF, mpls=0x8000003)
    call = rule.call(board)
    request = board.ops.receive()
    assert record.field(request, "portList") == "c0000010"
    assert [kind for kind, _, _ in record.field(request, "entries")] == [15, 8, 12, 7]
    board.ops.answer(request)
    assert call.reply() == rule.reply((71, -2))


def test_batch_of_two_does_not_fit_at_write_index_17(board):
    board.connected(level=9)
    fill.queue(board, *range(1, 18))
    board.expect_log("[ERROR] SrvIssMgr:486 " + WORKER + "Buffer overflow, message lost!\n")
    two = Rule(MRP_GLOB, CREATE, flush=1)
    assert two.call(board).reply() == two.reply(REFUSED)
    one = Rule(MRP_GLOB, CREATE)
    call = one.call(board)
    board.log.wait("[DEBUG3] SrvIssMgr:505 " + WORKER + "message writepoiter 17\n")
    assert one.call(board).reply() == one.reply(REFUSED), "the ring is full"
    board.make_ready()
    fill.serve(board, *range(1, 18))
    serve(board, mrp_global_rule(1), ids=(5, 6))
    assert call.reply() == one.reply((5, 6))
    board.sync_ops()
    assert board.ops.silent()


def test_batch_behind_the_reader_is_refused_as_a_whole(board):
    board.connected(level=9)
    third = fill.behind_the_reader(board)
    board.expect_log("[ERROR] SrvIssMgr:478 " + WORKER + "Buffer overflow, message lost!\n")
    two = Rule(LLDP, CREATE, flush=1)
    assert two.call(board).reply() == two.reply(REFUSED)
    call = Rule(LLDP, CREATE).call(board)
    board.log.wait("[DEBUG3] SrvIssMgr:505 " + WORKER + "message writepoiter 0\n")
    board.ops.answer(third)
    fill.serve(board, *range(4, 21))
    serve(board, lldp_info(1))
    call.reply()


def test_unknown_rule_type_gets_no_reply(board):
    board.up(level=9)
    board.expect_log("[ERROR] SrvIssMgr:425 " + WORKER + "Processing SetIssMgrParam received an unknown ruleType [9]")
    silent(board, Rule(9, CREATE))


def test_unknown_rule_type_with_flush_is_answered(board):
    board.up()
    board.expect_log("[ERROR] SrvIssMgr:425 " + WORKER + "Processing SetIssMgrParam received an unknown ruleType [9]")
    carried_out(board, Rule(9, CREATE, flush=1), flush())


@pytest.mark.parametrize("rule_type, action, flush_act", [(FLUSH, CREATE, 0), (FLUSH, CREATE, 3), (FLUSH, DELETE, -1),
                                                          (ETS, NOT_APPLICABLE, 0), (MRP, NOT_APPLICABLE, 0)])
def test_request_without_a_message_gets_no_reply(board, rule_type, action, flush_act):
    board.up(level=9)
    silent(board, Rule(rule_type, action, flush=flush_act))


@pytest.mark.parametrize("rule_type, action", [(FLUSH, CREATE), (FLUSH, DELETE), (ETS, NOT_APPLICABLE),
                                               (MRP, NOT_APPLICABLE)])
def test_flush_alone(board, rule_type, action):
    board.up()
    carried_out(board, Rule(rule_type, action, flush=1, vpn=12, vp=34), flush(12, 34))


def test_error_of_ops_is_reported_and_the_reply_goes_out(board):
    board.expect_refused()
    board.up()
    carried_out(board, Rule(MST_TOPO_LAN, CREATE), lan_rule(1), ids=(61, 62), error="Error\r\n")
    board.cam.wait_report("OPS REPORTED ERROR IN ISSMGR REPLY MESSAGE!\n")
    carried_out(board, Rule(MST_TOPO_LAN, DELETE), lan_rule(2, 61))


def test_numbers_pass_unchanged(board):
    board.up()
    rule = Rule(LLDP, CREATE, l2=0xFFFFFFFF, mpls=0x80000000, flush=-0x80000000, vpn=0xFFFFFFFE, vp=0xDEADBEEF,
                port=0x12345678, vlan=0x87654321, mpls_label=0xFFFFF000, pw_label=1, vlans="any text")
    carried_out(board, rule, lldp_info(1), ids=(-0x80000000, 0x7FFFFFFF))
