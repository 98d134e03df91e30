// Base of the generated stubs: carries one interface class over the bus for the service that owns it.
//
// Created and deleted by its service. Registration happens on the bus thread before the component starts;
// replies and signals may be sent from any thread, also after the component is gone (they are then dropped),
// and also with a lock of the program's held: the bus's lock comes after all others.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

#include "OBconnection.h"
#include "OBinterfaceDescription.h"
#include "OBmessage.h"

class OBcomponent;
class OBinterface;
class OBstubReply;
namespace otnbus {
class Bus;
class Connection;
}  // namespace otnbus

class OBstub : public OBconnection {
 public:
  ~OBstub() override;

  /// Offer the interface class under this bus interface name. False, after a log line, when the bus refuses
  /// or the name is taken.
  bool register_synchronous(const char* busInterfaceName);
  bool register_asynchronous(const char* busInterfaceName);
  /// The same for methods that are to be answered also while a handler of the component blocks: a call goes
  /// past those that wait, on whichever thread has the bus, and on two at once for a moment. So the methods
  /// must be safe on any thread, and must not block. The stub stays until start() has returned.
  bool register_immediate(const char* busInterfaceName);
  /// Receive the interface class's signals sent under this bus interface name. False, after a log line, while
  /// the bus refuses: it is then asked again every 5 s, and `onStanding` is called on the bus thread when it
  /// has agreed.
  bool register_signal(const char* busInterfaceName, std::function<void()> onStanding = {});

 protected:
  /// `component` may be null: such a stub can neither be registered nor send signals.
  OBstub(OBinterface* service, OBcomponent* component, const OBinterfaceDescription& description);

  OBinterface* service() const { return m_service; }

  /// Consumes `reply`; null is allowed.
  void send_reply(OBstubReply* reply, std::initializer_list<OBvalue> results);
  /// Broadcasts a signal of this interface.
  void send_signal(const char* member, std::initializer_list<OBvalue> arguments);
  /// Calls a method without arguments at the sender, waits at most 1 s, and stores its one result, which must
  /// be of the type that `result` holds. Only before the component starts. False when there is no sender, no
  /// answer or another type, or when the process is to stop.
  bool query(const char* member, OBvalue& result);
  /// The same without waiting, also after the component has started: `answered` is called on the bus thread,
  /// with null where query gives false. Bus thread only.
  void query(const char* member, const OBvalue& kind, const std::function<void(const OBvalue*)>& answered);

 private:
  bool registered(int handle, const otnbus::Connection& connection, const char* busInterfaceName);
  bool offer(const char* busInterfaceName, bool immediate);

  OBinterface* m_service;
  int m_registrationHandle = -1;
  std::string m_busInterfaceName;
  const OBinterfaceDescription& m_description;
  std::string m_interfaceName;
  std::string m_path;  ///< object path under which this component sends the interface's signals
  std::weak_ptr<otnbus::Connection> m_connection;
  std::shared_ptr<otnbus::Bus> m_bus;
};
