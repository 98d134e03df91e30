// The stubs registered on a connection: the object tree that peers see, and the signals received.
//
// Guarded by the bus's lock.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "OBinterfaceDescription.h"

class OBstub;

namespace otnbus {

class Registry {
 public:
  struct Entry {
    int handle = -1;
    OBstub* stub = nullptr;
    const OBinterfaceDescription* description = nullptr;
    std::string path;
    bool receiver = false;
    bool immediate = false;  ///< served past the calls that wait
  };

  /// The handle, or -1 when an object, or a receiver, of this path exists.
  int add(OBstub* stub, const OBinterfaceDescription& description, const std::string& path, bool receiver,
          bool immediate = false);
  void remove(int handle);

  OBstub* stub(int handle) const;
  // An entry stays until something is added or removed; null when there is none.
  /// The object at this path.
  const Entry* object(std::string_view path) const;
  /// The receiver of this signal; `member` is its place in the description.
  const Entry* receiver(std::string_view path, std::string_view interfaceName, std::string_view signal,
                        unsigned& member) const;
  /// True for the objects and every node above them.
  bool nodeExists(std::string_view path) const;
  /// What introspection of an existing node tells.
  std::string introspect(const std::string& path) const;

 private:
  std::vector<Entry> m_entries;
  int m_nextHandle = 0;
};

/// D-Bus's name of the interface class.
std::string interfaceName(const OBinterfaceDescription& description);
bool isInterface(std::string_view name, const OBinterfaceDescription& description);
/// The object that carries the component's bus interface.
std::string objectPath(const std::string& component, const std::string& busInterfaceName);

}  // namespace otnbus
