#include "otnbus/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using otnbus::Registry;
using testing::HasSubstr;
using testing::Not;

constexpr OBmember bothMembers[] = {
    {OBmember::Kind::Method, "same", "", ""},
    {OBmember::Kind::Signal, "changed", "i", ""},
};
constexpr OBinterfaceDescription portsDescribed = {"OBports_1_0", "", "Manager", "<interface ports/>",
                                                   bothMembers};
constexpr OBinterfaceDescription clockDescribed = {"OBclock_1_0", "", "Manager", "<interface clock/>",
                                                   bothMembers};

TEST(Registry, TakesAPathOnceForEachDirection) {
  Registry registry;
  const int object = registry.add(nullptr, portsDescribed, "/otn/T/Ports", false);
  const int receiver = registry.add(nullptr, portsDescribed, "/otn/T/Ports", true);
  EXPECT_GE(object, 0);
  EXPECT_GT(receiver, object);
  EXPECT_EQ(registry.add(nullptr, clockDescribed, "/otn/T/Ports", false), -1);
  EXPECT_EQ(registry.add(nullptr, clockDescribed, "/otn/T/Ports", true), -1);
}

TEST(Registry, ForgetsWhatIsRemoved) {
  Registry registry;
  OBstub* const stub = reinterpret_cast<OBstub*>(&registry);
  const int handle = registry.add(stub, portsDescribed, "/otn/T/Ports", false);
  EXPECT_EQ(registry.stub(handle), stub);
  EXPECT_EQ(registry.stub(handle + 1), nullptr);
  registry.remove(handle);
  EXPECT_EQ(registry.stub(handle), nullptr);
  EXPECT_EQ(registry.object("/otn/T/Ports"), nullptr);
  EXPECT_GT(registry.add(stub, portsDescribed, "/otn/T/Ports", false), handle) << "no handle is given twice";
}

TEST(Registry, FindsTheReceiverByPathInterfaceAndSignal) {
  Registry registry;
  registry.add(nullptr, portsDescribed, "/otn/Manager/ports", false);
  registry.add(nullptr, clockDescribed, "/otn/Manager/clock", true);
  const int handle = registry.add(nullptr, portsDescribed, "/otn/Manager/ports", true);
  unsigned member = 77;
  const Registry::Entry* const found =
      registry.receiver("/otn/Manager/ports", "otn.OBports_1_0", "changed", member);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->handle, handle);
  EXPECT_EQ(member, 1U);
  EXPECT_EQ(registry.receiver("/otn/Manager", "otn.OBports_1_0", "changed", member), nullptr);
  EXPECT_EQ(registry.receiver("/otn/Manager/ports", "otn.OBclock_1_0", "changed", member), nullptr);
  EXPECT_EQ(registry.receiver("/otn/Manager/ports", "OBports_1_0", "changed", member), nullptr);
  EXPECT_EQ(registry.receiver("/otn/Manager/ports", "otn.OBports_1_0", "same", member), nullptr)
      << "a method of that name is no signal";
  EXPECT_EQ(registry.receiver("/otn/Manager/ports", "otn.OBports_1_0", "other", member), nullptr);
}

TEST(Registry, HasTheNodesAboveItsObjects) {
  Registry registry;
  EXPECT_TRUE(registry.nodeExists("/"));
  EXPECT_FALSE(registry.nodeExists("/otn"));
  registry.add(nullptr, portsDescribed, "/otn/T/Ports", false);
  registry.add(nullptr, portsDescribed, "/otn/M/signals", true);
  for (const char* node : {"/", "/otn", "/otn/T", "/otn/T/Ports"}) EXPECT_TRUE(registry.nodeExists(node));
  for (const char* node : {"/ot", "/otn/M", "/otn/M/signals", "/otn/T/P", "/otn/T/Ports/x", "/else"})
    EXPECT_FALSE(registry.nodeExists(node)) << node;
}

TEST(Registry, TellsEachNodeItsChildrenAndInterface) {
  Registry registry;
  registry.add(nullptr, portsDescribed, "/otn/T/Ports", false);
  registry.add(nullptr, clockDescribed, "/otn/T/Clock", false);
  registry.add(nullptr, clockDescribed, "/otn/M/signals", true);
  EXPECT_THAT(registry.introspect("/"), HasSubstr("<node name=\"otn\"/>"));
  EXPECT_THAT(registry.introspect("/otn"), HasSubstr("<node name=\"T\"/>\n</node>"));
  EXPECT_THAT(registry.introspect("/otn/T"), HasSubstr("<node name=\"Clock\"/>\n<node name=\"Ports\"/>"));
  EXPECT_THAT(registry.introspect("/otn/T"), Not(HasSubstr("<interface ports/>")));
  EXPECT_THAT(registry.introspect("/otn/T/Ports"), HasSubstr("<interface ports/>"));
  EXPECT_THAT(registry.introspect("/otn/T/Ports"), Not(HasSubstr("<node name")));
}

}  // namespace
