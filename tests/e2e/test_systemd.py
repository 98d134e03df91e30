"""The installed unit under a real systemd, as it is and with the drop-in: what the daemon does still works."""
import os

import pytest

from trelvik import life_cycle, record
from trelvik.board import CONNECTED, CSM_BOARD, MAC
from trelvik.bus import Bus
from trelvik.debugsocket import DebugSocket
from trelvik.files import read, write, write_script
from trelvik.places import OPEN_PORTS
from trelvik.port_params import SET_UP, SET_UP_5
from trelvik.systemd import APART, BUS, Systemd
from trelvik.users import as_stranger, need_others, run_as
from trelvik.wait import until

ISS = """\
[Unit]
DefaultDependencies=no
[Service]
Type=oneshot
RemainAfterExit=yes
# Neither would be possible inside the daemon's restrictions.
ExecStart=/bin/sh -c 'echo started >/etc/iss/proof && chown 65534 /etc/iss/proof && : >/tmp/initIssDone'
ExecStopPost=/bin/rm -f /tmp/initIssDone
"""
SHARED_TMP = "[Unit]\nJoinsNamespaceOf={}\n[Service]\nPrivateTmp=yes\n"
NEEDS_OF_ISS = """
  mount -t tmpfs tmpfs /mnt/mmccard && chrt -f 1 true && unshare --net true && mknod /etc/iss/device c 1 3 || exit
  setsid sh -c 'echo $$ >/tmp/iss.pid; exec sleep 1000' &
  until [ -s /tmp/iss.pid ]; do :; done
  : >/tmp/initIssDone"""


class Machine:
    """A board whose daemon is started by systemd."""

    def __init__(self, board, *drop_ins, **units):
        need_others()
        os.unlink("/etc/default")  # in the sandbox, a link to the machine's
        os.mkdir("/etc/default")
        write("/etc/default/trelvik", f"ethaddr_first={MAC}\nBOARD_NAME={CSM_BOARD}\n")
        write_script(OPEN_PORTS, ": >/tmp/ports_opened")
        board.start_ops()
        self.board = board
        self.systemd = Systemd(board.dir, *drop_ins, **units)
        self.systemd.run("systemctl", "start", "trelvik.service")
        self.bus = Bus("unix:path=" + BUS)
        board.ops.accept()
        board.log.wait(CONNECTED)

    def make_ready(self):
        self.board.make_ready()
        self.board.wait_file("/tmp/ports_opened")

    def set_up(self):
        run_as(as_stranger(), "open('/tmp/SetVlanPort5_0', 'w').write('evil')")
        call = self.bus.set_port_params(SET_UP, 5)
        self.board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
        assert read("/tmp/SetVlanPort5_0") == SET_UP_5
        self.board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
        call.reply()

    def debug(self):
        tool = DebugSocket()
        tool.send(record.make(record.FLUSH_CMD))
        self.board.ops.serve(record.FLUSH_CMD)
        assert record.type_of(tool.receive()) == record.FLUSH_CMD
        tool.leave()

    def remove_configuration(self):
        """A corrupted one, which is somebody else's; on the flash and on the SD card."""
        folders = ["/flash/config/one", "/mnt/mmccard/VORNA_CONFIG/config/one"]
        for folder in folders:
            self.systemd.run("sh", "-c", f"mkdir -p {folder}/iss && touch {folder}/iss/conf && "
                                         f"chown -R 65534 {folder} && chmod 700 {folder} {folder}/iss")
        self.systemd.run("sh", "-c", "mkdir -p /flash/config/current && "
                                     "echo dir /flash/config/one >/flash/config/current/selected.txt")
        for line in ("[CRITICAL] main:428 *", "[ERROR] main:803 *", "[ERROR] main:813 *"):
            self.board.expect_log(line)
        self.board.ops.send(record.reloaded(failed=True))
        self.board.log.wait("[ERROR] main:813 *")
        self.board.sync_ops()
        for folder in folders:
            assert self.systemd.run("ls", "-A", folder) == ""

    def trigger(self, state):
        life_cycle.trigger(self.bus, state).reply(deadline=20)

    def inside(self, *command):
        """What a command prints that sees the files as the daemon does."""
        main = self.systemd.show("trelvik.service", "MainPID")
        return self.systemd.run("nsenter", "-m", "-t", main, *command)

    def stop(self):
        self.systemd.run("systemctl", "stop", "trelvik.service")
        assert self.systemd.show("trelvik.service", "Result") == "success"
        assert self.systemd.show("trelvik.service", "ExecMainStatus") == "0"
        self.bus.leave()


