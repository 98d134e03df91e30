#include "link/MsgArray.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "link/condSignals.h"
#include "support/RingTest.h"

namespace {

using ::testing::IsEmpty;

/// The rule by slots in use: 18 at most while the writer is ahead of the reader, 19 once it has wrapped.
bool hasRoom(int write, int read, int n) {
  const int used = (write - read + 20) % 20;
  if (used == 0) return true;
  return used + n <= (write < read ? 19 : 18);
}

TEST(Admission, FollowsTheRuleForEveryPairOfIndexesAndBatch) {
  for (int read = 0; read < 20; ++read) {
    for (int write = 0; write < 20; ++write) {
      for (int n = 0; n <= 3; ++n) {
        EXPECT_EQ(admit(write, read, n) == Admission::Fits, hasRoom(write, read, n))
            << "RP=" << read << " WP=" << write << " n=" << n;
      }
    }
  }
}

TEST(Admission, IsTheSingleMessageRuleForOneMessage) {
  for (int read = 0; read < 20; ++read) {
    for (int write = 0; write < 20; ++write) {
      const bool room =
          write == read || (write > read && write - read <= 17) || (write < read && read - write >= 2);
      EXPECT_EQ(admit(write, read, 1) == Admission::Fits, room) << "RP=" << read << " WP=" << write;
    }
  }
}

TEST(Admission, TellsOnWhichSideOfTheReaderThereIsNoRoom) {
  EXPECT_EQ(admit(18, 0, 1), Admission::NoRoomAheadOfReader);
  EXPECT_EQ(admit(17, 0, 1), Admission::Fits);
  EXPECT_EQ(admit(17, 0, 2), Admission::NoRoomAheadOfReader);
  EXPECT_EQ(admit(19, 2, 1), Admission::Fits);
  EXPECT_EQ(admit(1, 2, 1), Admission::NoRoomBehindReader);
  EXPECT_EQ(admit(0, 2, 1), Admission::Fits);
  EXPECT_EQ(admit(0, 2, 2), Admission::NoRoomBehindReader);
}

TEST(Admission, TakesEighteenAheadOfTheReaderAndNineteenBehindIt) {
  for (int read = 0; read < 20; ++read) {
    int write = read;
    int taken = 0;
    while (admit(write, read, 1) == Admission::Fits && taken < 100) {
      write = nextIndex(write);
      ++taken;
    }
    // Without a wrap before the 18th message the writer stops there; wrapped, it takes one more.
    EXPECT_EQ(taken, read <= 1 ? 18 : 19) << "RP=" << read;
  }
}

TEST(RingIndex, WrapsAfterTheLastSlot) {
  EXPECT_EQ(nextIndex(0), 1);
  EXPECT_EQ(nextIndex(18), 19);
  EXPECT_EQ(nextIndex(19), 0);
}

TEST(SlotsInUse, AreCountedAcrossTheWrap) {
  EXPECT_EQ(slotsInUse(0, 0), 0);
  EXPECT_EQ(slotsInUse(18, 0), 18);
  EXPECT_EQ(slotsInUse(19, 2), 17);
  EXPECT_EQ(slotsInUse(1, 2), 19);
  EXPECT_EQ(slotsInUse(0, 19), 1);
}

using Ring = RingTest;

TEST_F(Ring, CopiesTheWholeRecordToTheSlotAtTheWriteIndexOnly) {
  writepointer = 7;
  OtnIpcMsg msg;
  auto* bytes = reinterpret_cast<uint8_t*>(&msg);
  for (size_t i = 0; i < sizeof msg; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
  MsgArrayEntry& slot = copyToSlot(msg);
  EXPECT_EQ(&slot, &MsgArray[7]);
  EXPECT_EQ(memcmp(&slot.msg, &msg, sizeof msg), 0);
  EXPECT_EQ(writepointer, 7);
  EXPECT_EQ(MsgArray[6].msg.msgType, 0U);
  EXPECT_EQ(MsgArray[8].msg.msgType, 0U);
}

TEST_F(Ring, LeavesNoPointerOfAnEarlierRequestInASlot) {
  int anything = 0;
  MsgArray[0].portParamsService = reinterpret_cast<SrvIss*>(&anything);
  MsgArray[0].syncEService = reinterpret_cast<SrvSyncE*>(&anything);
  MsgArray[0].issMgrService = reinterpret_cast<SrvIssMgr*>(&anything);
  MsgArray[0].smartSfpService = reinterpret_cast<SrvSmartSfp*>(&anything);
  MsgArray[0].countersService = reinterpret_cast<SrvGetIssParams*>(&anything);
  MsgArray[0].redundancyService = reinterpret_cast<SrvRedundancy*>(&anything);
  MsgArray[0].reply = reinterpret_cast<OBstubReply*>(&anything);
  MsgArray[0].msgNo = 3;
  const MsgArrayEntry& slot = copyToSlot(OtnIpcMsg{});
  EXPECT_EQ(slot.portParamsService, nullptr);
  EXPECT_EQ(slot.syncEService, nullptr);
  EXPECT_EQ(slot.issMgrService, nullptr);
  EXPECT_EQ(slot.countersService, nullptr);
  EXPECT_EQ(slot.smartSfpService, nullptr);
  EXPECT_EQ(slot.redundancyService, nullptr);
  EXPECT_EQ(slot.reply, nullptr);
  EXPECT_EQ(slot.msgNo, 3);
}

TEST_F(Ring, AdvancesTheWriteIndexAndWraps) {
  advanceWritePointer();
  EXPECT_EQ(writepointer, 1);
  writepointer = 19;
  advanceWritePointer();
  EXPECT_EQ(writepointer, 0);
}

TEST_F(Ring, ConsumesOneSlotAndWraps) {
  for (MsgArrayEntry& slot : MsgArray) slot.source = MsgSource::Debug;
  readpointer = 19;
  answerOutstanding = true;
  consumeSlot();
  EXPECT_EQ(readpointer, 0);
  EXPECT_EQ(MsgArray[19].source, MsgSource::None);
  EXPECT_FALSE(answerOutstanding);
  consumeSlot();
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_EQ(MsgArray[1].source, MsgSource::Debug);
}

TEST_F(Ring, FreesTheTextOfAConsumedSlot) {
  const size_t withoutText = std::string().capacity();
  for (MsgArrayEntry& slot : MsgArray) slot.arguments.dataVfis.assign(1U << 20, '1');
  for (int i = 0; i < MsgArraySize; ++i) consumeSlot();
  for (const MsgArrayEntry& slot : MsgArray) {
    EXPECT_TRUE(slot.arguments.dataVfis.empty());
    EXPECT_EQ(slot.arguments.dataVfis.capacity(), withoutText);
  }
}

TEST_F(Ring, IsEmptyAndNotReadyAfterTheReset) {
  readpointer = 3;
  writepointer = 9;
  IssProcessing = 1;
  issReady = 1;
  answerOutstanding = true;
  resetRing();
  EXPECT_EQ(readpointer, 0);
  EXPECT_EQ(writepointer, 0);
  EXPECT_EQ(IssProcessing, 0);
  EXPECT_EQ(issReady, 0);
  EXPECT_FALSE(answerOutstanding);
}

/// What a signal met: which condition, and whether the ring's lock was free.
using Wakeups = std::vector<std::pair<pthread_cond_t*, bool>>;

class RingWakeups : public RingTest {
 protected:
  RingWakeups() {
    onCondSignal([this](pthread_cond_t* which) { m_wakeups.emplace_back(which, ringIsFree()); });
  }
  ~RingWakeups() override { onCondSignal(nullptr); }

  Wakeups m_wakeups;
};

TEST_F(RingWakeups, ComeOnceTheLockIsFree) {
  {
    const Guard guard(&mutex);
    wakeSender();
    EXPECT_THAT(m_wakeups, IsEmpty());
  }
  EXPECT_EQ(m_wakeups, (Wakeups{{&cond, true}}));
  {
    const Guard guard(&mutex);
    answerRouted();
  }
  EXPECT_EQ(m_wakeups, (Wakeups{{&cond, true}, {&cond2, true}}));
}

TEST_F(RingWakeups, AreGivenOnceEach) {
  {
    const Guard guard(&mutex);
    wakeSender();
    wakeSender();
  }
  { const Guard guard(&mutex); }
  EXPECT_EQ(m_wakeups, (Wakeups{{&cond, true}}));
}

TEST_F(RingWakeups, OfAStopNeedNoLock) {
  mutex.lock();
  wakeSenderToStop();
  mutex.unlock();
  EXPECT_EQ(m_wakeups, (Wakeups{{&cond, false}, {&cond2, false}}));
}

TEST(MsgSourceValues, AreTheTagsOfTheProducers) {
  EXPECT_EQ(static_cast<int>(MsgSource::None), 0);
  EXPECT_EQ(static_cast<int>(MsgSource::PortParams), 1);
  EXPECT_EQ(static_cast<int>(MsgSource::Debug), 2);
  EXPECT_EQ(static_cast<int>(MsgSource::SyncE), 3);
  EXPECT_EQ(static_cast<int>(MsgSource::IssMgr), 4);
  EXPECT_EQ(static_cast<int>(MsgSource::SmartSfp), 5);
  EXPECT_EQ(static_cast<int>(MsgSource::Redundancy), 6);
}

}  // namespace
