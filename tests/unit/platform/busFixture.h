// A component with one service of each kind on a bus of the test's own.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "OBcommon_1_0_S.h"
#include "OBcomponent.h"
#include "OBredundantInfo_1_0_S.h"
#include "OBsetPortParams_1_0_S.h"
#include "OBsetSmartSfpParams_1_0_S.h"
#include "PrivateBus.h"
#include "support/SyslogCapture.h"
#include "support/waitFor.h"

namespace busTest {

inline constexpr const char* component = "otn.Tested";
inline constexpr const char* portPath = "/otn/Tested/Ports";
inline constexpr const char* sfpPath = "/otn/Tested/Sfp";
inline constexpr const char* immediatePath = "/otn/Tested/Immediate";
inline constexpr const char* commonClass = "otn.OBcommon_1_0";
inline constexpr const char* portClass = "otn.OBsetPortParams_1_0";
inline constexpr const char* statePath = "/otn/redundancyManager/state_signal";
inline constexpr const char* stateClass = "otn.OBredundantInfo_1_0";
inline constexpr const char* unknownObject = "org.freedesktop.DBus.Error.UnknownObject";
inline constexpr const char* unknownInterface = "org.freedesktop.DBus.Error.UnknownInterface";
inline constexpr const char* unknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
inline constexpr const char* unknownProperty = "org.freedesktop.DBus.Error.UnknownProperty";
inline constexpr const char* invalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";
inline constexpr const char* limitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";

class Common : public OBcommon_1_0_SI {
 public:
  using OBcommon_1_0_SI::get_trace_level;
  using OBcommon_1_0_SI::set_trace_level;
  void register_interface(OBcomponent* owner) override {
    m_stub = std::make_unique<OBcommon_1_0_S>(this, owner);
    EXPECT_TRUE(m_stub->register_synchronous("ob_common"));
    EXPECT_FALSE(OBcommon_1_0_S(this, owner).register_synchronous("ob_common"));
    EXPECT_FALSE(OBcommon_1_0_S(this, owner).register_synchronous("not a name"));
  }
  void get_trace_level(int32_t& level) override { level = m_level; }
  void set_trace_level(int32_t level) override { m_level = level; }

 private:
  std::unique_ptr<OBcommon_1_0_S> m_stub;
  int32_t m_level = 6;
};

/// Answered past the calls that wait; notes the thread that served it last.
class Immediate : public OBcommon_1_0_SI {
 public:
  using OBcommon_1_0_SI::get_trace_level;
  using OBcommon_1_0_SI::set_trace_level;
  void register_interface(OBcomponent* owner) override {
    m_stub = std::make_unique<OBcommon_1_0_S>(this, owner);
    EXPECT_TRUE(m_stub->register_immediate("Immediate"));
  }
  void get_trace_level(int32_t& level) override {
    level = 7;
    thread = gettid();
  }

  std::atomic<pid_t> thread{0};

 private:
  std::unique_ptr<OBcommon_1_0_S> m_stub;
};

/// Keeps the handles of port number 0, blocks in port number 99 until `opened`, answers all others.
class Ports : public OBsetPortParams_1_0_SI {
 public:
  using OBsetPortParams_1_0_SI::setPortParams;
  void register_interface(OBcomponent* owner) override {
    m_stub = std::make_unique<OBsetPortParams_1_0_S>(this, owner);
    EXPECT_TRUE(m_stub->register_asynchronous("Ports"));
  }
  void setPortParams(OBstubReply* reply, uint32_t action, uint32_t ifType, uint32_t portNr, uint32_t ifSpeed,
                     bool bConfigure, uint32_t acVlan, uint32_t extra1, uint32_t extra2) override {
    {
      const std::lock_guard guard(m_mutex);
      m_served.push_back(portNr);
    }
    ++calls;
    if (portNr == 99) {
      blocked = true;
      waitFor([this] { return opened.load(); });
      blocked = false;
    }
    if (portNr == 0) {
      const std::lock_guard guard(m_mutex);
      m_kept.push_back(reply);
    } else {
      m_stub->setPortParams_reply(reply, action, ifType, portNr, ifSpeed, bConfigure, acVlan, extra1, extra2);
    }
  }
  OBstubReply* takeKept() {
    const std::lock_guard guard(m_mutex);
    if (m_kept.empty()) return nullptr;
    OBstubReply* reply = m_kept.front();
    m_kept.pop_front();
    return reply;
  }
  /// Port numbers, in the order of the calls.
  std::vector<uint32_t> served() {
    const std::lock_guard guard(m_mutex);
    return m_served;
  }
  OBsetPortParams_1_0_S& stub() { return *m_stub; }
  void answer(OBstubReply* reply) { m_stub->setPortParams_reply(reply, 1, 2, 3, 4, true, 5, 6, 7); }

