"""The Debian packages of the build: what is in them, and what comes of installing, upgrading and removing them."""
import filecmp
import gzip
import os
import re
import shutil
import subprocess

import pytest

from trelvik import files, packages
from trelvik.places import REPO
from trelvik.wait import until

LAUNCHER = os.environ.get("TRELVIK_LAUNCHER", "").split()
DOCUMENTS = ("copyright", "changelog.gz", "changelog.Debian.gz")
CONTENTS = {
    "trelvik": {"/usr/sbin/Trelvik", "/usr/share/dbus-1/system.d/otn.Trelvik.conf", "/etc/default/trelvik",
                "/usr/lib/systemd/system/trelvik.service", "/usr/lib/trelvik/trelvik.service.d/iss-apart.conf",
                "/usr/lib/sysctl.d/60-trelvik.conf", "/usr/lib/tmpfiles.d/trelvik.conf",
                "/usr/share/man/man8/Trelvik.8.gz"},
    "trelvik-tools": {"/usr/bin/trelvikctl", "/usr/share/man/man1/trelvikctl.1.gz",
                      "/usr/share/trelvik/wireshark/ops.lua",
                      "/usr/share/bash-completion/completions/trelvikctl", "/usr/share/zsh/site-functions/_trelvikctl",
                      "/usr/share/fish/vendor_completions.d/trelvikctl.fish"},
    "iss-sim": {"/usr/bin/iss-sim", "/usr/lib/trelvik/libcam-sim.so", "/usr/share/man/man1/iss-sim.1.gz", "/usr/share/man/man5/trelvik-scenario.5.gz",
                *("/usr/share/iss-sim/scenarios/" + name for name in os.listdir(os.path.join(REPO, "sim/scenarios")))},
    "trelvik-dev": {"/usr/include/trelvik/OtnIpcMsg.h", "/usr/share/pkgconfig/trelvik.pc",
                    *("/usr/share/dbus-1/interfaces/otn." + name
                      for name in os.listdir(os.path.join(REPO, "interfaces"))),
                    *("/usr/share/doc/trelvik-dev/examples/" + name
                      for name in ("Makefile", "port-peer.cpp", "port-peer.py", "read-counters.cpp"))},
}
PROGRAMS = {"trelvik": ("/usr/sbin/Trelvik",), "trelvik-tools": ("/usr/bin/trelvikctl",),
            "iss-sim": ("/usr/bin/iss-sim", "/usr/lib/trelvik/libcam-sim.so")}
LIBRARIES = {"libc.so.6": "libc6", "ld-linux-armhf.so.3": "libc6", "libm.so.6": "libc6", "libgcc_s.so.1": "libgcc-s1",
             "libstdc++.so.6": "libstdc++6", "libsystemd.so.0": "libsystemd0"}
MEMBER = "peer"
DENIED = "org.freedesktop.DBus.Error.AccessDenied"


@pytest.fixture
def root(tmp_path):
    the_root = packages.Root(tmp_path)
    yield the_root
    the_root.leave()


def elf(program, *options):
    return packages.run("readelf", "--wide", *options, program)


def build_id(program):
    return re.search(r"Build ID: ([0-9a-f]+)", elf(program, "--notes"))[1]


# What is in them.

@pytest.mark.parametrize("name", packages.NAMES)
def test_each_package_holds_what_it_should(name):
    documents = {f"/usr/share/doc/{name}/{file}" for file in DOCUMENTS}
    assert set(packages.contents(name)) == CONTENTS[name] | documents | {f"/usr/share/lintian/overrides/{name}"}


def test_files_are_roots_and_nobody_else_writes():
    for name in packages.NAMES + packages.SYMBOLS:
        for file, (mode, owner) in packages.contents(name).items():
            assert owner == "root/root" and re.fullmatch(r"-rw[-x]r-[-x]r-[-x]|l.*", mode), (name, file, mode, owner)


def test_there_are_no_other_packages():
    made = {file.split("_")[0] for file in os.listdir(packages.MADE)}
    assert made == set(packages.NAMES + packages.SYMBOLS)


