"""scripts/bench: its command line, and what it makes of figures. That it works as a whole is the test bench.short."""
import json
import os
import shutil
import tempfile
import xml.dom.minidom

import pytest

from bench import figures, goals, instructions, measure, picture, plan, table
from bench.program import Failed
from trelvik import files
from trelvik.places import PREFIX, daemon, policy
from trelvik.script import Script

BENCH = Script("bench", 20)


def made_up(baseline=True, growth=0):
    """What a measurement finds: everything of the floor takes 100 us, of the daemon 120, of the baseline 300."""
    daemons = ["here", "baseline"] if baseline else ["here"]
    times = {"floor": 100.0, "here": 120.0, "baseline": 300.0}
    runs = []
    for number in range(3):
        for placement in plan.PLACEMENTS:
            for row in plan.ROWS.values():
                for subject in set(row.subjects) & {"floor", *daemons}:
                    time = times[subject] * (2 if row.key == "two" else 1) + number - 1
                    runs.append({
                        "row": row.key, "subject": subject, "placement": placement, "round": number, "count": 1000,
                        "percentiles": [time - 50 + percent for percent in range(101)], "rate": 1e6 / time,
                        "each": time, "carried": 2 * time, "overflows": 50.0 if row.overflows else 0.0,
                        "cpu": {"bus": 30.0, "peer": 5.0, "caller": 5.0, "subject": time / 3},
                        "threads": [["main", 10.0], ["thread 2", time / 3 - 10]]})
    return {"runs": runs, "log statement": 0.5,
            "starts": {daemon: [{"start": 1000.0, "stop": 5.0}] for daemon in daemons},
            "memory": {daemon: {"rss": 5000, "pss": 1000, "growth": growth, "requests": 100_000} for daemon in daemons},
            "waiting": {daemon: 1.4 for daemon in daemons},
            "instructions": {daemon: {"probe": 1000.0, "query": 500.0} for daemon in daemons}}


def report(found):
    results = figures.Figures(found)
    baseline = "0123456789abcdef" if "baseline" in results.daemons else ""
    return {"commit": "fedcba987654", "baseline": baseline, "groups": figures.lines(results), "figures": results,
            "machine": {"processor": "Made <up> & told", "cpus": 2, "kernel": "6", "load": 0.1, "busy": False},
            "sizes": [("this machine", {"Trelvik": 264456}, ""), ("armhf", {}, "not built")],
            "goals": (goals.judge(results)
                      + goals.judge_instructions(results.once("instructions", "here"), {"probe": 1000}))}


def missed(found):
    return [goal.text for goal in goals.judge(figures.Figures(found)) if goal.met is False]


def slower(found, factor, row, subject="here"):
    """The same with one row of a subject's slower by that much."""
    for one in found["runs"]:
        if one["row"] == row and one["subject"] == subject:
            one["percentiles"] = [time * factor for time in one["percentiles"]]
            one["each"] *= factor
            one["rate"] /= factor
    return found


@pytest.mark.parametrize("arguments, told", [
    (["--fast"], "--fast"),
    (["more"], "more"),
    (["--short", "--long"], "--short and --long"),
    (["--json"], "--json"),
    (["--json", "/nowhere/file"], "--json takes a file in a directory that there is, not /nowhere/file"),
    (["--svg", "/nowhere/file"], "--svg takes a file"),
    (["--baseline", "no-such-commit"], '--baseline takes a commit of this repository, not "no-such-commit"'),
    (["--build", "/nowhere"], "--build takes a build directory with an installation, not /nowhere"),
])
def test_misuse_is_named(arguments, told):
    result = BENCH.run(*arguments)
    assert (result.returncode, result.stdout) == (2, "")
    assert told in result.stderr and "Traceback" not in result.stderr


def test_help_tells_the_options():
    result = BENCH.run("-h")
    assert result.returncode == 0
    for option in ("--short", "--long", "--baseline COMMIT", "--json FILE", "--svg FILE", "--refresh", "--build DIR"):
        assert option in result.stdout