  std::atomic<int> calls{0};
  std::atomic<bool> blocked{false};
  std::atomic<bool> opened{false};

 private:
  std::unique_ptr<OBsetPortParams_1_0_S> m_stub;
  std::mutex m_mutex;
  std::deque<OBstubReply*> m_kept;
  std::vector<uint32_t> m_served;
};

/// Answers, keeps or releases the handles, as it is told.
class Sfp : public OBsetSmartSfpParams_1_0_SI {
 public:
  using OBsetSmartSfpParams_1_0_SI::setSmartSfpParams;
  void register_interface(OBcomponent* owner) override {
    m_stub = std::make_unique<OBsetSmartSfpParams_1_0_S>(this, owner);
    EXPECT_TRUE(m_stub->register_asynchronous("Sfp"));
  }
  void setSmartSfpParams(OBstubReply* reply, uint32_t enableFilter, uint32_t action, uint32_t sendOutPDU,
                         uint32_t pbmp, uint32_t size, std::string pdu) override {
    ++calls;
    if (releasing) {
      OBstubReply::release(reply);
    } else if (keeping) {
      const std::lock_guard guard(m_mutex);
      m_kept.push_back(reply);
    } else {
      m_stub->setSmartSfpParams_reply(reply, enableFilter, action, sendOutPDU, pbmp, size, std::move(pdu));
    }
  }
  /// Its object is gone from the bus.
  void leave() { m_stub.reset(); }
  void answerKept(const std::string& text = {}) {
    const std::lock_guard guard(m_mutex);
    for (OBstubReply* reply : std::exchange(m_kept, {})) {
      m_stub->setSmartSfpParams_reply(reply, 1, 2, 3, 4, 5, text);
    }
  }

  std::atomic<int> calls{0};
  std::atomic<bool> keeping{false};
  std::atomic<bool> releasing{false};

 private:
  std::unique_ptr<OBsetSmartSfpParams_1_0_S> m_stub;
  std::mutex m_mutex;
  std::vector<OBstubReply*> m_kept;
};

class State : public OBredundantInfo_1_0_SI {
 public:
  using OBredundantInfo_1_0_SI::setRedundantState;
  void register_interface(OBcomponent* owner) override {
    m_stub = std::make_unique<OBredundantInfo_1_0_S>(this, owner);
    EXPECT_TRUE(m_stub->register_signal("state_signal"));
    int32_t state = 15;
    do {
      answered = m_stub->query_getRedundantState(state);
    } while (asking);
    asked = state;
  }
  void setRedundantState(int32_t state) override {
    const std::lock_guard guard(m_mutex);
    m_states.push_back(state);
  }
  OBredundantInfo_1_0_S& stub() { return *m_stub; }
  std::vector<int32_t> states() {
    const std::lock_guard guard(m_mutex);
    return m_states;
  }

  std::atomic<bool> asking{false};  ///< asks again and again while it is registered
  std::atomic<bool> answered{false};
  std::atomic<int32_t> asked{-1};

 private:
  std::unique_ptr<OBredundantInfo_1_0_S> m_stub;
  std::mutex m_mutex;
  std::vector<int32_t> m_states;
};

/// A component, its services and its bus thread.
struct Component {
  enum class Until { Started, Filled, Named };
  /// Goes on by itself to where it is told; then it waits for mayFill and mayStart.
  explicit Component(Until until = Until::Started)
      : mayFill(until != Until::Named), mayStart(until == Until::Started) {
    thread = std::thread([this] {
      OBcomponent bus("Tested", nullptr);
      named = true;
      waitFor([this] { return mayFill.load(); });
      bus.add_interface(&common);
      bus.add_interface(&immediate);
      bus.add_interface(&ports);
      bus.add_interface(&sfp);
      bus.add_interface(&state);
      filled = true;
      waitFor([this] { return mayStart.load(); });
      bus.start(0);
      stopped = true;
    });
  }
  ~Component() { stop(); }
  void stop() {
    ports.opened = true;
    mayFill = true;
    mayStart = true;
    waitFor([this] { return stopped || OBcomponent::static_obc.load() != nullptr; }, std::chrono::seconds(1));
    if (!thread.joinable()) return;
    if (OBcomponent* bus = OBcomponent::static_obc) bus->sendKillMsgToSelf();
    thread.join();
    while (OBstubReply* reply = ports.takeKept()) OBstubReply::release(reply);
  }
  bool ready() {
    return waitFor([this] { return filled.load(); });
  }