def test_version_is_that_of_the_changelogs(tmp_path):
    for name in packages.NAMES:
        top = packages.unpacked(name, tmp_path / name)
        with gzip.open(top / f"usr/share/doc/{name}/changelog.Debian.gz", "rt") as changelog:
            version = re.match(r"trelvik \((.+?)\) ", changelog.readline())[1]
        assert packages.field(name, "Version") == version
        with gzip.open(top / f"usr/share/doc/{name}/changelog.gz", "rt") as changelog:
            assert f"\n## [{version.split('-')[0]}] - " in changelog.read()


def test_packages_are_for_the_processor_of_the_build(tmp_path):
    wanted = "armhf" if LAUNCHER else packages.run("dpkg", "--print-architecture").strip()
    machine = "ARM" if wanted == "armhf" else None
    for name in packages.NAMES:
        architecture = packages.field(name, "Architecture")
        assert architecture == ("all" if name == "trelvik-dev" else wanted)
        for program in PROGRAMS.get(name, ()):
            header = elf(f"{packages.unpacked(name, tmp_path / name)}{program}", "--file-header")
            assert machine is None or re.search(r"Machine: +" + machine, header)


def test_programs_are_stripped_and_symbols_are_kept(tmp_path):
    for name, programs in PROGRAMS.items():
        top = packages.unpacked(name, tmp_path / name)
        symbols = packages.unpacked(name + "-dbgsym", tmp_path / (name + "-dbgsym"))
        for program in programs:
            sections = elf(f"{top}{program}", "--section-headers")
            assert ".symtab" not in sections and ".debug_info" not in sections
            identity = build_id(f"{top}{program}")
            assert identity in packages.field(name + "-dbgsym", "Build-Ids")
            kept = symbols / f"usr/lib/debug/.build-id/{identity[:2]}/{identity[2:]}.debug"
            assert ".debug_info" in elf(kept, "--section-headers")


def test_each_library_is_depended_on_and_no_other(tmp_path):
    for name, programs in PROGRAMS.items():
        top = packages.unpacked(name, tmp_path / name)
        needed = {library for program in programs
                  for library in re.findall(r"\(NEEDED\).*\[(.*)\]", elf(f"{top}{program}", "--dynamic"))}
        depends = packages.field(name, "Depends")
        assert {LIBRARIES[library] for library in needed if not library.startswith("ld-linux")} == {
            library for library in LIBRARIES.values() if re.search(r"(^|, )" + re.escape(library) + r"\b", depends)}


def test_programs_run(tmp_path):
    for name, program in (("trelvik-tools", "trelvikctl"), ("iss-sim", "iss-sim")):
        top = packages.unpacked(name, tmp_path / name)
        shown = packages.run(*LAUNCHER, f"{top}/usr/bin/{program}", "--version")
        assert packages.field(name, "Version").split("-")[0] in shown


def test_daemon_runs_and_says_that_there_is_no_bus(tmp_path):
    top = packages.unpacked("trelvik", tmp_path / "trelvik")
    done = subprocess.run([*LAUNCHER, f"{top}/usr/sbin/Trelvik"], check=False, timeout=60,
                          env={"DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={tmp_path}/none", "PATH": os.environ["PATH"]})
    assert done.returncode == 255


def test_nothing_tells_where_it_was_built(tmp_path):
    for name in packages.NAMES + packages.SYMBOLS:
        top = packages.unpacked(name, tmp_path / name)
        found = subprocess.run(["grep", "-rlF", REPO + "/", top], check=False, capture_output=True, text=True)
        assert (found.returncode, found.stdout) == (1, "")


