#include "Reference.h"

namespace reference {

KindText kindText(ops::FieldKind kind) {
  switch (kind) {
    case ops::FieldKind::number:
      return {"number", "unsigned"};
    case ops::FieldKind::signedNumber:
      return {"signedNumber", "signed"};
    case ops::FieldKind::label:
      return {"label", "unsigned, shown in hex"};
    case ops::FieldKind::text:
      return {"text", "characters up to a NUL or the field's end"};
    case ops::FieldKind::mac:
      return {"mac", "MAC address"};
    case ops::FieldKind::ipAddress:
      return {"ipAddress", "IPv4 address, its first number in the most significant byte"};
    case ops::FieldKind::bytes:
      return {"bytes", "bytes in the order in which they are sent"};
    case ops::FieldKind::values:
      return {"values", "one number a byte"};
    case ops::FieldKind::bigEndianNumber:
      return {"bigEndianNumber", "unsigned, most significant byte first"};
    case ops::FieldKind::portList:
      return {"portList", "front port n + 1 is bit 7 - n mod 8 of byte n div 8"};
    case ops::FieldKind::filterEntries:
      return {"filterEntries", "filter entries of 20 bytes each, one behind the other"};
    case ops::FieldKind::vlanList:
      return {"vlanList",
              "signed 32-bit VLANs, one behind the other; in an answer they end where the trailer begins"};
    case ops::FieldKind::redundancyState:
      return {"redundancyState", "signed"};
  }
  return {"", ""};
}

const char* directionName(ops::Direction direction) {
  switch (direction) {
    case ops::Direction::toIss:
      return "toIss";
    case ops::Direction::fromIss:
      return "fromIss";
    case ops::Direction::unused:
      return "unused";
  }
  return "";
}

}  // namespace reference
