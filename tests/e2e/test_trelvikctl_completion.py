"""The operator's client: what the shell's completion offers."""
import os
import subprocess

import pytest

from trelvik.places import PREFIX
from trelvik.ctl import PROGRAM

COMPLETION = os.path.join(PREFIX, "share", "bash-completion", "completions", "trelvikctl")


@pytest.mark.parametrize("path", ["bash-completion/completions/trelvikctl", "zsh/site-functions/_trelvikctl",
                                  "fish/vendor_completions.d/trelvikctl.fish"])
def test_each_shell_asks_the_program(path):
    with open(os.path.join(PREFIX, "share", path), encoding="ascii") as script:
        assert " __complete " in script.read()


def completed(*words):
    """What bash offers for the last word."""
    script = (f'. {COMPLETION}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _trelvikctl; '
              'printf "%s\\n" "${COMPREPLY[@]}"')
    done = subprocess.run(["bash", "-c", script, "bash", PROGRAM, *words], check=True,
                          capture_output=True, text=True, timeout=30)
    return done.stdout.split()


@pytest.mark.parametrize("words, offered", [
    (("tra",), ["trace"]),
    (("port", ""), ["acknowledge", "detach", "probe", "release", "setup"]),
    (("rule", "ets", "create", "--encap", ""), ["l2", "mpls"]),
    (("port", "setup", "--ac"), ["--ac-vlan"]),
    (("--json", "port", "setup", "5", "--j"), ["--json"]),
    (("--timeout", "5s", "trace", "set", "deb"), ["debug1", "debug2", "debug3"]),
    (("ops", "send", "FLUSH_C"), ["FLUSH_CMD"]),
    (("ops", "send", "FLUSH_CMD", ""), ["vp=", "vpn="]),
])
def test_bash_completes_what_the_program_knows(words, offered):
    assert completed(*words) == offered
