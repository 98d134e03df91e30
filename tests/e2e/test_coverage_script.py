"""scripts/coverage: its command line, and what it makes of what gcovr tells. The measurement itself takes minutes."""
import os

import pytest

from coverage import decisions, figures, readme, report
from trelvik import files
from trelvik.places import REPO
from trelvik.script import Script

COVERAGE = Script("coverage", 20)


SOURCE = "if (full)\n  return;\nput();\n" + "if (x) y();\n" * 9999


def line(number, count, *branches, noncode=False):
    return {"line_number": number, "count": count, "gcovr/noncode": noncode,
            "branches": [{"count": taken} for taken in branches]}


@pytest.fixture
def read(tmp_path):
    """The figures of two files, a large one with these lines, and a small one."""
    def read_lines(*lines):
        for path in ("src/link/Ring.cpp", "platform/board/File.cpp"):
            os.makedirs(tmp_path / os.path.dirname(path), exist_ok=True)
            (tmp_path / path).write_text(SOURCE, encoding="utf-8")
        return figures.read({"files": [{"file": "src/link/Ring.cpp", "lines": lines},
                                       {"file": "platform/board/File.cpp", "lines": [line(2, 1)]}]}, tmp_path)
    return read_lines


@pytest.fixture
def torn(read):
    return read(line(1, 5, 3, 0), line(2, 0), line(3, 9, 0, 0), line(4, 9, 1, 1))


@pytest.mark.parametrize("arguments", [("x",), ("--check", "x"), ("--read", "--check"), ("-R",), ("-R", "a", "b"),
                                       ("--unknown",)])
def test_misuse_is_told_with_status_2(arguments):
    COVERAGE.expect_misuse(*arguments)


def test_help_goes_to_standard_output():
    COVERAGE.expect_help()


def test_readme_tells_a_figure_that_meets_the_goals():
    lines, branches = readme.told(files.read(REPO, "README.md"))
    assert lines == 100 and report.BRANCH_GOAL <= branches <= 100


def test_what_ran_is_counted_by_file_and_by_room(torn):
    small, large = torn
    assert (large.lines, large.branches) == (figures.Count(3, 4), figures.Count(3, 4))
    assert (large.lines_not_run, large.branches_not_taken) == ([2], {1: 1})
    assert figures.rooms(torn) == {"platform/board": (small.lines, figures.Count()),
                                   "src/link": (large.lines, large.branches)}
    assert figures.total(torn) == (figures.Count(4, 5), figures.Count(3, 4))


def test_excluded_lines_count_neither_way(read):
    assert figures.total(read(line(1, 5, 3, 2), line(2, 0, noncode=True))) == (figures.Count(2, 2), figures.Count(2, 2))


@pytest.mark.parametrize("text, decides", [
    ("if (a)", True), ("  return a ? b : c;", True), ("x = a || b;", True), ("for (;;) {", True), ("x = b;", False),
    ("take(Word&& word);", False), ("x = '?';", False), ('x = "if";', False), ("x = b;  // if so", False),
    ('LOG(INFO, atMain, 3, "a", b ? c : d);', False), ('if (a) LOG(INFO, atMain, 3, "a");', True),
    ("return a &&\n  b;", True), ("if (a)\n  b();", False), ("if (a ||\n    b)", True), ("if (a) {\n  b();", False),
    ("a = b || c;\nd();", False), ("case A:\n  b();", False), ('LOG(INFO, atMain, 3, "a",\n  b ? c : d);', False),
])
def test_branches_count_where_the_source_decides(text, decides):
    lines = text.split("\n")
    assert decisions.decides(lines, len(lines)) == decides


def test_goals_are_met_by_all_lines_and_most_branches(read, torn):
    assert not report.met(torn)
    assert report.met(read(line(1, 1, *[1] * 19, 0)))
    assert not report.met(read(line(1, 1, *[1] * 18, 0, 0)))
    assert not report.met(read(line(1, 0), *(line(number, 1) for number in range(2, 9999))))


def test_report_names_lines_and_files_with_their_text(read, torn, tmp_path):
    told = report.show(torn, tmp_path).split("\n")
    assert [row.split() for row in told[:4]] == [
        ["lines", "branches"], ["platform/board", "1/1", "100", "%", "-"],
        ["src/link", "3/4", "75", "%", "3/4", "75", "%"], ["all", "4/5", "80", "%", "3/4", "75", "%"]]
    assert told[4:] == ["", "Lines not run: 1", "src/link/Ring.cpp:2: return;",
                        "", "Files below 95 % of branches: 1", "src/link/Ring.cpp: 3/4, 75 %",
                        "  1: 1 not taken: if (full)",
                        "", "MISSED: 1 lines were not run, and 75 % of branches are fewer than 95 %"]
    assert report.show(read(line(1, 1)), tmp_path).endswith("\n\nGoals met.")


def test_figure_is_cut_so_that_100_percent_is_all():
    assert figures.Count(9999, 10000).text() == "99.9"
    assert figures.Count(10000, 10000).text() == "100"


def test_readme_is_written_between_its_markers_only(torn):
    text = f"one\n{readme.BEGIN}old\n{readme.END}\ntwo {readme.BEGIN[:5]}"
    written = readme.replaced(text, figures.total(torn))
    assert written == (f"one\n{readme.BEGIN}Coverage of `src/` and `platform/`: 80 % of lines, 75 % of branches "
                       f"(`scripts/coverage`).{readme.END}\ntwo {readme.BEGIN[:5]}")
    assert readme.told(written) == (80, 75) and readme.told(text) == (0, 0)
    with pytest.raises(ValueError, match="no place"):
        readme.replaced("nothing", figures.total(torn))


def test_check_allows_what_wavers(torn):
    total = figures.total(torn)
    assert readme.agrees((80.0, 75.4), total)
    assert not readme.agrees((80.0, 75.6), total) and not readme.agrees((0.0, 75.0), total)
