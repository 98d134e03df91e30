#include "OBstub.h"

#include <utility>

#include "OBcomponent.h"
#include "OBstubReply.h"
#include "otnbus/Bus.h"
#include "otnbus/Connection.h"

OBstub::OBstub(OBinterface* service, OBcomponent* component, const OBinterfaceDescription& description)
    : m_service(service), m_description(description) {
  if (component == nullptr) return;
  m_connection = component->connection();
  m_bus = component->connection()->bus();
  m_interfaceName = otnbus::interfaceName(description);
}

OBstub::~OBstub() {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  if (connection && m_registrationHandle >= 0) connection->withdraw(m_registrationHandle);
}

bool OBstub::register_synchronous(const char* busInterfaceName) {
  return offer(busInterfaceName, false);
}
bool OBstub::register_asynchronous(const char* busInterfaceName) {
  return offer(busInterfaceName, false);
}
bool OBstub::register_immediate(const char* busInterfaceName) {
  return offer(busInterfaceName, true);
}

bool OBstub::offer(const char* busInterfaceName, bool immediate) {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  if (!connection || m_registrationHandle >= 0) return false;
  return registered(connection->offer(this, m_description, busInterfaceName, immediate), *connection,
                    busInterfaceName);
}

bool OBstub::register_signal(const char* busInterfaceName, std::function<void()> onStanding) {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  if (!connection || m_registrationHandle >= 0) return false;
  bool asksAgain = false;
  const int handle =
      connection->receive(this, m_description, busInterfaceName, std::move(onStanding), asksAgain);
  return registered(handle, *connection, busInterfaceName) && !asksAgain;
}

bool OBstub::registered(int handle, const otnbus::Connection& connection, const char* busInterfaceName) {
  m_registrationHandle = handle;
  if (handle < 0) return false;
  m_busInterfaceName = busInterfaceName;
  m_path = otnbus::objectPath(connection.component(), m_busInterfaceName);
  return true;
}

void OBstub::send_reply(OBstubReply* reply, std::initializer_list<OBvalue> results) {
  if (reply == nullptr) return;
  reply->m_bus->reply(reply->m_call, results);
  delete reply;
}

void OBstub::send_signal(const char* member, std::initializer_list<OBvalue> arguments) {
  if (m_path.empty()) return;
  m_bus->signal(m_path, m_interfaceName, member, arguments);
}

bool OBstub::query(const char* member, OBvalue& result) {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  return connection && !m_busInterfaceName.empty() &&
         connection->query(m_description, m_busInterfaceName, member, result);
}

void OBstub::query(const char* member, const OBvalue& kind,
                   const std::function<void(const OBvalue*)>& answered) {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  if (!connection || m_registrationHandle < 0) return;
  connection->queryLater(m_registrationHandle, m_description, m_busInterfaceName, member, kind, answered);
}
