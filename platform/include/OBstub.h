// Base of the generated stubs: carries one interface class over the bus for the service that owns it.
//
// Created and deleted by its service. Registration happens on the bus thread before the component starts;
// replies and signals may be sent from any thread, also after the component is gone (they are then dropped).
#pragma once

#include <initializer_list>
#include <memory>
#include <string>

#include "OBconnection.h"
#include "OBmessage.h"

class OBcomponent;
class OBinterface;
class OBstubReply;
namespace otnbus {
class Outbox;
}

class OBstub : public OBconnection {
 public:
  ~OBstub() override;

  /// Offer the interface class under this bus interface name. False, after a log line, when the bus refuses
  /// or the name is taken.
  bool register_synchronous(const char* busInterfaceName);
  bool register_asynchronous(const char* busInterfaceName);
  /// Receive the interface class's signals sent under this bus interface name.
  bool register_signal(const char* busInterfaceName);

 protected:
  /// `interfaceXml` is the interface's description, an <interface> element; `sender` the component whose
  /// signals are received and whose methods are queried, empty for an interface that is offered.
  OBstub(OBinterface* service, OBcomponent* component, const char* description, const char* interfaceClass,
         const char* interfaceXml, const char* sender);

  /// Consumes `reply`; null is allowed.
  void send_reply(OBstubReply* reply, std::initializer_list<OBvalue> results);
  /// Broadcasts a signal of this interface.
  void send_signal(const char* member, std::initializer_list<OBvalue> arguments);
  /// Calls a method without arguments at the sender, waits at most 1 s, and stores its one result. Only
  /// before the component starts. False when there is no sender, no answer or another type.
  bool query(const char* member, OBvalue& result);

 private:
  enum class Kind { Synchronous, Asynchronous, Signal };
  bool registerAs(const char* busInterfaceName, Kind kind);

  OBinterface* m_service;
  OBcomponent* m_component;
  int m_connectionHandle = -1;
  int m_registrationHandle = -1;
  std::string m_busInterfaceName;
  std::string m_description;
  std::string m_interfaceClass;
  const char* m_interfaceXml;
  const char* m_sender;
  std::shared_ptr<otnbus::Outbox> m_outbox;
};
