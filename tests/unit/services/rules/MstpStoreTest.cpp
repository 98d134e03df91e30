#include "services/rules/MstpStore.h"

#include "services/rules/SrvIssMgr.h"
#include "support/RoomTest.h"
#include "support/memory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string line(const std::string& level, int number, const std::string& function, const std::string& text) {
  return logged(level, "SrvIssMgr", number, function, text);
}
std::string stored(int number, const std::string& text) {
  return line("DEBUG3", number, "storeMstpWanConfigFpIds", text);
}
std::string listSize(int number, const char* function, int size) {
  return line("DEBUG3", number, function, "MstpWanConfigFpIds: new list size = " + std::to_string(size));
}
constexpr const char* storing = "storeMstpWanConfigFpIds";
constexpr const char* taking = "getAndDeleteMstpWanConfigFpIds";

class MstpRules : public RoomTest {
 protected:
  MstpRules() { SrvIssMgr::createInstance(); }
  ~MstpRules() override { SrvIssMgr::destroyInstance(); }

  static SrvIssMgr& store() { return SrvIssMgr::getInstance(); }

  /// Takes an entry that must be there, with these ids.
  static bool holds(int port, int mplsLabel, int pwLabel, int fpId0, int fpId1) {
    int32_t id0 = -7;
    int32_t id1 = -7;
    return store().getAndDeleteMstpWanConfigFpIds(port, mplsLabel, pwLabel, id0, id1) && id0 == fpId0 &&
           id1 == fpId1;
  }
};

TEST_F(MstpRules, HaveNoLanIdAtFirst) {
  EXPECT_EQ(store().mstpLanFpId(), 0U);
}

TEST_F(MstpRules, KeepAndResetTheLanId) {
  store().setMstpLanFpId(41);
  EXPECT_EQ(store().mstpLanFpId(), 41U);
  store().setMstpLanFpId(0);
  EXPECT_EQ(store().mstpLanFpId(), 0U);
  EXPECT_THAT(lines(), ElementsAre(line("DEBUG3", 664, "setMstpLanFpId", "MSTP L2 FP ID = 41"),
                                   line("DEBUG3", 667, "setMstpLanFpId", "Reset MSTP L2 FP ID to 0")));
}

