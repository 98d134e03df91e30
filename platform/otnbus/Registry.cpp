#include "otnbus/Registry.h"

#include <algorithm>
#include <set>

namespace otnbus {

namespace {

constexpr std::string_view interfacePrefix = "otn.";

constexpr const char* documentHead =
    R"xml(<!DOCTYPE node PUBLIC "-//freedesktop//DTD D-BUS Object Introspection 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd">
<node>
<interface name="org.freedesktop.DBus.Peer">
 <method name="Ping"/>
 <method name="GetMachineId">
  <arg name="machine_uuid" type="s" direction="out"/>
 </method>
</interface>
<interface name="org.freedesktop.DBus.Introspectable">
 <method name="Introspect">
  <arg name="xml_data" type="s" direction="out"/>
 </method>
</interface>
<interface name="org.freedesktop.DBus.Properties">
 <method name="Get">
  <arg name="interface_name" type="s" direction="in"/>
  <arg name="property_name" type="s" direction="in"/>
  <arg name="value" type="v" direction="out"/>
 </method>
 <method name="Set">
  <arg name="interface_name" type="s" direction="in"/>
  <arg name="property_name" type="s" direction="in"/>
  <arg name="value" type="v" direction="in"/>
 </method>
 <method name="GetAll">
  <arg name="interface_name" type="s" direction="in"/>
  <arg name="properties" type="a{sv}" direction="out"/>
 </method>
</interface>
)xml";

/// How much of a path below `node` leads to its child; 0 when it does not lie below.
size_t lengthAbove(std::string_view path, std::string_view node) {
  if (node == "/") return path.size() > 1 ? 1 : 0;
  return path.size() > node.size() && path.starts_with(node) && path[node.size()] == '/' ? node.size() + 1
                                                                                         : 0;
}

}  // namespace

std::string interfaceName(const OBinterfaceDescription& description) {
  return std::string(interfacePrefix) + description.interfaceClass;
}

bool isInterface(std::string_view name, const OBinterfaceDescription& description) {
  return name.starts_with(interfacePrefix) &&
         name.substr(interfacePrefix.size()) == description.interfaceClass;
}

std::string objectPath(const std::string& component, const std::string& busInterfaceName) {
  return "/otn/" + component + "/" + busInterfaceName;
}

int Registry::add(OBstub* stub, const OBinterfaceDescription& description, const std::string& path,
                  bool receiver, bool immediate) {
  for (const Entry& entry : m_entries) {
    if (entry.path == path && entry.receiver == receiver) return -1;
  }
  m_entries.push_back({m_nextHandle, stub, &description, path, receiver, immediate});
  return m_nextHandle++;
}

void Registry::remove(int handle) {
  std::erase_if(m_entries, [handle](const Entry& entry) { return entry.handle == handle; });
}

OBstub* Registry::stub(int handle) const {
  for (const Entry& entry : m_entries) {
    if (entry.handle == handle) return entry.stub;
  }
  return nullptr;
}

const Registry::Entry* Registry::object(std::string_view path) const {
  for (const Entry& entry : m_entries) {
    if (!entry.receiver && entry.path == path) return &entry;
  }
  return nullptr;
}

const Registry::Entry* Registry::receiver(std::string_view path, std::string_view interfaceName,
                                          std::string_view signal, unsigned& member) const {
  for (const Entry& entry : m_entries) {
    if (!entry.receiver || entry.path != path) continue;
    if (!isInterface(interfaceName, *entry.description)) continue;
    const std::span<const OBmember> members = entry.description->members;
    for (member = 0; member < members.size(); ++member) {
      if (members[member].kind == OBmember::Kind::Signal && members[member].name == signal) {
        return &entry;
      }
    }
  }
  return nullptr;
}

bool Registry::nodeExists(std::string_view path) const {
  return path == "/" || std::any_of(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
           return !entry.receiver && (entry.path == path || lengthAbove(entry.path, path) > 0);
         });
}

std::string Registry::introspect(const std::string& path) const {
  std::string text = documentHead;
  std::set<std::string> children;
  for (const Entry& entry : m_entries) {
    if (entry.receiver) continue;
    if (entry.path == path) text += entry.description->xml;
    const size_t above = lengthAbove(entry.path, path);
    if (above == 0) continue;
    const size_t end = entry.path.find('/', above);
    children.insert(entry.path.substr(above, end - above));
  }
  for (const std::string& child : children) text += "<node name=\"" + child + "\"/>\n";
  return text + "</node>\n";
}

}  // namespace otnbus
