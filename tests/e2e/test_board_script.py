"""scripts/board, run as its user runs it, with what is installed already."""
import json
import os
import re
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import pytest

from trelvik.board import PREFIX, REPO
from trelvik.wait import DEADLINE, SLOW, until

BOARD = os.path.join(REPO, "scripts", "board")
sys.path.insert(0, os.path.join(REPO, "scripts", "lib", "board"))
import lines  # noqa: E402
import programs  # noqa: E402
import runs  # noqa: E402

LINE = re.compile(r"(\d\d:\d\d:\d\d\.\d{3}) ( *\d+ )? *(\S+) \| (.*)")
UP = r".*Ctrl-C stops it\."
LIMIT = 20 * SLOW
NOBODY = 65534


class Script:
    """One running scripts/board, started where a machine allows few descriptors."""

    def __init__(self, place, *arguments):
        self._process = subprocess.Popen(
            [BOARD, "--stage", PREFIX, *arguments], env=environment(place), stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (1024, 4096)))
        self.pid = self._process.pid
        self.lines = []
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._process.stdout:
            self.lines.append(line.rstrip("\n"))

    def find(self, pattern):
        return [line for line in list(self.lines) if re.fullmatch(pattern, line)]

    def wait(self, pattern, count=1):
        def found():
            matching = self.find(pattern)
            return matching if len(matching) >= count else None
        return until(found, lambda: f"{pattern} (x{count}) in:\n" + "\n".join(self.lines), LIMIT)

    def wait_end(self):
        status = self._process.wait(LIMIT)
        self._reader.join(DEADLINE)
        return status

    def end(self, number=signal.SIGINT):
        self._process.send_signal(number)
        return self.wait_end()

    def leave(self):
        if self._process.poll() is None:
            self._process.terminate()
            self.wait_end()


class Place:
    """A directory for the runs of a test, and the scripts that it started."""

    def __init__(self):
        # Short, as paths of sockets are.
        self.path = tempfile.mkdtemp(prefix="b-", dir="/tmp")
        self.runs = os.path.join(self.path, f"trelvik-board-{os.geteuid()}")
        self._scripts = []

    def file(self, name):
        return os.path.join(self.path, name)

    def start(self, *arguments):
        self._scripts.append(Script(self.path, *arguments))
        return self._scripts[-1]

    def up(self, *arguments, count=1):
        script = self.start(*arguments)
        script.wait(UP, count)
        return script

    def run(self, *arguments):
        return subprocess.run([BOARD, *arguments], env=environment(self.path), stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=LIMIT, check=False)

    def numbers(self):
        return sorted(name for name in os.listdir(self.runs) if name.isdigit())

    def leave(self):
        for script in self._scripts:
            script.leave()
        shutil.rmtree(self.path)


def environment(place):
    return {**os.environ, "XDG_RUNTIME_DIR": place}


@pytest.fixture
def place():
    the_place = Place()
    yield the_place
    the_place.leave()


def clocks(text_lines):
    """The time of each line, which all of them have."""
    matches = [LINE.fullmatch(line) for line in text_lines]
    assert all(matches), [line for line, match in zip(text_lines, matches) if not match]
    return [match[1] for match in matches]


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as text:
        return text.read()


def assert_capture(path, request=b""):
    """A pcapng file of two records or more that holds this text."""
    with open(path, "rb") as file:
        raw = file.read()
    assert raw[:4] == b"\x0a\x0d\x0d\x0a"
    assert len(raw) > 2 * 6924 and request in raw


def test_start_shows_nothing_that_looks_like_a_failure(place):
    script = place.up()
    assert script.end() == 0
    clocks(script.lines)
    assert not script.find(".* bus \\| .*"), script.lines
    assert not script.find("(?i).*(unknown|fail|error|warning).*")
    assert script.find(r".* board \| stopped")


def test_demo_is_right(place):
    script = place.start("--demo")
    assert script.wait_end() == 0, "\n".join(script.lines)
    assert script.find(r".* demo \| all 9 steps were right")


