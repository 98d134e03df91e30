// Base of every bus interface that a component offers or receives.
//
// Owned by the program. add_interface calls the three operations below in this order, on the calling thread.
#pragma once

class OBcomponent;

class OBinterface {
 public:
  OBinterface() = default;
  virtual ~OBinterface() = default;
  OBinterface(const OBinterface&) = delete;
  OBinterface& operator=(const OBinterface&) = delete;

  /// Creates the stub and registers it under the bus interface's name.
  virtual void register_interface(OBcomponent* component) = 0;
  /// Creates what sends this interface's own signals.
  virtual void register_notifications(OBcomponent*) {}
  /// Creates what this interface calls at other components.
  virtual void register_clients(OBcomponent*) {}
};
