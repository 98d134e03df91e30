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
  Group* last = nullptr;
  for (auto& [key, group] : m_groups) {
    if (key.first != kind || group.taken >= group.waiting.size()) continue;
    if (last == nullptr || last->waiting.back().arrived < group.waiting.back().arrived) last = &group;
  }
  if (last == nullptr) return false;
  request = std::move(last->waiting.back());
  last->waiting.pop_back();
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
