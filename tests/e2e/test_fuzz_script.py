"""scripts/fuzz: its command line, what it says of targets that find nothing, and of one that does. The targets themselves
are the tests fuzz.*."""
import os
import re
import subprocess

import pytest

from trelvik import files
from trelvik.places import PREFIX
from trelvik.script import Script
from trelvik.wait import SLOW

FUZZ = Script("fuzz", 50, "MINUTES")
BUILD = os.path.dirname(PREFIX)
UNSOUND = """#include <cstdint>
#include <cstdio>
#include <cstdlib>
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (size < 2 || bytes[0] != 'n' || bytes[1] != 'o') return 0;
  fprintf(stderr, "Does not hold: nobody says no\\n");
  abort();
}
"""


@pytest.mark.parametrize("arguments", [(), ("x",), ("0",), ("1", "--build"), ("1", "--build", "/nowhere"), ("1", "--unknown"),
                                       ("1", "nothing"), ("1", "../fuzz"), ("1", "nothing", "--build", BUILD)])
def test_misuse_is_told_with_status_2(arguments):
    FUZZ.expect_misuse(*arguments)


def test_help_goes_to_standard_output():
    FUZZ.expect_help()


def test_targets_share_the_minutes_and_are_counted():
    done = FUZZ.run("0.05", "bus", "services", "--build", BUILD)
    assert done.returncode == 0, done.stdout + done.stderr
    assert re.match(r"2 targets, \d+ at a time, [1-3] s each\n", done.stdout)
    for target in ("bus", "services"):
        assert re.search(rf"^{target} +[1-9]\d+ +\d+ +[1-9]\d+  nothing found$", done.stdout, re.MULTILINE)


def test_finding_is_told_with_its_input_and_what_to_do(tmp_path):
    program, source = os.path.join(tmp_path, "unsound"), os.path.join(tmp_path, "unsound.cpp")
    with open(source, "w", encoding="utf-8") as file:
        file.write(UNSOUND)
    subprocess.run(["clang++", "-fsanitize=fuzzer", "-o", program, source], check=True, timeout=50 * SLOW)
    with open(os.path.join(tmp_path, "CTestTestfile.cmake"), "w", encoding="utf-8") as file:
        file.write(f'add_test(fuzz.unsound "{program}" -max_total_time=20 -artifact_prefix={tmp_path}/)\n')
    done = FUZZ.run("0.5", "--build", str(tmp_path))
    assert done.returncode == 1
    assert re.search(r"^unsound .* found$", done.stdout, re.MULTILINE)
    assert "unsound: Does not hold: nobody says no\n" in done.stdout
    kept = re.search(r"^  input: (.*)$", done.stdout, re.MULTILINE)[1]
    assert files.read(kept).startswith("no")
    assert f"  in hex: {'no'.encode().hex()}" in done.stdout
    assert "Make an ordinary test of it" in done.stdout
    again = re.search(r"^  again: (.*)$", done.stdout, re.MULTILINE)[1]
    repeated = subprocess.run(again.split(), capture_output=True, text=True, timeout=50 * SLOW, check=False)
    assert "nobody says no" in repeated.stderr
