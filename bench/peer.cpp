// OPS for benchmarks: answers each record at once with "No Error", and does nothing else.
//
// Listens on 127.0.0.1:8000, tells each new connection that ISS is ready, and runs until it is killed.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include "OtnIpcMsg.h"
#include "wire.h"

namespace {

OtnIpcMsg record{};

int listenOnPort() {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_port = htons(8000);
  own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 || listen(fd, 4) != 0)
    wire::fail("port 8000");
  return fd;
}

/// False at the end of the connection.
bool readRecord(int fd) {
  auto* at = reinterpret_cast<char*>(&record);
  for (size_t left = sizeof record; left > 0;) {
    const ssize_t n = recv(fd, at + sizeof record - left, left, 0);
    if (n <= 0) return false;
    left -= static_cast<size_t>(n);
  }
  return true;
}

void serve(int fd, bool greet) {
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  if (greet) {
    record = {};
    record.msgType = MSR_RELOAD_STATUS;
    wire::writeAll(fd, &record, sizeof record);
  }
  while (readRecord(fd)) {
    memcpy(record.errorString, ops::noError.data(), ops::noError.size());
    record.isResponse = 1;
    wire::writeAll(fd, &record, sizeof record);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  const bool greet = !(argc == 2 && std::string_view(argv[1]) == "--silent");
  if (argc > 2 || (argc == 2 && greet)) {
    fputs("usage: trelvik-peer [--silent]\n", stderr);
    return 2;
  }
  const int listener = listenOnPort();
  for (;;) {
    const int fd = accept(listener, nullptr, nullptr);
    serve(fd, greet);
    close(fd);
  }
}
