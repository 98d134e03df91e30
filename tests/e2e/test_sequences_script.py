"""scripts/sequences, run as its user runs it."""
import os
import re
import subprocess

import pytest

from trelvik.board_script import LIMIT, Place
from trelvik.files import read
from trelvik.places import PREFIX, REPO

SCRIPT = os.path.join(REPO, "scripts/sequences")
PICTURES = os.path.join(REPO, "docs/pictures")


@pytest.fixture
def place():
    the_place = Place()
    yield the_place
    the_place.leave()


def told(path):
    """The texts of a picture and the beginnings of its arrows, without the times, which no two runs share."""
    drawn = re.finditer(r'<text [^>]*class="(?:title|name|label|log)">([^<]*)|<line (x1="\d+") y1=', read(path))
    return [found[1] or found[2] for found in drawn]


def test_pictures_are_those_of_a_run(place, tmp_path):
    done = subprocess.run([SCRIPT, "--stage", PREFIX, tmp_path], check=False, env=place.environment(),
                          capture_output=True, text=True, timeout=2 * LIMIT)
    assert done.returncode == 0, done.stderr
    names = sorted(os.listdir(PICTURES))
    assert sorted(os.listdir(tmp_path)) == names and len(names) == 4
    for name in names:
        current = told(tmp_path / name) == told(os.path.join(PICTURES, name))
        assert current, f"{name} is not current: run scripts/sequences"
