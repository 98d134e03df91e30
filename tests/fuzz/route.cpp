// Requests, answers and ISS's own messages through the ring and the router, in any order and number. Every
// call gets one reply or is released once, an answer takes the slot at the read index and no other, and the
// indexes stay in range.
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Guard.h"
#include "boardUtils.h"
#include "frame/OutstandingAnswer.h"
#include "frame/answerIds.h"
#include "frame/opsMessage.h"
#include "frame/routeAnswer.h"
#include "fuzz/Input.h"
#include "fuzz/Record.h"
#include "fuzz/log.h"
#include "link/CriticalActivity.h"
#include "link/MsgArray.h"
#include "link/SrvDbg.h"
#include "message/MsgHandle.h"
#include "services/counters/SrvGetIssParams.h"
#include "services/ports/DcnTunnel.h"
#include "services/ports/SrvIss.h"
#include "services/redundancy/SrvRedundancy.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "services/synce/SrvSyncE.h"
#include "support/FakeBus.h"

namespace {

struct Indexes {
  int32_t read = readpointer;
  int32_t write = writepointer;

  int32_t used() const { return slotsInUse(write, read); }
  std::string text() const { return "RP=" + std::to_string(read) + " WP=" + std::to_string(write); }
};

/// A daemon without threads: each worker's function is called in the place of the worker.
class Daemon {
 public:
  explicit Daemon(bool registered) {
    FakeBus::clear();
    resetRing();
    clearSlots();
    memset(dcnTunnel, 0, sizeof dcnTunnel);
    g_EtsFpId = {};
    SrvIss::createInstance(false);
    SrvIssMgr::createInstance();
    SrvSmartSfp::createInstance();
    if (registered) {
      SrvIss::getInstance().register_interface(nullptr);
      SrvIss::getInstance().register_notifications(nullptr);
      SrvIssMgr::getInstance().register_interface(nullptr);
      SrvSmartSfp::getInstance().register_interface(nullptr);
      m_syncE.register_interface(nullptr);
      m_counters.register_interface(nullptr);
    }
  }
  ~Daemon() {
    SrvIss::destroyInstance();
    SrvIssMgr::destroyInstance();
    SrvSmartSfp::destroyInstance();
    FakeBus::clear();
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  void request(Input& input) {
    const Indexes before;
    const size_t ended = endedCalls();
    const bool called = queueRequest(input);
    const Indexes after;
    checkIndexes(after);
    must(after.read == before.read, "a request leaves the read index alone");
    const int32_t added = after.used() - before.used();
    must(added >= 0 && added <= 3, "a request comes to at most three messages");
    must(after.used() < MsgArraySize, "a slot stays free", [&] { return after.text(); });
    checkSlots(before.write, added);
    if (called) {
      must((endedCalls() - ended) == (added == 0 ? 1 : 0),
           "a call is answered at once or with its last message");
    }
  }

  void message(Input& input) {
    OtnIpcMsg msg = takeRecord(input);
    const OpsMessage kind = classify(msg);
    // These run commands.
    if (kind == OpsMessage::DefaultScriptDone || kind == OpsMessage::ReloadSucceeded) return;
    const Indexes before;
    const size_t ended = endedCalls();
    IssProcessing = 1;
    setOutstanding(before.used() > 0);
    const bool routed = kind == OpsMessage::Answer && before.used() > 0;
    const bool last = routed && isLast();
    {
      const Guard guard(&mutex);
      handleOpsMessage(msg, m_board, m_activity, m_debugSocket);
    }
    const Indexes after;
    checkIndexes(after);
    must(IssProcessing == 0, "a message from OPS clears the flag of the one that is with ISS");
    must(after.write == before.write, "OPS's messages leave the write index alone");
    must(after.read == (routed ? nextIndex(before.read) : before.read),
         "an answer that is routed moves the read index by one, anything else not at all",
         [&] { return before.text() + " to " + after.text(); });
    must(outstandingNow() == (before.used() > 0 && !routed), "an answer that is routed is no longer awaited");
    must(endedCalls() - ended == (last ? 1 : 0), "the last answer ends its call, and no other answer does");
    if (routed) checkConsumed(before.read);
  }

  void giveUp() {
    const Indexes before;
    if (before.used() == 0) return;
    const int32_t left = leftOfRequest();
    IssProcessing = 1;
    giveUpNow();
    const Indexes after;
    must(IssProcessing == 0, "giving up clears the flag");
    must(before.used() - after.used() == left && after.write == before.write,
         "a request is given up with all that is left of it",
         [&] { return before.text() + " to " + after.text(); });
    for (int32_t i = 0; i < left; ++i) checkConsumed((before.read + i) % MsgArraySize);
  }

  void finish() {
    for (int32_t i = 0; i < MsgArraySize && Indexes().used() > 0; ++i) giveUp();
    must(Indexes().used() == 0, "the ring empties");
    std::multiset<uint64_t> ended;
    for (const FakeBus::Reply& reply : FakeBus::replies()) ended.insert(reply.call);
    for (const uint64_t call : FakeBus::released()) ended.insert(call);
    for (uint64_t call = 1; call <= m_calls; ++call) {
      must(ended.count(call) == 1, "each call is answered or released exactly once", [&] {
        return "call " + std::to_string(call) + ": " + std::to_string(ended.count(call)) + " times";
      });
    }
  }

 private:
  static size_t endedCalls() { return FakeBus::replies().size() + FakeBus::released().size(); }

  static void clearSlots() {
    const Guard guard(&mutex);
    for (MsgArrayEntry& slot : MsgArray) slot = {};
  }
  static void setOutstanding(bool value) {
    const Guard guard(&mutex);
    answerOutstanding = value;
  }
  static bool outstandingNow() {
    const Guard guard(&mutex);
    return answerOutstanding;
  }
  static bool isLast() {
    const Guard guard(&mutex);
    const MsgArrayEntry& slot = MsgArray[readpointer];
    return slot.msgNo == slot.msgCount && slot.reply != nullptr;
  }
  static int32_t leftOfRequest() {
    const Guard guard(&mutex);
    const MsgArrayEntry& slot = MsgArray[readpointer];
    return slot.msgCount - slot.msgNo + 1;
  }
  void giveUpNow() {
    const Guard guard(&mutex);
    giveUpRequest(m_debugSocket);
  }

  static void checkIndexes(const Indexes& now) {
    must(now.read >= 0 && now.read < MsgArraySize && now.write >= 0 && now.write < MsgArraySize,
         "the indexes are in range", [&] { return now.text(); });
  }
  /// What a request has put into the ring belongs together.
  static void checkSlots(int32_t first, int32_t count) {
    const Guard guard(&mutex);
    for (int32_t i = 0; i < count; ++i) {
      const MsgArrayEntry& slot = MsgArray[(first + i) % MsgArraySize];
      must(slot.msgNo == i + 1 && slot.msgCount == count,
           "messages of a request are numbered from 1 to their count");
      must(slot.source != MsgSource::None && slot.source == MsgArray[first].source, "they have one source");
      must(slot.reply == MsgArray[first].reply, "they share one reply");
    }
  }
  static void checkConsumed(int32_t index) {
    const Guard guard(&mutex);
    const MsgArrayEntry& slot = MsgArray[index];
    must(slot.source == MsgSource::None && slot.arguments.dataVfis.capacity() <= sizeof(std::string),
         "a slot that is done with has no source and no text");
  }

  ReplyOwner call() { return ReplyOwner(FakeBus::call(++m_calls)); }

  /// True when it has a caller.
  bool queueRequest(Input& input) {
    switch (input.byte() % 7) {
      case 0: {
        const uint32_t port = input.value();
        // Set-up and release with a script would write into /tmp.
        const uint32_t action = input.value();
        const bool configure = action != 1 && action != 2;
        run_iss_script_thread(new SetPortParamsRequest{&SrvIss::getInstance(), call(), action, input.value(),
                                                       port, port + 4000, input.value(), configure,
                                                       input.value(), 1, 2, false});
        return true;
      }
      case 1:
        run_iss_IssMgr_thread(new IssMgrRequest{&SrvIssMgr::getInstance(), call(), takeRule(input)});
        return true;
      case 2:
        run_iss_syncE_thread(new SyncERequest{
            &m_syncE,
            call(),
            {input.value(), input.value(), input.value(), 1, 2, input.value(), input.value(), 3, 4}});
        return true;
      case 3:
        run_iss_SmartSfp_thread(
            new SmartSfpRequest{&SrvSmartSfp::getInstance(),
                                call(),
                                {std::string(input.text()), input.value(), input.value(), input.value(),
                                 input.value(), 5, SrvSmartSfp::getInstance().fpId()}});
        return true;
      case 4:
        run_iss_redundancy_thread(
            new RedundancyRequest{&m_redundancy, ReplyOwner(nullptr), static_cast<int32_t>(input.value())});
        return false;
      case 5:
        run_iss_get_data_thread(new CountersRequest{&m_counters, call(), input.value(), {}});
        return true;
      default:
        queueDebugRequest(input);
        return false;
    }
  }

  static IssMgrArguments takeRule(Input& input) {
    IssMgrArguments rule{};
    rule.ruleType = input.value() % 9;
    rule.action = input.value() % 5;
    rule.flushAct = static_cast<int32_t>(input.value() % 4);
    rule.vp = input.value() % 4;
    rule.port = input.value();
    rule.L2Pbmp = input.value();
    rule.mplsLbl = input.value();
    rule.pwLbl = input.value();
    rule.dataVfis = input.text();
    return rule;
  }

  static void queueDebugRequest(Input& input) {
    const OtnIpcMsg msg = takeRecord(input);
    const Guard guard(&mutex);
    if (admit(writepointer, readpointer, 1) != Admission::Fits) return;
    MsgArrayEntry& slot = copyToSlot(msg);
    slot.msgNo = 1;
    slot.msgCount = 1;
    slot.source = MsgSource::Debug;
    advanceWritePointer();
  }

  SrvSyncE m_syncE;
  SrvGetIssParams m_counters;
  SrvRedundancy m_redundancy;
  SrvDbg m_debugSocket;
  CriticalActivity m_activity;
  boardUtils m_board;
  uint64_t m_calls = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Input input(bytes, size);
  const uint8_t how = input.byte();
  fuzzLog::begin((how & 1) != 0 ? trace::DEBUG3 : trace::INFO);
  Daemon daemon((how & 2) == 0);
  while (!input.atEnd()) {
    switch (input.byte() % 8) {
      case 0:
        daemon.giveUp();
        break;
      case 1:
      case 2:
      case 3:
        daemon.message(input);
        break;
      default:
        daemon.request(input);
    }
  }
  daemon.finish();
  return 0;
}
