#include "record/SentText.h"

#include "record/OpsDecoder.h"

namespace sim {

void appendHow(std::string& how, std::string_view part) {
  if (!how.empty() && !part.empty()) how += ", ";
  how += part;
}

std::string sentText(const Sent& sent, std::string_view more) {
  std::string how(sent.how);
  if (sent.count > 1) appendHow(how, std::to_string(sent.count) + " times");
  appendHow(how, more);
  if (!how.empty()) how = " (" + how + ')';
  if (sent.record == nullptr) return std::to_string(sent.bytes) + " bytes that are no record" + how;
  return decodeRecord(*sent.record) + how;
}

}  // namespace sim