@pytest.fixture
def machine(board):
    machines = []

    def start(*drop_ins, **units):
        machines.append(Machine(board, *drop_ins, **units))
        return machines[0]

    yield start
    for each in machines:
        each.systemd.stop()


def test_daemon_works_under_the_drop_in(machine):
    life_cycle.install("exec systemctl start iss.service", "exec systemctl stop iss.service")
    own = machine(APART, iss=ISS)
    status = own.systemd.status_of("trelvik.service")
    assert int(status["CapBnd"], 16) == 1 << 0 | 1 << 1 | 1 << 3  # CHOWN, DAC_OVERRIDE, FOWNER
    assert status["NoNewPrivs"].strip() == "1" and status["Seccomp"].strip() == "2"
    own.make_ready()
    until(lambda: own.systemd.show("trelvik.service", "StatusText").startswith("ISS ready; "), "systemd shows the status")
    own.set_up()
    own.debug()
    own.remove_configuration()
    own.trigger(life_cycle.STARTED)
    assert own.systemd.run("cat", "/etc/iss/proof") == "started\n"
    own.trigger(life_cycle.STOPPED)
    assert not os.path.exists(life_cycle.MARKER)
    own.stop()


def test_daemon_and_iss_may_share_a_tmp_of_their_own(machine, tmp_path):
    """In the /tmp that the rest of the board sees, a stranger holds every name; neither of the two notices."""
    life_cycle.install("exec systemctl start iss.service", "exec systemctl stop iss.service")
    run_as(as_stranger(), "import os\n"
           "for name in ('SetVlanPort5_0', 'socket-server', 'initIssDone', 'iss_is_ready', 'iss_msr_succeeded'):\n"
           "    os.mkdir('/tmp/' + name)\n")
    drop_in = tmp_path / "shared-tmp.conf"
    drop_in.write_text(SHARED_TMP.format("iss.service"))
    own = machine(APART, drop_in, iss=ISS + SHARED_TMP.format("trelvik.service"))
    own.board.make_ready()
    call = own.bus.set_port_params(SET_UP, 5)
    own.board.ops.serve(record.RUN_DEFAULT_SCRIPT_COMMAND)
    assert own.inside("cat", "/tmp/SetVlanPort5_0") == SET_UP_5
    own.board.ops.serve(record.MGMT_INTERFACE_MAPPING_IND)
    call.reply()
    own.inside("test", "-S", "/tmp/socket-server")
    own.trigger(life_cycle.STARTED)
    assert own.systemd.run("cat", "/etc/iss/proof") == "started\n"
    own.systemd.run("systemctl", "restart", "trelvik.service")
    own.board.ops.accept()
    own.inside("test", "-f", life_cycle.MARKER)
    own.trigger(life_cycle.STOPPED)
    own.stop()


def test_iss_lives_under_the_unit_as_it_is(machine):
    life_cycle.install(NEEDS_OF_ISS, "rm -f /tmp/initIssDone")
    own = machine()
    own.make_ready()
    until(lambda: own.systemd.show("trelvik.service", "StatusText").startswith("ISS ready; "), "systemd shows the status")
    own.set_up()
    own.debug()
    own.trigger(life_cycle.STARTED)
    assert " /mnt/mmccard " in own.systemd.run("cat", "/proc/1/mounts"), "what ISS mounts, the board sees"
    own.remove_configuration()
    own.stop()
    own.systemd.run("kill", "-0", read("/tmp/iss.pid").strip())


def test_unit_starts_the_daemon_again(machine):
    own = machine(APART)
    before = own.systemd.show("trelvik.service", "MainPID")
    own.systemd.run("kill", "-KILL", before)
    until(lambda: own.systemd.show("trelvik.service", "MainPID") not in ("0", before), "a new daemon", 20)
