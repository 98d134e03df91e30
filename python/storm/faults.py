"""Faults that the storm must find, one file each: a daemon that has one of them is wrong in one thing only."""
from collections import namedtuple

Fault = namedtuple("Fault", "name file old new what")

FAULTS = (
    Fault("clock", "src/services/synce/SyncEMessages.cpp",
          "{arguments.enableClk, arguments.slot, arguments.clksrc,",
          "{arguments.enableClk, arguments.clksrc, arguments.slot,",
          "two fields of a record change places"),
    Fault("label", "src/services/rules/IssMgrRules.cpp",
          "return label << 12 & 0x00FFFFFFU;", "return label << 12;", "a label is not cut to 24 bits"),
    Fault("store", "src/services/rules/MstpStore.cpp",
          " && entry.pwLabel == pwLabel;", " && entry.pwLabel <= pwLabel;", "MSTP ids are found by another label"),
    Fault("filter", "src/services/smartsfp/SmartSfpMessages.cpp",
          "if (arguments.fpId == 0) return ops::actionCreate;\n"
          "  return arguments.pbmp == 0 ? ops::actionDelete : ops::actionModify;",
          "if (arguments.pbmp == 0) return ops::actionDelete;\n"
          "  return arguments.fpId == 0 ? ops::actionCreate : ops::actionModify;",
          "a filter that is not there is deleted"),
    Fault("reply", "src/frame/routeAnswer.cpp",
          "return slot.msgNo == slot.msgCount;", "return slot.msgNo == 1;", "the reply comes with the first answer"),
    Fault("link", "src/frame/opsMessage.cpp",
          "change.adminStatus == 1,", "change.adminStatus != 0,", "a status byte of 2 counts as up"),
    Fault("tunnel", "src/frame/answerIds.cpp",
          "{entry.tunnelId, entry.vpnId, entry.pwId, entry.tunnelIndex}",
          "{entry.tunnelId, entry.pwId, entry.vpnId, entry.tunnelIndex}", "two ids of a tunnel are kept as each other"),
    Fault("error", "src/message/classify.cpp",
          "return fieldText(msg.errorString) != ops::noError;",
          'return fieldText(msg.errorString).substr(0, 8) != "No Error";', "an error that begins like success is none"),
    Fault("script", "src/services/ports/PortScript.cpp",
          "return portNr <= gigabitPorts;", "return portNr < gigabitPorts;", "port 24 has the name of a faster one"),
    Fault("number", "src/services/pattern/NumberText.cpp",
          'text.find_first_not_of(" \\t\\n\\v\\f\\r")', 'text.find_first_not_of(" \\t\\n")',
          "two kinds of blanks are not passed over"),
    Fault("ready", "src/frame/ReceiveLoop.cpp",
          "    issReady = 0;\n    m_answer.connectionLost();", "    m_answer.connectionLost();",
          "ISS counts as ready after its connection was lost"),
    Fault("level", "src/services/common/SrvCommon.cpp",
          "if (static_cast<uint32_t>(level) <= highestLevel)", "if (level <= static_cast<int32_t>(highestLevel))",
          "a negative trace level is taken"),
)
