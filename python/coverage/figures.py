"""What was run through, by file and by room."""
import collections
import dataclasses
import os

from . import decisions


@dataclasses.dataclass
class Count:
    """How many of how many."""
    ran: int = 0
    of: int = 0

    def __add__(self, other):
        return Count(self.ran + other.ran, self.of + other.of)

    @property
    def percent(self):
        return 100.0 if self.of == 0 else 100.0 * self.ran / self.of

    def text(self):
        """Cut and not rounded: 100 % is all of them."""
        return f"{int(self.percent * 10) / 10:g}"


@dataclasses.dataclass
class File:
    path: str
    lines: Count
    branches: Count
    lines_not_run: list
    branches_not_taken: dict
    """{line: how many of its branches}"""

    @property
    def room(self):
        return os.path.dirname(self.path)


def read(found, repo):
    """The files of what gcovr tells, whose text stands in `repo`."""
    return [of_file(file, repo) for file in sorted(found["files"], key=lambda file: file["file"])]


def of_file(file, repo):
    with open(os.path.join(repo, file["file"]), encoding="utf-8") as source:
        text = source.read().split("\n")
    lines = [line for line in file["lines"] if not line["gcovr/noncode"] and not line.get("gcovr/excluded")]
    not_run = [line["line_number"] for line in lines if line["count"] == 0]
    branches, not_taken = Count(), {}
    for line in lines:
        if not line["branches"] or not decisions.decides(text, line["line_number"]):
            continue
        taken = [branch["count"] > 0 for branch in line["branches"]]
        branches += Count(sum(taken), len(taken))
        if not all(taken):
            not_taken[line["line_number"]] = taken.count(False)
    return File(file["file"], Count(len(lines) - len(not_run), len(lines)), branches, not_run, not_taken)


def rooms(files):
    """{room: (lines, branches)}"""
    found = collections.defaultdict(list)
    for file in files:
        found[file.room].append(file)
    return {room: total(those) for room, those in sorted(found.items())}


def total(files):
    """(lines, branches)"""
    return sum((file.lines for file in files), Count()), sum((file.branches for file in files), Count())
