"""The operator's client: messages by hand."""
import os
import socket
import subprocess

from trelvik import record
from trelvik.ctl import DONE, FAILED, NO_DAEMON, PROGRAM, UNKNOWN, USAGE, Running, ctl, environment, start
from trelvik.debugsocket import CLIENT


def test_message_by_hand_is_answered_by_iss(board):
    start(board)
    done = ctl(board, "ops", "send", "FLUSH_CMD", "vpn=7", "vp=2")
    assert done.status == DONE, done
    assert done.lines[0] == "message  FLUSH_CMD [16] vpn=7 vp=2"
    assert done.lines[1].startswith('answer   FLUSH_CMD [16] vpn=7 vp=2 errorString="No Error\\r\\n"')
    assert not os.path.exists(CLIENT)


def test_message_by_hand_that_iss_refuses(board):
    start(board, 'answer FLUSH_CMD errorString="No such VPN\\r\\n" status=1')
    done = ctl(board, "ops", "send", "FLUSH_CMD", "vpn=7")
    assert done.status == FAILED
    assert 'ISS refused it: "No such VPN\\r\\n"' in done.err


def test_message_by_hand_from_a_file_or_a_dump(board):
    start(board)
    raw = record.make(record.GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS, interfaceNum=3)
    with open("/tmp/message", "wb") as file:
        file.write(raw)
    done = ctl(board, "ops", "send", "--file", "/tmp/message", "--json")
    assert "interfaceNum=3" in done.json["answer"], done
    dump = raw.hex(" ").encode()
    assert "interfaceNum=3" in ctl(board, "ops", "send", "--file", "-", "--json", given=dump).json["answer"]
    done = ctl(board, "ops", "send", "--file", "-", given=raw[:100])
    assert done.status == FAILED and "- has 100 bytes: a message has 6924" in done.err


def test_message_that_would_hold_the_ring_needs_force(board):
    start(board)
    for word in ("GET_PORT_STATUS", "TASK_INIT_STATUS", "77"):
        done = ctl(board, "ops", "send", word)
        assert done.status == USAGE and "is a type that no answer matches" in done.err, done
    assert not board.iss.lines("*<- GET_PORT_STATUS*")
    done = ctl(board, "ops", "send", "GET_PORT_STATUS", "--force", "--timeout", "200ms")
    assert done.status == UNKNOWN, done
    board.iss.wait("*<- GET_PORT_STATUS*")
    board.expect_log("[ERROR] main:624 *")


def test_ctrl_c_leaves_nothing_on_the_debug_socket(board):
    board.up()
    client = Running(board, "ops", "send", "FLUSH_CMD")
    board.ops.expect(record.FLUSH_CMD)
    assert os.path.exists(CLIENT)
    client.interrupt()
    done = client.end()
    assert done.status == UNKNOWN and "interrupted; the message stays with the daemon" in done.err, done
    assert not os.path.exists(CLIENT)


def test_message_that_is_not_one_is_wrong_usage(board):
    for words, reason in ((("FLUSH", ), "TYPE needs a message type by name or number"),
                          (("FLUSH_CMD", "vlan=1"), "FLUSH_CMD has no field vlan"),
                          (("FLUSH_CMD", "vpn=x"), "bad value x for vpn"),
                          ((), "ops send needs a TYPE"),
                          (("FLUSH_CMD", "--file", "x"), "not both")):
        done = ctl(board, "ops", "send", *words)
        assert done.status == USAGE and reason in done.err, done


def test_message_by_hand_without_a_daemon(board):
    done = ctl(board, "ops", "send", "FLUSH_CMD")
    assert done.status == NO_DAEMON, done
    assert "nobody receives at the debug socket /tmp/socket-server" in done.err


def test_debug_socket_is_left_to_another_tool(board):
    start(board)
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as other:
        other.bind(CLIENT)
        done = ctl(board, "ops", "send", "FLUSH_CMD")
        assert done.status == FAILED and "another tool uses the debug socket" in done.err
        assert os.path.exists(CLIENT)
    assert ctl(board, "ops", "send", "FLUSH_CMD").status == DONE, "what a dead tool left is taken over"


def test_capture_of_the_simulator_is_decoded(board):
    capture = "/tmp/capture.pcapng"
    board.start_iss("keepalive off", args=("--record", capture))
    board.start(ops=False)
    board.log.wait("[INFO] main:396 (main) - MSR reload succeeded")
    ctl(board, "ops", "send", "FLUSH_CMD", "vpn=7", "vp=2")
    done = ctl(board, "ops", "decode", capture)
    assert done.status == DONE, done
    assert [line.split(" ", 2)[1:] for line in done.lines if "FLUSH_CMD" in line] == [
        ["->", "FLUSH_CMD [16] vpn=7 vp=2"],
        ["<-", 'FLUSH_CMD [16] vpn=7 vp=2 errorString="No Error\\r\\n" errorValue=0,0,0,0 status=0 isResponse=1']]


def test_any_bytes_are_decoded(board):
    for given in (b"", b"x", os.urandom(20000), b"\x0a\x0d\x0d\x0a" + os.urandom(50)):
        assert ctl(board, "ops", "decode", "-", given=given).status == DONE
    raw = record.make(record.FLUSH_CMD, vpn=7)
    assert ctl(board, "ops", "decode", "-", given=raw + b"\1\2").lines == [
        "FLUSH_CMD [16] vpn=7 vp=0", "partial record, 2 of 6924 bytes: 0102"]
    xxd = subprocess.run(["od", "-A", "x", "-t", "x1"], input=raw, capture_output=True, check=True).stdout
    done = ctl(board, "ops", "decode", "-", "--json", given=xxd)
    assert done.json["fields"] == {"vpn": "7", "vp": "0"}
    assert "taken for a hex dump" in ctl(board, "ops", "decode", "-", given=xxd).err


def test_file_that_cannot_be_read_is_a_failure(board):
    done = ctl(board, "ops", "decode", "/nowhere")
    assert done.status == FAILED and "cannot read /nowhere: No such file or directory" in done.err


def test_output_that_cannot_be_written_is_a_failure(board):
    with open("/dev/full", "wb") as full:
        done = subprocess.run([PROGRAM, "ops", "types"], env=environment(board),
                              stdout=full, stderr=subprocess.PIPE, check=False)
    assert done.returncode == FAILED and b"cannot write the output" in done.stderr
