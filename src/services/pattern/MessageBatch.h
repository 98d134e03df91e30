// The messages of one request on their way into the ring. Stack object of a worker.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include "OtnIpcMsg.h"

/// At most `most` messages, in their order. The first `count` are there; the others' memory is never touched.
template <size_t most>
class MessageBatch {
  static_assert(std::is_trivially_default_constructible_v<OtnIpcMsg>);

 public:
  MessageBatch() {}

  /// Adds the message that `build()` returns, which is made where it stays.
  template <class Build>
  void add(Build build) {
    new (&messages[count]) OtnIpcMsg(build());
    ++count;
  }

  OtnIpcMsg messages[most];
  int32_t count = 0;
  bool refused = false;  ///< queue nothing; the caller is answered at once
};
