// The outbound message ring: 20 slots, through which every message to OPS passes.
//
// Producers (service workers, and the main thread for debug requests) fill slots at writepointer; the sender
// thread sends the slot at readpointer; the main thread consumes it when OPS has answered. The one lock is
// `mutex`. It guards the slots, changes of both pointers, IssProcessing, issReady, the MSTP store and the
// tunnel table. The pointers may be read without it, for logs only. Whom to wake is said by name, and nobody
// outside this room signals a condition.
#pragma once

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "Guard.h"
#include "OtnIpcMsg.h"
#include "process/Relaxed.h"

class OBstubReply;
class SrvGetIssParams;
class SrvIss;
class SrvIssMgr;
class SrvRedundancy;
class SrvSmartSfp;
class SrvSyncE;

/// Who is to receive OPS's answer.
enum class MsgSource : int32_t {
  None = 0,  ///< consumed or never filled: an answer is not routed
  PortParams = 1,
  Debug = 2,
  SyncE = 3,
  IssMgr = 4,
  SmartSfp = 5,
  Redundancy = 6,
};

/// The request's arguments, handed back in its bus reply. Each service fills what its reply needs.
struct SavedArguments {
  uint32_t action;
  uint32_t ifType;
  uint32_t portNr;  ///< front port, from 1; the WAN port of an ISS manager rule
  uint32_t ifSpeed;
  uint32_t bConfigure;
  uint32_t acVlan;
  uint32_t extra1;
  uint32_t extra2;
  uint32_t enableFilter;
  uint32_t slot;
  uint32_t enableClk;
  uint32_t clksrc;
  uint32_t phymode;
  uint32_t sendPdu;
  uint32_t pduWord1;
  uint32_t pduWord2;
  uint32_t pduWord3;
  uint32_t vlan;
  uint32_t ruleType;
  uint32_t L2Pbmp;
  uint32_t MplsPbmp;
  int32_t flushAct;
  uint32_t vpn;
  uint32_t vp;
  uint32_t mplsLbl;
  uint32_t pwLbl;
  uint32_t sendOutPDU;
  uint32_t pbmp;
  uint32_t size;
  std::string dataVfis;
};
static_assert(sizeof(void*) != 4 || sizeof(SavedArguments) == 140);

struct MsgArrayEntry {
  OtnIpcMsg msg;
  SrvIss* portParamsService;
  SrvSyncE* syncEService;
  SrvIssMgr* issMgrService;
  SrvGetIssParams* countersService;
  SrvSmartSfp* smartSfpService;
  SrvRedundancy* redundancyService;
  OBstubReply* reply;  ///< shared by the slots of one request, consumed with the last
  SavedArguments arguments;
  int32_t msgNo;     ///< place within the request, from 1
  int32_t msgCount;  ///< messages the request was split into
  MsgSource source;
  int32_t redundancyState;
};
static_assert(sizeof(void*) != 4 || sizeof(MsgArrayEntry) == 7108);

inline constexpr int32_t MsgArraySize = 20;

/// Wakes only when it is let go: a thread that is woken finds it free.
class CAPABILITY("mutex") RingMutex : public Mutex {
 public:
  void unlock() RELEASE();

 private:
  friend void wakeSender();
  friend void answerRouted();

  bool m_wakeSender = false;  ///< these two with the mutex held
  bool m_answerRouted = false;
};

/// In a namespace so that a library that is linked in may have a variable `mutex` or `cond` of its own.
namespace ring {

extern RingMutex mutex;
extern pthread_cond_t cond;   ///< a message may be ready to send; the sender waits on it
extern pthread_cond_t cond2;  ///< OPS has answered; the sender waits on it

extern MsgArrayEntry MsgArray[MsgArraySize] GUARDED_BY(mutex);
static_assert(sizeof(void*) != 4 || sizeof MsgArray == 142160);
extern Relaxed<int32_t> readpointer;
extern Relaxed<int32_t> writepointer;
extern Relaxed<int32_t> IssProcessing;  ///< 1 while a sent message awaits its answer
extern Relaxed<int32_t> issReady;       ///< non-zero once ISS has finished starting
/// True from a message's sending until its answer is routed, whatever else OPS sends meanwhile.
extern bool answerOutstanding GUARDED_BY(mutex);
/// When the message with OPS was sent, or its sending began; tells it from every other.
extern std::chrono::steady_clock::time_point answerSentAt GUARDED_BY(mutex);

}  // namespace ring

using ring::answerOutstanding;
using ring::answerSentAt;
using ring::cond;
using ring::cond2;
using ring::IssProcessing;
using ring::issReady;
using ring::MsgArray;
using ring::mutex;
using ring::readpointer;
using ring::writepointer;

/// How a batch of messages meets the ring.
enum class Admission {
  Fits,
  NoRoomBehindReader,  ///< the writer has wrapped behind the reader
  NoRoomAheadOfReader,
};

/// The ring rule for a batch of n messages, admitted as a whole or not at all. Asymmetric on purpose: 18
/// messages fit ahead of the reader, 19 behind it.
constexpr Admission admit(int32_t write, int32_t read, int32_t n) {
  if (write < read) return write + n < read ? Admission::Fits : Admission::NoRoomBehindReader;
  if (write > read) return write + n <= read + 18 ? Admission::Fits : Admission::NoRoomAheadOfReader;
  return Admission::Fits;
}

constexpr int32_t nextIndex(int32_t index) {
  return index + 1 == MsgArraySize ? 0 : index + 1;
}

/// Messages in the ring, the one with OPS included.
constexpr int32_t slotsInUse(int32_t write, int32_t read) {
  return write < read ? write + MsgArraySize - read : write - read;
}

/// Empties the ring; before any thread runs.
void resetRing() EXCLUDES(mutex);

/// Copies the message into the slot at writepointer and returns the slot, free of what an earlier request
/// left there but its message number. With room admitted.
MsgArrayEntry& copyToSlot(const OtnIpcMsg& message) REQUIRES(mutex);
void advanceWritePointer() REQUIRES(mutex);

/// Marks the slot at readpointer consumed, frees its text and advances readpointer.
void consumeSlot() REQUIRES(mutex);

/// A message may be ready to be sent: one was queued, or ISS has become ready.
void wakeSender() REQUIRES(mutex);
/// The outstanding message's slot is consumed, and the sender may go on to the next.
void answerRouted() REQUIRES(mutex);
/// Once `running` is cleared. To be repeated until the sender has ended: it may be just about to wait.
void wakeSenderToStop();