def test_daemon_that_ends_at_once_fails_the_run():
    with tempfile.TemporaryDirectory() as build:
        stage, real = os.path.join(build, "stage"), os.path.dirname(PREFIX)
        for path in (policy(stage), daemon(stage), os.path.join(build, "bench/")):
            os.makedirs(os.path.dirname(path))
        for program in ("trelvik-caller", "trelvik-peer"):
            shutil.copy(os.path.join(real, "bench", program), os.path.join(build, "bench"))
        shutil.copy(policy(PREFIX), policy(stage))
        files.write_script(daemon(stage), "echo it cannot start >&2", "exit 3")
        result = BENCH.run("--short", "--build", build)
    assert result.returncode == 1
    assert "ended with status 3" in result.stderr and "it cannot start" in result.stderr
    assert "met" not in result.stdout


def test_goals_within_their_limits_are_met():
    assert not missed(made_up())
    assert all(goal.met for goal in goals.judge(figures.Figures(made_up())))


@pytest.mark.parametrize("row, factor, told", [
    ("one", 1.3, "one caller, free placement: p50 over the floor's"),
    ("one", 1.5, "one caller, one CPU: p99 over the floor's"),
    ("eight", 1.5, "8 callers, one CPU: rate over the floor's"),
    ("many", 1.3, "64 callers, free placement: time per answer over that of 8"),
    ("crowd", 1.3, "256 callers, one CPU: time per answer over that of 8"),
    ("debug", 1.2, "debug socket, one CPU: p50 over the floor's"),
    ("query", 1.1, "trace-level query, free placement: p50 over the bare echo's"),
    ("two", 1.1, "two records, one CPU: p50 over the first one's alone and a bare exchange"),
])
def test_each_goal_is_missed_beyond_its_limit(row, factor, told):
    assert told in missed(slower(made_up(), factor, row))


def test_growth_is_missed_from_the_first_kibibyte():
    assert missed(made_up(growth=1)) == ["growth over 100,000 requests, KiB"]


def test_cpu_time_is_judged_with_a_baseline_only():
    unjudged = [goal for goal in goals.judge(figures.Figures(made_up(baseline=False))) if goal.met is None]
    assert len(unjudged) == 4 and all(goal.why == "needs --baseline COMMIT" for goal in unjudged)


def test_instructions_are_compared_with_the_kept_ones():
    def verdicts(probe):
        return [goal.met for goal in goals.judge_instructions({"probe": probe, "query": 1}, {"probe": 1000})]
    assert verdicts(1050) == verdicts(950) == [True, None]
    assert verdicts(1051) == verdicts(949) == [False, None]


def test_refresh_leaves_other_processors_alone():
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "kept.json")
        assert instructions.kept(path) == {}
        with open(path, "w", encoding="utf-8") as file:
            json.dump({"vax": {"probe": 7}}, file)
        instructions.keep(path, {"probe": 1000.4})
        assert instructions.kept(path) == {"probe": 1000}
        with open(path, encoding="utf-8") as file:
            assert json.load(file)["vax"] == {"probe": 7}


def test_overflow_answers_are_told_from_requests_carried_out():
    one, many, two = plan.ROWS["one"], plan.ROWS["many"], plan.ROWS["two"]
    assert measure.carried_out(one, 100, 100, floor=False) == 100
    assert measure.carried_out(two, 100, 200, floor=False) == 100
    assert measure.carried_out(many, 100, 60, floor=False) == 60
    for row, records, floor in ((one, 99, False), (two, 100, False), (many, 0, False), (many, 101, False),
                                (many, 60, True)):
        with pytest.raises(Failed, match=f"but it got {records}"):
            measure.carried_out(row, 100, records, floor)


def test_threads_without_a_name_go_by_their_order():
    before = {10: ("", 1000), 11: ("", 0)}
    after = {10: ("", 2001000), 12: ("sender", 50000), 11: ("", 100000), 13: ("sender", 50000)}
    assert measure.by_thread(before, after, 100) == [("main", 20), ("thread 2", 1), ("sender", 1)]


@pytest.mark.parametrize("baseline", [True, False])
def test_report_tells_every_row_and_goal(baseline):
    made = report(made_up(baseline))
    text = table.show(made)
    for title in ("one caller, p99", "64 callers, overflow answers", "start to connected", "growth over 100,000"):
        assert title in text
    assert ("here/base" in text) == baseline
    assert "not judged: none are kept" in text and "MISSED" not in text
    xml.dom.minidom.parseString(picture.draw(made))


def test_medians_are_over_the_rounds():
    results = figures.Figures(made_up())
    assert results.percentile(50, "one", "free", "here") == 120
    assert results.distribution("one", "one", "floor")[99] == 149
    assert results.percentile(50, "exchange", "free", "here") is None
