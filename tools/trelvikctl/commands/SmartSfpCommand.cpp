#include <memory>

#include "commands/Command.h"
#include "commands/Request.h"
#include "request/SmartSfpRequest.h"

namespace ctl {
namespace {

std::shared_ptr<SmartSfpRequest> addAction(Command& command) {
  auto request = std::make_shared<SmartSfpRequest>();
  command.run([request](Context& context) { return carryOut(context, planOf(*request)); });
  return request;
}

}  // namespace

void addSmartSfp(Command root) {
  Command smartSfp = root.sub("smartsfp", "Smart SFP modules: their packet filter, PDUs to them");
  Command filter = smartSfp.sub("filter", "installs or changes the filter; with --ports none removes it");
  const auto rule = addAction(filter);
  rule->filter = true;
  filter.ports("--ports", rule->ports, "ports that it is for", Need::required);
  Command send = smartSfp.sub("send", "has ISS send a PDU");
  const auto pdu = addAction(send);
  pdu->send = true;
  send.ports("--ports", pdu->ports, "ports that it goes to", Need::required);
  send.value("--pdu", "BYTES", "its bytes (1:128:194)", Need::required, {},
             [pdu](const std::string& word) { return parsePdu(word, pdu->pdu, pdu->size); });
  send.number("--size", pdu->size, anyNumber, "the size that ISS is told; default the number of bytes");
}

}  // namespace ctl
