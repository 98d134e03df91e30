"""Sends some requests on the running board, follows each from the caller to ISS and back, and shows and judges what
came of each."""
import os
import re
from dataclasses import dataclass
from typing import Callable

from trelvik import iss_mgr, life_cycle, port_params, record
from trelvik.bus import MANAGER, SMART_SFP, SYNC_E, Bus, BusError
from trelvik.debugsocket import DebugSocket
from trelvik.files import read
from trelvik.places import READY_MARKER
from trelvik.syslog import matcher
from trelvik.wait import until

from .programs import say

RUN_SCRIPT = "RUN_DEFAULT_SCRIPT_COMMAND [8] inputFile=/tmp/SetVlanPort5_* outputFile=/tmp/outscr.sh"
TUNNEL = ("MGMT_INTERFACE_MAPPING_IND [11] destinationMac=01:00:5e:90:00:00 sourceMac=02:00:00:00:00:01 acVlan=100 "
          "pwVlan=4005 acPort=24 pwPort=5 * ")

TRAP_RULE = "INTERESTED_PACKET_IND [10] entries="
ETS_RULE = iss_mgr.Rule(iss_mgr.ETS, iss_mgr.CREATE, vpn=7, vlan=100)


def tell(text):
    for line in text.splitlines():
        say("demo", line)


class Peers:
    """Who calls the daemon."""

    def __init__(self):
        self.bus = Bus(os.environ["DBUS_SYSTEM_BUS_ADDRESS"])
        self._manager = None

    def redundancy_manager(self):
        if self._manager is None:
            self._manager = Bus(os.environ["DBUS_SYSTEM_BUS_ADDRESS"])
            self._manager.request_name(MANAGER)
        return self._manager

    def through_debug_socket(self, raw):
        tool = DebugSocket()
        try:
            tool.send(raw)
            answer = tool.receive()
        finally:
            tool.leave()
        return (record.type_of(answer), record.field(answer, "errorString"))


def change_trace_level(peers):
    before = peers.bus.get_trace_level()[0]
    peers.bus.set_trace_level(8)
    during = peers.bus.get_trace_level()[0]
    peers.bus.set_trace_level(before)
    return (before, during, peers.bus.get_trace_level()[0])


@dataclass
class Step:
    title: str
    act: Callable  # given the peers; returns what the caller got
    gets: object
    iss: tuple = ()  # what ISS receives, in order; * stands for any text
    script: str = ""  # the text of the script file that ISS is told to run
    log: tuple = ()  # lines of the daemon


