#include "capture/CaptureReader.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <utility>

#include "capture/blocks.h"

namespace sim {
namespace {

/// Integers of the file's own byte order and of the network's. Reading beyond the end gives 0 and is told.
class Bytes {
 public:
  Bytes(std::string_view bytes, bool swapped) : m_bytes(bytes), m_swapped(swapped) {}

  uint32_t host32(size_t at) const { return m_swapped ? net32(at) : __builtin_bswap32(net32(at)); }
  uint16_t host16(size_t at) const { return m_swapped ? net16(at) : __builtin_bswap16(net16(at)); }
  uint32_t net32(size_t at) const { return (uint32_t{net16(at)} << 16) | net16(at + 2); }
  uint16_t net16(size_t at) const { return static_cast<uint16_t>((byte(at) << 8) | byte(at + 1)); }
  uint8_t byte(size_t at) const {
    return at < m_bytes.size() ? static_cast<uint8_t>(m_bytes[at]) : uint8_t{0};
  }
  size_t size() const { return m_bytes.size(); }
  std::string_view from(size_t at, size_t count) const { return m_bytes.substr(std::min(at, size()), count); }

 private:
  std::string_view m_bytes;
  bool m_swapped;
};

struct Interface {
  uint16_t linkType;
  uint64_t ticksPerSecond;
};

struct Endpoint {
  uint32_t address;
  uint16_t port;
  auto operator<=>(const Endpoint&) const = default;  // NOLINT(modernize-use-nullptr)
};

struct Segment {
  Endpoint from;
  Endpoint to;
  uint32_t sequence;
  bool syn;
  bool ack;
  bool fin;
  bool rst;
  std::string_view payload;
};

/// Where the IP header begins; nothing for a packet that is not IPv4.
std::optional<size_t> networkHeader(const Bytes& packet, uint16_t linkType) {
  size_t at = 0;
  switch (linkType) {
    case 1:  // Ethernet
      if (packet.net16(12) != 0x0800) return std::nullopt;
      at = 14;
      break;
    case 101:
    case 228:
      break;
    case 276:  // tcpdump's for all interfaces at once
      if (packet.net16(0) != 0x0800) return std::nullopt;
      at = 20;
      break;
    default:
      return std::nullopt;
  }
  if (packet.byte(at) >> 4 != 4) return std::nullopt;
  return at;
}

std::optional<Segment> tcpSegment(const Bytes& packet, size_t ip) {
  constexpr uint8_t tcpProtocol = 6;
  const size_t ipHeader = (packet.byte(ip) & 0xfU) * size_t{4};
  const size_t total = packet.net16(ip + 2);
  if (packet.byte(ip + 9) != tcpProtocol) return std::nullopt;
  const size_t tcp = ip + ipHeader;
  const size_t headers = ipHeader + (packet.byte(tcp + 12) >> 4) * size_t{4};
  if (ipHeader < 20 || headers < ipHeader + 20 || total < headers) return std::nullopt;
  const uint8_t flags = packet.byte(tcp + 13);
  return Segment{{packet.net32(ip + 12), packet.net16(tcp)},
                 {packet.net32(ip + 16), packet.net16(tcp + 2)},
                 packet.net32(tcp + 4),
                 (flags & 2) != 0,
                 (flags & 16) != 0,
                 (flags & 1) != 0,
                 (flags & 4) != 0,
                 packet.from(ip + headers, total - headers)};
}

/// Puts segments together to connections.
class Streams {
 public:
  explicit Streams(std::vector<CapturedConnection>& connections) : m_connections(connections) {}

  Problem add(const Segment& segment, std::chrono::nanoseconds when) {
    if (segment.syn && !segment.ack) {
      if (!m_server) m_server = segment.to;
      if (segment.to == *m_server) open(segment, when);
      return std::nullopt;
    }
    if (!m_server) return std::nullopt;
    const bool out = segment.from == *m_server;
    const auto found = m_open.find(out ? segment.to : segment.from);
    if (found == m_open.end() || (!out && segment.to != *m_server)) return std::nullopt;
    return extend(found->second, segment, out, when);
  }

 private:
  struct Open {
    size_t place;
    std::optional<uint32_t> next[2];  ///< the next sequence number, by direction (1 = out)
    bool ended;
  };

  void open(const Segment& segment, std::chrono::nanoseconds when) {
    m_open[segment.from] = {m_connections.size(), {segment.sequence + 1, std::nullopt}, false};
    m_connections.push_back({when, {}, Ending::none, {}});
  }

  Problem extend(Open& open, const Segment& segment, bool out, std::chrono::nanoseconds when) {
    CapturedConnection& connection = m_connections[open.place];
    if (segment.syn) {
      open.next[1] = segment.sequence + 1;
      return std::nullopt;
    }
    std::optional<uint32_t>& next = open.next[out ? 1 : 0];
    if (!next) return "the connection's start is not in the capture";
    std::string_view payload = segment.payload;
    const auto ahead = static_cast<int32_t>(segment.sequence - *next);
    if (ahead > 0) return "bytes in front of this packet are not in the capture";
    // What came before is a repetition.
    payload.remove_prefix(std::min(payload.size(), static_cast<size_t>(-int64_t{ahead})));
    if (!payload.empty()) {
      connection.traffic.push_back({out ? Direction::out : Direction::in, when, std::string(payload)});
      *next += static_cast<uint32_t>(payload.size());
    }
    // An end takes a number of its own; a repeated one does not.
    if (segment.fin && ahead == 0) *next += 1;
    if ((segment.fin || segment.rst) && !open.ended) {
      open.ended = true;
      connection.ended = when;
      if (out) connection.endedByIss = segment.rst ? Ending::reset : Ending::close;
    }
    return std::nullopt;
  }

