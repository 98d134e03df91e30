// A D-Bus daemon of the test's own, and peers on it. The process's "system bus" is this one while it lives.
#pragma once

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <csignal>
#include <string>

/// dbus-daemon on a socket in a directory of its own, gone with the object.
class PrivateBus {
 public:
  /// `limits`: more <limit> elements of the bus's configuration.
  explicit PrivateBus(const std::string& limits = {});
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  bool start();
  void stop();
  /// The bus stands still: it neither reads nor writes until resume().
  void suspend() const { kill(m_daemon, SIGSTOP); }
  void resume() const { kill(m_daemon, SIGCONT); }
  const std::string& address() const { return m_address; }

 private:
  std::string m_directory;
  std::string m_address;
  pid_t m_daemon = -1;
};

/// A peer; used by one thread.
class Peer {
 public:
  explicit Peer(const PrivateBus& bus);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  sd_bus* bus() const { return m_bus; }
  bool own(const char* name) { return sd_bus_request_name(m_bus, name, 0) >= 0; }
  void disown(const char* name) { sd_bus_release_name(m_bus, name); }

  /// Calls with arguments of sd_bus_message_append, and waits: the error's name, or "" and the reply in
  /// reply().
  std::string call(const char* destination, const char* path, const char* interface, const char* member,
                   const char* types = "", ...);
  sd_bus_message* reply() const { return m_reply; }

  /// Processes what has arrived, once; returns whether there was anything.
  bool process() { return sd_bus_process(m_bus, nullptr) > 0; }

 private:
  sd_bus* m_bus = nullptr;
  sd_bus_message* m_reply = nullptr;
};
