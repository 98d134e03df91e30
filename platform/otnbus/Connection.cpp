// Opening and closing a connection: what the bus thread does with the bus before the dispatch.
#include "otnbus/Connection.h"

#include <malloc.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>

#include "board/platformTrace.h"
#include "otnbus/errorText.h"
#include "stopPending.h"

namespace otnbus {

namespace {

constexpr LogPlace atOpen{"otnbus", "open", &platformTrace};
constexpr LogPlace atLost{"otnbus", "lost", &platformTrace};

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int retryInterval = 500;     ///< ms between two attempts to get the name
constexpr uint64_t nameLimit = 10000;  ///< ms that the bus may take for its answer

constexpr uint32_t doNotQueue = 4;
constexpr uint32_t primaryOwner = 1;
constexpr int mappedSize = 128 * 1024;

/// What the bus says to the request for the name.
struct NameAnswer {
  bool done = false;
  std::string obstacle = "no answer";  ///< empty when the name is ours
};

int onNameAnswer(sd_bus_message* message, void* data, sd_bus_error*) {
  NameAnswer& answer = *static_cast<NameAnswer*>(data);
  answer.done = true;
  uint32_t result = 0;
  if (const sd_bus_error* error = sd_bus_message_get_error(message); error != nullptr) {
    answer.obstacle = error->message != nullptr ? error->message : error->name;
  } else if (sd_bus_message_read(message, "u", &result) > 0 && result == primaryOwner) {
    answer.obstacle.clear();
  } else {
    answer.obstacle = "the name belongs to another";
  }
  return 1;
}

}  // namespace

Connection::Connection(std::string component) : m_component(std::move(component)) {}

Connection::~Connection() {
  m_bus->close();
  const Guard guard(&m_bus->mutex);
  closeBus();
}

void Connection::closeBus() {
  m_early.clear();
  m_bus->disconnect();
}

bool Connection::stopRequested() const {
  return m_bus->killed() || otn::stopPending();
}

void Connection::open() {
  // A large message's memory goes back to the system with the message. Left to itself the C library would, on
  // a 64-bit host, keep as much as the largest message so far has taken.
  mallopt(M_MMAP_THRESHOLD, mappedSize);
  bool told = false;
  // A pending stop does not end this: a process that is told to stop before it has a bus ends by its start-up
  // limit, one whose bus is there comes up and then stops.
  while (!m_bus->killed()) {
    const std::string obstacle = attempt();
    if (obstacle.empty()) {
      if (told) {
        LOG(INFO, atOpen, HERE, "Component %s is on the bus", m_component.c_str());
      }
      return;
    }
    if (!told) {
      LOG(WARNING, atOpen, HERE, "Component %s is not on the bus yet, trying again: %s", m_component.c_str(),
          obstacle.c_str());
      told = true;
    }
    for (int waited = 0; waited < retryInterval && !m_bus->killed(); waited += stopSlice) {
      poll(nullptr, 0, stopSlice);
    }
  }
}

/// Tells why the component does not have its name; it is then not connected.
std::string Connection::attempt() {
  NameAnswer answer;
  sd_bus_slot* slot = nullptr;
  int result;
  {
    const Guard guard(&m_bus->mutex);
    result = m_bus->connect();
    if (result >= 0) result = sd_bus_add_filter(m_bus->sd(), nullptr, onMessage, this);
    if (result >= 0) {
      result = sd_bus_call_method_async(m_bus->sd(), &slot, busName, "/org/freedesktop/DBus", busName,
                                        "RequestName", onNameAnswer, &answer, "su",
                                        ("otn." + m_component).c_str(), doNotQueue);
    }
  }
  if (result >= 0) result = takeInUntil([&answer] { return answer.done; }, nameLimit, OnStop::GoOn);
  const Guard guard(&m_bus->mutex);
  sd_bus_slot_unref(slot);
  if (result < 0) answer.obstacle = errorText(result);
  if (!answer.obstacle.empty()) closeBus();
  return answer.obstacle;
}

int Connection::takeInUntil(const std::function<bool()>& done, uint64_t limitMs, OnStop onStop) {
  const auto deadline = steady_clock::now() + milliseconds(limitMs);
  const auto brokenOff = [&] { return onStop == OnStop::GiveUp ? stopRequested() : m_bus->killed(); };
  while (!done() && !brokenOff()) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
    if (left <= 0) break;
    Wait wait{};
    int result;
    {
      const Guard guard(&m_bus->mutex);
      result = sd_bus_process(m_bus->sd(), nullptr);
      // Where the connection is lost, the dispatch will find out and report it.
      if (result > 0) continue;
      if (result == 0) result = m_bus->prepare(wait, static_cast<int>(std::min<int64_t>(left, stopSlice)));
    }
    if (result < 0) return result;
    m_bus->wait(wait);
  }
  return 0;
}

void Connection::lost(int error) {
  {
    // The bus thread and the deputy may both come to know.
    const Guard guard(&m_bus->mutex);
    if (m_bus->sd() == nullptr) return;
    closeBus();
  }
  LOG(CRITICAL, atLost, HERE, "The bus connection is lost: %s", errorText(error).c_str());
  ::kill(getpid(), SIGTERM);
}

}  // namespace otnbus
