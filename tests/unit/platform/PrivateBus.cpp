#include "PrivateBus.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support/waitFor.h"

namespace {

constexpr const char* configuration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=@SOCKET@</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
  </policy>
  <limit name="max_replies_per_connection">100000</limit>
  @LIMITS@
</busconfig>
)";

}  // namespace

PrivateBus::PrivateBus(const std::string& limits) {
  char directory[] = "/tmp/trelvik-test-bus.XXXXXX";
  m_directory = mkdtemp(directory);
  m_address = "unix:path=" + m_directory + "/bus";
  std::string text = configuration;
  text.replace(text.find("@SOCKET@"), 8, m_directory + "/bus");
  text.replace(text.find("@LIMITS@"), 8, limits);
  std::ofstream(m_directory + "/bus.conf") << text;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1);
}

PrivateBus::~PrivateBus() {
  stop();
  std::error_code ignored;
  std::filesystem::remove_all(m_directory, ignored);
}

bool PrivateBus::start() {
  std::string config = "--config-file=" + m_directory + "/bus.conf";
  char program[] = "dbus-daemon";
  char nofork[] = "--nofork";
  char nosyslog[] = "--nosyslog";
  char nopidfile[] = "--nopidfile";
  char* arguments[] = {program, config.data(), nofork, nosyslog, nopidfile, nullptr};
  if (posix_spawnp(&m_daemon, program, nullptr, nullptr, arguments, environ) != 0) return false;
  return waitFor([this] {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    (m_directory + "/bus").copy(name.sun_path, sizeof name.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool up = connect(fd, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
    close(fd);
    return up;
  });
}

void PrivateBus::stop() {
  if (m_daemon < 0) return;
  kill(m_daemon, SIGKILL);
  waitpid(m_daemon, nullptr, 0);
  m_daemon = -1;
  unlink((m_directory + "/bus").c_str());
}

Peer::Peer(const PrivateBus& bus) {
  sd_bus_new(&m_bus);
  sd_bus_set_address(m_bus, bus.address().c_str());
  sd_bus_set_bus_client(m_bus, 1);
  // Many MiB through three processes take longer than the library's 25 s where much else runs.
  sd_bus_set_method_call_timeout(m_bus, 100'000'000);
  EXPECT_GE(sd_bus_start(m_bus), 0);
}

Peer::~Peer() {
  sd_bus_message_unref(m_reply);
  sd_bus_flush_close_unref(m_bus);
}

std::string Peer::call(const char* destination, const char* path, const char* interface, const char* member,
                       const char* types, ...) {
  m_reply = sd_bus_message_unref(m_reply);
  sd_bus_error error{};
  va_list arguments;
  va_start(arguments, types);
  const int result =
      sd_bus_call_methodv(m_bus, destination, path, interface, member, &error, &m_reply, types, arguments);
  va_end(arguments);
  std::string name = result >= 0 ? "" : error.name != nullptr ? error.name : "failed";
  sd_bus_error_free(&error);
  return name;
}
