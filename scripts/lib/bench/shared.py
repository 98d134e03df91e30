"""The one place that knows where the tests' package lies, which the benchmark shares."""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "../../../tests/e2e"))
from trelvik import life_cycle  # noqa: E402, F401
from trelvik.bus import COMMON, Bus  # noqa: E402, F401
from trelvik.syslog import BAD, Syslog  # noqa: E402, F401
from trelvik.wait import until  # noqa: E402, F401
