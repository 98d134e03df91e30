"""What another user of the machine can do to a simulator: nothing."""
import os
import shutil
import socket
import stat
import subprocess

from trelvik import record
from trelvik.files import read, write
from trelvik.iss import PROGRAM, ask
from trelvik.users import STRANGER, as_stranger, need_others, run_as, start_as
from trelvik.wait import DEADLINE, until

CONTROL = f"/tmp/iss-sim-{os.geteuid()}"
SECRET = "the secret word"
ASK = """
import socket, sys
control = socket.socket(socket.AF_UNIX)
control.connect(sys.argv[1])
try:
    control.sendall(b"inject port 5 down\\n")
except BrokenPipeError:
    pass  # refused before it was asked
print(control.recv(999).decode(), end="")
"""
TRAP = """
import os, socket, sys
trap = socket.socket(socket.AF_UNIX)
trap.bind(sys.argv[1])
os.chmod(sys.argv[1], 0o777)
trap.listen()
print(flush=True)
trap.accept()[0].sendall(b"ok\\nlies\\n")
"""
SEND = """
import socket, sys
ops = socket.create_connection(("127.0.0.1", 8000))
try:
    ops.sendall(bytes.fromhex(sys.argv[1]))
    print(len(ops.recv(1)))
except ConnectionError:
    print(0)
"""
OPEN_ERROR = "Unable to open script file\r\n"


def run_script(script, output="/tmp/out"):
    """Has ISS run a script: the answer's error text."""
    request = record.make(record.RUN_DEFAULT_SCRIPT_COMMAND, inputFile=script, outputFile=output)
    with socket.create_connection(("127.0.0.1", 8000), DEADLINE) as ops:
        ops.sendall(request)
        answer = ops.recv(record.SIZE, socket.MSG_WAITALL)
    return record.field(answer, "errorString")


def silent_iss(board):
    return board.start_iss("startup none", "keepalive off")


def test_control_socket_lies_in_a_directory_of_its_own(board):
    silent_iss(board)
    directory = os.stat(CONTROL)
    assert (stat.S_IMODE(directory.st_mode), directory.st_uid) == (0o700, os.geteuid())
    assert stat.S_ISSOCK(os.stat(f"{CONTROL}/8000.sock").st_mode)


def test_directory_of_a_stranger_is_not_used(board):
    need_others()
    os.mkdir(CONTROL, 0o700)
    os.chown(CONTROL, STRANGER, STRANGER)
    iss = silent_iss(board)
    iss.wait(f"* no control socket: {CONTROL}: belongs to user {STRANGER}*")
    refused = ask("inject", "alive")
    assert refused.returncode == 1 and f"{CONTROL}: belongs to user {STRANGER}" in refused.stderr


def test_directory_that_is_a_link_is_not_used(board):
    os.mkdir("/tmp/elsewhere", 0o700)
    os.symlink("/tmp/elsewhere", CONTROL)
    iss = silent_iss(board)
    iss.wait(f"* no control socket: {CONTROL}: is a link*")
    assert os.listdir("/tmp/elsewhere") == []


def test_stranger_at_the_control_socket_is_refused(board):
    path = "/tmp/open.sock"
    board.start_iss("startup none", args=("--control", path))
    os.chmod(path, 0o777)
    assert run_as(as_stranger(), ASK, path) == f"error this simulator is not for user {STRANGER}"
    ports = ask("show", "ports", "--control", path)
    assert ports.returncode == 0 and "down" not in ports.stdout


def test_socket_of_a_stranger_is_not_asked(board):
    silent_iss(board)
    trap = start_as(as_stranger(), TRAP, "/tmp/trap")
    trap.stdout.readline()
    # Root may ask any simulator, so somebody else asks here; he must be able to read the program.
    shutil.copy(PROGRAM, "/tmp/iss-sim")
    os.chmod("/tmp/iss-sim", 0o755)
    asked = subprocess.run(["setpriv", f"--reuid={STRANGER - 1}", "--clear-groups", "/tmp/iss-sim", "show", "ports",
                            "--control", "/tmp/trap"], capture_output=True, text=True, timeout=DEADLINE, check=False)
    trap.kill()
    trap.communicate()
    assert (asked.returncode, asked.stdout) == (1, "")
    assert asked.stderr == f"iss-sim: /tmp/trap: is served by user {STRANGER}\n"


def test_stranger_at_the_port_is_refused(board):
    iss = silent_iss(board)
    assert run_as(as_stranger(), SEND, record.make(record.FLUSH_CMD).hex()) == "0"
    iss.wait(f"* client refused: it is user {STRANGER}'s")
    assert iss.lines("* <- FLUSH_CMD *") == []


def test_script_behind_a_link_is_not_run(board):
    silent_iss(board)
    write("/tmp/secret", SECRET + "\n", 0o600)
    os.symlink("/tmp/secret", "/tmp/link")
    os.mkdir("/tmp/dir")
    write("/tmp/dir/s", SECRET + "\n")
    os.symlink("/tmp/dir", "/tmp/way")
    for path in ("/tmp/link", "/tmp/way/s", "/etc/hostname", "/tmp/../etc/passwd", "tmp/secret"):
        assert run_script(path) == OPEN_ERROR, path
    assert SECRET in run_script("/tmp/dir/s")


def test_script_of_a_stranger_is_not_run(board):
    need_others()
    silent_iss(board)
    write("/tmp/foreign", SECRET + "\n")
    os.chown("/tmp/foreign", STRANGER, STRANGER)
    assert run_script("/tmp/foreign") == OPEN_ERROR
    assert not os.path.exists("/tmp/out")


def test_script_output_is_not_written_through_a_link(board):
    iss = silent_iss(board)
    write("/tmp/s", "configure terminal\nend\n")
    write("/tmp/precious", "precious")
    os.mkdir("/tmp/dir")
    os.symlink("/tmp/dir", "/tmp/way")
    os.symlink("/tmp/precious", "/tmp/link")
    os.link("/tmp/precious", "/tmp/second")
    for output in ("/tmp/link", "/tmp/way/o", "/run/o", "/tmp/second"):
        assert run_script("/tmp/s", output) == record.NO_ERROR
        iss.wait(f"* cannot write {output}: *")
    assert read("/tmp/precious") == "precious"
    assert os.listdir("/tmp/dir") == [] and not os.path.exists("/run/o")


def test_repetitions_of_repetitions_are_bounded(board):
    iss = silent_iss(board)
    with socket.create_connection(("127.0.0.1", 8000), DEADLINE):
        iss.wait("* client connected")
        iss.inject("every 1ms every 20s times 1000 alive")
        iss.wait("* too much waits *")
        until(lambda: ask("inject", "clear schedule").returncode == 0, "an answer")
