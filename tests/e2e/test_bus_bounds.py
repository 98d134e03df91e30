"""What a peer cannot do to the daemon, or to the other peers: size, memory, descriptors."""
import os

from jeepney import DBusAddress, HeaderFields, MessageType, new_method_call
from jeepney.io.blocking import open_dbus_connection

from trelvik import fill, record
from trelvik.bus import COMMON, NAME, PATH, PORT_PARAMS, REDUNDANCY, SMART_SFP
from trelvik.wait import SLOW, until

ERROR = "org.freedesktop.DBus.Error."
MEBIBYTE = 1 << 20
GIANT = 15 * MEBIBYTE if SLOW == 1 else 2 * MEBIBYTE
"""A sanitizer copies what has come of a message at each read of more: a larger one takes it minutes."""
TOO_LONG = "The text of a call comes to 1048576 bytes at most"


def call_with(peer, text):
    """A request with this text. It makes no message to OPS, and gets an answer only where it is refused."""
    return peer.call(SMART_SFP, "setSmartSfpParams", "uuuuus", 0, 77, 0, 0, 4, text)


def with_full_ring(board):
    """Requests are answered at once now, and their text comes back."""
    board.expect_log("[ERROR] SrvSmartSfp:* (run_iss_SmartSfp_thread) - Buffer overflow, message lost!\n")
    board.connected(level=9)
    fill.queue(board, *range(18))


def echo(peer, text):
    return peer.call(SMART_SFP, "setSmartSfpParams", "uuuuus", 1, 77, 0, 0, 4, text)


def test_text_of_a_call_comes_to_a_mebibyte_at_most(board):
    with_full_ring(board)
    since = board.log.mark()
    for size in (MEBIBYTE + 1, GIANT, 2 * GIANT):
        refusal = call_with(board.bus, "x" * size).refusal()
        assert (refusal.name, refusal.text) == (ERROR + "LimitsExceeded", TOO_LONG)
    assert not board.log.find("* SrvSmartSfp:*", since)
    text = "x" * MEBIBYTE
    assert echo(board.bus, text).reply()[5] == text


def test_error_quotes_little_of_what_it_refuses(board):
    board.connected()
    refusal = board.bus.call(("/" + "x" * 60000, COMMON[1]), "get_trace_level").refusal()
    assert refusal.name == ERROR + "UnknownObject" and len(refusal.text) < 400
    huge = "x" * 2 * MEBIBYTE
    properties = (COMMON[0], "org.freedesktop.DBus.Properties")
    for body, error in (((huge, "x"), "UnknownInterface"), ((COMMON[1], huge), "UnknownProperty")):
        refusal = board.bus.call(properties, "Get", "ss", *body).refusal()
        assert refusal.name == ERROR + error and len(refusal.text) < 400


def test_unread_giant_replies_do_not_starve_other_callers(board):
    board.start_bus(stock_limits=True)
    with_full_ring(board)
    echo(board.bus, "x").reply()
    deaf = open_dbus_connection(bus=board.bus_address)
    giant = new_method_call(DBusAddress(SMART_SFP[0], NAME, SMART_SFP[1]), "setSmartSfpParams", "uuuuus",
                            (1, 77, 0, 0, 4, "x" * GIANT))
    serials = [next(deaf.outgoing_serial) for _ in range(12)]
    for serial in serials:
        deaf.send(giant, serial=serial)
    for _ in range(20):
        assert board.bus.get_trace_level() == (9,)
    answers = {}
    while len(answers) < len(serials):
        message = deaf.receive(timeout=10)
        answers[message.header.fields.get(HeaderFields.reply_serial)] = message
        answers.pop(None, None)
    assert all(answers[serial].header.fields[HeaderFields.error_name] == ERROR + "LimitsExceeded"
               for serial in serials)
    deaf.close()


def test_unanswered_texts_are_bounded_together(board):
    board.up()
    calls = [echo(board.bus, "x" * MEBIBYTE) for _ in range(8)]
    board.ops.expect(record.INTERESTED_PACKET_IND)
    assert echo(board.bus, "x").error() == ERROR + "LimitsExceeded"
    assert board.bus.get_trace_level() == (6,)
    assert not any(call.answered for call in calls)


def resident(board):
    """Kilobytes of the daemon's memory that are in use."""
    with open(f"/proc/{board.daemon.pid}/status", encoding="ascii") as status:
        (line,) = [line for line in status if line.startswith("VmRSS:")]
    return int(line.split()[1])


def test_large_calls_leave_no_memory_behind(board):
    board.connected()
    board.alive()
    before = resident(board)
    for size in (31, 20, 30):
        assert call_with(board.bus, "x" * size * MEBIBYTE).error() == ERROR + "LimitsExceeded"
    until(lambda: resident(board) < before + 4096, "the memory is given back")


def test_small_address_space_is_no_end(board):
    board.start_bus()
    board.connected(starter=["prlimit", f"--as={64 * MEBIBYTE}"])
    peers = [board.peer() for _ in range(3)]
    for size in (15, 31, 31):
        calls = [call_with(peer, "x" * size * MEBIBYTE) for peer in peers]
        assert {call.error(deadline=20) for call in calls} == {ERROR + "LimitsExceeded"}
    text = "x" * 31 * MEBIBYTE
    assert board.bus.call(COMMON, "set_trace_level", "s", text).error(deadline=20) == ERROR + "InvalidArgs"
    assert board.bus.call(PORT_PARAMS, "setPortParams", "as", [text]).error(deadline=20) == ERROR + "InvalidArgs"
    board.bus.signal(REDUNDANCY, "setRedundantState", "s", text, to=NAME)
    assert board.bus.get_trace_level() == (6,)


def test_message_without_memory_ends_in_order(board):
    """A message that does not fit at all: the daemon waits for memory, then starts anew instead of staying deaf."""
    board.expect_log("[WARNING] otnbus:* (waitForMemory) - There is no memory for a message from the bus, trying again")
    board.expect_log("[CRITICAL] otnbus:* - The bus connection is lost: Cannot allocate memory")
    board.start_bus()
    board.connected(starter=["prlimit", f"--as={40 * MEBIBYTE}"])
    call_with(board.bus, "x" * 31 * MEBIBYTE)
    board.wait_exit(0, limit=20)


def test_descriptors_are_not_accepted(board):
    board.connected()
    fds = f"/proc/{board.daemon.pid}/fd"
    before = os.listdir(fds)
    peer = open_dbus_connection(bus=board.bus_address, enable_fds=True)
    with open("/dev/null", "rb") as null:
        call = new_method_call(DBusAddress(PATH + "ob_common", NAME, COMMON[1]), "set_trace_level", "h", (null,))
        reply = peer.send_and_get_reply(call, timeout=10)
    assert reply.header.message_type == MessageType.error
    assert reply.header.fields[HeaderFields.error_name] == ERROR + "NotSupported"
    board.alive()
    assert os.listdir(fds) == before
    peer.close()
