// The component's connection to D-Bus.
//
// The bus thread opens it, fills it and runs the dispatch: it waits on the bus, takes in what comes and calls
// the handlers. While a handler blocks, the deputy waits on the bus and takes in; so a handler may block as
// long as it likes. Whatever belongs to the bus is guarded by the bus's lock, which no handler runs under.
#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "OBmessage.h"
#include "otnbus/Bus.h"
#include "otnbus/CallQueue.h"
#include "otnbus/Deputy.h"
#include "otnbus/Registry.h"
#include "otnbus/values.h"

namespace otnbus {

class Connection {
 public:
  explicit Connection(std::string component);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  const std::string& component() const { return m_component; }
  const std::shared_ptr<Bus>& bus() const { return m_bus; }

  /// Connects and takes the component's name; tries again twice a second until it has both or is
  /// killed.
  void open();

  /// A registration's handle, or -1 after a log line.
  int offer(OBstub* stub, const OBinterfaceDescription& description, const std::string& busInterfaceName,
            bool immediate);
  /// As offer. When the bus refuses, `asksAgain` is set: it is asked again, and `onStanding`
  /// is called on the dispatching thread when it does.
  int receive(OBstub* stub, const OBinterfaceDescription& description, const std::string& busInterfaceName,
              std::function<void()> onStanding, bool& asksAgain);
  void withdraw(int registration) EXCLUDES(m_bus->mutex);
  /// Calls a query of the interface at its sender; see OBstub::query.
  bool query(const OBinterfaceDescription& description, const std::string& busInterfaceName,
             const char* member, OBvalue& result);
  /// The same without waiting; `answered` is called on the dispatching thread while the registration exists.
  void queryLater(int registration, const OBinterfaceDescription& description,
                  const std::string& busInterfaceName, const char* member, const OBvalue& kind,
                  const std::function<void(const OBvalue*)>& answered);

  /// Dispatches on the calling thread until the kill message, then closes the connection.
  void run() EXCLUDES(m_bus->mutex);
  /// Async-signal-safe; any thread.
  void kill() { m_bus->kill(); }

 private:
  /// A message that came before run(); `checked` tells that a signal's sender was found to be the right one.
  struct Early {
    Message message;
    size_t size;
    bool checked;
  };
  /// A receiver's sender: its unique name on the bus, empty when it has none.
  struct Sender {
    std::string wellKnownName;
    std::string owner;
    bool known = false;  ///< false until the bus was asked
  };
  /// A receiver's way to its signals, step by step; a step that the bus refuses is done again later.
  struct Subscription {
    enum class Step { MatchOwner, AskOwner, MatchSignals, Stands };
    Connection* connection = nullptr;
    int registration = -1;
    std::string busInterfaceName;
    const OBinterfaceDescription* description = nullptr;
    std::function<void()> onStanding;
    Step step = Step::MatchOwner;
    bool waiting = false;  ///< for `again`; otherwise a step is under way or it stands
    bool told = false;     ///< the ERROR is written
    std::chrono::steady_clock::time_point again;
  };
  struct Question;

  static constexpr int stopSlice = 50;  ///< ms between two looks whether to stop

  /// What a stop of the process does to a call under way; the kill message always ends it.
  enum class OnStop { GoOn, GiveUp };

  bool stopRequested() const;
  std::string attempt() EXCLUDES(m_bus->mutex);
  /// Takes messages in until it is done, the limit is over or it is broken off; an error of sd-bus, or 0.
  int takeInUntil(const std::function<bool()>& done, uint64_t limitMs, OnStop onStop) EXCLUDES(m_bus->mutex);
  void lost(int error) EXCLUDES(m_bus->mutex);
  void closeBus() REQUIRES(m_bus->mutex);

  int add(OBstub* stub, const OBinterfaceDescription& description, const std::string& path, bool receiver,
          bool immediate = false) EXCLUDES(m_bus->mutex);
  void advance(Subscription& subscription) REQUIRES(m_bus->mutex);
  void askStep(Subscription& subscription) REQUIRES(m_bus->mutex);
  void stepDone(Subscription& subscription, sd_bus_message* answer) REQUIRES(m_bus->mutex);
  void refused(Subscription& subscription, const char* why);
  void tryAgain() REQUIRES(m_bus->mutex);
  int untilNextTry() const REQUIRES(m_bus->mutex);
  Slot ask(const OBinterfaceDescription& description, const std::string& busInterfaceName, const char* member,
           const OBvalue& kind, std::function<void(const OBvalue*)> answered) REQUIRES(m_bus->mutex);
  void postTask(int registration, std::function<void()> task) REQUIRES(m_bus->mutex);

