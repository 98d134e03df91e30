// Bytes of any kind as OPS records to look at: captures, hex dumps and raw records. Nothing is refused; what
// is no record is shown in hex. Pure functions; any thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "OtnIpcMsg.h"
#include "base/Node.h"
#include "capture/CaptureReader.h"

namespace ctl {

struct Piece {
  std::string line;  ///< for people
  Node node;         ///< the same for programs
};

struct DecodedInput {
  std::string what;  ///< what the bytes were taken for
  std::vector<Piece> pieces;
};

DecodedInput decodeInput(const std::string& bytes);

/// Each whole record that passed, in the order of the capture, with the connection's number and the bytes
/// that ended it.
void eachRecord(const std::vector<sim::CapturedConnection>& connections,
                const std::function<void(size_t, const sim::CapturedBytes&, const OtnIpcMsg&)>& see);

/// {type, name, fields: {NAME: text}, decoded}
Node recordNode(const OtnIpcMsg& record);

/// The bytes of a hex dump as xxd, hexdump -C, od or a plain list print it; false for anything else.
bool readHexDump(const std::string& text, std::string& bytes);

}  // namespace ctl
