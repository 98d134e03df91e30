"""The one place that knows where the tests' package lies, which the board shares."""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "../../../tests/e2e"))
from trelvik import iss_mgr, record  # noqa: E402, F401
from trelvik.bus import MANAGER, NAME, PATH, Bus, BusError  # noqa: E402, F401
from trelvik.debugsocket import DebugSocket  # noqa: E402, F401
from trelvik.syslog import PATH as SYSLOG  # noqa: E402, F401
from trelvik.syslog import Line as SyslogLine  # noqa: E402, F401
from trelvik.syslog import matcher  # noqa: E402, F401
from trelvik.wait import until  # noqa: E402, F401
