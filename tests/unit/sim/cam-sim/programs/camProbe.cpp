// Carries out the requests of its command line on the monitor device, one argument each, and prints one line
// a request: its name, then "ok" or the error's name. `await=TEXT` waits until the emulator's log holds TEXT.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct TextRequest {
  uint32_t length;
  const char* text;
};

thread_local int g_fd = -1;
volatile sig_atomic_t g_signals = 0;

bool await(const std::string& text) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline) {
    std::ifstream log(getenv("CAM_SIM_LOG"));
    std::stringstream content;
    content << log.rdbuf();
    if (content.str().find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  errno = ETIMEDOUT;
  return false;
}

bool requestText(unsigned long number, const std::string& text) {
  TextRequest request{static_cast<uint32_t>(text.size()), text.c_str()};
  return ioctl(g_fd, number, &request) == 0;
}

/// A child made by fork closes the descriptor and opens the device anew.
bool inChild() {
  const pid_t child = fork();
  if (child == 0) {
    const bool unknown = ioctl(g_fd, 0xD167, 0) == -1;
    close(g_fd);
    g_fd = open("/dev/K7V_CAM", O_RDWR);
    _exit(unknown && g_fd >= 0 && requestText(0x4004D101, "child") ? 0 : 1);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

/// A signal to the process reaches this thread though the emulator has one of its own.
bool takesSignals() {
  signal(SIGUSR1, [](int) { g_signals = g_signals + 1; });
  kill(getpid(), SIGUSR1);
  return g_signals == 1;
}

/// Several threads at once, each with an activity of its own.
bool inThreads() {
  std::vector<std::thread> threads;
  std::atomic<bool> good = true;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&good, i] {
      for (int round = 0; round < 25; ++round) {
        g_fd = open("/dev/K7V_CAM", O_RDWR | O_CLOEXEC);
        const bool done = requestText(0x4004D101, "thread" + std::to_string(i)) &&
                          ioctl(g_fd, 0x4004D12D, 60000UL) == 0 && ioctl(g_fd, 0xD167, 0) == 0 &&
                          ioctl(g_fd, 0xD134, 0) == 0 && close(g_fd) == 0;
        if (!done) good = false;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return good;
}

bool carryOut(const std::string& name, const std::string& value) {
  if (name == "open") return (g_fd = open("/dev/K7V_CAM", O_RDWR | O_CLOEXEC)) >= 0;
  if (name == "open64") return (g_fd = open64("/dev/K7V_CAM", O_RDWR)) >= 0;
  if (name == "openat") return (g_fd = openat(AT_FDCWD, "/dev/K7V_CAM", O_RDWR)) >= 0;
  if (name == "close") return close(g_fd) == 0;
  if (name == "dup") return (g_fd = dup(g_fd)) >= 0;
  if (name == "register") return requestText(0x4004D101, value);
  if (name == "report") return requestText(0x4004D17C, value);
  if (name == "timeout") return ioctl(g_fd, 0x4004D12D, strtoul(value.c_str(), nullptr, 10)) == 0;
  if (name == "kick") return ioctl(g_fd, 0xD167, 0) == 0;
  if (name == "unregister") return ioctl(g_fd, 0xD134, 0) == 0;
  if (name == "other") return ioctl(g_fd, 0x1234, 0) == 0;
  if (name == "cloexec") return (fcntl(g_fd, F_GETFD) & FD_CLOEXEC) != 0;
  if (name == "child") return inChild();
  if (name == "signals") return takesSignals();
  if (name == "threads") return inThreads();
  if (name == "await") return await(value);
  errno = EINVAL;
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    errno = 0;
    const bool good = carryOut(name, equals == std::string::npos ? "" : argument.substr(equals + 1));
    printf("%s %s\n", name.c_str(), good ? "ok" : strerrorname_np(errno));
  }
  return 0;
}
