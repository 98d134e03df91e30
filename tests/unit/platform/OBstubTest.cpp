#include "OBstub.h"

#include <gmock/gmock.h>

#include <optional>

#include "busFixture.h"

namespace {

using namespace busTest;
using testing::IsEmpty;

struct NoService : OBredundantInfo_1_0_SI {
  void register_interface(OBcomponent*) override {}
};
struct NoPorts : OBsetPortParams_1_0_SI {
  void register_interface(OBcomponent*) override {}
};

using Stub = BusTest;

TEST_F(Stub, OfNoComponentCanNeitherBeRegisteredNorAskNorSend) {
  NoService service;
  OBredundantInfo_1_0_S stub(&service, nullptr);
  EXPECT_FALSE(stub.register_synchronous("one"));
  EXPECT_FALSE(stub.register_asynchronous("one"));
  EXPECT_FALSE(stub.register_immediate("one"));
  EXPECT_FALSE(stub.register_signal("one"));
  int32_t state = 77;
  EXPECT_FALSE(stub.query_getRedundantState(state));
  EXPECT_EQ(state, 77);
  bool called = false;
  stub.query_getRedundantState([&](const int32_t*) { called = true; });
  EXPECT_FALSE(called);
  NoPorts ports;
  OBsetPortParams_1_0_S(&ports, nullptr).issStatusChange_signal(true);
  EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Stub, IsRegisteredOnce) {
  OBcomponent bus("Tested", nullptr);
  NoPorts ports;
  OBsetPortParams_1_0_S stub(&ports, &bus);
  EXPECT_TRUE(stub.register_synchronous("one"));
  EXPECT_FALSE(stub.register_synchronous("two"));
  EXPECT_FALSE(stub.register_signal("two"));
  EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Stub, AsksNobodyBeforeItIsRegistered) {
  OBcomponent bus("Tested", nullptr);
  NoService service;
  OBredundantInfo_1_0_S stub(&service, &bus);
  int32_t state = 77;
  EXPECT_FALSE(stub.query_getRedundantState(state));
  bool called = false;
  stub.query_getRedundantState([&](const int32_t*) { called = true; });
  EXPECT_FALSE(called);
}

TEST_F(Stub, TellsANameThatCannotBeReceived) {
  OBcomponent bus("Tested", nullptr);
  NoService service;
  OBredundantInfo_1_0_S first(&service, &bus);
  OBredundantInfo_1_0_S second(&service, &bus);
  EXPECT_FALSE(first.register_signal("not a name"));
  EXPECT_TRUE(first.register_signal("state_signal"));
  EXPECT_FALSE(second.register_signal("state_signal"));
  EXPECT_EQ(m_log.count("Signals of not a name cannot be received: the name is taken or unusable"), 1U);
  EXPECT_EQ(m_log.count("Signals of state_signal cannot be received: the name is taken or unusable"), 1U);
}

TEST_F(Stub, OutlivesItsComponent) {
  std::optional<OBcomponent> bus;
  bus.emplace("Tested", nullptr);
  NoService service;
  NoPorts ports;
  OBredundantInfo_1_0_S stub(&service, &*bus);
  OBsetPortParams_1_0_S offered(&ports, &*bus);
  EXPECT_TRUE(offered.register_synchronous("Ports"));
  bus.reset();
  EXPECT_FALSE(stub.register_synchronous("one"));
  EXPECT_FALSE(stub.register_signal("state_signal"));
  int32_t state = 77;
  EXPECT_FALSE(stub.query_getRedundantState(state));
  stub.query_getRedundantState([](const int32_t*) { ADD_FAILURE() << "nobody was asked"; });
  offered.issStatusChange_signal(true);
  EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Stub, DispatchesInOneModeOnly) {
  OBcomponent bus("Tested", nullptr);
  bus.start(1);
  EXPECT_EQ(m_log.count("[ERROR] otnbus:"), 1U);
  EXPECT_EQ(m_log.count("Unknown start mode 1"), 1U);
}

}  // namespace
