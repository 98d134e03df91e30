// OPS for benchmarks: answers each record at once with "No Error", and does nothing else.
//
//   trelvik-peer [--silent]
//
// Listens on 127.0.0.1:8000, tells each new connection that ISS is ready (not with --silent), and runs until
// it is killed. Says "listening", then of each connection "accepted T", the monotonic clock's nanoseconds,
// and at its end "records N", how many came.
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/mman.h>

#include <cinttypes>
#include <ctime>

#include "ops.h"

namespace {

OtnIpcMsg record{};
uint64_t ownCount = 0;
uint64_t* records = &ownCount;  ///< that have come, each before its answer

void countIn(const char* path) {
  const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0 || ftruncate(fd, sizeof *records) != 0) wire::fail(path);
  void* const shared = mmap(nullptr, sizeof *records, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (shared == MAP_FAILED) wire::fail(path);
  records = static_cast<uint64_t*>(shared);
  *records = 0;
  close(fd);
}

int listenForDaemon() {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in own = wire::opsAddress();
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

void greet(int fd) {
  record = {};
  record.msgType = MSR_RELOAD_STATUS;
  wire::writeAll(fd, &record, sizeof record);
}

void serve(int fd) {
  while (readRecord(fd)) {
    ++*records;
    memcpy(record.errorString, ops::noError.data(), ops::noError.size());
    record.isResponse = 1;
    // The other side may end at any time.
    if (send(fd, &record, sizeof record, MSG_NOSIGNAL) != sizeof record) return;
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  bool silent = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (option == "--silent") {
      silent = true;
    } else if (option == "--count" && i + 1 < argc) {
      countIn(argv[++i]);
    } else {
      fputs("usage: trelvik-peer [--silent] [--count FILE]\n", stderr);
      return 2;
    }
  }
  const int listener = listenForDaemon();
  wire::say("listening\n");
  for (;;) {
    const int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) wire::fail("accept");
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (!silent) greet(fd);
    char line[64];
    snprintf(line, sizeof line, "accepted %" PRId64 "\n",
             static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + static_cast<int64_t>(now.tv_nsec));
    wire::say(line);
    serve(fd);
    snprintf(line, sizeof line, "records %" PRIu64 "\n", *records);
    wire::say(line);
    close(fd);
  }
}
