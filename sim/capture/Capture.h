// A capture of the connection between daemon and ISS as Wireshark reads it: pcapng, one packet of IPv4 and
// TCP for each write and read, with the handshakes and ends that belong to them. The packets are made up;
// bytes, order and times are those of the connection.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "base/LineOutput.h"
#include "base/Problem.h"
#include "record/Observer.h"

namespace sim {

/// Makes the file's bytes. Pure but for its counts; one owner.
class CaptureEncoder {
 public:
  using Time = std::chrono::nanoseconds;  ///< since 1970, UTC

  explicit CaptureEncoder(uint16_t serverPort) : m_serverPort(serverPort) {}

  /// What the file begins with.
  static std::string start();

  /// Each returns what to append to the file. Directions are ISS's: `out` goes to the client.
  /// A comment is a packet's own, of the one with the last byte or with the end; empty = none.
  std::string connected(Time when);
  std::string data(Direction direction, std::span<const std::byte> bytes, Time when,
                   std::string_view comment = {});
  std::string ended(Direction by, bool reset, Time when, std::string_view comment = {});
  /// A packet of ISS's without data, for a comment on what did not leave.
  std::string note(std::string_view comment, Time when);

 private:
  std::string packet(Direction direction, uint8_t flags, std::string_view payload, Time when,
                     std::string_view comment = {});

  uint16_t m_serverPort;
  uint16_t m_clientPort = 49151;  ///< the first connection takes the next
  uint32_t m_sent[2] = {};        ///< sequence numbers, by direction
  uint16_t m_packets = 0;
};

/// Writes the capture of a server that it observes.
class CaptureFile : public Observer {
 public:
  /// The output is the caller's.
  explicit CaptureFile(LineOutput& output) : m_output(output), m_encoder(0) {}
  ~CaptureFile() override;
  CaptureFile(const CaptureFile&) = delete;
  CaptureFile& operator=(const CaptureFile&) = delete;

  /// Begins a new file.
  Problem open(const std::string& path, uint16_t serverPort);

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  void onSent(const Sent& sent, TimePoint when) override;
  void onBytes(Direction direction, std::span<const std::byte> bytes, TimePoint when) override;
  void onEnd(Direction by, bool reset, TimePoint when) override;
  void onClient(bool connected, TimePoint when) override;

  CaptureEncoder::Time wallTime(TimePoint when) const;
  bool write(std::string_view bytes);
  void append(std::string_view bytes);

  LineOutput& m_output;
  CaptureEncoder m_encoder;
  std::string m_path;
  std::string m_comment;            ///< for the next packet of ISS's
  int m_fd = -1;                    ///< -1 = none, or given up
  CaptureEncoder::Time m_offset{};  ///< from the steady clock to the wall clock
};

}  // namespace sim
