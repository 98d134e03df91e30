// The floor under a request: one thread that takes the daemon's bus calls, or its debug datagrams, makes one
// bare exchange of a record with OPS for each, and replies with the same arguments. No bus library, no second
// thread, no log, nothing kept.
//
//   trelvik-floor [--debug]
//
// The bus is DBUS_SYSTEM_BUS_ADDRESS's, OPS is on 127.0.0.1:8000. Says "ready" and runs until it is killed.
#include "ops.h"

namespace {

OtnIpcMsg record{};

[[noreturn]] void serveBus(int ops) {
  wire::Connection bus(wire::busAddress());
  bus.own("otn.Trelvik");
  wire::say("ready\n");
  for (uint32_t serial = 3;; ++serial) {
    const wire::Incoming call = bus.next();
    if (call.type != wire::call) continue;
    wire::exchange(ops, record);
    wire::Message reply(wire::reply, wire::noReplyExpected, serial);
    reply.number(wire::replySerial, call.serial);
    reply.text(wire::destination, 's', call.sender);
    reply.text(wire::signature, 'g', call.signature);
    bus.send(reply, call.body);
  }
}

[[noreturn]] void serveDebug(int ops) {
  const sockaddr_un server{AF_UNIX, "/tmp/socket-server"};
  const sockaddr_un client{AF_UNIX, "/tmp/socket-client"};
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  unlink(server.sun_path);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) wire::fail("debug socket");
  wire::say("ready\n");
  for (;;) {
    if (recv(fd, &record, sizeof record, 0) < 0) wire::fail("debug request");
    wire::exchange(ops, record);
    sendto(fd, &record, sizeof record, 0, reinterpret_cast<const sockaddr*>(&client), sizeof client);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  const bool debug = argc == 2 && std::string_view(argv[1]) == "--debug";
  if (argc > 1 && !debug) {
    fputs("usage: trelvik-floor [--debug]\n", stderr);
    return 2;
  }
  record.msgType = IFC_INSERT_DELETE_IND;
  const int ops = wire::connectToOps();
  if (debug) serveDebug(ops);
  serveBus(ops);
}
