// What a connection offers and receives: objects, and subscriptions to signals.
//
// No thread waits for an answer except the bus thread before the dispatch.
#include <algorithm>
#include <cstring>
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

constexpr uint64_t busLimit = 10000;  ///< ms that the bus itself may take for an answer
constexpr milliseconds tryInterval{5000};

constexpr const char* noMemory = "there is no memory to ask";

}  // namespace

int Connection::add(OBstub* stub, const OBinterfaceDescription& description, const std::string& path,
                    bool receiver, bool immediate) {
  if (sd_bus_object_path_is_valid(path.c_str()) <= 0) return -1;
  const Guard guard(&m_bus->mutex);
  return m_registry.add(stub, description, path, receiver, immediate);
}

void Connection::withdraw(int registration) {
  const Guard guard(&m_bus->mutex);
  m_registry.remove(registration);
}

int Connection::offer(OBstub* stub, const OBinterfaceDescription& description,
                      const std::string& busInterfaceName, bool immediate) {
  const std::string path = objectPath(m_component, busInterfaceName);
  const int handle = add(stub, description, path, false, immediate);
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
  const int handle = add(stub, description, path, true);
  asksAgain = false;
  if (handle < 0) {
    LOG(ERROR, atReceive, HERE, "Signals of %s cannot be received: the name is taken or unusable",
        busInterfaceName.c_str());
    return -1;
  }
  Subscription* subscription;
  {
    const Guard guard(&m_bus->mutex);
    if (m_bus->sd() == nullptr) return handle;
    subscription = &m_subscriptions.emplace_back();
    subscription->connection = this;
    subscription->registration = handle;
    subscription->busInterfaceName = busInterfaceName;
    subscription->description = &description;
    subscription->onStanding = std::move(onStanding);
    advance(*subscription);
  }
  const auto settled = [subscription] {
    return subscription->waiting || subscription->step == Subscription::Step::Stands;
  };
  const int error = takeInUntil(settled, 3 * busLimit, OnStop::GiveUp);
  if (error < 0 && !settled()) refused(*subscription, errorText(error).c_str());
  asksAgain = subscription->waiting;
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
    case Subscription::Step::Stands:  // GCOV_EXCL_LINE: nothing is asked for any more
      return;                         // GCOV_EXCL_LINE: as above
  }
  subscription.waiting = false;
  sd_bus_message* request = nullptr;
  int result = sd_bus_message_new_method_call(m_bus->sd(), &request, busName, "/org/freedesktop/DBus",
                                              busName, method);
  const Message owned(request);
  if (result >= 0) result = sd_bus_message_append(request, "s", argument.c_str());
  if (result >= 0) {
    result = sd_bus_call_async(m_bus->sd(), nullptr, request, onStep, &subscription, busLimit * 1000);
  }
  m_bus->sent();
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
  auto next = steady_clock::time_point::max();
  for (const Subscription& subscription : m_subscriptions) {
    if (subscription.waiting) next = std::min(next, subscription.again);
  }
  if (next == steady_clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<milliseconds>(next - steady_clock::now()).count();
  return static_cast<int>(std::clamp<int64_t>(left, 0, tryInterval.count()));
}

}  // namespace otnbus
