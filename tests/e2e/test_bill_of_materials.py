"""The bill of materials beside each package: it is SPDX, and tells the truth."""
import filecmp
import hashlib
import json
import os
import re
import shutil
import subprocess

import pytest

from trelvik import packages
from trelvik.packages import NAMES, field, path, unpacked
from trelvik.places import REPO

LAUNCHER = os.environ.get("TRELVIK_LAUNCHER", "").split()
OWN, DOCUMENT, COMPILER = "SPDXRef-Package", "SPDXRef-DOCUMENT", "SPDXRef-Compiler"
TOOLCHAIN = {"libc6-dev", "linux-libc-dev", "libstdc++-12-dev", "libgcc-12-dev"}
"""Whose headers every program is compiled with; their code comes with the libraries."""
NOTHING_TAKEN = {"libsystemd-dev", "systemtap-sdt-dev"}
"""Declarations of a library that is depended on; macros that anybody may use without a word."""


def bill_path(name):
    return path(name).removesuffix(".deb") + ".spdx.json"


def bill(name):
    with open(bill_path(name), encoding="ascii") as file:
        return json.load(file)


def sums_of(element):
    return {entry["algorithm"]: entry["checksumValue"] for entry in element["checksums"]}


def related(bill_of_package, kind):
    return [(each["spdxElementId"], each["relatedSpdxElement"]) for each in bill_of_package["relationships"]
            if each["relationshipType"] == kind]


def named(bill_of_package):
    """Its packages by their identifiers."""
    return {each["SPDXID"]: each for each in bill_of_package["packages"]}


def test_each_package_has_one_and_symbols_have_none():
    made = {file for file in os.listdir(packages.MADE) if not file.endswith(".deb")}
    assert made == {os.path.basename(bill_path(name)) for name in NAMES}


@pytest.mark.parametrize("name", NAMES)
def test_it_is_spdx(name):
    made = bill(name)
    assert (made["spdxVersion"], made["dataLicense"], made["SPDXID"]) == ("SPDX-2.3", "CC0-1.0", DOCUMENT)
    assert made["name"] == os.path.basename(path(name)).removesuffix(".deb")
    assert re.fullmatch(r"https://[a-z.]+/[^#\s]+", made["documentNamespace"])
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", made["creationInfo"]["created"])
    assert all(re.match(r"(Organization|Tool): \S", creator) for creator in made["creationInfo"]["creators"])
    elements = made["packages"] + made["files"]
    identifiers = [element["SPDXID"] for element in elements]
    assert len(set(identifiers)) == len(identifiers)
    assert all(re.fullmatch(r"SPDXRef-[a-zA-Z0-9.-]+", identifier) for identifier in identifiers)
    for each in made["packages"]:
        assert each["name"] and each["downloadLocation"] == "NOASSERTION"
        assert each["filesAnalyzed"] == (each["SPDXID"] == OWN)
        for reference in each.get("externalRefs", ()):
            assert (reference["referenceCategory"], reference["referenceType"]) == ("PACKAGE-MANAGER", "purl")
            assert re.fullmatch(r"pkg:deb/debian/[a-z0-9.%B+-]+(@[A-Za-z0-9.%~-]+\?arch=\w+)?",
                                reference["referenceLocator"])
    assert all(re.fullmatch(r"\./[^/].*", each["fileName"]) for each in made["files"])
    for each in made["relationships"]:
        assert {each["spdxElementId"], each["relatedSpdxElement"]} <= {DOCUMENT, *identifiers}
    assert related(made, "DESCRIBES") == [(DOCUMENT, OWN)]
    assert related(made, "CONTAINS") == [(OWN, each["SPDXID"]) for each in made["files"]]