@pytest.mark.takes(2400)
def test_second_build_makes_the_same_packages(tmp_path):
    """Built anew in another place, by another umask, time zone and language: the daemon and what has no program."""
    copy = tmp_path / "elsewhere"
    shutil.copytree(REPO, copy, ignore=shutil.ignore_patterns("build", ".git", "__pycache__"), symlinks=True)
    preset = os.path.basename(packages.BUILD)
    surroundings = {**os.environ, "TZ": "Pacific/Auckland", "LC_ALL": "C", "USER": "somebody", "HOME": str(tmp_path)}
    for command in (["cmake", "--preset", preset], ["cmake", "--build", "--preset", preset, "--target", "src/all",
                                                    "packaging/all"]):
        packages.run(*command, limit=1800, cwd=copy, env=surroundings, umask=0o027)
    build = copy / "build" / preset
    config = build / "CPackConfig.cmake"
    text, count = re.subn(r"(?m)^set\(CPACK_COMPONENTS_ALL .*", 'set(CPACK_COMPONENTS_ALL "trelvik;trelvik-dev")',
                          config.read_text())
    assert count == 1
    config.write_text(text)
    packages.run(os.path.join(REPO, "scripts/lib/make-packages"), str(build), env=surroundings, umask=0o027)
    for name in ("trelvik", "trelvik-dbgsym", "trelvik-dev"):
        first, second = packages.path(name), packages.path(name, build / "packages")
        for ending in (".deb", ".spdx.json") if name in packages.NAMES else (".deb",):
            one, other = (file.removesuffix(".deb") + ending for file in (first, second))
            assert filecmp.cmp(one, other, shallow=False), f"{one} and {other} differ"
    shutil.rmtree(copy)


@pytest.mark.takes(400)
def test_lintian_finds_no_fault():
    files_made = [packages.path(name) for name in packages.NAMES + packages.SYMBOLS]
    found = subprocess.run(["lintian", "--allow-root", "--no-cfg", "--tag-display-limit", "0", *files_made],
                           check=False, capture_output=True, text=True, timeout=360)
    assert (found.returncode, found.stdout + found.stderr) == (0, "")


# What comes of installing them.

TRACE = ("--dest=otn.Trelvik", "/otn/Trelvik/ob_common", "otn.OBcommon_1_0.get_trace_level")
SETTINGS = "/etc/default/trelvik"
UNIT = "/usr/lib/systemd/system/trelvik.service"
WANTED = "/etc/systemd/system/multi-user.target.wants/trelvik.service"
"""There while the unit is enabled."""


def own(name):
    return ("--dest=org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.RequestName",
            "string:" + name, "uint32:4")


def as_user(user):
    return ("setpriv", "--reuid=" + user, "--regid=nogroup", "--init-groups")


def send(root, user, *message):
    """What a user gets who calls the bus: an error's name, or "ok"."""
    status, text = root.ask(*as_user(user), "dbus-send", "--system", "--print-reply", *message)
    return "ok" if status == 0 else re.search(r"Error (\S+?):? ", text + " ")[1]


def start_daemon(root):
    """What systemd does with the unit: the settings in the environment, then the command line."""
    unit = files.read(root.inside(UNIT))
    command = re.search(r"(?m)^ExecStart=(.*)", unit)[1]
    settings = re.search(r"(?m)^EnvironmentFile=-(.*)", unit)[1]
    root.start_bus()
    root.start("iss-sim", "--quiet")
    root.start("sh", "-c", f"set -a; . {settings}; exec {command}")
    until(lambda: send(root, "root", *TRACE) == "ok", "the daemon", packages.DEADLINE)


@pytest.mark.takes(120)
def test_installed_daemon_serves_whom_it_should(root):
    root.install(*packages.NAMES)
    assert root.run("getent", "group", "otn")
    root.run("useradd", "--groups", "otn", MEMBER)
    start_daemon(root)
    assert [send(root, user, *TRACE) for user in ("root", MEMBER, "nobody")] == ["ok", "ok", DENIED]
    for name in ("otn.Trelvik", "otn.redundancyManager"):
        assert [send(root, user, *own(name)) for user in ("root", MEMBER, "nobody")] == ["ok", DENIED, DENIED]
    assert root.ask(*as_user(MEMBER), "trelvikctl", "trace")[0] == 0
    assert root.ask(*as_user("nobody"), "trelvikctl", "trace")[0] == 1