def test_measure_tells_what_each_program_takes(place):
    script = place.start("--measure", "1", "--count", "2")
    assert script.wait_end() == 0, "\n".join(script.lines)
    for number in (1, 2):
        for program in ("bus", "iss", "monitor", "daemon"):
            assert script.find(rf"\S+ +{number} +board \| +{program}: +[0-9.]+ MiB, +[0-9.]+ % of a CPU")
        assert script.find(rf"\S+ +{number} +board \| in total: .* idle for 1 s")


def test_all_lines_stand_in_the_order_of_one_clock(place):
    script = place.start("--demo")
    assert script.wait_end() == 0
    times = clocks(script.lines)
    # A run over midnight starts anew once.
    assert times == sorted(times) or sum(b < a for a, b in zip(times, times[1:])) == 1 and times[0] > times[-1]
    assert {LINE.fullmatch(line)[3] for line in script.lines} == {"Trelvik", "iss", "monitor", "board", "demo"}
    # A stamp of a party's own is taken off its lines, as it is the clock.
    assert script.find(r"\S+ +iss \| -> .*") and script.find(r"\S+ +monitor \| open \d+")


def test_line_said_first_and_heard_last_stands_first():
    now = lines.now_ms()
    order = lines.Order()
    order.add(lines.Line(now, "iss", "second"))
    order.add(lines.Line(now - 50, "Trelvik", "first"))
    order.add(lines.Line(now, "board", "third"))
    assert not list(order.take()) and 0 < order.wait() <= lines.WINDOW
    assert [line.text for line, in until(lambda: list(order.take()), "lines are due")] == ["first", "second", "third"]
    order.add(lines.Line(now - 50, "Trelvik", "too late"))
    (late,), = order.take(everything=True)
    assert late.ms >= now


def test_stamps_of_the_parties_become_the_one_clock():
    midnight = 1000 * int(time.mktime((2026, 3, 14, 0, 0, 0, 0, 0, -1)))
    assert programs.time_of_day("00:00:01.250 <- X", midnight + 1300) == (midnight + 1250, "<- X")
    assert programs.time_of_day("23:59:59.990 <- X", midnight + 5) == (midnight - 10, "<- X")
    assert programs.time_of_day("no stamp", 7) == (7, "no stamp")
    assert programs.time_of_epoch("12.345678 kick OPS", 99999) == (12345, "kick OPS")
    assert programs.time_of_epoch("no stamp", 7) == (7, "no stamp")


def test_syslog_line_has_the_time_at_which_it_was_sent(place):
    heard = []
    syslog = programs.Syslog(programs.Loop(), lambda *line: heard.append(line), place.file("log"))
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
        before = lines.now_ms()
        sender.sendto(b"<30>Nov 21 15:03:47 Trelvik: [INFO] said\n", place.file("log"))
    after = lines.now_ms()
    until(lambda: lines.now_ms() > after + 20, "it is heard later than it was said")
    syslog.read()
    ((ident, text, ms, priority),) = heard
    assert (ident, text, priority) == ("Trelvik", "[INFO] said", 30)
    assert before <= ms <= after


def test_kept_directory_holds_all_logs_and_a_capture(place):
    kept = place.file("kept")
    script = place.start("--keep", kept, "--demo")
    assert script.wait_end() == 0
    assert sorted(os.listdir(kept)) == ["board.log", "bus.log", "daemon.log", "iss.log", "iss.pcapng", "monitor.log"]
    assert "Connected to OPS" in read(kept, "daemon.log")
    assert "<- FLUSH_CMD" in read(kept, "iss.log")
    assert "register main" in read(kept, "monitor.log")
    assert_capture(os.path.join(kept, "iss.pcapng"), b"/tmp/SetVlanPort5_")
    told = read(kept, "board.log").splitlines()
    assert [line.partition(" ")[2] for line in told if "Failed to set fd limit" not in line] == script.lines
    for name in ("daemon.log", "iss.log", "monitor.log", "bus.log"):
        for line in read(kept, name).splitlines():
            assert re.match(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} ", line), line
    again = place.run("--stage", PREFIX, "--keep", kept)
    assert again.returncode == 2 and f"not {kept}" in again.stderr and "new or empty" in again.stderr