TEST_F(MstpRules, AreOfTheLowestPortOfTheBitmap) {
  for (int port = 0; port < 28; ++port) {
    EXPECT_EQ(SrvIssMgr::extractPortFromPbmp(1U << port), port);
    EXPECT_EQ(SrvIssMgr::extractPortFromPbmp(0xFFFFFFFFU << port), port);
  }
  EXPECT_EQ(SrvIssMgr::extractPortFromPbmp(0x6), 1);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(MstpRules, NeedAFrontPortInTheBitmap) {
  for (const uint32_t pbmp : {0U, 0x10000000U, 0xF0000000U})
    EXPECT_EQ(SrvIssMgr::extractPortFromPbmp(pbmp), 28);
  EXPECT_THAT(lines(),
              ElementsAre(line("ERROR", 657, "extractPortFromPbmp", "No port set in pbmp = 0x0"),
                          line("ERROR", 657, "extractPortFromPbmp", "No port set in pbmp = 0x10000000"),
                          line("ERROR", 657, "extractPortFromPbmp", "No port set in pbmp = 0xf0000000")));
}

TEST_F(MstpRules, WithoutAPortAreNotStored) {
  store().storeMstpWanConfigFpIds(0xF0000000, 100, 200, 1, 2);
  EXPECT_THAT(
      lines(),
      ElementsAre(line("ERROR", 657, "extractPortFromPbmp", "No port set in pbmp = 0xf0000000"),
                  stored(677, "port=28 (pbmp=0xf0000000), mplsLabel=100, pwLabel=200, fpId_0=1, fpId_1=2"),
                  line("ERROR", 681, storing, "Invalid port [28] [pbmp=0xf0000000]")));
  EXPECT_FALSE(holds(28, 100, 200, 1, 2));
}

TEST_F(MstpRules, AreStoredAndTakenOutOnce) {
  store().storeMstpWanConfigFpIds(0x6, 100, 200, 41, -1);
  EXPECT_THAT(lines(),
              ElementsAre(stored(677, "port=1 (pbmp=0x6), mplsLabel=100, pwLabel=200, fpId_0=41, fpId_1=-1"),
                          listSize(695, storing, 1)));
  forget();
  EXPECT_TRUE(holds(1, 100, 200, 41, -1));
  EXPECT_THAT(lines(), ElementsAre(listSize(707, taking, 0)));
  EXPECT_FALSE(holds(1, 100, 200, 41, -1));
}

TEST_F(MstpRules, OfAKnownKeyKeepTheFirstIds) {
  store().storeMstpWanConfigFpIds(0x8, 100, 200, 41, 42);
  forget();
  store().storeMstpWanConfigFpIds(0x8, 100, 200, 51, 52);
  EXPECT_THAT(
      lines(),
      ElementsAre(stored(677, "port=3 (pbmp=0x8), mplsLabel=100, pwLabel=200, fpId_0=51, fpId_1=52"),
                  line("ERROR", 689, storing,
                       "port=3, mplsLabel=100, pwLabel=200: unable to store FP IDs: entry already exists")));
  EXPECT_TRUE(holds(3, 100, 200, 41, 42));
  EXPECT_FALSE(holds(3, 100, 200, 51, 52));
}

TEST_F(MstpRules, DifferByPortAndEachLabel) {
  store().storeMstpWanConfigFpIds(0x8, 100, 200, 1, 2);
  store().storeMstpWanConfigFpIds(0x8, 100, 201, 3, 4);
  store().storeMstpWanConfigFpIds(0x8, 101, 200, 5, 6);
  store().storeMstpWanConfigFpIds(0x10, 100, 200, 7, 8);
  EXPECT_EQ(lines().back(), listSize(695, storing, 4));
  EXPECT_TRUE(holds(3, 100, 200, 1, 2));
  EXPECT_EQ(lines().back(), listSize(707, taking, 3));
  EXPECT_TRUE(holds(4, 100, 200, 7, 8));
  EXPECT_TRUE(holds(3, 101, 200, 5, 6));
  EXPECT_TRUE(holds(3, 100, 201, 3, 4));
}

TEST_F(MstpRules, ThatAreNotThereLeaveTheOutputs) {
  store().storeMstpWanConfigFpIds(0x8, 904, 1, 1, 2);
  forget();
  int32_t id0 = 11;
  int32_t id1 = 12;
  EXPECT_FALSE(store().getAndDeleteMstpWanConfigFpIds(3, 5000, 1, id0, id1)) << "labels are stored reduced";
  EXPECT_EQ(id0, 11);
  EXPECT_EQ(id1, 12);
  EXPECT_THAT(lines(),
              ElementsAre(line("ERROR", 712, taking,
                               "port=3, mplsLabel=5000, pwLabel=1: no FP IDs exist for this combination")));
  EXPECT_TRUE(holds(3, 904, 1, 1, 2));
}

TEST_F(MstpRules, AreNotStoredWithoutMemory) {
  {
    const NoMemory lacking;
    store().storeMstpWanConfigFpIds(0x8, 100, 200, 71, 72);
  }
  EXPECT_EQ(
      unnumbered().back(),
      loggedAnywhere("ERROR", "SrvIssMgr", "storeMstpWanConfigFpIds",
                     "port=3, mplsLabel=100, pwLabel=200: no memory to store FP IDs: the rule cannot be "
                     "deleted by its port and labels"));
}

TEST_F(MstpRules, EndWithTheService) {
  store().storeMstpWanConfigFpIds(0x8, 100, 200, 1, 2);
  store().setMstpLanFpId(5);
  SrvIssMgr::destroyInstance();
  SrvIssMgr::createInstance();
  EXPECT_EQ(store().mstpLanFpId(), 0U);
  EXPECT_FALSE(holds(3, 100, 200, 1, 2));
}

}  // namespace