  Common common;
  Immediate immediate;
  Ports ports;
  Sfp sfp;
  State state;
  std::atomic<bool> mayFill;
  std::atomic<bool> mayStart;
  std::atomic<bool> named{false};
  std::atomic<bool> filled{false};
  std::atomic<bool> stopped{false};
  std::thread thread;
};

class BusTest : public testing::Test {
 protected:
  BusTest() {
    // A lost bus stops the process: the test takes the signal itself.
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);
    EXPECT_TRUE(m_bus.start());
  }

  std::string setPort(Peer& peer, uint32_t portNr) {
    return peer.call(component, portPath, portClass, "setPortParams", "uuuubuuu", 1U, 2U, portNr, 4U, 1, 6U,
                     7U, 8U);
  }
  /// Sends the call and does not wait; `answers` is counted up for the reply.
  static void sendPort(Peer& peer, uint32_t portNr, int* answers) {
    ASSERT_GE(sd_bus_call_method_async(peer.bus(), nullptr, component, portPath, portClass, "setPortParams",
                                       count, answers, "uuuubuuu", 1U, 2U, portNr, 4U, 1, 6U, 7U, 8U),
              0);
  }
  static int count(sd_bus_message* m, void* counter, sd_bus_error*) {
    if (sd_bus_message_is_method_error(m, limitsExceeded) > 0) static_cast<int*>(counter)[1]++;
    if (sd_bus_message_is_method_error(m, nullptr) == 0) static_cast<int*>(counter)[0]++;
    return 1;
  }
  /// As sendPort, to the service that takes a text.
  static void sendText(Peer& peer, size_t size, int* answers, bool expectReply = true) {
    sd_bus_message* call = nullptr;
    sd_bus_message_new_method_call(peer.bus(), &call, component, sfpPath, nullptr, "setSmartSfpParams");
    sd_bus_message_append(call, "uuuuus", 1U, 2U, 3U, 4U, 5U, std::string(size, 'x').c_str());
    sd_bus_message_set_expect_reply(call, expectReply ? 1 : 0);
    if (expectReply) {
      ASSERT_GE(sd_bus_call_async(peer.bus(), nullptr, call, count, answers, 0), 0);
    } else {
      ASSERT_GE(sd_bus_send(peer.bus(), call, nullptr), 0);
    }
    sd_bus_message_unref(call);
  }
  /// Whether all threads but the caller's leave the processor alone for a second.
  static bool sleeps() {
    const auto ofOthers = [] {
      return nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - nanoseconds(CLOCK_THREAD_CPUTIME_ID);
    };
    const auto busy = [ofOthers, before = ofOthers()] { return ofOthers() - before > 50'000'000; };
    return !waitFor(busy, std::chrono::seconds(1));
  }
  static int64_t nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
  }
  static bool pump(Peer& peer, const std::function<bool()>& until) {
    return waitFor([&] {
      while (peer.process()) {
      }
      return until();
    });
  }
  static void sendState(Peer& peer, const char* destination, const char* types, ...) {
    sd_bus_message* signal = nullptr;
    sd_bus_message_new_signal(peer.bus(), &signal, statePath, stateClass, "setRedundantState");
    if (destination != nullptr) sd_bus_message_set_destination(signal, destination);
    va_list arguments;
    va_start(arguments, types);
    sd_bus_message_appendv(signal, types, arguments);
    va_end(arguments);
    sd_bus_send(peer.bus(), signal, nullptr);
    sd_bus_flush(peer.bus());
    sd_bus_message_unref(signal);
  }

  SyslogCapture m_log;
  PrivateBus m_bus;
};

}  // namespace busTest
