// The component's connection to D-Bus.
//
// The bus thread opens it, fills it and runs the dispatch. While run() runs, one I/O thread owns the sd_bus
// and every sd_bus_message; before that, the bus thread does. Nobody else touches either: other threads post
// to the outbox. So a handler may block as long as it likes.
#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "OBmessage.h"
#include "otnbus/CallQueue.h"
#include "otnbus/Outbox.h"
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
  const std::shared_ptr<Outbox>& outbox() const { return m_outbox; }

  /// Connects and takes the component's name; tries again twice a second until it has both or is
  /// killed.
  void open();

  /// A registration's handle, or -1 after a log line.
  int offer(OBstub* stub, const OBinterfaceDescription& description, const std::string& busInterfaceName);
  /// As offer. When the bus refuses, `asksAgain` is set: it is asked again, and `onStanding`
  /// is called on the dispatching thread when it does.
  int receive(OBstub* stub, const OBinterfaceDescription& description, const std::string& busInterfaceName,
              std::function<void()> onStanding, bool& asksAgain);
  void withdraw(int registration) { m_registry.remove(registration); }
  /// Calls a query of the interface at its sender; see OBstub::query.
  bool query(const OBinterfaceDescription& description, const std::string& busInterfaceName,
             const char* member, OBvalue& result);
  /// The same without waiting; `answered` is called on the dispatching thread while the registration exists.
  void queryLater(int registration, const OBinterfaceDescription& description,
                  const std::string& busInterfaceName, const char* member, const OBvalue& kind,
                  const std::function<void(const OBvalue*)>& answered);

  /// Dispatches on the calling thread until the kill message, then closes the connection.
  void run();
  /// Async-signal-safe; any thread.
  void kill() { m_queue.kill(); }

 private:
  /// A message that came before run(); `checked` tells that a signal's sender was found to be the right one.
  struct Early {
    Message message;
    size_t size;
    bool checked;
  };
  /// A reply that is begun and not given: null where the caller expects none.
  struct Owed {
    Message reply;
    size_t textSize;  ///< of the call
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
  std::string attempt();
  /// Takes messages in until it is done, the limit is over or it is broken off; an error of sd-bus, or 0.
  int takeInUntil(const std::function<bool()>& done, uint64_t limitMs, OnStop onStop);
  /// Sends the call and waits for its answer, while other messages are taken in; null without a good one.
  Message call(const Message& request, uint64_t limitMs, OnStop onStop, std::string& error);
  void lost(int error);
  void closeBus();

  void advance(Subscription& subscription);
  void askStep(Subscription& subscription);
  static int onStep(sd_bus_message* answer, void* subscription, sd_bus_error*);
  void stepDone(Subscription& subscription, sd_bus_message* answer);
  void refused(Subscription& subscription, const char* why);
  void tryAgain();
  int untilNextTry() const;
  Slot ask(const OBinterfaceDescription& description, const std::string& busInterfaceName, const char* member,
           const OBvalue& kind, std::function<void(const OBvalue*)> answered);
  void postTask(int registration, std::function<void()> task);

  void dispatch(CallQueue::Entry& entry);
  static void* ioThread(void* self);
  void ioLoop();
  int waitForWork(bool takePosted, int limitMs);
  bool waitForMemory();
  void sendPosted();
  void flush();
  uint64_t queuedWrites() const;

  static int onMessage(sd_bus_message* message, void* self, sd_bus_error*);
  int guarded(sd_bus_message* message, int (Connection::*handle)(sd_bus_message*));
  int incoming(sd_bus_message* message);
  int handleCall(sd_bus_message* call);
  int handleEarlyCall(sd_bus_message* call);
  void handleProperties(sd_bus_message* call, const Registry::Entry& object);
  void dispatchCall(sd_bus_message* call, const Registry::Entry& object, unsigned member);
  bool begin(uint64_t id, sd_bus_message* call, size_t textSize);
  void forget(uint64_t id);
  int handleSignal(sd_bus_message* signal);
  int dispatchSignal(sd_bus_message* signal);
  void dropSignal(sd_bus_message* signal);
  void ownerChanged(sd_bus_message* signal);
  Sender& sender(const OBinterfaceDescription& description);
  bool keepEarly(sd_bus_message* message, size_t size, bool checked);
  void keepEarlySignal(sd_bus_message* signal, bool checked);
  void replayEarly();
  void checkEarlySignals();

  const std::string m_component;
  const std::shared_ptr<Outbox> m_outbox = std::make_shared<Outbox>();
  CallQueue m_queue;
  Registry m_registry;

  // Of the thread that owns the bus.
  sd_bus* m_bus = nullptr;
  std::deque<Early> m_early;
  size_t m_earlySize = 0;  ///< of all in m_early; CallQueue::maxTextSize at most
  std::vector<Sender> m_senders;
  std::list<Subscription> m_subscriptions;
  std::unordered_map<uint64_t, Owed> m_owed;  ///< by call
  size_t m_owedText = 0;                      ///< text of all in m_owed; CallQueue::maxTextSize at most
  uint64_t m_lastCall = 0;
  bool m_running = false;
  bool m_closing = false;
  bool m_lackingMemory = false;  ///< since m_lackSince the bus has a message for which there is no memory
  std::chrono::steady_clock::time_point m_lackSince;
  bool m_droppingSignals = false;  ///< the WARNING of this overflow is written
};

}  // namespace otnbus
