"""scripts/storm: its command line, and what it says of a daemon that deviates. The storm itself is the test e2e.storm."""
import os
import re
import shutil

import pytest

from storm import layout, logged, reading
from storm.faults import FAULTS
from trelvik import files
from trelvik.places import PREFIX, REPO, daemon
from trelvik.script import Script

STORM = Script("storm", 50, "MINUTES")


@pytest.mark.parametrize("arguments", [(), ("x",), ("0",), ("1", "2"), ("1", "--seed"), ("1", "--seed", "x"),
                                       ("1", "--steps", "-1"), ("1", "--stage", "/nowhere"), ("1", "--unknown"),
                                       ("--prove", "nothing")])
def test_misuse_is_told_with_status_2(arguments):
    STORM.expect_misuse(*arguments)


def test_help_goes_to_standard_output():
    STORM.expect_help()


def test_storm_ends_after_its_steps_and_counts():
    done = STORM.run("1", "--seed", "5", "--steps", "30", "--stage", PREFIX)
    assert done.returncode == 0, done.stdout
    assert re.search(r"^seed 5: \d+ requests in \d+ s \(.*\) of 1 daemons .*; deviations: 0$", done.stdout, re.MULTILINE)


def test_deviation_is_told_with_the_field_and_how_to_repeat(tmp_path):
    stage = os.path.join(tmp_path, "stage")
    shutil.copytree(PREFIX, stage)
    sound = daemon(stage) + ".sound"
    os.rename(daemon(stage), sound)
    files.write_script(daemon(stage), "export ethaddr_first=00:00:00:00:00:01", f'exec {sound} "$@"')
    done = STORM.run("1", "--seed", "7", "--stage", stage)
    assert done.returncode == 1
    assert re.search(r"^deviation after [\d.]+ s at request \d+, step \d+, seed 7:\nrecord of ", done.stdout, re.MULTILINE)
    assert re.search(r"source MAC at 10: expected [0-9a-f ]{17}, got 00 00 00 00 00 01\n", done.stdout)
    again = re.search(r"^again: scripts/storm (.*)$", done.stdout, re.MULTILINE)
    assert STORM.run(*again[1].split(), "--stage", stage).returncode == 1


def test_every_fault_fits_the_sources():
    for fault in FAULTS:
        assert files.read(REPO, fault.file).count(fault.old) == 1, fault.name


def test_differences_name_fields_and_bytes_of_no_field():
    one = layout.record(layout.FLUSH, (4, 7))
    other = layout.record(layout.FLUSH, (4, 8), (100, 1))
    assert layout.differences(one, one) == []
    vpn, rest = layout.differences(one, other)
    assert vpn == "vpn at 4: expected 07 00 00 00, got 08 00 00 00"
    assert rest == "no field, at 100: expected 00, got 01"


def test_log_lines_are_held_against_each_other():
    wanted = [logged.line("ERROR", "main:624", "main", "unexpected\n")] * 2
    text = "[ERROR] main:624 (main) - unexpected\n"
    assert logged.compare(wanted, [], [text, text]) == ([], [])
    assert logged.compare(wanted, [], [text]) == ([], [wanted[0].text])
    assert logged.compare(wanted[:1], [], [text, text]) == ([text], [])
    assert logged.compare([], wanted, [text]) == ([], [])


@pytest.mark.parametrize("text, values", [("", []), ("100,200, 300", [100, 200, 300]), ("100;200", [100]), ("1,x,3", [1]),
                                          ("-5 6,+7", [-5, 7]), ("2147483648,1", []), ("0x10,5", [0, 5])])
def test_numbers_with_commas(text, values):
    assert reading.with_commas(text) == values


@pytest.mark.parametrize("text, values", [("1:2:300", [1, 2, 300]), ("x1", []), ("1::2", [1]), ("1-2", [1, 2]),
                                          ("1 \t2", [1, 2]), ("1\u00e92", [1])])
def test_numbers_with_one_between(text, values):
    assert reading.with_one_between(text) == values
