#include "ops/Records.h"

#include <cstdio>
#include <ctime>
#include <optional>

#include "OtnIpcFields.h"
#include "ops/CaptureFile.h"
#include "record/OpsDecoder.h"
#include "record/RecordStream.h"

namespace ctl {
namespace {

Piece recordPiece(const OtnIpcMsg& record) {
  return {sim::decodeRecord(record), recordNode(record)};
}

Piece partialPiece(std::span<const std::byte> bytes) {
  const std::string line = sim::decodePartialRecord(bytes);
  return {line, Node::object().add("bytes", bytes.size()).add("decoded", line)};
}

/// Feeds bytes to a stream, and gives each whole record to `take`.
template <typename Take>
void cut(std::string_view bytes, sim::RecordStream& stream, Take take) {
  while (!bytes.empty()) {
    const std::span<std::byte> room = stream.room();
    const size_t count = std::min(room.size(), bytes.size());
    memcpy(room.data(), bytes.data(), count);
    bytes.remove_prefix(count);
    if (stream.filled(count)) take(stream.record());
  }
}

std::vector<Piece> rawPieces(std::string_view bytes) {
  std::vector<Piece> pieces;
  sim::RecordStream stream;
  cut(bytes, stream, [&](const OtnIpcMsg& record) { pieces.push_back(recordPiece(record)); });
  if (!stream.partial().empty()) pieces.push_back(partialPiece(stream.partial()));
  return pieces;
}

std::string timeText(std::chrono::nanoseconds when) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(when).count();
  const auto seconds = static_cast<time_t>(milliseconds / 1000);
  tm local{};
  localtime_r(&seconds, &local);
  char day[16];
  char text[32];
  strftime(day, sizeof day, "%H:%M:%S", &local);
  snprintf(text, sizeof text, "%s.%03d", day, static_cast<int>(milliseconds % 1000));
  return text;
}

/// Puts in front of a piece where in the capture it was.
Piece placed(Piece piece, const sim::CapturedBytes& bytes, size_t connection, bool several) {
  const bool fromIss = bytes.direction == sim::Direction::out;
  const std::string number = several ? std::to_string(connection + 1) + ' ' : "";
  piece.line = timeText(bytes.when) + ' ' + number + (fromIss ? "<- " : "-> ") + piece.line;
  Node node = Node::object();
  node.add("time", timeText(bytes.when)).add("connection", connection + 1).add("fromIss", fromIss);
  for (size_t i = 0; i < piece.node.names().size(); ++i) {
    node.add(piece.node.names()[i], piece.node.values()[i]);
  }
  piece.node = std::move(node);
  return piece;
}

std::vector<Piece> capturePieces(const std::vector<sim::CapturedConnection>& connections) {
  std::vector<Piece> pieces;
  for (size_t i = 0; i < connections.size(); ++i) {
    sim::RecordStream streams[2];
    const sim::CapturedBytes* last[2] = {};
    for (const sim::CapturedBytes& bytes : connections[i].traffic) {
      const size_t side = bytes.direction == sim::Direction::out ? 1 : 0;
      last[side] = &bytes;
      cut(bytes.bytes, streams[side], [&](const OtnIpcMsg& record) {
        pieces.push_back(placed(recordPiece(record), bytes, i, connections.size() > 1));
      });
    }
    for (size_t side = 0; side < 2; ++side) {
      if (streams[side].partial().empty()) continue;
      pieces.push_back(placed(partialPiece(streams[side].partial()), *last[side], i, connections.size() > 1));
    }
  }
  return pieces;
}

}  // namespace

void eachRecord(const std::vector<sim::CapturedConnection>& connections,
                const std::function<void(size_t, const sim::CapturedBytes&, const OtnIpcMsg&)>& see) {
  for (size_t i = 0; i < connections.size(); ++i) {
    sim::RecordStream streams[2];
    for (const sim::CapturedBytes& bytes : connections[i].traffic) {
      cut(bytes.bytes, streams[bytes.direction == sim::Direction::out ? 1 : 0],
          [&](const OtnIpcMsg& record) { see(i, bytes, record); });
    }
  }
}

Node recordNode(const OtnIpcMsg& record) {
  Node fields = Node::object();
  const auto add = [&](std::span<const ops::FieldInfo> infos) {
    for (const ops::FieldInfo& field : infos) fields.add(field.name, sim::decodeField(record, field));
  };
  add(ops::fieldsOf(record.msgType));
  if (record.isResponse == 1) add(ops::trailerFields);
  Node node = Node::object();
  node.add("type", record.msgType).add("name", msgTypeName(record.msgType)).add("fields", std::move(fields));
  return node.add("decoded", sim::decodeRecord(record));
}

DecodedInput decodeInput(const std::string& bytes) {
  if (isCapture(bytes)) {
    std::vector<sim::CapturedConnection> connections;
    const sim::Problem problem = sim::readCapture(completed(bytes), connections);
    if (problem) return {"raw records: as a capture it cannot be read (" + *problem + ')', rawPieces(bytes)};
    std::vector<Piece> pieces = capturePieces(connections);
    if (!pieces.empty()) return {"a capture", std::move(pieces)};
    return {"raw records: as a capture it shows nothing of port 8000", rawPieces(bytes)};
  }
  std::string dumped;
  if (readHexDump(bytes, dumped)) return {"a hex dump", rawPieces(dumped)};
  return {"raw records", rawPieces(bytes)};
}

}  // namespace ctl