def test_several_boards_keep_their_logs_apart(place):
    kept = place.file("kept")
    script = place.start("--count", "2", "--keep", kept)
    script.wait(r".* Trelvik \| .*MSR reload succeeded", 2)
    assert script.end() == 0
    assert sorted(os.listdir(kept)) == ["1", "2"]
    for name in ("1", "2"):
        assert "Finished" in read(kept, name, "daemon.log")
        assert read(kept, name, "daemon.log").count("Finished") == 1
        assert_capture(os.path.join(kept, name, "iss.pcapng"))


def test_recorded_file_is_a_capture(place):
    script = place.start("--record", place.file("seen.pcapng"), "--keep", place.file("kept"), "--demo")
    assert script.wait_end() == 0
    assert_capture(place.file("seen.pcapng"), b"/tmp/SetVlanPort5_")
    assert_capture(place.file("kept/iss.pcapng"), b"/tmp/SetVlanPort5_")


def test_simulator_does_what_the_scenario_says(place):
    with open(place.file("busy.sim"), "w", encoding="ascii") as scenario:
        scenario.write("on connect after 10ms cpu CLIC 17\n")
    script = place.start("--scenario", place.file("busy.sim"))
    script.wait(r".* Trelvik \| .*CPU exceeds threshold for thread CLIC.*")
    assert script.end() == 0


def test_wrong_scenario_is_named_and_fails(place):
    with open(place.file("wrong.sim"), "w", encoding="ascii") as scenario:
        scenario.write("explode\n")
    script = place.start("--scenario", place.file("wrong.sim"))
    assert script.wait_end() == 1
    assert script.find(rf".* iss \| .*{place.file('wrong.sim')}:1.*")
    assert script.find(r".* board \| failed: iss ended with status 2")


