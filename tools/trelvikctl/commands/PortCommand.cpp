#include <memory>
#include <tuple>

#include "commands/Command.h"
#include "commands/Request.h"
#include "request/PortRequest.h"

namespace ctl {
namespace {

std::shared_ptr<PortRequest> addAction(Command& command, PortAction action) {
  auto request = std::make_shared<PortRequest>();
  request->action = action;
  command.number("PORT", request->port, portRange, "front port", Need::required);
  command.number("--extra1", request->extra1, anyNumber, "handed back in the reply; default 0");
  command.number("--extra2", request->extra2, anyNumber, "same");
  command.run([request](Context& context) { return carryOut(context, planOf(*request)); });
  return request;
}

}  // namespace

void addPort(Command root) {
  Command port = root.sub("port", "sets up, releases, probes or detaches a front port");
  {
    Command command = port.sub("setup", "has ISS run the port's script and map its management tunnel");
    const auto request = addAction(command, PortAction::setUp);
    command.number("--ac-vlan", request->acVlan, vlanRange, "attachment-circuit VLAN", Need::required);
    command.flag("!--no-configure", request->configure, "is answered at once, and ISS is not asked");
  }
  {
    Command command = port.sub("release", "undoes a set-up");
    const auto request = addAction(command, PortAction::release);
    command.number("--ac-vlan", request->acVlan, vlanRange,
                   "removes this attachment-circuit VLAN too; without it the VLAN stays");
    command.flag("!--no-configure", request->configure, "is answered at once, and ISS is not asked");
  }
  for (const auto& [name, action, description] :
       {std::tuple{"probe", PortAction::probe, "tells ISS that an interface was inserted"},
        std::tuple{"detach", PortAction::detach, "tells ISS that an interface was removed"}}) {
    Command command = port.sub(name, description);
    const auto request = addAction(command, action);
    command.number("--type", request->type, anyNumber, "type of the interface; default 6, Ethernet");
    command.number("--speed", request->speed, anyNumber, "its speed, as ISS takes it; default 1000");
  }
  Command command = port.sub("acknowledge", "is answered at once, and ISS is not asked");
  addAction(command, PortAction::acknowledge);
}

}  // namespace ctl
