// The least of D-Bus that one call takes, without a bus library: what the floors of the benchmarks are made
// of.
//
// Blocking, one thread, little-endian hosts; every failure ends the program, because a benchmark that goes on
// after one measures something else.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace wire {

enum Type : uint8_t { call = 1, reply = 2, failure = 3, signal = 4 };
enum Field : uint8_t {
  path = 1,
  interface = 2,
  member = 3,
  replySerial = 5,
  destination = 6,
  sender = 7,
  signature = 8
};
constexpr uint8_t noReplyExpected = 1;

[[noreturn]] inline void fail(const char* what) {
  perror(what);
  exit(1);
}

inline void writeAll(int fd, const void* bytes, size_t size) {
  const auto* at = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t n = send(fd, at, size, MSG_NOSIGNAL);
    if (n <= 0) fail("send");
    at += n;
    size -= static_cast<size_t>(n);
  }
}

inline void readAll(int fd, void* bytes, size_t size) {
  auto* at = static_cast<char*>(bytes);
  while (size > 0) {
    const ssize_t n = recv(fd, at, size, 0);
    if (n <= 0) fail("recv");
    at += n;
    size -= static_cast<size_t>(n);
  }
}

/// Tells whoever started the program how far it is, one line at once.
inline void say(const char* line) {
  if (write(STDOUT_FILENO, line, strlen(line)) < 0) fail("standard output");
}

/// The system bus's address.
inline const char* busAddress() {
  const char* address = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  return address != nullptr ? address : "unix:path=/run/dbus/system_bus_socket";
}

/// A message under construction.
class Message {
 public:
  Message(Type type, uint8_t flags, uint32_t serial) {
    m_bytes.assign(
        {'l', static_cast<char>(type), static_cast<char>(flags), 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    put(8, serial);
  }
  void text(Field field, char type, std::string_view value) {
    begin(field, type);
    if (type == 'g') {
      m_bytes.push_back(static_cast<char>(value.size()));
    } else {
      word(static_cast<uint32_t>(value.size()));
    }
    m_bytes.insert(m_bytes.end(), value.begin(), value.end());
    m_bytes.push_back(0);
  }
  void number(Field field, uint32_t value) {
    begin(field, 'u');
    word(value);
  }
  /// Once, at the end.
  std::vector<char>& finish(std::string_view body) {
    put(12, static_cast<uint32_t>(m_bytes.size() - 16));
    align(8);
    put(4, static_cast<uint32_t>(body.size()));
    m_bytes.insert(m_bytes.end(), body.begin(), body.end());
    return m_bytes;
  }

 private:
  void begin(Field field, char type) {
    align(8);
    m_bytes.insert(m_bytes.end(), {static_cast<char>(field), 1, type, 0});
  }
  void align(size_t to) {
    while (m_bytes.size() % to != 0) m_bytes.push_back(0);
  }
  void put(size_t at, uint32_t value) { memcpy(&m_bytes[at], &value, sizeof value); }
  void word(uint32_t value) {
    align(4);
    m_bytes.insert(m_bytes.end(), sizeof value, 0);
    put(m_bytes.size() - sizeof value, value);
  }

  std::vector<char> m_bytes;
};

/// A message that came; its texts stand in the connection's buffer until the next one is read.
struct Incoming {
  Type type;
  uint8_t flags;
  uint32_t serial;
  uint32_t repliesTo;
  std::string_view member;
  std::string_view sender;
  std::string_view signature;
  std::string_view body;
};

class Connection {
 public:
  /// `address` is "unix:path=...".
  explicit Connection(std::string_view address) {
    sockaddr_un peer{};
    peer.sun_family = AF_UNIX;
    const size_t at = address.find("path=");
    if (at == std::string_view::npos) fail("bus address");
    address.remove_prefix(at + 5);
    memcpy(peer.sun_path, address.data(), std::min(address.find(','), address.size()));
    m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(m_fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) fail("bus");
    authenticate();
    Message hello(call, 0, 1);
    toBus(hello, "Hello");
    send(hello, {});
    while (next().type != reply) {
    }
  }
  int fd() const { return m_fd; }

  void own(std::string_view name) {
    Message request(call, 0, 2);
    toBus(request, "RequestName");
    request.text(signature, 'g', "su");
    std::string body(4, 0);
    const auto length = static_cast<uint32_t>(name.size());
    memcpy(body.data(), &length, sizeof length);
    body += name;
    body.resize((body.size() + 1 + 3) / 4 * 4 + 4);
    send(request, body);
    for (Incoming answer = next(); answer.repliesTo != 2; answer = next()) {
    }
  }

  void send(Message& message, std::string_view body) const {
    const std::vector<char>& bytes = message.finish(body);
    writeAll(m_fd, bytes.data(), bytes.size());
  }

  /// True when a whole message has been read already.
  bool buffered() const { return whole() != 0; }

  Incoming next() {
    m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_taken));
    m_taken = 0;
    size_t size = 0;
    while ((size = whole()) == 0) {
      char part[16384];
      const ssize_t n = recv(m_fd, part, sizeof part, 0);
      if (n <= 0) fail("bus connection");
      m_buffer.insert(m_buffer.end(), part, part + n);
    }
    m_taken = size;
    return parse(size);
  }