  void dispatch();
  void serve(CallQueue::Entry& entry, OBstub* stub) EXCLUDES(m_bus->mutex);
  bool takeImmediate(CallQueue::Entry& entry, OBstub*& stub) REQUIRES(m_bus->mutex);
  void carryOut(CallQueue::Entry& entry, OBstub* stub) EXCLUDES(m_bus->mutex);
  static void standIn(void* self);
  int takeIn() REQUIRES(m_bus->mutex);
  int prepare(Wait& wait) REQUIRES(m_bus->mutex);
  bool waitForMemory() REQUIRES(m_bus->mutex);
  void flush() EXCLUDES(m_bus->mutex);

  // Called by sd-bus, and so with the lock held.
  static int onStep(sd_bus_message* answer, void* subscription, sd_bus_error*) NO_THREAD_SAFETY_ANALYSIS;
  static int onMessage(sd_bus_message* message, void* self, sd_bus_error*) NO_THREAD_SAFETY_ANALYSIS;

  int guarded(sd_bus_message* message, int (Connection::*handle)(sd_bus_message*)) REQUIRES(m_bus->mutex);
  int incoming(sd_bus_message* message) REQUIRES(m_bus->mutex);
  int handleCall(sd_bus_message* call) REQUIRES(m_bus->mutex);
  int handleEarlyCall(sd_bus_message* call) REQUIRES(m_bus->mutex);
  void handleProperties(sd_bus_message* call, const OBinterfaceDescription* object) REQUIRES(m_bus->mutex);
  void dispatchCall(sd_bus_message* call, const Registry::Entry& object, unsigned member)
      REQUIRES(m_bus->mutex);
  int handleSignal(sd_bus_message* signal) REQUIRES(m_bus->mutex);
  int dispatchSignal(sd_bus_message* signal) REQUIRES(m_bus->mutex);
  void dropSignal(sd_bus_message* signal) REQUIRES(m_bus->mutex);
  void ownerChanged(sd_bus_message* signal) REQUIRES(m_bus->mutex);
  Sender& sender(const OBinterfaceDescription& description) REQUIRES(m_bus->mutex);
  bool keepEarly(sd_bus_message* message, size_t size, bool checked) REQUIRES(m_bus->mutex);
  void keepEarlySignal(sd_bus_message* signal, bool checked) REQUIRES(m_bus->mutex);
  void replayEarly() REQUIRES(m_bus->mutex);
  void checkEarlySignals() REQUIRES(m_bus->mutex);

  const std::string m_component;
  const std::shared_ptr<Bus> m_bus = std::make_shared<Bus>();
  Deputy m_deputy;

  Registry m_registry GUARDED_BY(m_bus->mutex);
  CallQueue m_queue GUARDED_BY(m_bus->mutex);
  CallQueue m_immediate GUARDED_BY(m_bus->mutex);  ///< for whoever has the bus, past m_queue
  std::deque<Early> m_early GUARDED_BY(m_bus->mutex);
  size_t m_earlySize GUARDED_BY(m_bus->mutex) = 0;  ///< of all in m_early; maxTextTogether at most
  std::vector<Sender> m_senders GUARDED_BY(m_bus->mutex);
  std::list<Subscription> m_subscriptions GUARDED_BY(m_bus->mutex);
  bool m_running GUARDED_BY(m_bus->mutex) = false;
  /// Since m_lackSince the bus has a message for which there is no memory.
  bool m_lackingMemory GUARDED_BY(m_bus->mutex) = false;
  std::chrono::steady_clock::time_point m_lackSince GUARDED_BY(m_bus->mutex);
  bool m_droppingSignals GUARDED_BY(m_bus->mutex) = false;  ///< the WARNING of this overflow is written
};

}  // namespace otnbus
