// Bytes of any kind as OPS records to look at: captures, hex dumps and raw records. Nothing is refused; what
// is no record is shown in hex. Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "OtnIpcMsg.h"
#include "base/Node.h"

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

/// {type, name, fields: {NAME: text}, decoded}
Node recordNode(const OtnIpcMsg& record);

/// The bytes of a hex dump as xxd, hexdump -C, od or a plain list print it; false for anything else.
bool readHexDump(const std::string& text, std::string& bytes);

}  // namespace ctl
