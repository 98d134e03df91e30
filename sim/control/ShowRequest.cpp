#include "control/ShowRequest.h"

#include "record/WordReader.h"

namespace sim {

Problem parseShow(std::string_view words, ShowRequest& request) {
  Words split;
  if (Problem problem = splitWords(words, split)) return problem;
  WordReader reader(std::move(split));
  request = {};
  request.subject = reader.take();
  if (reader.next("--json")) {
    request.json = true;
    return reader.end();
  }
  if (reader.atEnd()) return std::nullopt;
  if (request.subject != "ports") return "show takes one subject and --json, and only ports takes which";
  if (Problem problem = reader.ports("show ports", portCount, request.ports)) return problem;
  request.json = reader.next("--json");
  return reader.end();
}

}  // namespace sim
