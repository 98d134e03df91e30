"""What an installation leaves behind beside the programs, and what systemd makes of it."""
import filecmp
import os
import re
import shutil
import subprocess

import pytest

from trelvik import files, places
from trelvik.board import LAUNCHER
from trelvik.places import PREFIX, REPO
from trelvik.users import as_stranger, run_as
from trelvik.wait import until

UNIT = "lib/systemd/system/trelvik.service"
APART = "lib/trelvik/trelvik.service.d/iss-apart.conf"
SYSCTL = "lib/sysctl.d/60-trelvik.conf"
TMPFILES = "lib/tmpfiles.d/trelvik.conf"
SETTINGS = os.path.join(REPO, "packaging", "default", "trelvik")
"""The source: an installation keeps what an earlier one has left."""


def installed(name):
    return os.path.join(PREFIX, name)


def read(name):
    return files.read(installed(name))


def unit_in(directory, *drop_ins):
    """A copy of the installed unit, with these drop-ins."""
    unit = shutil.copy(installed(UNIT), directory)
    os.mkdir(unit + ".d")
    for drop_in in drop_ins:
        shutil.copy(installed(drop_in), unit + ".d")
    return unit


def analyze(*arguments):
    done = subprocess.run(["systemd-analyze", *arguments], check=False, capture_output=True, text=True, timeout=30)
    return done.returncode, done.stdout + done.stderr


def exposure(unit):
    _, text = analyze("security", "--offline=true", unit)
    return float(re.search(r"Overall exposure level for trelvik\.service: ([0-9.]+)", text)[1])


def settings(text):
    """The lines of a file of settings, comments aside, and the settings that a comment shows."""
    lines = text.splitlines()
    return ([line for line in lines if line and not line.startswith("#")],
            [line[1:] for line in lines if re.match(r"#[A-Za-z_]+=", line)])


@pytest.mark.skipif(bool(LAUNCHER), reason="the target's sysroot has no <sys/sdt.h>, and nobody looks into an emulator")
def test_daemon_has_its_probes():
    notes = subprocess.run(["readelf", "-n", places.daemon(PREFIX)], check=True, capture_output=True, text=True).stdout
    assert set(re.findall(r"Provider: (\S+)\n\s+Name: (\S+)\n", notes)) == {
        ("trelvik", name) for name in ("request_arrived", "message_queued", "message_sent", "message_answered",
                                       "request_replied")}


@pytest.mark.parametrize("drop_ins", [(), (APART,)])
def test_systemd_finds_no_fault_in_the_unit(tmp_path, drop_ins):
    assert analyze("verify", unit_in(tmp_path, *drop_ins)) == (0, "")


def test_unit_shows_less_than_an_open_one(tmp_path):
    assert exposure(unit_in(tmp_path)) <= 8.5


def test_unit_without_iss_is_hardly_exposed(tmp_path):
    assert exposure(unit_in(tmp_path, APART)) < 4


def test_drop_in_does_not_work_unasked():
    assert not os.path.exists(installed(UNIT + ".d"))


def test_sysctls_are_known_to_the_kernel_and_right():
    lines = [line for line in read(SYSCTL).splitlines() if line and not line.startswith("#")]
    values = dict(re.fullmatch(r"([a-z0-9_.]+) = (\S+)", line).groups() for line in lines)
    assert values == {"net.ipv4.ip_local_reserved_ports": "8000", "fs.protected_symlinks": "1",
                      "fs.protected_hardlinks": "1", "fs.protected_fifos": "2", "fs.protected_regular": "2"}
    for name in values:
        assert os.path.exists("/proc/sys/" + name.replace(".", "/")), name


def test_screen_has_its_directory_before_others():
    """The directory that everybody may write is the sandbox's /run/screen."""
    subprocess.run(["systemd-tmpfiles", "--create", installed(TMPFILES)], check=True, timeout=30)
    told = run_as(as_stranger(), "import os\n"
                  "for act in (lambda: os.rename('/run/screen/S-root', '/run/screen/gone'),\n"
                  "            lambda: os.rmdir('/run/screen/S-root'),\n"
                  "            lambda: os.listdir('/run/screen/S-root')):\n"
                  "    try:\n"
                  "        act()\n"
                  "    except PermissionError:\n"
                  "        print('refused')\n")
    assert told.split() == ["refused"] * 3
    subprocess.run(["screen", "-d", "-m", "touch", "/tmp/ran"], check=True, timeout=30)
    until(lambda: os.path.exists("/tmp/ran"), "what screen was to run")


def test_settings_are_shown_and_none_is_made():
    with open(SETTINGS, encoding="ascii") as text:
        made, shown = settings(text.read())
    assert made == []
    assert {line.split("=")[0] for line in shown} >= {"ethaddr_first", "TRELVIK_OPTIONS", "BOARD_NAME",
                                                      "DBUS_SYSTEM_BUS_ADDRESS"}


def install(tmp_path, prefix, destdir=""):
    """Installs what packaging holds once more, from a copy: the installation makes the unit beside its script."""
    build = os.path.join(os.path.dirname(PREFIX), "packaging")
    copy = tmp_path / "build"
    shutil.copytree(build, copy, dirs_exist_ok=True)
    script = copy / "cmake_install.cmake"
    script.write_text(script.read_text().replace(build, str(copy)))
    subprocess.run(["cmake", f"-DCMAKE_INSTALL_PREFIX={prefix}", "-P", str(script)], check=True, cwd=tmp_path,
                   env={**os.environ, "DESTDIR": destdir}, capture_output=True)


@pytest.mark.parametrize("prefix, place", [("/opt/trelvik", "/opt/trelvik/etc/default/trelvik"),
                                           ("/usr", "/etc/default/trelvik")])
def test_settings_are_installed_and_not_overwritten(tmp_path, prefix, place):
    destdir = str(tmp_path / "root")
    install(tmp_path, prefix, destdir)
    assert filecmp.cmp(destdir + place, SETTINGS, shallow=False)
    files.write(destdir + place, "BOARD_NAME=MINE\n")
    install(tmp_path, prefix, destdir)
    assert files.read(destdir + place) == "BOARD_NAME=MINE\n"


def test_unit_names_the_daemon_for_a_relative_prefix(tmp_path):
    install(tmp_path, "here")
    with open(tmp_path / "here" / UNIT, encoding="ascii") as unit:
        assert f"\nExecStart={tmp_path}/here/sbin/Trelvik " in unit.read()


def test_documents_tell_each_directive_that_is_missing(tmp_path):
    """Whatever systemd still finds open with the drop-in has its reason in the documents."""
    _, text = analyze("security", "--offline=true", unit_in(tmp_path, APART))
    missing = [line.split()[1].split("=")[0] for line in text.splitlines() if line.startswith("✗")]
    assert missing
    with open(os.path.join(REPO, "docs", "hardening.md"), encoding="utf-8") as document:
        reasons = document.read().split("## What is missing")[1]
    assert not [name for name in missing if name.split("/")[0] not in reasons]