@pytest.mark.takes(120)
def test_example_peers_are_served(root, tmp_path):
    root.install(*packages.NAMES)
    root.run("useradd", "--groups", "otn", MEMBER)
    built = build_examples(root, tmp_path)
    start_daemon(root)
    until(lambda: root.ask("test", "-e", "/tmp/iss_is_ready")[0] == 0, "ISS is ready", packages.DEADLINE)
    examples = "/usr/share/doc/trelvik-dev/examples/"
    for peer in (built + "/port-peer", "/usr/bin/python3 " + examples + "port-peer.py"):
        assert root.run(*as_user(MEMBER), *peer.split(), "5") == "port 5 is set up\n"
        status, text = root.ask(*as_user("nobody"), *peer.split(), "5")
        assert status == 1 and "otn.Trelvik" in text
    assert root.run(built + "/read-counters", "3").startswith("interface 3: received ")


def build_examples(root, directory):
    """Builds the examples with the package's header and the machine's compiler; where they are inside."""
    copy = shutil.copytree(root.inside("/usr/share/doc/trelvik-dev/examples"), directory / "examples")
    pkg_config = directory / "pkg-config"
    files.write_script(pkg_config, 'case "$*" in',
                       f'  *trelvik*) export PKG_CONFIG_LIBDIR={root.inside("/usr/share/pkgconfig")} '
                       f"PKG_CONFIG_SYSROOT_DIR={root.top} ;;", "esac", 'exec /usr/bin/pkg-config "$@"')
    packages.run("make", "-C", copy, f"PKG_CONFIG={pkg_config}", "CXXFLAGS=-Wall -Wextra -Werror")
    place = "/usr/local/examples"
    os.mkdir(root.inside(place))
    for program in ("port-peer", "read-counters"):
        shutil.copy(copy / program, root.inside(place))
    return place


def next_version(tmp_path, root):
    """The daemon's package of a later version, which sets something else; where it is inside."""
    top = tmp_path / "next"
    packages.run("dpkg-deb", "--raw-extract", packages.path("trelvik"), top)
    control = top / "DEBIAN/control"
    control.write_text(re.sub(r"(?m)^Version: .*", "Version: 99.0-1", control.read_text()))
    with open(f"{top}{SETTINGS}", "a", encoding="ascii") as settings:
        settings.write("# A setting that is new.\n")
    packages.run("dpkg-deb", "--root-owner-group", "--build", top, root.inside("/usr/local/next.deb"))
    return "/usr/local/next.deb"


@pytest.mark.takes(120)
def test_upgrade_brings_new_settings_and_keeps_own(root, tmp_path):
    following = next_version(tmp_path, root)
    root.install("trelvik")
    root.run("groupmod", "--gid", "4711", "otn")
    root.run("dpkg", "--install", following)
    assert "# A setting that is new." in files.read(root.inside(SETTINGS))
    root.run("dpkg", "--purge", "trelvik")

    root.install("trelvik")
    files.write(root.inside(SETTINGS), "BOARD_NAME=MINE\n")
    root.run("dpkg", "--force-confdef", "--force-confold", "--install", following)
    assert files.read(root.inside(SETTINGS)) == "BOARD_NAME=MINE\n"
    assert root.run("dpkg-query", "--show", "--showformat=${Version} ${db:Status-Status}", "trelvik") \
        == "99.0-1 installed"
    assert root.run("getent", "group", "otn").startswith("otn:x:4711:")
    assert os.path.islink(root.inside(WANTED))


@pytest.mark.takes(120)
def test_disabled_unit_stays_disabled_on_upgrade(root, tmp_path):
    root.install("trelvik")
    os.unlink(root.inside(WANTED))
    root.run("dpkg", "--install", next_version(tmp_path, root))
    assert not os.path.lexists(root.inside(WANTED))


@pytest.mark.takes(120)
def test_removal_keeps_settings_and_purge_leaves_nothing(root):
    before = root.files()
    root.install(*packages.NAMES, *packages.SYMBOLS)
    assert root.files() - before
    root.run("dpkg", "--remove", *packages.NAMES, *packages.SYMBOLS)
    assert SETTINGS in root.files()
    assert not os.path.exists(root.inside("/usr/sbin/Trelvik"))
    root.run("dpkg", "--purge", *packages.NAMES, *packages.SYMBOLS)
    left = root.files() - before
    assert not [file for file in left if not file.startswith(("/var/log/", "/var/cache/"))], left
    assert root.run("getent", "group", "otn")
