// What a connection asks of other components.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "board/platformTrace.h"
#include "otnbus/Connection.h"

namespace otnbus {

namespace {

constexpr LogPlace atQueryLater{"otnbus", "queryLater", &platformTrace};

constexpr uint64_t queryLimit = 1000;  ///< ms

}  // namespace

struct Connection::Question {
  const char* signature;
  OBvalue kind;
  std::function<void(const OBvalue*)> answered;

  static void destroy(void* question) { delete static_cast<Question*>(question); }
  static int onAnswer(sd_bus_message* answer, void* question, sd_bus_error*) {
    const Question& asked = *static_cast<Question*>(question);
    try {
      std::vector<OBvalue> values;
      const bool good = sd_bus_message_is_method_error(answer, nullptr) == 0 &&
                        readValues(answer, asked.signature, values) == ReadResult::Read &&
                        values.size() == 1 && values[0].index() == asked.kind.index();
      asked.answered(good ? values.data() : nullptr);
    } catch (const std::bad_alloc&) {
      // As without an answer.
    }
    return 1;
  }
};

/// Null when it cannot be asked; `answered` is then never called. The question ends with the slot.
Slot Connection::ask(const OBinterfaceDescription& description, const std::string& busInterfaceName,
                     const char* member, const OBvalue& kind, std::function<void(const OBvalue*)> answered) {
  const auto found = std::find_if(description.members.begin(), description.members.end(),
                                  [member](const OBmember& m) { return strcmp(m.name, member) == 0; });
  if (m_bus->sd() == nullptr || found == description.members.end()) return nullptr;
  const std::string path = objectPath(description.sender, busInterfaceName);
  sd_bus_message* request = nullptr;
  if (sd_bus_message_new_method_call(m_bus->sd(), &request, sender(description).wellKnownName.c_str(),
                                     path.c_str(), interfaceName(description).c_str(), member) < 0) {
    return nullptr;
  }
  const Message owned(request);
  sd_bus_message_set_auto_start(request, 0);
  auto question = std::make_unique<Question>(Question{found->out, kind, std::move(answered)});
  sd_bus_slot* slot = nullptr;
  if (sd_bus_call_async(m_bus->sd(), &slot, request, Question::onAnswer, question.get(), queryLimit * 1000) <
      0) {
    return nullptr;
  }
  m_bus->sent();
  sd_bus_slot_set_destroy_callback(slot, Question::destroy);
  static_cast<void>(question.release());
  return Slot(slot);
}

bool Connection::query(const OBinterfaceDescription& description, const std::string& busInterfaceName,
                       const char* member, OBvalue& result) {
  bool done = false;
  bool good = false;
  Slot slot;
  {
    const Guard guard(&m_bus->mutex);
    if (m_running) return false;
    slot = ask(description, busInterfaceName, member, result, [&](const OBvalue* answer) {
      done = true;
      good = answer != nullptr;
      if (good) result = *answer;
    });
    done = slot == nullptr;
  }
  takeInUntil([&done] { return done; }, queryLimit, OnStop::GiveUp);
  const Guard guard(&m_bus->mutex);
  slot.reset();
  return good;
}

void Connection::queryLater(int registration, const OBinterfaceDescription& description,
                            const std::string& busInterfaceName, const char* member, const OBvalue& kind,
                            const std::function<void(const OBvalue*)>& answered) {
  // Called by sd-bus with the lock held.
  const auto pass = [this, registration, answered](const OBvalue* answer) NO_THREAD_SAFETY_ANALYSIS {
    const bool good = answer != nullptr;
    const OBvalue value = good ? *answer : OBvalue{};
    postTask(registration, [answered, good, value] { answered(good ? &value : nullptr); });
  };
  const Guard guard(&m_bus->mutex);
  try {
    if (const Slot slot = ask(description, busInterfaceName, member, kind, pass)) {
      sd_bus_slot_set_floating(slot.get(), 1);
    } else {
      pass(nullptr);
    }
  } catch (const std::bad_alloc&) {
    LOG(ERROR, atQueryLater, HERE, "There is no memory to ask a component");
  }
}

/// For the bus thread.
void Connection::postTask(int registration, std::function<void()> task) {
  CallQueue::Entry entry;
  entry.registration = registration;
  entry.task = std::move(task);
  m_queue.post(std::move(entry));
}

}  // namespace otnbus