@pytest.mark.parametrize("name", NAMES)
def test_its_sums_are_those_of_the_files(name, tmp_path):
    made = bill(name)
    top = unpacked(name, tmp_path / name)
    found = {}
    for folder, _, files in os.walk(top):
        for file in files:
            with open(os.path.join(folder, file), "rb") as content:
                found["./" + os.path.relpath(os.path.join(folder, file), top)] = content.read()
    assert {each["fileName"]: sums_of(each) for each in made["files"]} == {
        file: {"SHA1": hashlib.sha1(content).hexdigest(), "SHA256": hashlib.sha256(content).hexdigest()}
        for file, content in found.items()}
    own = named(made)[OWN]
    all_sums = "".join(sorted(hashlib.sha1(content).hexdigest() for content in found.values()))
    assert own["packageVerificationCode"] == {
        "packageVerificationCodeValue": hashlib.sha1(all_sums.encode()).hexdigest()}
    with open(path(name), "rb") as content:
        assert sums_of(own) == {"SHA256": hashlib.sha256(content.read()).hexdigest()}


@pytest.mark.parametrize("name", NAMES)
def test_it_names_the_package_and_what_it_needs(name):
    made = bill(name)
    own = named(made)[OWN]
    assert (own["name"], own["versionInfo"], own["packageFileName"]) == (
        name, field(name, "Version"), os.path.basename(path(name)))
    assert own["licenseDeclared"] == "MIT"
    assert own["licenseConcluded"] == ("MIT AND BSD-3-Clause" if name == "trelvik-tools" else "MIT")
    needed = [named(made)[other] for one, other in related(made, "DEPENDS_ON") if one == OWN]
    assert [each["name"] for each in needed] == re.findall(r"(?:^|, )([a-z0-9.+-]+)", field(name, "Depends"))
    for each in needed:
        assert ("versionInfo" in each) == each["name"].startswith("lib"), each
        if "versionInfo" in each and not LAUNCHER:
            installed = packages.run("dpkg-query", "--show", "--showformat=${Version}", each["name"]).strip()
            assert each["versionInfo"] == installed
        if "versionInfo" in each and LAUNCHER:
            with open(os.path.join(REPO, "build/sysroot/.packages"), encoding="ascii") as listing:
                assert f"{each['name']} {each['versionInfo']}\n" in listing.readlines()
    assert related(made, "BUILD_TOOL_OF") == ([] if name == "trelvik-dev" else [(COMPILER, OWN)])


@pytest.mark.takes(60)
def test_code_of_others_in_a_program_is_named():
    """Every header that a shipped object was compiled with is of the toolchain, takes no code along, or is named."""
    shipped = {"trelvik": ("src/", "platform/"), "trelvik-tools": ("tools/trelvikctl/",), "iss-sim": ("sim/",)}
    needed = packages.run("ninja", "-C", packages.BUILD, "-t", "deps")
    for name, folders in shipped.items():
        blocks = [block for block in needed.split("\n\n") if block.startswith(folders)]
        assert blocks, f"no object of {name} was built here"
        headers = {os.path.normpath(line.strip()) for block in blocks for line in block.splitlines()[1:]}
        outside = sorted(header for header in headers if header.startswith("/usr/"))
        owners = {line.split(":")[0] for line in packages.run("dpkg-query", "--search", *outside).splitlines()}
        made = bill(name)
        compiled_in = {named(made)[other]["name"] for _, other in related(made, "STATIC_LINK")}
        assert owners - TOOLCHAIN - NOTHING_TAKEN == compiled_in, f"{name} holds code that its bill does not name"


def test_it_is_made_again_to_the_byte(tmp_path):
    for name in NAMES:
        copy = shutil.copy(path(name), tmp_path)
        made = bill(name)["creationInfo"]["created"]
        epoch = packages.run("date", "--utc", "--date", made, "+%s").strip()
        subprocess.run([os.path.join(REPO, "scripts/lib/bill-of-materials"), packages.BUILD, copy], check=True, timeout=60,
                       env={**os.environ, "SOURCE_DATE_EPOCH": epoch, "TZ": "Pacific/Auckland", "LC_ALL": "C"})
        assert filecmp.cmp(bill_path(name), copy.removesuffix(".deb") + ".spdx.json", shallow=False)