  std::vector<CapturedConnection>& m_connections;
  std::optional<Endpoint> m_server;
  std::map<Endpoint, Open> m_open;
};

/// The ticks a second of an interface block's if_tsresol option; microseconds without it.
uint64_t ticksPerSecond(const Bytes& body) {
  for (size_t at = 8; at + 4 <= body.size();) {
    const uint16_t code = body.host16(at);
    const size_t length = body.host16(at + 2);
    if (code == 0) break;
    if (code == 9 && length == 1) {
      const uint8_t resolution = body.byte(at + 4);
      const uint8_t exponent = resolution & 0x7f;
      if ((resolution & 0x80) != 0) return exponent < 63 ? uint64_t{1} << exponent : 0;
      uint64_t ticks = 1;
      for (uint8_t i = 0; i < exponent && exponent < 19; ++i) ticks *= 10;
      return exponent < 19 ? ticks : 0;
    }
    at += 4 + (length + 3) / 4 * 4;
  }
  return 1'000'000;
}

class Reader {
 public:
  explicit Reader(std::vector<CapturedConnection>& connections) : m_streams(connections) {}

  Problem section(std::string_view rest) {
    constexpr uint32_t magic = 0x1A2B3C4D;
    for (const bool swapped : {false, true}) {
      if (Bytes(rest, swapped).host32(8) != magic) continue;
      m_swapped = swapped;
      m_interfaces.clear();
      return std::nullopt;
    }
    return "not a pcapng section";
  }

  Problem block(uint32_t type, std::string_view text) {
    const Bytes body(text, m_swapped);
    if (type == interfaceBlock) return interface(body);
    if (type == packetBlock) return packet(body);
    return std::nullopt;
  }

  bool swapped() const { return m_swapped; }

 private:
  Problem interface(const Bytes& body) {
    if (body.size() < 8) return "the interface is cut short";
    m_interfaces.push_back({body.host16(0), ticksPerSecond(body)});
    if (m_interfaces.back().ticksPerSecond == 0) return "the interface's time resolution makes no sense";
    return std::nullopt;
  }

  Problem packet(const Bytes& body) {
    if (body.size() < 20) return "the packet is cut short";
    const uint32_t place = body.host32(0);
    if (place >= m_interfaces.size()) return "the packet's interface is not in the capture";
    const size_t captured = body.host32(12);
    if (captured > body.size() - 20) return "the packet is longer than its block";
    const Bytes bytes(body.from(20, captured), m_swapped);
    const auto ip = networkHeader(bytes, m_interfaces[place].linkType);
    if (!ip) return std::nullopt;
    const auto segment = tcpSegment(bytes, *ip);
    if (!segment) return std::nullopt;
    if (captured < body.host32(16)) return "the packet was not captured whole";
    const uint64_t ticks = (uint64_t{body.host32(4)} << 32) | body.host32(8);
    const uint64_t perSecond = m_interfaces[place].ticksPerSecond;
    constexpr uint64_t lastSecond = uint64_t{1} << 33;
    if (ticks / perSecond > lastSecond) return "the packet's time makes no sense";
    const auto fraction = static_cast<double>(ticks % perSecond) / static_cast<double>(perSecond);
    return m_streams.add(*segment, std::chrono::seconds(ticks / perSecond) +
                                       std::chrono::nanoseconds(static_cast<int64_t>(fraction * 1e9)));
  }

  bool m_swapped = false;
  std::vector<Interface> m_interfaces;
  Streams m_streams;
};

}  // namespace

Problem readCapture(std::string_view file, std::vector<CapturedConnection>& connections) {
  connections.clear();
  Reader reader(connections);
  size_t number = 0;
  for (size_t at = 0; at < file.size();) {
    ++number;
    const std::string_view rest = file.substr(at);
    const uint32_t type = Bytes(rest, false).host32(0);
    Problem problem;
    if (type == sectionHeaderBlock) {
      problem = reader.section(rest);
    } else if (number == 1) {
      problem = "not a pcapng file";
    }
    const Bytes block(rest, reader.swapped());
    const size_t length = block.host32(4);
    if (!problem &&
        (length < 12 || length % 4 != 0 || length > rest.size() || block.host32(length - 4) != length)) {
      problem = length > rest.size() ? "the file ends inside the block" : "the block's length makes no sense";
    }
    if (!problem) problem = reader.block(block.host32(0), rest.substr(8, length - 12));
    if (problem)
      return "block " + std::to_string(number) + " at byte " + std::to_string(at) + ": " + *problem;
    at += length;
  }
  if (connections.empty()) return "no connection begins in the capture";
  return std::nullopt;
}

}  // namespace sim
