// The bus as the services see it, without a bus: what they register, answer, give up and signal is kept.
//
// A program that links FakeBus.cpp uses it in place of the platform's stubs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "OBmessage.h"

class FakeBus {
 public:
  struct Reply {
    uint64_t call;
    std::vector<OBvalue> results;
  };
  struct Signal {
    std::string interfaceClass;
    std::string member;
    std::vector<OBvalue> arguments;
  };

  /// Forgets everything.
  static void clear();
  /// A handle as the bus gives it with a call.
  static OBstubReply* call(uint64_t number);
  /// The next signals are refused when they are registered; agreeToSignals() makes the bus agree.
  static void refuseSignals();
  static void agreeToSignals();
  /// What the sender answers to a query; nothing = there is no answer.
  static void answerQueries(std::optional<OBvalue> answer);

  static std::vector<Reply> replies();
  /// Calls whose handle was released without a reply.
  static std::vector<uint64_t> released();
  static std::vector<Signal> signals();
  /// "asynchronous NAME CLASS", in order.
  static std::vector<std::string> registrations();
};
