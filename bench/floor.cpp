// The floor under a request: one thread that takes the daemon's bus calls, or its debug datagrams, makes the
// bare exchange of records with OPS that each needs, and replies with the same arguments. No bus library, no
// second thread, no log, nothing kept.
//
//   trelvik-floor [--debug] [--records N]
//
// The bus is DBUS_SYSTEM_BUS_ADDRESS's, OPS is on 127.0.0.1:8000. Runs until it is killed.
#include <arpa/inet.h>
#include <netinet/in.h>

#include "OtnIpcMsg.h"
#include "wire.h"

namespace {

OtnIpcMsg record{};

int connectToOps() {
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(8000);
  peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) wire::fail("OPS");
  return fd;
}

void exchange(int ops, int records) {
  for (int i = 0; i < records; ++i) {
    wire::writeAll(ops, &record, sizeof record);
    wire::readAll(ops, &record, sizeof record);
  }
}

[[noreturn]] void serveBus(int ops, int records) {
  const char* address = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  wire::Connection bus(address != nullptr ? address : "unix:path=/run/dbus/system_bus_socket");
  bus.own("otn.Trelvik");
  for (uint32_t serial = 3;; ++serial) {
    const wire::Incoming call = bus.next();
    if (call.type != wire::call) continue;
    exchange(ops, records);
    wire::Message reply(wire::reply, wire::noReplyExpected, serial);
    reply.number(wire::replySerial, call.serial);
    reply.text(wire::destination, 's', call.sender);
    reply.text(wire::signature, 'g', call.signature);
    bus.send(reply, call.body);
  }
}

[[noreturn]] void serveDebug(int ops, int records) {
  sockaddr_un server{AF_UNIX, "/tmp/socket-server"};
  const sockaddr_un client{AF_UNIX, "/tmp/socket-client"};
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  unlink(server.sun_path);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) wire::fail("debug socket");
  for (;;) {
    if (recv(fd, &record, sizeof record, 0) < 0) wire::fail("debug request");
    exchange(ops, records);
    sendto(fd, &record, sizeof record, 0, reinterpret_cast<const sockaddr*>(&client), sizeof client);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  bool debug = false;
  int records = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "--debug") {
      debug = true;
    } else if (std::string_view(argv[i]) == "--records" && i + 1 < argc) {
      records = atoi(argv[++i]);
    } else {
      fputs("usage: trelvik-floor [--debug] [--records N]\n", stderr);
      return 2;
    }
  }
  record.msgType = IFC_INSERT_DELETE_IND;
  const int ops = connectToOps();
  if (debug) serveDebug(ops, records);
  serveBus(ops, records);
}
