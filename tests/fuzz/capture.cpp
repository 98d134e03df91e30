// Captures: files of any bytes are read or refused with a block that there is, and what the simulator wrote
// down itself comes back byte by byte.
#include <utility>

#include "capture/Capture.h"
#include "capture/CaptureReader.h"
#include "fuzz/Input.h"
#include "ops/CaptureFile.h"

namespace {

using Connections = std::vector<sim::CapturedConnection>;

void checkConnections(const Connections& connections, size_t fileSize) {
  size_t bytes = 0;
  for (const sim::CapturedConnection& connection : connections) {
    for (const sim::CapturedBytes& piece : connection.traffic) {
      must(!piece.bytes.empty(), "traffic has bytes");
      must(piece.when.count() >= 0, "no time lies before 1970",
           [&] { return std::to_string(piece.when.count()); });
      bytes += piece.bytes.size();
    }
  }
  must(bytes <= fileSize, "nothing comes out that is not in the file");
}

void anyFile(Input& input) {
  const std::string_view file = input.rest();
  Connections connections;
  const sim::Problem problem = sim::readCapture(file, connections);
  must(problem || !connections.empty(), "a capture has a connection or a problem");
  must(!problem || isPrintableLine(*problem), "a problem is one printable line",
       [&] { return readable(*problem); });
  checkConnections(connections, file.size());

  const std::string from(file);
  if (!ctl::isCapture(from)) return;
  const std::string whole = ctl::completed(from);
  must(whole.size() <= 16 * from.size() + 256, "a handshake is all that is added",
       [&] { return std::to_string(from.size()) + " became " + std::to_string(whole.size()); });
  must(ctl::completed(whole) == whole, "what is complete stays as it is");
  sim::readCapture(whole, connections);
  checkConnections(connections, whole.size());
}

struct Expected {
  sim::Direction direction;
  std::string bytes;
};

/// A file of the simulator's own, of connections one behind the other.
void ownFile(Input& input) {
  using std::chrono::nanoseconds;
  constexpr uint16_t port = 8000;
  sim::CaptureEncoder encoder(port);
  std::string file = sim::CaptureEncoder::start();
  nanoseconds now{1'700'000'000'000'000'000};
  std::vector<std::vector<Expected>> wanted;
  bool large = false;  // once an input, of more than a packet holds
  const auto add = [&](sim::Direction direction, const std::string& bytes) {
    std::vector<Expected>& all = wanted.back();
    // A long write is several packets.
    if (!all.empty() && all.back().direction == direction) {
      all.back().bytes += bytes;
    } else {
      all.push_back({direction, bytes});
    }
    file += encoder.data(direction, std::as_bytes(std::span(bytes)), now, input.text());
  };
  for (int step = 0; step < 40 && !input.atEnd(); ++step) {
    const uint8_t what = input.byte();
    now += nanoseconds(input.number<uint16_t>());
    if (wanted.empty() || what % 8 == 0) {
      wanted.emplace_back();
      file += encoder.connected(now);
    } else if (what % 8 == 1) {
      file += encoder.note(input.text(), now);
    } else {
      std::string bytes(input.text());
      if (what > 250 && !std::exchange(large, true)) bytes.resize(70'000, 'x');
      if (!bytes.empty()) add(what % 2 == 0 ? sim::Direction::in : sim::Direction::out, bytes);
    }
  }
  Connections read;
  const sim::Problem problem = sim::readCapture(file, read);
  if (wanted.empty()) {
    must(problem.has_value(), "a capture of nothing is told");
    return;
  }
  must(!problem, "a capture of one's own can be read", [&] { return *problem; });
  must(read.size() == wanted.size(), "with all its connections");
  for (size_t i = 0; i < read.size(); ++i) {
    std::vector<Expected> got;
    for (const sim::CapturedBytes& piece : read[i].traffic) {
      if (!got.empty() && got.back().direction == piece.direction) {
        got.back().bytes += piece.bytes;
      } else {
        got.push_back({piece.direction, piece.bytes});
      }
    }
    must(got.size() == wanted[i].size(), "every turn of a connection comes back");
    for (size_t turn = 0; turn < got.size(); ++turn) {
      must(got[turn].direction == wanted[i][turn].direction && got[turn].bytes == wanted[i][turn].bytes,
           "with its bytes");
    }
  }
  must(ctl::completed(file) == file, "a capture of one's own lacks nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Input input(bytes, size);
  if (input.byte() % 3 == 0) {
    ownFile(input);
  } else {
    anyFile(input);
  }
  return 0;
}
