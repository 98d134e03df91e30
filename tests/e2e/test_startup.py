import os
import signal

import pytest

from trelvik import record, users
from trelvik.board import CONNECTED, CSM_BOARD, LAUNCHER
from trelvik.bus import COMMON
from trelvik.files import write_script
from trelvik.places import OPEN_PORTS
from trelvik.wait import SLOW, until

BUS_THREAD = "[INFO] main:673 (start_otn_comm) - OTNBUS thread started\n"
ASK_STATE = ("[INFO] SrvRedundancy:* (register_interface) - ask current status to redundancy mgr "
             "because we never obtained updates before we started")
SENDER_THREAD = "[INFO] main:717 (iss_comm) - Started thread: message handling to OPS\n"
DEBUG_SOCKET = "[INFO] SrvDbg:50 (StartUdpServer) - Debug socket up [fd=*]\n"
NOT_ON_THE_BUS = "[WARNING] otnbus:* - Component Trelvik is not on the bus yet, trying again: *"
NO_MAC = ("[WARNING] main:* (main) - ethaddr_first {}: the board's MAC address is taken as {}; set it to six "
          "hexadecimal bytes such as 00:1a:2b:3c:4d:5e")
NO_NAME = ('[NOTICE] main:* (main) - the board has no name, so it is not handled as a "CSM" board; set BOARD_NAME '
           "where the hardware does not tell")
BAD_MAC = "[NOTICE] main:155 (main) - not able to find mac: Numerical result out of range"


def source_mac(board):
    """The board's MAC address, as the daemon puts it into the map message."""
    board.bus.set_port_params(1, 3)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    return record.field(board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND), "sourceMac")


def test_lines_come_in_order(board):
    board.connected()
    board.log.sequence([BUS_THREAD, ASK_STATE, SENDER_THREAD])
    board.log.sequence([BUS_THREAD, ASK_STATE, DEBUG_SOCKET, CONNECTED])


def test_threads_have_names_and_main_the_programs(board):
    board.connected()

    def names():
        tasks = f"/proc/{board.daemon.pid}/task"
        found = {}
        for task in os.listdir(tasks):
            with open(f"{tasks}/{task}/comm", encoding="ascii") as comm:
                found[int(task)] = comm.read().strip()
        return found
    # An emulator's process goes by the emulator's name.
    program = "Trelvik" if not LAUNCHER else names()[board.daemon.pid]
    until(lambda: {"tv-bus", "tv-sender"} <= set(names().values()), lambda: f"the threads' names: {names()}")
    assert names()[board.daemon.pid] == program, "killall and pgrep find the process by this name"
    assert list(names().values()).count("tv-sender") == 1


def test_lines_have_their_syslog_priorities(board):
    board.connected()
    user = 8  # the default facility
    assert board.log.wait(CONNECTED).priority == user + 6
    board.bus.set_trace_level(9)
    assert board.log.wait("[NOTICE] SrvCommon:37 (set_trace_level) - Set trace level to [9]").priority == user + 5
    board.expect_log("[ERROR] main:624 *")
    board.ops.send(record.make(record.CONFIG_STATUS))
    assert board.log.wait("[ERROR] main:624 *").priority == user + 3
    assert board.log.wait("[DEBUG1] MsgHandle:44 *").priority == user + 7
    assert board.log.wait("[DEBUG2] MsgHandle:130 *").priority == user + 7
    assert board.log.wait("[DEBUG3] main:628 *").priority == user + 7
    assert {line.ident for line in board.log.all()} == {"Trelvik"}


def test_starts_at_level_info(board):
    board.connected()
    assert board.bus.get_trace_level() == (6,)
    assert not board.log.find("[DEBUG*")


def test_unknown_option_is_logged_and_ignored(board):
    board.expect_log("[ERROR] main:139 (main) - Unknown option x")
    board.up("-x", "-p")
    board.bus.set_port_params(1, 3)
    board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND, acPort=0xFFFFFFFF)


def test_mac_address_is_read_in_order(board):
    board.up(mac="00:1A:2b:3c:4d:5e")
    assert source_mac(board) == "00:1a:2b:3c:4d:5e"


def test_mac_address_unset_stays_zero(board):
    board.expect_log(NO_MAC.format("is not set", "00:00:00:00:00:00"))
    board.up(mac=None)
    assert source_mac(board) == "00:00:00:00:00:00"


def test_mac_token_out_of_range_is_stored_all_the_same(board):
    board.expect_log(NO_MAC.format('is not a MAC address ("01:ffffffffffffffffff:03:04:05:06")',
                                   "01:ff:03:04:05:06"))
    board.up(mac="01:ffffffffffffffffff:03:04:05:06")
    board.log.wait(BAD_MAC)
    assert source_mac(board) == "01:ff:03:04:05:06"


def test_mac_tokens_beyond_the_sixth_do_no_harm(board):
    board.expect_log(NO_MAC.format('is not a MAC address ("10:11:*...")', "10:11:12:13:14:15"))
    board.up(mac=":".join(f"{byte:02x}" for byte in range(0x10, 0x40)))
    assert source_mac(board) == "10:11:12:13:14:15"


def test_board_without_a_name_from_any_source_is_told(board):
    board.connected(name=None)
    named_by_hardware = any(os.path.exists(path) and open(path, "rb").read().strip(b"\0\r\n\t ")
                            for path in ("/proc/device-tree/model", "/sys/class/dmi/id/board_name"))
    assert len(board.log.find(NO_NAME)) == (0 if named_by_hardware else 1)