STEPS = (
    Step("set up port 5",
         lambda peers: peers.bus.set_port_params(port_params.SET_UP, 5).reply(),
         gets=(port_params.SET_UP, 6, 5, 1000, True, 100, 7, 8),
         iss=(RUN_SCRIPT, TUNNEL + "entryCount=1 mapFlag=1"),
         script=port_params.SET_UP_5),
    Step("release port 5",
         lambda peers: peers.bus.set_port_params(port_params.RELEASE, 5).reply(),
         gets=(port_params.RELEASE, 6, 5, 1000, True, 100, 7, 8),
         iss=(TUNNEL + "tunnelId=1005 vpnId=2005 tunnelIndex=3005 pwId=4005 entryCount=1 mapFlag=2", RUN_SCRIPT),
         script=port_params.RELEASE_5,
         log=("*ReleasePort: portNr=5, tunnelId=1005, pwId=4005, vpnId=2005, acId=3005*",)),
    Step("install an ETS rule on ports 1 and 3",
         lambda peers: ETS_RULE.call(peers).reply(),
         gets=ETS_RULE.reply((1, 0)),
         iss=(TRAP_RULE + "[1:025ac3001eff0000/ffffffffffff0000(mac=02:5a:c3:00:1e:ff),"
              "2:0000000000010000/0000000000030000(mac=00:00:00:00:00:01/00:00:00:00:00:03),"
              "12:6e78640000000000/ffffff0000000000,"
              "7:0700000000000000/ffff000000000000(vpn=7)] portList=a0000000(pbmp=0x5) "
              "entryKind=3 encapType=1 ruleWord=3 fpId0=71 fpId1=4294967294 entryCount=4 actionCode=1",)),
    Step("set SyncE: trap rule, clock, PDU",
         lambda peers: peers.bus.call(SYNC_E, "setSyncEParam", "u" * 9, 2, 3, 1, 2, 1, 1, 10, 11, 12).reply(),
         gets=(2, 3, 1, 2, 1, 1, 10, 11, 12),
         iss=(TRAP_RULE + "[2:0180c20000020000/ffffffffffff0000(mac=01:80:c2:00:00:02),*] "
              "portList=fffffff0(pbmp=0xfffffff) entryKind=1 * actionCode=1",
              "SYNCE_CMD [14] enableClk=1 slot=3 clksrc=2 phymode=1",
              "SYNCE_PDU_CMD [15] pduWord1=0xa pduWord2=0xb pduWord3=0xc")),
    Step("install the Smart SFP filter on port 1 and send a PDU",
         lambda peers: peers.bus.call(SMART_SFP, "setSmartSfpParams", "uuuuus", 1, 0, 1, 1, 3, "1:2:300").reply(),
         gets=(1, 0, 1, 1, 3, ""),
         iss=(TRAP_RULE + "[1:027e510000000000/*] portList=80000000(pbmp=0x1) entryKind=4 * actionCode=1",
              "SMARTSFP_PDU_CMD [19] pdu=[01022c] pbmp=0x1 size=3")),
    Step("the OCH component starts ISS",
         lambda peers: life_cycle.trigger(peers.bus, life_cycle.STARTED, True).reply(),
         gets=(life_cycle.STARTED, True)),
    Step("the redundancy manager signals state ACT0",
         lambda peers: peers.redundancy_manager().set_redundant_state(3),
         gets=None,
         iss=("REDUNDANCY_STATE [22] state=3(ACT0)",),
         log=("*setRedundantState: redundancyState=ACT0*",)),
    Step("a developer sends a flush command through the debug socket",
         lambda peers: peers.through_debug_socket(record.make(record.FLUSH_CMD, vpn=7)),
         gets=(record.FLUSH_CMD, record.NO_ERROR),
         iss=("FLUSH_CMD [16] vpn=7 vp=0",)),
    Step("change the trace level to 8 and back",
         change_trace_level,
         gets=(6, 8, 6),
         log=("*Set trace level to [8]*", "*Set trace level to [6]*")),
)


class Lines:
    """What a party has said since the last mark; heard on one thread, looked at on another."""

    def __init__(self):
        self._lines, self._mark = [], 0

    def hear(self, text):
        self._lines.append(text)

    def mark(self):
        self._mark = len(self._lines)

    def new(self):
        return self._lines[self._mark:]


class Wrong(Exception):
    pass


def run_step(step, peers, received, log):
    received.mark()
    log.mark()
    got = step.act(peers)
    tell(f"   caller got    {'nothing, as it is a signal' if got is None else got}")
    if got != step.gets:
        raise Wrong(f"the caller should have got {step.gets}")

    # Everything that ISS gets is on its way before the caller gets an answer, but a signal has none.
    until(lambda: len(received.new()) >= len(step.iss), lambda: f"{len(step.iss)} records at ISS", 5)
    records = received.new()
    for line in records:
        tell(f"   ISS received  {line}")
    if len(records) != len(step.iss):
        raise Wrong(f"ISS should have received {len(step.iss)} records")
    for line, pattern in zip(records, step.iss):
        if not matcher(pattern).match(line):
            raise Wrong(f"ISS should have received {pattern}")

    if step.script:
        check_script(step, records)
    for pattern in step.log:
        match = matcher(pattern)
        until(lambda: any(match.match(line) for line in log.new()), f"the daemon's line {pattern}", 5)


def check_script(step, records):
    path = re.search(r"inputFile=(\S+)", "\n".join(records))[1]
    text = read(path)
    tell(f"   script        {path}")
    for line in text.splitlines():
        tell(f"                 {line}")
    if text != step.script:
        raise Wrong("the script should have read\n" + step.script)


class Demo:
    def __init__(self):
        self._received = Lines()
        self._log = Lines()

    def hear_iss(self, text):
        if text.startswith("<- "):
            self._received.hear(text[3:])

    def hear_log(self, text):
        self._log.hear(text)

    def run(self):
        """True when all of it was right."""
        number = 0
        try:
            until(lambda: os.path.exists(READY_MARKER), "ISS ready", 30)
            peers = Peers()
            for number, step in enumerate(STEPS, 1):
                tell(f"{number}. {step.title}")
                run_step(step, peers, self._received, self._log)
                tell("   right")
        except (Wrong, AssertionError, BusError, OSError) as error:
            tell(f"   WRONG: {error}")
            tell(f"step {number} of {len(STEPS)} went wrong")
            return False
        tell(f"all {len(STEPS)} steps were right")
        return True
