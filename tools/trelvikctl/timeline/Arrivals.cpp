#include "timeline/Arrivals.h"

#include "timeline/Arguments.h"

namespace ctl {

void Arrivals::add(RequestKind kind, std::string text, LogTime when) {
  TracedRequest request;
  request.kind = kind;
  request.arrived = request.arrivedLast = when;
  addPorts(text, request.ports);
  request.text = std::move(text);
  m_groups[{kind, argumentKey(request.text)}].waiting.push_back(std::move(request));
}

bool Arrivals::takeLast(RequestKind kind, TracedRequest& request) {
  auto last = m_groups.end();
  for (auto each = m_groups.begin(); each != m_groups.end(); ++each) {
    if (each->first.first != kind) continue;
    const bool later =
        last == m_groups.end() || last->second.waiting.back().arrived < each->second.waiting.back().arrived;
    if (later) last = each;
  }
  if (last == m_groups.end()) return false;
  Group& group = last->second;
  request = std::move(group.waiting.back());
  group.waiting.pop_back();
  if (group.taken == group.waiting.size()) m_groups.erase(last);
  return true;
}

void Arrivals::takeUp(TracedRequest& request) {
  const auto found = m_groups.find({request.kind, argumentKey(request.text)});
  if (found == m_groups.end()) return;
  Group& group = found->second;
  request.arrived = group.waiting.front().arrived;
  request.arrivedLast = group.waiting.back().arrived;
  if (request.text.empty() || argumentKey(request.text).empty()) request.text = group.waiting.front().text;
  if (++group.taken == group.waiting.size()) m_groups.erase(found);
}

std::vector<TracedRequest> Arrivals::leftOver(size_t& untold) {
  std::vector<TracedRequest> left;
  for (auto& [key, group] : m_groups) {
    if (group.taken > 0) {
      untold += group.waiting.size() - group.taken;
    } else {
      for (TracedRequest& request : group.waiting) left.push_back(std::move(request));
    }
  }
  m_groups.clear();
  return left;
}

}  // namespace ctl
