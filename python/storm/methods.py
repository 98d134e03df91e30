"""The bus methods: where each is, what it takes, and who decides about it."""
from collections import namedtuple

from . import others, ports, rules

Method = namedtuple("Method", "where name signature decide source")
"""`source` numbers who gets OPS's answers: 0 nobody."""


def _where(name, interface):
    return "/otn/Trelvik/" + name, "otn." + interface


PORTS = Method(_where("IssSetLanWanAsync", "OBsetPortParams_1_0"), "setPortParams", "uuuubuuu", ports.decide, 1)
SYNC_E = Method(_where("IssSetSyncEAsync", "OBsetSyncEParams_1_0"), "setSyncEParam", "u" * 9, others.sync_e, 3)
RULES = Method(_where("IssSetIssMgrAsync", "OBsetIssMgrParams_1_0"), "setIssMgrParams", "uuuuiuuuuuusuuuqii",
               rules.decide, 4)
SMART_SFP = Method(_where("IssSetSmartSfpAsync", "OBsetSmartSfpParams_1_0"), "setSmartSfpParams", "uuuuus",
                   others.smart_sfp, 5)
REDUNDANCY = Method(("/otn/redundancyManager/redundant_state_signal", "otn.OBredundantInfo_1_0"), "setRedundantState", "i",
                    others.redundancy, 6)
DEBUG = Method(("/tmp/socket-server", ""), "debug socket", "", others.debug, 2)
GET_LEVEL = Method(_where("ob_common", "OBcommon_1_0"), "get_trace_level", None, others.get_level, 0)
SET_LEVEL = Method(_where("ob_common", "OBcommon_1_0"), "set_trace_level", "i", others.set_level, 0)
TRIGGER = Method(_where("TrelvikOchTriggerAsync", "OBOchTriggerTrelvik_1_0"), "triggerDataUser", "ib", others.trigger, 0)

COUNTED = (PORTS, SYNC_E, RULES, SMART_SFP, REDUNDANCY)
"""Those whose counts the status tells and that come to the ring."""


def interface_of(method):
    """The name under which requests are counted."""
    return method.where[0].rpartition("/")[2]