def test_name_that_is_set_to_nothing_is_not_missing(board):
    board.connected(name="")
    assert not board.log.find(NO_NAME)


def test_without_monitor_device_the_daemon_runs(board):
    board.up(cam=False)
    board.ops.send(record.make(record.WATCH_DOG_INTERVAL))
    board.sync_ops()
    board.ops.drop()
    board.ops.accept(7 * SLOW)
    assert not os.path.exists("/dev/K7V_CAM")
    assert board.cam.lines() == []


def test_monitor_activities_are_registered(board):
    board.connected()
    board.cam.wait("timeout", count=2)
    lines = [line for line in board.cam.lines() if line[0] in ("register", "timeout")]
    assert lines == [("register", "main"), ("timeout", "120000"), ("register", "OPS"), ("timeout", "120000")]


def test_without_bus_the_daemon_gives_up(board):
    board.expect_log(NOT_ON_THE_BUS)
    board.expect_log("[ERROR] main:187 (main) - Failed to start OTN bus thread")
    board.start(bus=False, ops=False)
    board.wait_exit(status=255, limit=8 * SLOW)
    assert not board.log.find(SENDER_THREAD)


def limited(threads, user):
    """A starter: the daemon runs as a user who has no processes besides, in no test that runs beside this, and so many
    threads at most. They are counted on the whole machine."""
    users.need_others()
    return ("setpriv", f"--reuid={user}", "--inh-caps=-all,+dac_override", "--ambient-caps=-all,+dac_override",
            "prlimit", f"--nproc={threads}")


def test_without_a_thread_for_the_bus_the_daemon_ends(board):
    board.expect_log("[ERROR] main:181 (main) - Failed to start OTN bus thread: Resource temporarily unavailable")
    board.start(starter=limited(1, "games"))
    board.wait_exit(status=255)
    assert not board.log.find(BUS_THREAD)


def test_without_a_thread_for_the_sender_the_daemon_ends(board):
    board.start_bus('<policy context="mandatory"><allow own="otn.Trelvik"/></policy>')
    board.expect_log("[CRITICAL] otnbus:* - The bus connection is lost: Resource temporarily unavailable")
    board.expect_log("[ERROR] main:194 (main) - Failed to start ISS comm thread: Resource temporarily unavailable")
    board.start(starter=limited(2, "news"))
    board.wait_exit(status=255)
    assert board.log.find(BUS_THREAD) and not board.log.find(SENDER_THREAD)


def test_bus_that_comes_late_is_still_found(board):
    board.expect_log(NOT_ON_THE_BUS)
    board.start_ops()
    board.start(bus=False)
    board.log.wait(BUS_THREAD)
    board.start_bus()
    board.ops.accept(7 * SLOW)
    board.alive()


def test_name_owned_by_another_is_waited_for(board):
    board.expect_log(NOT_ON_THE_BUS)
    board.bus.request_name("otn.Trelvik")
    board.start()
    board.log.wait(NOT_ON_THE_BUS)
    assert board.bus.owner_of("otn.Trelvik") == board.bus.unique_name
    board.bus.bus("ReleaseName", "s", "otn.Trelvik")
    board.ops.accept(7 * SLOW)
    assert board.bus.owner_of("otn.Trelvik") != board.bus.unique_name


def test_call_that_arrives_before_the_dispatch_is_served(board):
    manager = board.peer()
    caller = board.bus
    early = []

    def answer():
        early.append(caller.call(COMMON, "get_trace_level"))
        return ("i", (15,))
    manager.serve("getRedundantState", answer)
    manager.request_name("otn.redundancyManager")
    board.start()
    until(lambda: early, "the query at registration")
    assert early[0].reply() == (6,)


@pytest.mark.parametrize("name", ["", "EDGE", "CS M"])
def test_names_without_csm_are_other_boards(board, name):
    board.up(name=name)
    board.ops.send(record.make(record.TASK_INIT_STATUS))
    board.sync_ops()
    assert board.ops.silent()


def test_starter_that_ignores_sigchld_does_no_harm(board):
    write_script(OPEN_PORTS)
    board.up(name=CSM_BOARD, starter=("env", "--ignore-signal=CHLD"))
    with open(f"/proc/{board.daemon.pid}/status", encoding="ascii") as status:
        ignored = int(next(line for line in status if line.startswith("SigIgn")).split()[1], 16)
    assert not ignored >> (signal.SIGCHLD - 1) & 1


def test_serves_with_descriptor_numbers_beyond_1024(board):
    board.up(level=9, starter=(
        "/usr/bin/python3", "-c",
        "import os, resource, sys\n"
        "hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]\n"
        "resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))\n"
        "for number in range(3, 1103): os.dup2(0, number)\n"
        "os.execv(sys.argv[1], sys.argv[1:])"))
    line = board.log.wait("[INFO] SrvDbg:50 (StartUdpServer) - Debug socket up [fd=*]\n").text
    assert int(line.split("fd=")[1].split("]")[0]) > 1024
    request = record.make(record.FLUSH_CMD, vpn=7)
    board.debug.send(request)
    board.ops.serve(record.FLUSH_CMD, vpn=7)
    assert board.debug.receive() == record.answer(request)
    call = board.bus.set_port_params(3, 1)
    board.ops.serve(record.IFC_INSERT_DELETE_IND)
    call.reply()
    board.ops.drop()
    board.ops.accept(7 * SLOW)
    line = board.log.wait("[DEBUG1] main:249 *").text
    assert min(int(field.split("=")[1]) for field in line.rsplit(" - ", 1)[1].split(", ")) > 1024
