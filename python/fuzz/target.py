"""A fuzz target of a build: how it is run, and what came of a run."""
import dataclasses
import json
import os
import re
import subprocess

PREFIX = "fuzz."
WHY = re.compile(r"^Does not hold: .*|^==\d+== ?ERROR: .*|.*: runtime error: .*", re.MULTILINE)
WRITTEN = re.compile(r"^Test unit written to (.*)$|Test unit written to (\S+)", re.MULTILINE)
COVERED = re.compile(r"^#\d+\s.*\bcov: (\d+) ft: (\d+)", re.MULTILINE)


@dataclasses.dataclass(frozen=True)
class Target:
    name: str
    command: tuple
    environment: tuple
    """Settings NAME=VALUE."""

    def lasting(self, seconds, corpus):
        """The command, for so many seconds and with a random seed; inputs that reach something new are taken from the
        folder and put there."""
        settings = {"-max_total_time": seconds, "-seed": 0}
        return [*(re.sub(r"^(-\w+)=(\d+)$", lambda part: f"{part[1]}={settings.get(part[1], part[2])}", part)
                  for part in self.command), corpus]


@dataclasses.dataclass(frozen=True)
class Run:
    target: Target
    seconds: int
    status: int
    output: str

    def number(self, name):
        """One of libFuzzer's final counts; 0 without it."""
        found = re.search(rf"^stat::{name}:\s+(\d+)$", self.output, re.MULTILINE)
        return int(found[1]) if found else 0

    @property
    def features(self):
        return max((int(features) for _, features in COVERED.findall(self.output)), default=0)

    @property
    def why(self):
        """The first line that says what was found."""
        found = WHY.search(self.output)
        return found[0].strip() if found else f"ended with status {self.status}"

    @property
    def input(self):
        """The file with the input that did it, or nothing."""
        found = WRITTEN.search(self.output)
        path = (found[1] or found[2]).strip() if found else ""
        return path if os.path.isfile(path) else ""


def targets_of(build):
    """The fuzz tests that ctest knows, in their order."""
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                             capture_output=True, text=True)
    found = []
    for test in json.loads(listing.stdout)["tests"]:
        if not test["name"].startswith(PREFIX):
            continue
        properties = {entry["name"]: entry["value"] for entry in test["properties"]}
        found.append(Target(test["name"][len(PREFIX):], tuple(test.get("command", ("false",))),
                            tuple(properties.get("ENVIRONMENT", ()))))
    return found


def run(target, seconds, corpus):
    os.makedirs(corpus, exist_ok=True)
    environment = {**os.environ, **dict(setting.split("=", 1) for setting in target.environment)}
    done = subprocess.run(target.lasting(seconds, corpus), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, env=environment, check=False)
    return Run(target, seconds, done.returncode, done.stdout.decode(errors="replace"))
