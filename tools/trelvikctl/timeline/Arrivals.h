// Which arrival at the bus a worker's work belongs to. The log names no request: what was asked for tells
// them apart, and where several ask for the same, only bounds are left. One owner, one thread.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "timeline/History.h"

namespace ctl {

class Arrivals {
 public:
  void add(RequestKind kind, std::string text, LogTime when);

  /// The bus thread could not hand over what it took in last.
  bool takeLast(RequestKind kind, TracedRequest& request);

  /// A worker takes one up: fills in the times between which it arrived.
  void takeUp(TracedRequest& request);

  /// Requests that no worker took up; of others that look alike only their number.
  std::vector<TracedRequest> leftOver(size_t& untold);

 private:
  /// Requests that look alike.
  struct Group {
    std::vector<TracedRequest> waiting;
    size_t taken = 0;  ///< fewer than wait: a group of which all are taken goes
  };
  std::map<std::pair<RequestKind, std::string>, Group> m_groups;
};

}  // namespace ctl
