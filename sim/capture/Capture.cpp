#include "capture/Capture.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "record/OpsDecoder.h"
#include "record/SentText.h"

#include "capture/blocks.h"

namespace sim {
namespace {

constexpr uint16_t rawIp = 101;  // the link type of packets that begin with their IP header
constexpr size_t ipHeaderSize = 20;
constexpr size_t tcpHeaderSize = 20;
constexpr size_t maxComment = 4096;
constexpr size_t maxPayload = UINT16_MAX - ipHeaderSize - tcpHeaderSize;

enum TcpFlag : uint8_t { fin = 1, syn = 2, rst = 4, psh = 8, ack = 16 };

template <typename T>
void putHost(std::string& bytes, T value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

/// Network order.
template <typename T>
void putNet(std::string& bytes, T value) {
  for (size_t shift = sizeof value; shift > 0; --shift) {
    bytes += static_cast<char>((value >> (8 * (shift - 1))) & 0xff);
  }
}

void setNet16(std::string& bytes, size_t at, uint16_t value) {
  bytes[at] = static_cast<char>(value >> 8);
  bytes[at + 1] = static_cast<char>(value & 0xff);
}

/// A block of the file: its type, its length in front and behind, padded to 32 bits.
std::string block(uint32_t type, std::string body) {
  body.resize((body.size() + 3) / 4 * 4);
  const auto length = static_cast<uint32_t>(body.size() + 12);
  std::string bytes;
  putHost(bytes, type);
  putHost(bytes, length);
  bytes += body;
  putHost(bytes, length);
  return bytes;
}

void putOption(std::string& bytes, uint16_t code, std::string_view value) {
  putHost(bytes, code);
  putHost(bytes, static_cast<uint16_t>(value.size()));
  bytes += value;
  bytes.resize((bytes.size() + 3) / 4 * 4);
}

/// The Internet checksum over several pieces, of which all but the last have an even size.
uint16_t checksum(std::initializer_list<std::string_view> pieces) {
  uint32_t sum = 0;
  for (const std::string_view piece : pieces) {
    for (size_t i = 0; i < piece.size(); ++i) {
      const auto byte = static_cast<uint32_t>(static_cast<uint8_t>(piece[i]));
      sum += i % 2 == 0 ? byte << 8 : byte;
    }
    sum = (sum & 0xffff) + (sum >> 16);
  }
  sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<uint16_t>(~sum);
}

constexpr size_t index(Direction direction) {
  return direction == Direction::out ? 1 : 0;
}

/// What rules did to a message; empty for one that left as it was meant to.
std::string commentOn(const Sent& sent) {
  std::string comment(sent.rules);
  if (!comment.empty() && !sent.how.empty()) comment += ": ";
  comment += sent.how;
  if (sent.count > 1) appendHow(comment, std::to_string(sent.count) + " times");
  if (!comment.empty() && sent.bytes == 0 && sent.record != nullptr)
    comment += ", " + decodeRecord(*sent.record);
  return comment;
}

constexpr Direction opposite(Direction direction) {
  return direction == Direction::out ? Direction::in : Direction::out;
}

}  // namespace

std::string CaptureEncoder::start() {
  std::string section;
  putHost(section, uint32_t{0x1A2B3C4D});
  putHost(section, uint16_t{1});
  putHost(section, uint16_t{0});
  putHost(section, int64_t{-1});
  putOption(section, 4, "iss-sim");
  putOption(section, 0, {});
  std::string interface;
  putHost(interface, rawIp);
  putHost(interface, uint16_t{0});
  putHost(interface, uint32_t{0});
  putOption(interface, 2, "OPS");
  putOption(interface, 9, "\x09");  // times in nanoseconds
  putOption(interface, 0, {});
  return block(sectionHeaderBlock, std::move(section)) + block(interfaceBlock, std::move(interface));
}

std::string CaptureEncoder::connected(Time when) {
  m_clientPort = m_clientPort == UINT16_MAX ? uint16_t{49152} : static_cast<uint16_t>(m_clientPort + 1);
  // By the time, so that connections of several captures stay apart when these are merged.
  const auto first = static_cast<uint32_t>(when / std::chrono::microseconds(4));
  m_sent[index(Direction::in)] = first;
  m_sent[index(Direction::out)] = first + 1000;
  std::string bytes = packet(Direction::in, syn, {}, when);
  bytes += packet(Direction::out, syn | ack, {}, when);
  return bytes + packet(Direction::in, ack, {}, when);
}

std::string CaptureEncoder::data(Direction direction, std::span<const std::byte> bytes, Time when,
                                 std::string_view comment) {
  std::string packets;
  for (std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size()); !rest.empty();) {
    const size_t size = std::min(rest.size(), maxPayload);
    packets += packet(direction, psh | ack, rest.substr(0, size), when, size == rest.size() ? comment : "");
    rest.remove_prefix(size);
  }
  return packets.empty() ? packets : packets + packet(opposite(direction), ack, {}, when);
}

std::string CaptureEncoder::ended(Direction by, bool reset, Time when, std::string_view comment) {
  if (reset) return packet(by, rst | ack, {}, when, comment);
  std::string packets = packet(by, fin | ack, {}, when, comment);
  packets += packet(opposite(by), fin | ack, {}, when);
  return packets + packet(by, ack, {}, when);
}

std::string CaptureEncoder::note(std::string_view comment, Time when) {
  return packet(Direction::out, ack, {}, when, comment);
}

std::string CaptureEncoder::packet(Direction direction, uint8_t flags, std::string_view payload, Time when,
                                   std::string_view comment) {
  const bool out = direction == Direction::out;
  std::string addresses;
  putNet(addresses, uint32_t{0x7f000001});
  putNet(addresses, uint32_t{0x7f000001});
  std::string ip = {0x45, 0};
  putNet(ip, static_cast<uint16_t>(ipHeaderSize + tcpHeaderSize + payload.size()));
  putNet(ip, m_packets++);
  putNet(ip, uint16_t{0x4000});  // never in fragments
  ip += {64, 6, 0, 0};
  ip += addresses;
  setNet16(ip, 10, checksum({ip}));

  uint32_t& sequence = m_sent[index(direction)];
  std::string tcp;
  putNet(tcp, out ? m_serverPort : m_clientPort);
  putNet(tcp, out ? m_clientPort : m_serverPort);
  putNet(tcp, sequence);
  putNet(tcp, (flags & ack) != 0 ? m_sent[index(opposite(direction))] : uint32_t{0});
  tcp += {0x50, static_cast<char>(flags)};
  putNet(tcp, uint16_t{UINT16_MAX});
  putNet(tcp, uint32_t{0});
  std::string pseudo = addresses;
  putNet(pseudo, uint16_t{6});
  putNet(pseudo, static_cast<uint16_t>(tcpHeaderSize + payload.size()));
  setNet16(tcp, 16, checksum({pseudo, tcp, payload}));
  sequence += static_cast<uint32_t>(payload.size()) + ((flags & (syn | fin)) != 0 ? 1 : 0);

  const auto time = static_cast<uint64_t>(when.count());
  const auto length = static_cast<uint32_t>(ip.size() + tcp.size() + payload.size());
  std::string body;
  putHost(body, uint32_t{0});
  putHost(body, static_cast<uint32_t>(time >> 32));
  putHost(body, static_cast<uint32_t>(time));
  putHost(body, length);
  putHost(body, length);
  body += ip;
  body += tcp;
  body += payload;
  if (!comment.empty()) {
    body.resize((body.size() + 3) / 4 * 4);
    putOption(body, 1, comment.substr(0, maxComment));
    putOption(body, 0, {});
  }
  return block(packetBlock, std::move(body));
}

CaptureFile::~CaptureFile() {
  if (m_fd >= 0) ::close(m_fd);
}

Problem CaptureFile::open(const std::string& path, uint16_t serverPort) {
  m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (m_fd < 0 || !write(CaptureEncoder::start())) return path + ": " + strerror(errno);
  m_path = path;
  m_encoder = CaptureEncoder(serverPort);
  m_offset = std::chrono::system_clock::now().time_since_epoch() -
             std::chrono::steady_clock::now().time_since_epoch();
  return std::nullopt;
}

CaptureEncoder::Time CaptureFile::wallTime(TimePoint when) const {
  return m_offset + when.time_since_epoch();
}

void CaptureFile::onSent(const Sent& sent, TimePoint when) {
  const std::string comment = commentOn(sent);
  if (comment.empty()) return;
  if (sent.bytes == 0) {
    append(m_encoder.note(comment, wallTime(when)));
    return;
  }
  if (!m_comment.empty()) m_comment += "; ";
  m_comment += comment;
}

void CaptureFile::onBytes(Direction direction, std::span<const std::byte> bytes, TimePoint when) {
  const bool out = direction == Direction::out;
  append(m_encoder.data(direction, bytes, wallTime(when), out ? std::exchange(m_comment, {}) : ""));
}

void CaptureFile::onEnd(Direction by, bool reset, TimePoint when) {
  append(m_encoder.ended(by, reset, wallTime(when), std::exchange(m_comment, {})));
}

void CaptureFile::onClient(bool connected, TimePoint when) {
  if (connected) append(m_encoder.connected(wallTime(when)));
}

bool CaptureFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(m_fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

void CaptureFile::append(std::string_view bytes) {
  if (m_fd < 0 || write(bytes)) return;
  m_output.line(m_path + ": " + strerror(errno) + ", the capture ends here");
  ::close(m_fd);
  m_fd = -1;
}

}  // namespace sim