 private:
  void authenticate() {
    std::string uid;
    for (const char digit : std::to_string(getuid())) {
      char hex[3];
      snprintf(hex, sizeof hex, "%02x", static_cast<unsigned>(digit));
      uid += hex;
    }
    const std::string auth = std::string(1, '\0') + "AUTH EXTERNAL " + uid + "\r\n";
    writeAll(m_fd, auth.data(), auth.size());
    for (char c = 0; c != '\n';) readAll(m_fd, &c, 1);
    writeAll(m_fd, "BEGIN\r\n", 7);
  }
  static void toBus(Message& message, std::string_view method) {
    message.text(path, 'o', "/org/freedesktop/DBus");
    message.text(interface, 's', "org.freedesktop.DBus");
    message.text(member, 's', method);
    message.text(destination, 's', "org.freedesktop.DBus");
  }
  uint32_t word(size_t at) const {
    uint32_t value = 0;
    memcpy(&value, &m_buffer[at], sizeof value);
    return value;
  }
  static size_t aligned(size_t at, size_t to) { return (at + to - 1) / to * to; }
  /// The size of the message behind those taken, 0 while it is not all there.
  size_t whole() const {
    if (m_buffer.size() - m_taken < 16) return 0;
    const size_t size = aligned(16 + word(m_taken + 12), 8) + word(m_taken + 4);
    return m_buffer.size() - m_taken < size ? 0 : size;
  }
  Incoming parse(size_t size) const {
    Incoming message{
        static_cast<Type>(m_buffer[1]), static_cast<uint8_t>(m_buffer[2]), word(8), 0, {}, {}, {}, {}};
    const size_t end = 16 + word(12);
    for (size_t at = 16; at < end;) {
      at = aligned(at, 8);
      const auto field = static_cast<uint8_t>(m_buffer[at]);
      const char type = m_buffer[at + 2];
      at += 4;
      if (type == 'u') {
        if (field == replySerial) message.repliesTo = word(at);
        at += 4;
        continue;
      }
      const size_t length = type == 'g' ? static_cast<uint8_t>(m_buffer[at]) : word(at);
      at += type == 'g' ? 1 : 4;
      const std::string_view value(&m_buffer[at], length);
      if (field == sender) message.sender = value;
      if (field == member) message.member = value;
      if (field == signature) message.signature = value;
      at += length + 1;
    }
    const size_t body = aligned(end, 8);
    message.body = std::string_view(m_buffer.data() + body, size - body);
    return message;
  }

  int m_fd = -1;
  std::vector<char> m_buffer;
  size_t m_taken = 0;
};

}  // namespace wire
