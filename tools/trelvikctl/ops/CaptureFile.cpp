#include "ops/CaptureFile.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace ctl {
namespace {

constexpr uint32_t sectionHeader = 0x0A0D0D0A;
constexpr uint32_t interfaceBlock = 1;
constexpr uint32_t packetBlock = 6;
constexpr uint32_t microseconds = 0xA1B2C3D4;  ///< pcap's magic number
constexpr uint32_t nanoseconds = 0xA1B23C4D;
constexpr uint16_t opsPort = 8000;
constexpr uint8_t synFlag = 2;
constexpr uint8_t ackFlag = 16;

/// 0 beyond the end.
uint32_t host32(std::string_view bytes, size_t at) {
  uint32_t value = 0;
  if (at + sizeof value <= bytes.size()) memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}
uint8_t byteAt(std::string_view bytes, size_t at) {
  return at < bytes.size() ? static_cast<uint8_t>(bytes[at]) : uint8_t{0};
}
uint16_t net16(std::string_view bytes, size_t at) {
  return static_cast<uint16_t>(byteAt(bytes, at) << 8 | byteAt(bytes, at + 1));
}
uint32_t net32(std::string_view bytes, size_t at) {
  return uint32_t{net16(bytes, at)} << 16 | net16(bytes, at + 2);
}

template <typename T>
void put(std::string& bytes, T value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

std::string block(uint32_t type, std::string body) {
  body.resize((body.size() + 3) / 4 * 4);
  std::string bytes;
  const auto length = static_cast<uint32_t>(body.size() + 12);
  put(bytes, type);
  put(bytes, length);
  bytes += body;
  put(bytes, length);
  return bytes;
}

/// A packet's block; `stamp` is its interface and its time.
std::string packetOf(std::string_view stamp, std::string_view packet) {
  std::string body(stamp);
  put(body, static_cast<uint32_t>(packet.size()));
  put(body, static_cast<uint32_t>(packet.size()));
  return block(packetBlock, body.append(packet));
}

std::string fromPcap(std::string_view file) {
  const bool swapped = host32(file, 0) != microseconds && host32(file, 0) != nanoseconds;
  const auto word = [&](size_t at) {
    return swapped ? __builtin_bswap32(host32(file, at)) : host32(file, at);
  };
  const bool fine = word(0) == nanoseconds;
  std::string section;
  put(section, uint32_t{0x1A2B3C4D});
  put(section, uint32_t{1});
  put(section, int64_t{-1});
  std::string interface;
  put(interface, static_cast<uint32_t>(word(20) & 0xFFFF));
  put(interface, uint32_t{0});
  put(interface, static_cast<uint32_t>(1 << 16 | 9));  // the unit of times
  put(interface, static_cast<uint32_t>(fine ? 9 : 6));
  put(interface, uint32_t{0});
  std::string bytes = block(sectionHeader, section) + block(interfaceBlock, interface);
  for (size_t at = 24; at + 16 <= file.size();) {
    const uint64_t time = uint64_t{word(at)} * (fine ? 1'000'000'000 : 1'000'000) + word(at + 4);
    const size_t size = word(at + 8);
    if (size > file.size() - at - 16) break;
    std::string stamp;
    put(stamp, uint32_t{0});
    put(stamp, static_cast<uint32_t>(time >> 32));
    put(stamp, static_cast<uint32_t>(time));
    bytes += packetOf(stamp, file.substr(at + 16, size));
    at += 16 + size;
  }
  return bytes;
}

std::optional<size_t> ipHeader(std::string_view packet, uint16_t linkType) {
  const size_t at = linkType == 1 ? 14 : linkType == 276 ? 20 : 0;
  const bool known = at != 0 || linkType == 101 || linkType == 228;
  if (!known || byteAt(packet, at) >> 4 != 4 || byteAt(packet, at + 9) != 6) return std::nullopt;
  return at;
}

/// Knows the connections that a capture has shown so far.
class Handshakes {
 public:
  /// What the capture lacks in front of this packet: the first of each side, or nothing.
  std::vector<std::string> missingBefore(std::string_view packet, uint16_t linkType) {
    const std::optional<size_t> ip = ipHeader(packet, linkType);
    if (!ip) return {};
    const size_t tcp = *ip + (byteAt(packet, *ip) & 0xFU) * size_t{4};
    if (tcp + 20 > packet.size()) return {};
    const bool fromClient = net16(packet, tcp + 2) == opsPort;
    if (!fromClient && net16(packet, tcp) != opsPort) return {};
    const uint32_t address = net32(packet, *ip + (fromClient ? 12 : 16));
    const uint16_t port = net16(packet, tcp + (fromClient ? 0 : 2));
    const bool isNew = m_clients.emplace(address, port).second;
    if (!isNew || (byteAt(packet, tcp + 13) & synFlag) != 0) return {};
    const std::string_view headers = packet.substr(0, tcp + 20);
    const uint32_t sent = net32(packet, tcp + 4) - 1;
    const uint32_t acknowledged = net32(packet, tcp + 8) - 1;
    return {
        handshakePacket(headers, *ip, tcp, !fromClient, synFlag, fromClient ? sent : acknowledged),
        handshakePacket(headers, *ip, tcp, fromClient, synFlag | ackFlag, fromClient ? acknowledged : sent)};
  }

 private:
  /// Headers of a packet, made into one of the handshake.
  static std::string handshakePacket(std::string_view headers, size_t ip, size_t tcp, bool otherWay,
                                     uint8_t flags, uint32_t sequence) {
    std::string packet(headers);
    if (otherWay) {
      packet.replace(ip + 12, 4, headers.substr(ip + 16, 4)).replace(ip + 16, 4, headers.substr(ip + 12, 4));
      packet.replace(tcp, 2, headers.substr(tcp + 2, 2)).replace(tcp + 2, 2, headers.substr(tcp, 2));
    }
    for (size_t i = 0; i < 4; ++i) packet[tcp + 4 + i] = static_cast<char>(sequence >> (24 - 8 * i));
    const size_t total = tcp + 20 - ip;
    packet[ip + 2] = static_cast<char>(total >> 8);
    packet[ip + 3] = static_cast<char>(total);
    packet[tcp + 12] = 5 << 4;
    packet[tcp + 13] = static_cast<char>(flags);
    return packet;
  }

  std::set<std::pair<uint32_t, uint16_t>> m_clients;
};

std::string withHandshakes(std::string_view file) {
  Handshakes handshakes;
  std::vector<uint16_t> linkTypes;
  std::string bytes;
  while (file.size() >= 12) {
    const uint32_t type = host32(file, 0);
    const size_t length = host32(file, 4);
    if (length < 12 || length % 4 != 0 || length > file.size()) break;
    if (type == interfaceBlock) linkTypes.push_back(static_cast<uint16_t>(host32(file, 8)));
    const size_t interface = host32(file, 8);
    if (type == packetBlock && length >= 32 && interface < linkTypes.size()) {
      const size_t size = std::min<size_t>(host32(file, 20), length - 32);
      for (const std::string& missing :
           handshakes.missingBefore(file.substr(28, size), linkTypes[interface])) {
        bytes += packetOf(file.substr(8, 12), missing);
      }
    }
    bytes += file.substr(0, length);
    file.remove_prefix(length);
  }
  return bytes.append(file);
}

}  // namespace

bool isCapture(const std::string& file) {
  const uint32_t magic = host32(file, 0);
  const uint32_t swapped = __builtin_bswap32(magic);
  return magic == sectionHeader || magic == microseconds || magic == nanoseconds || swapped == microseconds ||
         swapped == nanoseconds;
}

std::string completed(const std::string& file) {
  return withHandshakes(host32(file, 0) == sectionHeader ? file : fromPcap(file));
}

}  // namespace ctl
