// What a connection offers, receives and asks: objects, subscriptions to signals, queries.
//
// The thread that owns the bus asks; no thread waits for an answer except the bus thread before the dispatch.
#include <string.h>

#include <algorithm>
#include <new>
#include <utility>

#include "board/platformTrace.h"
#include "otnbus/Connection.h"
#include "otnbus/errorText.h"

namespace otnbus {

namespace {

constexpr LogPlace atOffer{"otnbus", "offer", &platformTrace};
constexpr LogPlace atReceive{"otnbus", "receive", &platformTrace};
constexpr LogPlace atStepDone{"otnbus", "stepDone", &platformTrace};
constexpr LogPlace atRefused{"otnbus", "refused", &platformTrace};

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint64_t busLimit = 10000;   ///< ms that the bus itself may take for an answer
constexpr uint64_t queryLimit = 1000;  ///< ms
constexpr milliseconds tryInterval{5000};

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* noMemory = "there is no memory to ask";

std::string objectPath(const std::string& component, const std::string& busInterfaceName) {
  return "/otn/" + component + "/" + busInterfaceName;
}

}  // namespace

int Connection::offer(OBstub* stub, const OBinterfaceDescription& description,
                      const std::string& busInterfaceName) {
  const std::string path = objectPath(m_component, busInterfaceName);
  const int handle =
      sd_bus_object_path_is_valid(path.c_str()) > 0 ? m_registry.add(stub, description, path, false) : -1;
  if (handle < 0) {
    LOG(ERROR, atOffer, HERE, "Bus interface %s cannot be offered: the name is taken or unusable",
        busInterfaceName.c_str());
  }
  return handle;
}

int Connection::receive(OBstub* stub, const OBinterfaceDescription& description,
                        const std::string& busInterfaceName, std::function<void()> onStanding,
                        bool& asksAgain) {
  const std::string path = objectPath(description.sender, busInterfaceName);
  const int handle =
      sd_bus_object_path_is_valid(path.c_str()) > 0 ? m_registry.add(stub, description, path, true) : -1;
  asksAgain = false;
  if (handle < 0) {
    LOG(ERROR, atReceive, HERE, "Signals of %s cannot be received: the name is taken or unusable",
        busInterfaceName.c_str());
    return -1;
  }
  if (m_bus == nullptr) return handle;
  Subscription& subscription = m_subscriptions.emplace_back();
  subscription.connection = this;
  subscription.registration = handle;
  subscription.busInterfaceName = busInterfaceName;
  subscription.description = &description;
  subscription.onStanding = std::move(onStanding);
  advance(subscription);
  const auto settled = [&subscription] {
    return subscription.waiting || subscription.step == Subscription::Step::Stands;
  };
  const int error = takeInUntil(settled, 3 * busLimit, OnStop::GiveUp);
  if (error < 0 && !settled()) refused(subscription, errorText(error).c_str());
  asksAgain = subscription.waiting;
  return handle;
}

void Connection::advance(Subscription& subscription) {
  try {
    askStep(subscription);
  } catch (const std::bad_alloc&) {
    refused(subscription, noMemory);
  }
}

/// Asks the bus for the present step.
void Connection::askStep(Subscription& subscription) {
  // A change of the owner arrives in order with the answer and with the signals, so that from the answer on
  // the owner is always the one of the moment at which a signal was sent.
  const std::string& from = sender(*subscription.description).wellKnownName;
  const char* method = "AddMatch";
  std::string argument;
  switch (subscription.step) {
    case Subscription::Step::MatchOwner:
      argument =
          "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
          "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
          from + "'";
      break;
    case Subscription::Step::AskOwner:
      method = "GetNameOwner";
      argument = from;
      break;
    case Subscription::Step::MatchSignals:
      argument = "type='signal',sender='" + from + "',path='" +
                 objectPath(subscription.description->sender, subscription.busInterfaceName) +
                 "',interface='" + interfaceName(*subscription.description) + "'";
      break;
    case Subscription::Step::Stands:
      return;
  }
  subscription.waiting = false;
  sd_bus_message* request = nullptr;
  int result =
      sd_bus_message_new_method_call(m_bus, &request, busName, "/org/freedesktop/DBus", busName, method);
  const Message owned(request);
  if (result >= 0) result = sd_bus_message_append(request, "s", argument.c_str());
  if (result >= 0) {
    result = sd_bus_call_async(m_bus, nullptr, request, onStep, &subscription, busLimit * 1000);
  }
  if (result < 0) refused(subscription, errorText(result).c_str());
}

int Connection::onStep(sd_bus_message* answer, void* subscription, sd_bus_error*) {
  Subscription& s = *static_cast<Subscription*>(subscription);
  try {
    s.connection->stepDone(s, answer);
  } catch (const std::bad_alloc&) {
    s.connection->refused(s, noMemory);
  }
  return 1;
}

void Connection::stepDone(Subscription& subscription, sd_bus_message* answer) {
  using Step = Subscription::Step;
  subscription.waiting = false;
  const sd_bus_error* error = sd_bus_message_get_error(answer);
  const bool noOwner = subscription.step == Step::AskOwner && error != nullptr &&
                       sd_bus_error_has_name(error, SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0;
  if (error != nullptr && !noOwner) {
    refused(subscription, error->message != nullptr ? error->message : error->name);
    return;
  }
  if (subscription.step == Step::AskOwner) {
    const char* owner = "";
    if (!noOwner) sd_bus_message_read(answer, "s", &owner);
    Sender& from = sender(*subscription.description);
    from.owner = owner;
    from.known = true;
    checkEarlySignals();
  }
  subscription.step = static_cast<Step>(static_cast<int>(subscription.step) + 1);
  if (subscription.step != Step::Stands) {
    advance(subscription);
  } else if (subscription.told) {
    LOG(INFO, atStepDone, HERE, "Signals of %s are received now", subscription.busInterfaceName.c_str());
    postTask(subscription.registration, subscription.onStanding);
  }
}

void Connection::refused(Subscription& subscription, const char* why) {
  subscription.waiting = true;
  subscription.again = steady_clock::now() + tryInterval;
  if (std::exchange(subscription.told, true)) return;
  LOG(ERROR, atRefused, HERE, "Signals of %s cannot be received, trying again every %d s: %s",
      subscription.busInterfaceName.c_str(), static_cast<int>(tryInterval.count() / 1000), why);
}

void Connection::tryAgain() {
  for (Subscription& subscription : m_subscriptions) {
    if (subscription.waiting && steady_clock::now() >= subscription.again) advance(subscription);
  }
}

/// In ms; -1 when there is nothing to try again.
int Connection::untilNextTry() const {
  int next = -1;
  for (const Subscription& subscription : m_subscriptions) {
    if (!subscription.waiting) continue;
    const auto left = std::chrono::ceil<milliseconds>(subscription.again - steady_clock::now()).count();
    const int wait = static_cast<int>(std::clamp<int64_t>(left, 0, tryInterval.count()));
    next = next < 0 ? wait : std::min(next, wait);
  }
  return next;
}

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
  if (m_bus == nullptr || found == description.members.end()) return nullptr;
  const std::string path = objectPath(description.sender, busInterfaceName);
  sd_bus_message* request = nullptr;
  if (sd_bus_message_new_method_call(m_bus, &request, sender(description).wellKnownName.c_str(), path.c_str(),
                                     interfaceName(description).c_str(), member) < 0) {
    return nullptr;
  }
  const Message owned(request);
  sd_bus_message_set_auto_start(request, 0);
  auto question = std::make_unique<Question>(Question{found->out, kind, std::move(answered)});
  sd_bus_slot* slot = nullptr;
  if (sd_bus_call_async(m_bus, &slot, request, Question::onAnswer, question.get(), queryLimit * 1000) < 0) {
    return nullptr;
  }
  sd_bus_slot_set_destroy_callback(slot, Question::destroy);
  static_cast<void>(question.release());
  return Slot(slot);
}

bool Connection::query(const OBinterfaceDescription& description, const std::string& busInterfaceName,
                       const char* member, OBvalue& result) {
  if (m_running) return false;
  bool done = false;
  bool good = false;
  const Slot slot = ask(description, busInterfaceName, member, result, [&](const OBvalue* answer) {
    done = true;
    good = answer != nullptr;
    if (good) result = *answer;
  });
  if (slot) takeInUntil([&done] { return done; }, queryLimit, OnStop::GiveUp);
  return good;
}

void Connection::queryLater(int registration, const OBinterfaceDescription& description,
                            const std::string& busInterfaceName, const char* member, const OBvalue& kind,
                            const std::function<void(const OBvalue*)>& answered) {
  m_outbox->postTask([=, this, &description] {
    const auto pass = [this, registration, answered](const OBvalue* answer) {
      const bool good = answer != nullptr;
      const OBvalue value = good ? *answer : OBvalue{};
      postTask(registration, [answered, good, value] { answered(good ? &value : nullptr); });
    };
    if (const Slot slot = ask(description, busInterfaceName, member, kind, pass)) {
      sd_bus_slot_set_floating(slot.get(), 1);
    } else {
      pass(nullptr);
    }
  });
}

/// For the dispatching thread.
void Connection::postTask(int registration, std::function<void()> task) {
  CallQueue::Entry entry;
  entry.registration = registration;
  entry.task = std::move(task);
  m_queue.post(std::move(entry));
}

}  // namespace otnbus
