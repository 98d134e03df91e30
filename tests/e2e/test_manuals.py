"""The manual pages, against the programs that they are about."""
import os
import re
import subprocess

import pytest

from trelvik import files
from trelvik.places import PREFIX, REPO

PAGES = ("man8/Trelvik.8", "man1/iss-sim.1", "man1/trelvikctl.1", "man5/trelvik-scenario.5")
FLAG = re.compile(r"\bFl -([\w-]+)")


def installed(page):
    return os.path.join(PREFIX, "share/man", page)


def said(*command, status=0):
    done = subprocess.run(command, check=False, capture_output=True, text=True, timeout=30)
    assert done.returncode == status, done.stdout + done.stderr
    return done.stdout


def options(text):
    """Those that a help text lists."""
    return set(re.findall(r"^ +(?:-h, ?)?--([a-z][\w-]*)", text, re.MULTILINE))


@pytest.mark.parametrize("page", PAGES)
def test_manual_pages_are_well_formed(page):
    assert said("mandoc", "-T", "lint", "-W", "warning", installed(page)) == ""


def test_every_manual_page_is_installed_once():
    found = [os.path.join(os.path.basename(folder), name)
             for folder, _, names in os.walk(os.path.join(PREFIX, "share/man")) for name in names]
    assert sorted(found) == sorted(PAGES)


def test_simulator_has_the_options_of_its_manual():
    sim = os.path.join(PREFIX, "bin/iss-sim")
    told = "".join(said(sim, *command, "--help") for command in ((), ("show",), ("replay",), ("check",)))
    assert set(FLAG.findall(files.read(installed("man1/iss-sim.1")))) == options(told)


def commands(*path):
    """(command, its options) of each that trelvikctl has, as its help tells."""
    told = said(os.path.join(PREFIX, "bin/trelvikctl"), *path, "--help")
    _, _, below = told.partition("\nSubcommands:\n")
    names = re.findall(r"^  (\S+)", below.partition("\n\n")[0], re.MULTILINE)
    if not names:
        return [(" ".join(path), options(told.partition("\nWith every command:")[0]) - {"help"})]
    return [found for name in names for found in commands(*path, name)]


def manual_commands(text):
    """The same, as the manual tells."""
    body = text.partition(".Sh COMMANDS\n")[2].partition("\n.Sh ")[0]
    for item in re.split(r"^\.It Cm ", body, flags=re.MULTILINE)[1:]:
        words, _, rest = item.partition("\n")
        path, *further = [word.split() for word in re.split(r" (?:Ar|Op) ", words)[0].split(" | ")]
        for last in [path[-1]] + [word[0] for word in further]:
            yield " ".join([*path[:-1], last]), set(FLAG.findall(rest))


def test_client_has_the_commands_of_its_manual():
    manual = list(manual_commands(files.read(installed("man1/trelvikctl.1"))))
    assert sorted(manual, key=lambda found: found[0]) == sorted(commands(), key=lambda found: found[0])


def test_client_has_the_common_options_of_its_manual():
    text = files.read(installed("man1/trelvikctl.1")).partition(".Sh COMMANDS\n")[0]
    told = said(os.path.join(PREFIX, "bin/trelvikctl"), "--help")
    assert set(FLAG.findall(text)) == options(told)


def test_daemon_has_the_options_of_its_manual():
    manual = files.read(installed("man8/Trelvik.8"))
    source = files.read(os.path.join(REPO, "src/frame/main.cpp"))
    accepted = re.search(r'getopt\(argc, argv, "(\w+)"\)', source)[1]
    assert set(re.findall(r"^\.It Fl (\w)$", manual, re.MULTILINE)) == set(accepted)


def test_daemon_reads_the_variables_of_its_manual():
    manual = files.read(installed("man8/Trelvik.8"))
    settings = files.read(os.path.join(REPO, "packaging/default/trelvik"))
    shown = set(re.findall(r"^#([A-Za-z_]+)=", settings, re.MULTILINE)) - {"TRELVIK_OPTIONS"}
    assert set(re.findall(r"^\.It Ev (\w+)$", manual, re.MULTILINE)) == shown


def test_scenario_of_the_manual_has_no_mistake(tmp_path):
    source = files.read(installed("man5/trelvik-scenario.5"))
    example = source.partition(".Bd -literal\n")[2].partition(".Ed\n")[0]
    assert example.count("\n") > 5
    files.write(tmp_path / "example.sim", example.replace("\\e", "\\"))
    said(os.path.join(PREFIX, "bin/iss-sim"), "check", str(tmp_path / "example.sim"))


def test_scenario_manual_names_every_directive():
    manual = files.read(installed("man5/trelvik-scenario.5"))
    parsers = "".join(files.read(os.path.join(REPO, "sim/directive", name))
                      for name in ("DirectiveParser.cpp", "FaultParser.cpp"))
    verbs = set(re.findall(r'\{"([a-z-]+)", parse', parsers))
    assert {"startup", "split"} <= verbs <= set(re.findall(r"Cm ([a-z-]+)", manual))
