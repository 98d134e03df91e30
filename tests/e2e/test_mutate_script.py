"""scripts/mutate: its command line, what it changes, and that the tests of a small file see every change."""
import os
import re

import pytest

from mutate import operators, sample, survivors
from mutate.scanner import scan
from trelvik.places import PREFIX, REPO
from trelvik.script import Script

MUTATE = Script("mutate", 50)
BUILD = os.path.dirname(PREFIX)


@pytest.mark.parametrize("arguments", [("x",), ("--count", "0"), ("--count", "x"), ("--seed",), ("--seed", "-1"),
                                       ("--jobs", "0"), ("--file", "/nowhere"), ("--file", "README.md"),
                                       ("--build", "/nowhere"), ("--unknown",)])
def test_misuse_is_told_with_status_2(arguments):
    MUTATE.expect_misuse(*arguments)


def test_help_goes_to_standard_output():
    MUTATE.expect_help()


def test_a_seed_draws_the_same_mutants_every_time():
    one, again, other = (MUTATE.run("--list", "--count", "20", "--seed", seed) for seed in ("3", "3", "4"))
    assert one.returncode == 0 and len(re.findall("^  [-+] ", one.stdout, re.MULTILINE)) == 40
    assert one.stdout == again.stdout != other.stdout


def test_mutants_of_a_small_file_are_all_killed():
    done = MUTATE.run("--build", BUILD, "--file", "src/message/classify.cpp", "--count", "4", "--jobs", "2", "--afresh")
    assert done.returncode == 0, done.stdout + done.stderr
    assert "seed 1: 4 of 4 mutants killed, 100.0 %; goal 95 %: met\n" in done.stdout


def mutants(code):
    return {(mutant.operator, mutant.after) for place in operators.find("x.cpp", code) for mutant in place}


@pytest.mark.parametrize("code, wanted", [
    ("constexpr int x = 7;", {("constant", "constexpr int x = 8;"), ("constant", "constexpr int x = 6;"),
                              ("constant", "constexpr int x = 0;")}),
    ("constexpr bool x = true;", {("constant", "constexpr bool x = false;")}),
    ("bool f() { return a < b; }", {("comparison", "bool f() { return a <= b; }")}),
    ("bool f() { return a && !b; }", {("condition", "bool f() { return a || !b; }"),
                                      ("condition", "bool f() { return a && b; }")}),
    ("int f() {\nif (a) return b;\n}", {("condition", "if (!(a)) return b;")}),
    ("void f() {\n  stop(a, b);\n}", {("statement", "{}"), ("arguments", "stop(b, a);")}),
    ("void f() {\n  a.b = c;\n  int d = c;\n}", {("statement", "{}")}),
    ("void f() {\n  const Guard guard(&mutex);\n}", {("lock", "{}")}),
])
def test_operators_change(code, wanted):
    assert mutants(code) == wanted


@pytest.mark.parametrize("code", ['// 7 < 8', '#define X 7', 'const char* x = "7 < 8";', "static_assert(x == 7);",
                                  'void f() {\n  LOG(INFO, atMain, 7, "%d %d", a, b);\n}', "std::vector<int> f(T&& x);",
                                  "void f() {\n  char text[12];\n  std::array<char, 12> more;\n}",
                                  "void f() {\n  x = std::min(a, b);\n}".replace("x = ", "return ")])
def test_operators_leave_alone(code):
    assert mutants(code) == set()


def test_brackets_of_every_source_are_paired():
    for file in sample.files(REPO):
        with open(os.path.join(REPO, file), encoding="utf-8") as source:
            open_ones = [token for token in scan(source.read()) if token.text in ("(", "[", "{") and token.kind == "sign"]
        assert all(token.partner >= 0 for token in open_ones), file


def test_listed_survivors_are_in_the_sources():
    assert isinstance(survivors.listed(sample.all_of(REPO)), dict)


def test_survivor_whose_code_is_gone_is_an_error(monkeypatch, tmp_path):
    place = os.path.join(tmp_path, "survivors.txt")
    with open(place, "w", encoding="utf-8") as file:
        file.write("src/frame/main.cpp\n- no such line;\n+ {}\nwhy\n")
    monkeypatch.setattr(survivors, "PLACE", place)
    with pytest.raises(survivors.Wrong, match="no such line"):
        survivors.listed(sample.all_of(REPO))
