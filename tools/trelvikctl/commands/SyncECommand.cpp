#include <memory>

#include "commands/Command.h"
#include "commands/Request.h"
#include "request/SyncERequest.h"

namespace ctl {
namespace {

using SharedRequest = std::shared_ptr<SyncERequest>;

SharedRequest requestOf(Command& command) {
  auto request = std::make_shared<SyncERequest>();
  command.run([request](Context& context) { return carryOut(context, planOf(*request)); });
  return request;
}

void addClock(Command& command, SyncERequest& request, const std::string& enable) {
  command.number("--slot", request.slot, anyNumber, "slot of the clock source; default 0");
  command.number("--source", request.clockSource, anyNumber, "clock source; default 0");
  command.number("--phy-mode", request.phyMode, anyNumber, "PHY mode; default 0");
  command.number("--enable", request.enableClock, {1, UINT32_MAX}, enable);
}

Command& addPdu(Command& command, const std::string& name, SyncERequest& request, Need need) {
  return command.value(name, "N,N,N", "the PDU's three words (0x1,2,3)", need, {},
                       [&request](const std::string& word) {
                         request.sendPdu = true;
                         return parseWords(word, request.pduWords);
                       });
}

}  // namespace

void addSyncE(Command root) {
  Command synce = root.sub("synce", "Synchronous Ethernet: trap rule, clock, PDU");
  Command filter = synce.sub("filter", "installs the trap rule for ESMC frames");
  requestOf(filter)->filter = true;
  Command clock = synce.sub("clock", "sets the clock");
  const SharedRequest clockRequest = requestOf(clock);
  clockRequest->enableClock = 1;
  addClock(clock, *clockRequest, "what ISS gets as enableClk; default 1");
  Command pdu = synce.sub("pdu", "sends a SyncE PDU");
  addPdu(pdu, "WORDS", *requestOf(pdu), Need::required);
  Command set = synce.sub("set", "any of the three in one request, which ISS gets in this order");
  const SharedRequest setRequest = requestOf(set);
  set.flag("--filter", setRequest->filter, "install the trap rule");
  addClock(set, *setRequest, "set the clock, with this as enableClk");
  addPdu(set, "--pdu", *setRequest, Need::optional);
}

}  // namespace ctl
