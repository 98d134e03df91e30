"""What compiler and linker have put into each installed program and library against its own mistakes."""
import json
import os
import re
import subprocess

from trelvik import packages
from trelvik.places import PREFIX

KNOWN = {"sbin/Trelvik", "bin/trelvikctl", "bin/iss-sim", "lib/trelvik/libcam-sim.so"}
UNFORTIFIED = "lib/trelvik/libcam-sim.so"
"""It defines the very functions that the C library's checks define."""
SHIPPED = ("src/", "platform/", "sim/", "tools/trelvikctl/")
"""Where a build directory has the objects of what is installed."""


def installed():
    """Programs and libraries, each as it is installed."""
    found = set()
    for folder, _, names in os.walk(PREFIX):
        for name in names:
            path = os.path.join(folder, name)
            with open(path, "rb") as file:
                if file.read(4) == b"\x7fELF":
                    found.add(os.path.relpath(path, PREFIX))
    assert found >= KNOWN, f"not installed: {KNOWN - found}"
    return sorted(found)


def elf(program, *options):
    """What readelf tells, in its own words."""
    done = subprocess.run(["readelf", "--wide", *options, os.path.join(PREFIX, program)], check=False, timeout=120,
                          capture_output=True, text=True, errors="replace", env={**os.environ, "LC_ALL": "C"})
    assert done.returncode == 0, done.stderr
    return done.stdout


def is_library(program):
    return program.endswith(".so")


def hold_to(wrong):
    """`wrong` gives the sentences that are to be said of a program."""
    said = [f"{program} {sentence}" for program in installed() for sentence in wrong(program)]
    assert not said, "\n".join(said)


def test_programs_are_position_independent():
    def wrong(program):
        if not re.search(r"Type: +DYN ", elf(program, "--file-header")):
            yield "is no position-independent program: compile it with -fPIE and link it with -pie"
        elif not is_library(program) and not re.search(r"\(FLAGS_1\).*\bPIE\b", elf(program, "--dynamic")):
            yield "is not marked as a program: link it with -pie, not with -shared"
    hold_to(wrong)


def test_tables_are_read_only_once_loaded():
    def wrong(program):
        if not re.search(r"(?m)^ +GNU_RELRO ", elf(program, "--program-headers")):
            yield "has no tables that are read-only after loading: link it with -z relro"
        if not re.search(r"BIND_NOW|\(FLAGS_1\).*\bNOW\b", elf(program, "--dynamic")):
            yield "looks functions up as it runs, which leaves its table of them writable: link it with -z now"
    hold_to(wrong)


def test_stack_is_not_executed():
    def wrong(program):
        flags = re.findall(r"(?m)^ +GNU_STACK +(?:0x[0-9a-f]+ +){5}(.*?) +0x", elf(program, "--program-headers"))
        if flags != ["RW"]:
            yield "may execute its stack: link it with -z noexecstack"
    hold_to(wrong)


def test_code_is_not_changed_by_the_loader():
    def wrong(program):
        if "TEXTREL" in elf(program, "--dynamic"):
            yield "has relocations in its code: compile all of it with -fPIE or -fPIC, and link it with -z text"
    hold_to(wrong)


def test_libraries_are_searched_where_the_system_has_them():
    def wrong(program):
        for kind, path in re.findall(r"\((RPATH|RUNPATH)\).*\[(.*)\]", elf(program, "--dynamic")):
            yield f"searches its libraries in {path} ({kind}): install it without a path of the build"
    hold_to(wrong)


def test_stack_is_protected():
    """As the compiler noted it down for each unit that it compiled."""
    def wrong(program):
        units = re.findall(r"DW_AT_producer +: .*?: (.*)", elf(program, "--debug-dump=info", "--dwarf-depth=1"))
        if not units:
            yield "does not tell how it was compiled: build it with -g"
        for flag in ("-fstack-protector-strong", "-fstack-clash-protection"):
            without = sum(flag not in unit.split() for unit in units)
            if without:
                yield f"has {without} of {len(units)} units that were compiled without {flag}"
        if "__stack_chk_fail" not in elf(program, "--dyn-syms"):
            yield "never looks whether its stack is whole: compile it with -fstack-protector-strong"
    hold_to(wrong)


def test_writes_of_the_c_library_are_checked():
    def wrong(program):
        if program != UNFORTIFIED and not re.search(r"__\w+_chk\b", elf(program, "--dyn-syms")):
            yield "calls no checked function of the C library: compile it with -O2 -D_FORTIFY_SOURCE=3"
    hold_to(wrong)


def test_every_shipped_unit_is_fortified():
    """A program does not tell the level, so this asks what its units were compiled with."""
    with open(os.path.join(packages.BUILD, "compile_commands.json"), encoding="utf-8") as listing:
        commands = [entry["command"].split() for entry in json.load(listing)]
    objects = {words[words.index("-o") + 1]: words for words in commands}
    shipped = {name: words for name, words in objects.items()
               if name.startswith(SHIPPED) and not name.startswith("sim/cam-sim/")}
    assert all(any(name.startswith(folder) for name in shipped) for folder in SHIPPED)
    said = []
    for name, words in shipped.items():
        level = [word for word in words if "_FORTIFY_SOURCE" in word][-1:]
        if level != ["-D_FORTIFY_SOURCE=3"]:
            said.append(f"{name} is compiled with {level or 'no level'}, not with -D_FORTIFY_SOURCE=3")
    assert not said, "\n".join(said)
