#include "support/FakeBus.h"

#include <functional>
#include <mutex>
#include <utility>

#include "OBstub.h"
#include "OBstubReply.h"
#include "support/memory.h"

namespace {

struct State {
  std::mutex mutex;
  std::optional<OBvalue> answer;
  bool refusing = false;
  std::vector<std::function<void()>> refused;
  std::vector<FakeBus::Reply> replies;
  std::vector<uint64_t> released;
  std::vector<FakeBus::Signal> signals;
  std::vector<std::string> registrations;
};

State& state() {
  static State* const instance = new State;
  return *instance;
}

template <class Value>
Value guarded(const Value& value) {
  const std::lock_guard guard(state().mutex);
  return value;
}

bool registered(const char* kind, const char* busInterfaceName, const OBinterfaceDescription& description) {
  const std::lock_guard guard(state().mutex);
  state().registrations.push_back(std::string(kind) + " " + busInterfaceName + " " +
                                  description.interfaceClass);
  return true;
}

}  // namespace

void FakeBus::clear() {
  const std::lock_guard guard(state().mutex);
  state().answer.reset();
  state().refusing = false;
  state().refused.clear();
  state().replies.clear();
  state().released.clear();
  state().signals.clear();
  state().registrations.clear();
}

OBstubReply* FakeBus::call(uint64_t number) {
  return new OBstubReply(nullptr, number);
}

void FakeBus::refuseSignals() {
  const std::lock_guard guard(state().mutex);
  state().refusing = true;
}

void FakeBus::agreeToSignals() {
  std::vector<std::function<void()>> refused;
  {
    const std::lock_guard guard(state().mutex);
    state().refusing = false;
    refused.swap(state().refused);
  }
  for (const auto& standing : refused) standing();
}

void FakeBus::answerQueries(std::optional<OBvalue> answer) {
  const std::lock_guard guard(state().mutex);
  state().answer = std::move(answer);
}

std::vector<FakeBus::Reply> FakeBus::replies() {
  return guarded(state().replies);
}
std::vector<uint64_t> FakeBus::released() {
  return guarded(state().released);
}
std::vector<FakeBus::Signal> FakeBus::signals() {
  return guarded(state().signals);
}
std::vector<std::string> FakeBus::registrations() {
  return guarded(state().registrations);
}

OBstubReply::OBstubReply(std::shared_ptr<otnbus::Bus> bus, uint64_t call)
    : m_bus(std::move(bus)), m_call(call) {}

void OBstubReply::release(OBstubReply* reply) {
  if (reply == nullptr) return;
  const MemoryOutside memory;
  {
    const std::lock_guard guard(state().mutex);
    state().released.push_back(reply->m_call);
  }
  delete reply;
}

OBstub::OBstub(OBinterface* service, OBcomponent*, const OBinterfaceDescription& description)
    : m_service(service), m_description(description) {}

OBstub::~OBstub() = default;

bool OBstub::register_synchronous(const char* busInterfaceName) {
  return ::registered("synchronous", busInterfaceName, m_description);
}

bool OBstub::register_asynchronous(const char* busInterfaceName) {
  return ::registered("asynchronous", busInterfaceName, m_description);
}

bool OBstub::register_immediate(const char* busInterfaceName) {
  return ::registered("immediate", busInterfaceName, m_description);
}

bool OBstub::register_signal(const char* busInterfaceName, std::function<void()> onStanding) {
  ::registered("signal", busInterfaceName, m_description);
  const std::lock_guard guard(state().mutex);
  if (state().refusing) state().refused.push_back(std::move(onStanding));
  return !state().refusing;
}

void OBstub::send_reply(OBstubReply* reply, std::initializer_list<OBvalue> results) {
  if (reply == nullptr) return;
  const MemoryOutside memory;
  {
    const std::lock_guard guard(state().mutex);
    state().replies.push_back({reply->m_call, results});
  }
  delete reply;
}

void OBstub::send_signal(const char* member, std::initializer_list<OBvalue> arguments) {
  const std::lock_guard guard(state().mutex);
  state().signals.push_back({m_description.interfaceClass, member, arguments});
}

void OBstub::query(const char* member, const OBvalue& kind,
                   const std::function<void(const OBvalue*)>& answered) {
  OBvalue result = kind;
  answered(query(member, result) ? &result : nullptr);
}

bool OBstub::query(const char*, OBvalue& result) {
  const std::lock_guard guard(state().mutex);
  if (!state().answer || state().answer->index() != result.index()) return false;
  result = *state().answer;
  return true;
}
