// The handle of one reply owed to a bus caller.
//
// Created by the bus for each call, passed from holder to holder, and consumed exactly once: by the stub's
// ..._reply operation or, when no reply will be given, by release(). Any thread may consume it. It keeps
// alive what it needs of the bus connection: after the connection's end it is inert, and may still be
// consumed.
#pragma once

#include <cstdint>
#include <memory>

namespace otnbus {
class Bus;
}

class OBstubReply {
 public:
  OBstubReply(std::shared_ptr<otnbus::Bus> bus, uint64_t call);
  OBstubReply(const OBstubReply&) = delete;
  OBstubReply& operator=(const OBstubReply&) = delete;

  /// Gives up the reply: nothing is sent, and the bus forgets the call. Null is allowed.
  static void release(OBstubReply* reply);

 private:
  friend class OBstub;
  ~OBstubReply() = default;

  std::shared_ptr<otnbus::Bus> m_bus;
  uint64_t m_call;
};
