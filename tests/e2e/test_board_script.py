"""scripts/board, run as its user runs it."""
import json
import os
import re
import signal
import subprocess

import pytest

from board import runs
from trelvik import record
from trelvik.board_script import BOARD, LIMIT, Place
from trelvik.files import read, write
from trelvik.places import PREFIX
from trelvik.wait import DEADLINE, until

LINE = re.compile(r"(\d\d:\d\d:\d\d\.\d{3}) ( *\d+ )? *(\S+) \| (.*)")
NOBODY = 65534


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


def assert_capture(path, request=b""):
    """A pcapng file of two records or more that holds this text."""
    with open(path, "rb") as file:
        raw = file.read()
    assert raw[:4] == b"\x0a\x0d\x0d\x0a"
    assert len(raw) > 2 * record.SIZE and request in raw


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
    script = place.start("--scenario", place.write("busy.sim", "on connect after 10ms cpu CLIC 17\n"))
    script.wait(r".* Trelvik \| .*CPU exceeds threshold for thread CLIC.*")
    assert script.end() == 0


def test_wrong_scenario_is_named_and_fails(place):
    script = place.start("--scenario", place.write("wrong.sim", "explode\n"))
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
            write(os.path.join(place.runs, str(number), "board.json"), json.dumps({"sandbox": sandbox}))
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
        assert refused.stderr == (f"scripts/board: {place.runs} is a link, not a directory: remove it or choose "
                                  "another place\n")
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
    refused = place.run("list", runs=foreign)
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
    scenario = place.write("talkative.sim", "keepalive 100ms\n")
    piped = subprocess.run(["bash", "-c", '"$@" | head -n 1', "--", BOARD, "--stage", PREFIX, "--scenario", scenario],
                           env=place.environment(), stdin=subprocess.DEVNULL, capture_output=True, text=True,
                           timeout=LIMIT, check=False)
    assert len(piped.stdout.splitlines()) == 1 and piped.stderr == ""
    until(lambda: place.numbers() == [], "no board is left")


def test_board_lives_on_while_its_terminal_stands_still(place):
    kept, said = place.file("kept"), "CPU exceeds threshold for thread CLIC"
    read_end, write_end = os.pipe()
    script = subprocess.Popen([BOARD, "--stage", PREFIX, "--keep", kept], env=place.environment(),
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
