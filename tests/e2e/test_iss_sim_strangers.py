"""What another user of the machine can do to a simulator: nothing."""
import os
import shutil
import socket
import stat
import subprocess

import pytest

from trelvik import record
from trelvik.files import write
from trelvik.places import PREFIX
from trelvik.wait import DEADLINE, until

ISS_SIM = os.path.join(PREFIX, "bin", "iss-sim")
STRANGER = 4242
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
OPEN_ERROR = "Unable to open script file\r\n"


def as_stranger(*command, **options):
    """Runs a command as a user without any right; skips where there is no second user."""
    if subprocess.run(["setpriv", f"--reuid={STRANGER}", "--clear-groups", "true"], capture_output=True,
                      check=False).returncode != 0:
        pytest.skip("no second user here: this wants the real root")
    return subprocess.run(["setpriv", f"--reuid={STRANGER}", f"--regid={STRANGER}", "--clear-groups", *command],
                          capture_output=True, text=True, timeout=DEADLINE, check=False, **options)


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
    os.mkdir(CONTROL, 0o700)
    try:
        os.chown(CONTROL, STRANGER, STRANGER)
    except OSError:
        pytest.skip("no second user here: this wants the real root")
    iss = silent_iss(board)
    iss.wait(f"* no control socket: {CONTROL}: belongs to user {STRANGER}*")
    refused = iss.try_inject("alive")
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
    asked = as_stranger("/usr/bin/python3", "-c", ASK, path)
    assert asked.stdout == f"error this simulator is not for user {STRANGER}\n"
    ports = subprocess.run([ISS_SIM, "show", "ports", "--control", path], capture_output=True, text=True, check=True)
    assert "down" not in ports.stdout


def test_socket_of_a_stranger_is_not_asked(board):
    silent_iss(board)
    serve = "import os,socket;s=socket.socket(socket.AF_UNIX);s.bind('/tmp/trap');os.chmod('/tmp/trap',0o777);s.listen();" \
            "print(flush=True);s.accept()[0].sendall(b'ok\\nlies\\n')"
    as_stranger("true")
    trap = subprocess.Popen(["setpriv", f"--reuid={STRANGER}", "--clear-groups", "/usr/bin/python3", "-c", serve],
                            stdout=subprocess.PIPE)
    trap.stdout.readline()
    # Root may ask any simulator, so somebody else asks here; he must be able to read the program.
    shutil.copy(ISS_SIM, "/tmp/iss-sim")
    os.chmod("/tmp/iss-sim", 0o755)
    asked = subprocess.run(["setpriv", f"--reuid={STRANGER + 1}", "--clear-groups", "/tmp/iss-sim", "show", "ports",
                            "--control", "/tmp/trap"], capture_output=True, text=True, timeout=DEADLINE, check=False)
    trap.kill()
    trap.wait()
    assert (asked.returncode, asked.stdout) == (1, "")
    assert asked.stderr == f"iss-sim: /tmp/trap: is served by user {STRANGER}\n"


def test_stranger_at_the_port_is_refused(board):
    iss = silent_iss(board)
    flush = "import socket;s=socket.create_connection(('127.0.0.1',8000));s.sendall(b'\\x10'+bytes(6923));print(len(s.recv(1)))"
    asked = as_stranger("/usr/bin/python3", "-c", flush)
    iss.wait(f"* client refused: it is user {STRANGER}'s")
    assert "1" not in asked.stdout
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
    silent_iss(board)
    write("/tmp/foreign", SECRET + "\n")
    try:
        os.chown("/tmp/foreign", STRANGER, STRANGER)
    except OSError:
        pytest.skip("no second user here: this wants the real root")
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
    with open("/tmp/precious", encoding="ascii") as precious:
        assert precious.read() == "precious"
    assert os.listdir("/tmp/dir") == [] and not os.path.exists("/run/o")


def test_repetitions_of_repetitions_are_bounded(board):
    iss = silent_iss(board)
    with socket.create_connection(("127.0.0.1", 8000), DEADLINE):
        iss.wait("* client connected")
        iss.inject("every 1ms every 20s times 1000 alive")
        iss.wait("* too much waits *")
        until(lambda: iss.try_inject("clear schedule").returncode == 0, "an answer")
