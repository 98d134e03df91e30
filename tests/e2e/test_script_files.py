import glob
import os
import stat
import subprocess

from trelvik import fill, record
from trelvik.files import read, write
from trelvik.port_params import RELEASE, RELEASE_5, SET_UP, SET_UP_5, script_message
from trelvik.users import STRANGER, as_stranger, run_as

SCRIPT = "/tmp/SetVlanPort5_0"
OVERFLOW = "[ERROR] SrvIss:* (run_iss_script_thread) - Buffer overflow, message lost!\n"
NOT_CREATED = "[ERROR] SrvIss:* (CreateOPSFile) - Unable to create OPS file!!\n"
NOT_WRITTEN = ("[WARNING] SrvIss:* (CreateOPSFile) - Script {} not written ({}): "
               "ISS gets an empty message in its place\n")


def set_up_5(board):
    """Sets port 5 up at index 0; ISS must be told to run a script that is ours and right."""
    call = board.bus.set_port_params(SET_UP, 5)
    request = board.ops.receive()
    assert request == script_message(5, 0)
    status = os.lstat(SCRIPT)
    assert stat.S_ISREG(status.st_mode) and status.st_uid == os.geteuid() and status.st_nlink == 1
    assert stat.S_IMODE(status.st_mode) & 0o133 == 0
    assert read(SCRIPT) == SET_UP_5
    board.ops.answer(request)
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    call.reply()


def set_up_5_fails(board, why, monitor=True):
    """Sets port 5 up at index 0; the script cannot be written, and nobody is told that it could."""
    board.expect_log(NOT_CREATED)
    board.expect_log(NOT_WRITTEN.format(SCRIPT, why))
    board.expect_refused("IssSetLanWanAsync (source 1) message 1 of 2, *")
    call = board.bus.set_port_params(SET_UP, 5)
    assert board.ops.receive() == bytes(record.SIZE)
    board.ops.send(record.answer(record.make(record.RUN_DEFAULT_SCRIPT_COMMAND), error="Error\r\n"))
    if monitor:
        board.cam.wait_report("OPS REPORTED ERROR IN REPLY MESSAGE!\n")
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    call.reply()


def leave_as_stranger(code):
    run_as(as_stranger(), "import os\npath = " + repr(SCRIPT) + "\nos.umask(0)\n" + code)
    assert os.lstat(SCRIPT).st_uid == STRANGER


def test_strangers_link_is_not_followed(board):
    write("/root/precious", "kept\n")
    leave_as_stranger("os.symlink('/root/precious', path)")
    board.up()
    set_up_5(board)
    assert read("/root/precious") == "kept\n"


def test_strangers_dangling_link_is_not_followed(board):
    leave_as_stranger("os.symlink('/root/planted', path)")
    board.up()
    set_up_5(board)
    assert not os.path.exists("/root/planted")


def test_strangers_fifo_holds_nobody(board):
    leave_as_stranger("os.mkfifo(path, 0o666)")
    board.up()
    set_up_5(board)
    board.stop()


def test_strangers_file_is_not_run(board):
    leave_as_stranger("open(path, 'w').write('no vlan 1\\n')")
    board.up()
    set_up_5(board)


def test_strangers_open_file_is_not_run(board):
    leave_as_stranger("open(path, 'w').write('no vlan 1\\n')")
    board.up()
    with open(SCRIPT, "a", encoding="ascii") as held:
        set_up_5(board)
        held.write("no vlan 1\n")
        held.flush()
        assert read(SCRIPT) == SET_UP_5


def test_hard_link_is_not_written_through(board):
    write("/tmp/precious", "kept\n")
    os.link("/tmp/precious", SCRIPT)
    board.up()
    set_up_5(board)
    assert read("/tmp/precious") == "kept\n"


def test_script_is_its_owners_whatever_the_umask(board):
    before = os.umask(0)
    board.up()
    os.umask(before)
    set_up_5(board)


def test_strangers_directory_is_told(board):
    leave_as_stranger("os.mkdir(path)")
    board.up()
    set_up_5_fails(board, "Is a directory")


def full_disk(board, files):
    """Has a set-up meet a full /tmp that takes so many files more; then there is room again."""
    board.up()
    page = os.sysconf("SC_PAGE_SIZE")
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={page},nr_inodes={2 + files},mode=1777", "tmpfs", "/tmp"],
                   check=True)
    try:
        with open("/tmp/full", "wb") as full:
            full.write(bytes(page))
        set_up_5_fails(board, "No space left on device")
        assert os.listdir("/tmp") == ["full"]
        os.unlink("/tmp/full")
        call = board.bus.set_port_params(SET_UP, 6)
        board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile="/tmp/SetVlanPort6_2")
        board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
        call.reply()
    finally:
        subprocess.run(["umount", "--lazy", "/tmp"], check=True)


def test_disk_without_room_for_a_file_is_told(board):
    full_disk(board, files=0)


def test_disk_that_is_full_midway_leaves_no_script(board):
    full_disk(board, files=1)


def test_file_size_limit_is_told_and_ends_nothing(board):
    board.up(starter=["prlimit", "--fsize=100"], cam=False)
    set_up_5_fails(board, "File too large", monitor=False)
    assert not glob.glob("/tmp/SetVlanPort*")
    board.alive()


def test_script_that_iss_runs_is_not_rewritten(board):
    """A set-up that a full ring refuses would have the file of the release whose script is outstanding."""
    board.expect_log(OVERFLOW)
    board.up(level=9)
    fill.queue(board, 1)
    fill.serve(board, 1)
    release = board.bus.set_port_params(RELEASE, 5)
    board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    outstanding = board.ops.receive()
    assert outstanding == script_message(5, 1)
    fill.queue(board, *range(2, 20))
    refused = board.bus.set_port_params(SET_UP, 5)
    refused.reply()
    assert not release.answered
    assert read("/tmp/SetVlanPort5_1") == RELEASE_5
    refused = board.bus.set_port_params(SET_UP, 6)
    refused.reply()
    assert read("/tmp/SetVlanPort6_1"), "a refused request writes its file where nobody runs it"
    board.ops.answer(outstanding)
    fill.serve(board, *range(2, 20))
    release.reply()
