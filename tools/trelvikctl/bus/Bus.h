// The client's connection to the bus. No call waits longer than it is told, and SIGINT ends every wait. One
// owner, one thread.
#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/Outcome.h"
#include "base/StopSignal.h"
#include "bus/BusCall.h"

namespace ctl {

struct Reply {
  enum class Kind : uint8_t { answered, error, timeout, interrupted, lost };
  Kind kind = Kind::lost;
  std::vector<BusValue> values = {};
  std::string errorName = {};
  std::string errorText = {};

  bool answered() const { return kind == Kind::answered; }
};

class Bus {
 public:
  using Clock = std::chrono::steady_clock;
  using Milliseconds = std::chrono::milliseconds;
  /// A signal of the bus: interface, member, values.
  using OnSignal = std::function<void(const std::string&, const std::string&, const std::vector<BusValue>&)>;

  Bus() = default;
  ~Bus();
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  /// To the system bus, or the one that DBUS_SYSTEM_BUS_ADDRESS names. An outcome other than done says why
  /// not.
  Outcome open();

  /// `tick`, where given, is called once a second while the answer is waited for.
  Reply call(const BusCall& call, Milliseconds timeout, const std::function<void()>& tick = {});

  /// Without expecting a reply; false when the connection is lost.
  bool send(const BusCall& call, Milliseconds timeout);

  /// From now on signals that fit the match rule come to `receive`. A bus that refuses the rule ends the
  /// connection.
  bool subscribe(const std::string& match, OnSignal receive);

  /// Receives until `until` (its end: no limit), until enough() is true, or until SIGINT. False when the bus
  /// is lost.
  bool run(Clock::time_point until, const std::function<bool()>& enough = {});
  bool interrupted() const { return m_interrupted; }

  /// The user's process behind a name of the bus; 0 when nobody has it.
  uint32_t ownerPid(const std::string& name, Milliseconds timeout);

 private:
  sd_bus* m_bus = nullptr;
  StopSignal m_stop;
  bool m_interrupted = false;
  std::vector<std::unique_ptr<OnSignal>> m_receivers;  ///< the bus keeps their addresses

  static int onReply(sd_bus_message* message, void* waiting, sd_bus_error* error);
  static int onSignal(sd_bus_message* message, void* receiver, sd_bus_error* error);
  sd_bus_message* makeMessage(const BusCall& call);
};

/// Why there is no answer, and the exit status that goes with it. `what` names the request.
Outcome noAnswer(const Reply& reply, const BusCall& call, const std::string& what,
                 std::chrono::milliseconds timeout);

}  // namespace ctl