def test_list_shows_the_boards_that_are_running(place):
    none = place.run("list")
    assert none.returncode == 0 and none.stdout.split() == ["number", "name", "since", "pid", "bus"]
    assert none.stderr == "no board is running\n"
    first = place.up("--name", "EDGE 1")
    second = place.up("--count", "2", count=2)
    listed = place.run("list")
    rows = [line.split() for line in listed.stdout.splitlines()[1:]]
    assert [(row[0], row[1], row[3], row[4]) for row in rows] == [
        (str(number), name, str(pid), f"unix:path={place.runs}/{number}/bus")
        for number, name, pid in ((1, "EDGE\\x201", first.pid), (2, "ONE-MACHINE", second.pid),
                                  (3, "ONE-MACHINE", second.pid))]
    assert all(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d", row[2]) for row in rows)
    assert second.end() == 0
    assert len(place.run("list").stdout.splitlines()) == 2
    assert first.end(signal.SIGTERM) == 0
    assert place.numbers() == []


def test_exec_among_several_boards_asks_which(place):
    nobody = place.run("exec", "true")
    assert nobody.returncode == 1 and "no board is running" in nobody.stderr
    place.up("--count", "2", "--name", "TWIN", count=2)
    asked = place.run("exec", "touch", "/run/here")
    assert asked.returncode == 2
    assert asked.stderr == ("scripts/board: several boards are running; name one with --number:\n"
                            "  --number 1  TWIN\n  --number 2  TWIN\n")
    assert place.run("--number", "2", "exec", "touch", "/run/here").returncode == 0
    assert place.run("--number", "2", "exec", "test", "-e", "/run/here").returncode == 0
    assert place.run("--number", "1", "exec", "test", "-e", "/run/here").returncode == 1
    missing = place.run("--number", "7", "exec", "true")
    assert missing.returncode == 1 and "no board with the number 7" in missing.stderr and "--number 2" in missing.stderr


def test_exec_finds_the_programs_and_the_bus(place):
    place.up()
    ports = place.run("exec", "iss-sim", "show", "ports")
    assert ports.returncode == 0 and "gigabitethernet" in ports.stdout
    level = place.run("exec", "busctl", "--system", "call", "otn.Trelvik", "/otn/Trelvik/ob_common",
                      "otn.OBcommon_1_0", "get_trace_level")
    assert (level.returncode, level.stdout) == (0, "i 6\n"), level.stderr


def test_group_of_the_policy_is_on_the_board(place):
    place.up()
    assert place.run("exec", "getent", "group", "otn").returncode == 0


def test_leftovers_of_a_killed_board_are_swept(place):
    killed = place.up()
    (facts,) = runs.running(place.runs)
    killed.end(signal.SIGKILL)
    assert place.numbers() == ["1"]
    assert place.run("list").stderr == "no board is running\n"
    script = place.up()
    assert script.find(r".* board \| removed what killed boards had left behind: 1")
    assert runs.process(facts["sandbox"][0]) != facts["sandbox"]
    assert place.numbers() == ["1"]
    other = place.up()
    assert not other.find(".*removed.*")
    assert place.numbers() == ["1", "2"]


def test_sandbox_that_outlived_its_script_is_ended(place):
    outlived, innocent = (subprocess.Popen(["sleep", "1000"]) for _ in range(2))
    try:
        os.mkdir(place.runs, 0o700)
        for number, sandbox in ((4, runs.process(outlived.pid)), (5, [innocent.pid, 1])):
            os.mkdir(os.path.join(place.runs, str(number)))
            with open(os.path.join(place.runs, str(number), "board.json"), "w", encoding="ascii") as facts:
                json.dump({"sandbox": sandbox}, facts)
        script = place.up()
        assert script.find(r".* board \| removed what killed boards had left behind: 4, 5")
        assert outlived.wait(DEADLINE) == -signal.SIGKILL
        assert innocent.poll() is None, "its pid was the same, its start was not"
    finally:
        for process in (outlived, innocent):
            process.kill()
            process.wait()


def test_directory_that_is_a_link_is_refused(place):
    os.mkdir(place.file("elsewhere"))
    os.symlink(place.file("elsewhere"), place.runs)
    for arguments in (("--stage", PREFIX), ("list",), ("exec", "true")):
        refused = place.run(*arguments)
        assert refused.returncode == 1
        assert refused.stderr == (f"scripts/board: {place.runs} is a link, not a directory: remove it or choose another "
                                  "place\n")
    os.unlink(place.runs)
    for option in ("--keep", "--record"):
        os.symlink(place.file("elsewhere"), place.file("link"))
        refused = place.run("--stage", PREFIX, option, place.file("link"))
        assert refused.returncode == 1 and "link" in refused.stderr
        os.unlink(place.file("link"))
    assert os.listdir(place.file("elsewhere")) == []


def test_directory_of_somebody_else_is_refused(place):
    if os.geteuid() == 0:
        foreign = place.runs
        os.mkdir(foreign)
        os.chown(foreign, NOBODY, NOBODY)
        refused = place.run("list")
        assert refused.returncode == 1 and f"{foreign} belongs to somebody else (uid {NOBODY})" in refused.stderr
    else:
        foreign = "/usr"
    refused = subprocess.run([BOARD, "list"], env=environment(foreign), capture_output=True, text=True, check=False)
    assert refused.returncode == 1
    assert f"XDG_RUNTIME_DIR cannot be used: {foreign} belongs to somebody else" in refused.stderr
    if os.geteuid() == 0:
        os.rmdir(foreign)
    else:
        foreign = "/usr"
    os.mkdir(place.runs, 0o700)
    os.chmod(place.runs, 0o777)
    refused = place.run("list")
    assert refused.returncode == 1 and f"others may write in {place.runs}" in refused.stderr


def test_misuse_is_named_before_the_usage(place):
    for arguments, said in (
            (("--count",), "--count takes a number from 1 to 999, but none is given"),
            (("--count", "x"), '--count takes a number from 1 to 999, not "x"'),
            (("--count=0",), '--count takes a number from 1 to 999, not "0"'),
            (("--number", "2"), "--number goes with exec only"),
            (("--measure", "1s"), '--measure takes a number from 1 to 86400, not "1s"'),
            (("--demo", "--measure", "1"), "--demo and --measure do not go together"),
            (("--demo", "--demo"), "--demo is given twice"),
            (("--scenari", "x"), 'there is no option "--scenari"; did you mean --scenario?'),
            (("-x",), 'there is no option "-x"; the options are --count, --demo, '),
            (("lists",), 'there is no command "lists"; did you mean list?'),
            (("exec",), "exec takes a command and its arguments, but none is given"),
            (("--count", "2", "exec", "true"), "--count does not go with exec"),
            (("--number", "2", "list"), "--number does not go with list"),
            (("list", "all"), 'list takes nothing behind it, not "all"'),
            (("--count", "2", "--record", "x"), "--record takes the capture of one board"),
            (("--name", ""), '--name takes a name, not ""')):
        wrong = place.run(*arguments)
        first, second = wrong.stderr.splitlines()[:2]
        assert (wrong.returncode, wrong.stdout) == (2, "")
        assert first.startswith("scripts/board: " + said), first
        assert second.startswith("usage: scripts/board ")
    for arguments, said in (
            (("--scenario", "/nowhere"), "--scenario takes a file that can be read, not /nowhere"),
            (("--stage", "/nowhere"), "--stage takes a directory with an installation, not /nowhere")):
        wrong = place.run(*arguments)
        assert wrong.returncode == 2 and wrong.stderr.startswith("scripts/board: " + said)
    assert not os.path.exists(place.runs)


def test_usage_is_shown_on_demand(place):
    for word in ("-h", "--help", "help"):
        shown = place.run(word)
        assert shown.returncode == 0 and shown.stdout.startswith("usage: scripts/board ") and not shown.stderr


def test_boards_stop_when_nobody_reads_any_more(place):
    with open(place.file("talkative.sim"), "w", encoding="ascii") as scenario:
        scenario.write("keepalive 100ms\n")
    piped = subprocess.run(["bash", "-c", '"$@" | head -n 1', "--", BOARD, "--stage", PREFIX, "--scenario",
                            place.file("talkative.sim")],
                           env=environment(place.path), stdin=subprocess.DEVNULL, capture_output=True, text=True,
                           timeout=LIMIT, check=False)
    assert len(piped.stdout.splitlines()) == 1 and piped.stderr == ""
    until(lambda: place.numbers() == [], "no board is left")


def test_board_lives_on_while_its_terminal_stands_still(place):
    kept, said = place.file("kept"), "CPU exceeds threshold for thread CLIC"
    read_end, write_end = os.pipe()
    script = subprocess.Popen([BOARD, "--stage", PREFIX, "--keep", kept], env=environment(place.path),
                              stdin=subprocess.DEVNULL, stdout=write_end)
    os.close(write_end)
    try:
        until(lambda: place.run("exec", "true").returncode == 0, "the board is up", LIMIT)
        until(lambda: "MSR reload succeeded" in read(kept, "daemon.log"), "the daemon is connected", LIMIT)
        # Far more than the pipe and /dev/log hold.
        flood = place.run("exec", "iss-sim", "inject", "flood 4000 CPU_THRESHOLD threadName=CLIC pid=17")
        assert flood.returncode == 0, flood.stderr
        until(lambda: read(kept, "daemon.log").count(said) == 4000, "the daemon has said it all", LIMIT)
        script.send_signal(signal.SIGTERM)
        until(lambda: place.numbers() == [], "the board is gone", LIMIT)
        with open(read_end, encoding="utf-8", closefd=False) as output:
            assert output.read().count(said) == 4000
        assert script.wait(LIMIT) == 0
    finally:
        os.close(read_end)
        script.kill()
        script.wait()


def test_board_needs_no_packages_of_the_tests():
    def packages(*section):
        return subprocess.run(["bash", "-c", '. "$repo/scripts/lib/common.sh"; list_packages "$@"', "--", *section],
                              env={**os.environ, "repo": REPO}, capture_output=True, text=True,
                              check=True).stdout.split()
    board, test = packages("board"), packages("test")
    assert {"bubblewrap", "dbus", "g++", "python3-jeepney"} <= set(board)
    assert {"g++-arm-linux-gnueabihf", "qemu-user", "clang-tidy", "python3-pytest"} <= set(test)
    assert not set(board) & set(test) and packages() == board + test
