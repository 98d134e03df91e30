// Sends ISS a message through the daemon's debug socket and shows the answer: the counters of an interface.
// Its user must be one that the daemon's socket lets write, which is root on a board.
//
//   read-counters INTERFACE
//
// The daemon answers to one fixed path, so one such program can run at a time.
#include <OtnIpcMsg.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char daemonPath[] = "/tmp/socket-server";
constexpr char ownPath[] = "/tmp/socket-client";
constexpr int limitMilliseconds = 30'000;

int fail(const char* what, const char* why) {
  fprintf(stderr, "read-counters: %s: %s\n", what, why);
  return EXIT_FAILURE;
}

template <size_t N>
sockaddr_un addressOf(const char (&path)[N]) {
  sockaddr_un address{};
  static_assert(N <= sizeof address.sun_path);
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, path, N);
  return address;
}

int show(const OtnIpcMsg& answer) {
  const auto text = fieldText(answer.errorString);
  if (text != ops::noError) {
    fprintf(stderr, "read-counters: ISS refused: %.*s\n", static_cast<int>(text.size()), text.data());
    return EXIT_FAILURE;
  }
  const ops::Counters& counters = answer.payload.counters;
  printf("interface %u: received %u octets, sent %u octets\n", counters.interfaceNum, counters.rxOctets,
         counters.txOctets);
  return EXIT_SUCCESS;
}

int readCounters(int socket, uint32_t interface) {
  const sockaddr_un own = addressOf(ownPath);
  if (bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
    return fail(ownPath, strerror(errno));
  }
  OtnIpcMsg message{};
  message.msgType = GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS;
  message.payload.counters.interfaceNum = interface;
  const sockaddr_un daemon = addressOf(daemonPath);
  const ssize_t sent =
      sendto(socket, &message, sizeof message, 0, reinterpret_cast<const sockaddr*>(&daemon), sizeof daemon);
  if (sent != static_cast<ssize_t>(sizeof message)) {
    return fail(daemonPath, strerror(errno));
  }
  pollfd readable{socket, POLLIN, 0};
  if (poll(&readable, 1, limitMilliseconds) != 1) {
    return fail("no answer", "is ISS connected?");
  }
  OtnIpcMsg answer{};
  if (recv(socket, &answer, sizeof answer, 0) != static_cast<ssize_t>(sizeof answer)) {
    return fail("the answer", "no whole message");
  }
  return show(answer);
}

}  // namespace

int main(int count, char** arguments) {
  const long interface = count == 2 ? strtol(arguments[1], nullptr, 10) : 0;
  if (interface < 1 || interface > 28) {
    fprintf(stderr, "usage: read-counters INTERFACE (1 to 28)\n");
    return 2;
  }
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) {
    return fail("socket", strerror(errno));
  }
  // What an earlier run has left.
  unlink(ownPath);
  const int status = readCounters(socket, static_cast<uint32_t>(interface));
  unlink(ownPath);
  close(socket);
  return status;
}
