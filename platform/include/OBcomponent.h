// A component on the OTN bus.
//
// Built, filled and run by one thread, the bus thread. The constructor returns once the component has its
// name on the bus. Nothing is dispatched before start(); what arrives earlier waits.
#pragma once

#include <atomic>
#include <memory>
#include <string>

class OBinterface;
class OBstub;
namespace otnbus {
class Connection;
}

class OBcomponent {
 public:
  struct ExtraCfg {
    const char* instanceName;
    bool flag;
  };

  /// `cfg` may be null. Tries again twice a second while the bus cannot be reached or the name is taken.
  OBcomponent(const char* name, const ExtraCfg* cfg);
  virtual ~OBcomponent();
  OBcomponent(const OBcomponent&) = delete;
  OBcomponent& operator=(const OBcomponent&) = delete;

  /// Calls the interface's register_interface, register_notifications and register_clients.
  void add_interface(OBinterface* interface);
  /// Dispatches on the calling thread until the kill message; the mode must be 0.
  void start(int mode);
  /// Makes start() return, also when it has not been called yet. Async-signal-safe; any thread.
  void sendKillMsgToSelf();

  const char* name() const { return m_name.c_str(); }
  const std::shared_ptr<otnbus::Connection>& connection() const { return m_connection; }

  /// The process's component; null before the constructor has begun to connect and after the destructor.
  static std::atomic<OBcomponent*> static_obc;

 private:
  std::string m_name;
  std::shared_ptr<otnbus::Connection> m_connection;
};
