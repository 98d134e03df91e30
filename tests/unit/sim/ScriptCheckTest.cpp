#include "ScriptCheck.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "TemporaryDirectory.h"

namespace {

using ::testing::StartsWith;

constexpr const char* setUpScript =
    "configure terminal\n"
    "vlan 100\n"
    "ports gigabitethernet 0/24\n"
    "end\n"
    "configure terminal\n"
    "vlan 4005\n"
    "ports gigabitethernet 0/5 untagged gigabitethernet 0/5\n"
    "end\n"
    "configure terminal\n"
    "interface gigabitethernet 0/5\n"
    "shutdown\n"
    "mtu 9246\n"
    "switchport pvid 4005\n"
    "no shutdown\n"
    "end\n"
    "configure terminal\n"
    "snmpset mib name ifMainRowStatus.42 value 5\n"
    "snmpset mib name ifAlias.42 value 76:6c:61:6e:34:30:30:35\n"
    "snmpset mib name ifIpDestMacAddress.42 value 01:00:5e:90:00:00\n"
    "snmpset mib name ifStackStatus.188.42 value 1\n"
    "end\n";

constexpr const char* releaseScript =
    "configure terminal\n"
    "no vlan 4025\n"
    "no vlan 100\n"
    "end\n"
    "configure terminal\n"
    "interface vlan 4025\n"
    "shutdown\n"
    "no ip unnumbered 01:00:5E:90:00:00\n"
    "no mpls ip\n"
    "end\n"
    "configure terminal\n"
    "no interface vlan 4025\n"
    "end\n";

std::string errorOf(const std::string& script) {
  return sim::checkScript(script).error;
}

TEST(CheckScript, TakesWhatSetsUpAPort) {
  EXPECT_EQ(errorOf(setUpScript), "");
}

TEST(CheckScript, TakesWhatReleasesAPort) {
  EXPECT_EQ(errorOf(releaseScript), "");
}

TEST(CheckScript, TakesAFastPort) {
  EXPECT_EQ(errorOf("configure terminal\nvlan 4025\n"
                    "ports extreme-ethernet 0/1 untagged extreme-ethernet 0/4\nend\n"
                    "configure terminal\ninterface extreme-ethernet 0/4\nend\n"),
            "");
}

TEST(CheckScript, PrintsEachCommandBehindItsPrompt) {
  EXPECT_EQ(sim::checkScript("configure terminal\nvlan 7\nend\nfoo\n").output,
            "iss# configure terminal\niss(config)# vlan 7\niss(config-vlan)# end\niss# foo\n"
            "% invalid command foo\n");
}

TEST(CheckScript, NamesTheLineThatIsWrong) {
  EXPECT_EQ(errorOf("configure terminal\nvlan 7\nnonsense here\nend\n"),
            "Script line 3: invalid command \"nonsense here\"\r\n");
  EXPECT_EQ(errorOf(""), "Script line 1: empty script\r\n");
  EXPECT_EQ(errorOf("configure terminal\nend"), "Script line 2: no line end\r\n");
  EXPECT_EQ(errorOf("configure terminal\nvlan 7\n"), "Script line 2: script ends inside a mode\r\n");
}

class WrongCommand : public ::testing::TestWithParam<const char*> {};

TEST_P(WrongCommand, IsRefusedInItsMode) {
  const std::string script = GetParam();
  const auto line = std::count(script.begin(), script.end(), '\n');
  EXPECT_THAT(errorOf(script), StartsWith("Script line " + std::to_string(line) + ": invalid command "));
}

INSTANTIATE_TEST_SUITE_P(
    CheckScript, WrongCommand,
    ::testing::Values("vlan 7\n", "end\n", "\n", "configure\n", "configure terminal\nconfigure terminal\n",
                      "configure terminal\nvlan\n", "configure terminal\nvlan -1\n",
                      "configure terminal\nvlan 7x\n", "configure terminal\nshutdown\n",
                      "configure terminal\nvlan 7\nports\n",
                      "configure terminal\nvlan 7\nports gigabitethernet 0/25\n",
                      "configure terminal\nvlan 7\nports gigabitethernet 0/0\n",
                      "configure terminal\nvlan 7\nports gigabitethernet 1/1\n",
                      "configure terminal\nvlan 7\nports extreme-ethernet 0/5\n",
                      "configure terminal\nvlan 7\nports gigabitethernet 0/1 untagged gigabitethernet\n",
                      "configure terminal\nvlan 7\nports gigabitethernet 0/1 tagged gigabitethernet 0/1\n",
                      "configure terminal\nvlan 7\nvlan 8\n",
                      "configure terminal\ninterface fastethernet 0/1\n",
                      "configure terminal\ninterface gigabitethernet 0/1\nmtu x\n",
                      "configure terminal\ninterface gigabitethernet 0/1\nno mpls ip\n",
                      "configure terminal\ninterface vlan 7\nswitchport pvid 7\n",
                      "configure terminal\ninterface vlan 7\nno ip unnumbered x\n",
                      "configure terminal\nsnmpset mib name ifMainType value 1\n",
                      "configure terminal\nsnmpset mib name ifMainType. value 1\n",
                      "configure terminal\nsnmpset mib name .1 value 1\n",
                      "configure terminal\nsnmpset mib name ifMainType.1 value\n",
                      "configure terminal\nsnmpset mib name ifMainType.1 value 76:6\n",
                      "configure terminal\nsnmpset mib name ifMainType.1 value 76-6c\n"));

TEST(ReadScript, ReadsARegularFileOnly) {
  const TemporaryDirectory directory;
  std::string content;
  EXPECT_TRUE(sim::readScript(directory.write("s", "one\ntwo\n"), content));
  EXPECT_EQ(content, "one\ntwo\n");
  EXPECT_FALSE(sim::readScript(directory.path("missing"), content));
  EXPECT_FALSE(sim::readScript(directory.path(""), content));
  EXPECT_FALSE(sim::readScript("", content));
  ASSERT_EQ(mkfifo(directory.path("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(sim::readScript(directory.path("fifo"), content));
}

TEST(ReadScript, BoundsTheSize) {
  const TemporaryDirectory directory;
  std::string content;
  EXPECT_TRUE(sim::readScript(directory.write("s", std::string(65536, 'x')), content));
  EXPECT_EQ(content.size(), 65536U);
  EXPECT_FALSE(sim::readScript(directory.write("s", std::string(65537, 'x')), content));
}

}  // namespace
