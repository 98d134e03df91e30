#include "iss/CliInterpreter.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

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
    "snmpset mib name ifMainType.42 value 136\n"
    "snmpset mib name ifIpAddrAllocMethod.42 value 1\n"
    "snmpset mib name ifIpDestMacAddress.42 value 01:00:5e:90:00:00\n"
    "snmpset mib name ifMainRowStatus.42 value 1\n"
    "snmpset mib name ifMainRowStatus.188 value 5\n"
    "snmpset mib name ifMainType.188 value 166\n"
    "snmpset mib name ifStackStatus.188.42 value 5\n"
    "snmpset mib name ifStackStatus.188.42 value 1\n"
    "snmpset mib name ifMainRowStatus.188 value 1\n"
    "snmpset mib name ifMainAdminStatus.188 value 1\n"
    "snmpset mib name ifMainAdminStatus.42 value 1\n"
    "end\n";

constexpr const char* releaseScript =
    "configure terminal\n"
    "no vlan 4005\n"
    "no vlan 100\n"
    "end\n"
    "configure terminal\n"
    "interface vlan 4005\n"
    "shutdown\n"
    "no ip unnumbered 01:00:5E:90:00:00\n"
    "no mpls ip\n"
    "end\n"
    "configure terminal\n"
    "no interface vlan 4005\n"
    "end\n";

class CliInterpreter : public ::testing::Test {
 protected:
  /// Runs the lines; the refusal of the first that is refused, and then all others must have been taken.
  sim::CliResult run(const std::string& lines) {
    std::istringstream input(lines);
    for (std::string line; std::getline(input, line);) {
      if (sim::CliResult refused = m_cli.run(line)) {
        EXPECT_FALSE(std::getline(input, line)) << "refused before its last line: " << refused->text;
        return refused;
      }
    }
    return {};
  }
  std::string reasonOf(const std::string& lines) {
    const sim::CliResult refused = run(lines);
    return refused ? refused->text : "";
  }

  sim::CliConfig m_config;
  sim::CliInterpreter m_cli{m_config};
};

TEST_F(CliInterpreter, StartsAsASwitchFromTheBox) {
  EXPECT_THAT(m_config.vlans, SizeIs(1));
  EXPECT_EQ(m_config.vlans.at(1).members, 0x0FFFFFFFU);
  EXPECT_EQ(m_config.port(28).pvid, 1U);
  EXPECT_EQ(m_config.port(28).mtu, 1500U);
  EXPECT_TRUE(m_config.port(28).operational());
}

TEST_F(CliInterpreter, SetsUpAPort) {
  EXPECT_EQ(reasonOf(setUpScript), "");
  EXPECT_EQ(m_config.vlans.at(100).members, sim::portBit(24));
  EXPECT_EQ(m_config.vlans.at(100).untagged, 0U);
  EXPECT_EQ(m_config.vlans.at(4005).members, sim::portBit(5));
  EXPECT_EQ(m_config.vlans.at(4005).untagged, sim::portBit(5));
  EXPECT_EQ(m_config.port(5).pvid, 4005U);
  EXPECT_EQ(m_config.port(5).mtu, 9246U);
  EXPECT_TRUE(m_config.port(5).admin);

  ASSERT_THAT(m_config.rows, SizeIs(2));
  const sim::InterfaceRow& row = m_config.rows.at(42);
  EXPECT_EQ(row.status, sim::RowStatus::active);
  EXPECT_EQ(row.type, 136U);
  EXPECT_TRUE(row.admin);
  EXPECT_EQ(row.alias, "vlan4005");
  EXPECT_EQ(row.ipAddrAllocMethod, 1U);
  EXPECT_EQ(row.ipDestMacAddress, "01:00:5e:90:00:00");
  EXPECT_EQ(m_config.rows.at(188).type, 166U);
  EXPECT_EQ(m_config.stack.at({188, 42}), sim::RowStatus::active);
}

TEST_F(CliInterpreter, ReleasesAPort) {
  EXPECT_EQ(reasonOf(setUpScript), "");
  EXPECT_EQ(reasonOf(releaseScript), "");
  EXPECT_THAT(m_config.vlans, SizeIs(1));
  EXPECT_THAT(m_config.vlanInterfaces, IsEmpty());
  EXPECT_THAT(m_config.rows, IsEmpty());
  EXPECT_THAT(m_config.stack, IsEmpty());
  EXPECT_EQ(m_config.port(5).pvid, 1U);
}

TEST_F(CliInterpreter, MaySetUpAgainAndReleaseWhatIsNotSetUp) {
  EXPECT_EQ(reasonOf(setUpScript), "");
  EXPECT_EQ(reasonOf(setUpScript), "");
  EXPECT_THAT(m_config.rows, SizeIs(2));
  EXPECT_EQ(reasonOf(releaseScript), "");
  EXPECT_EQ(reasonOf(releaseScript), "");
}

TEST_F(CliInterpreter, ReportsPortsThatChange) {
  EXPECT_EQ(reasonOf(setUpScript), "");
  EXPECT_THAT(m_config.portChanges,
              ElementsAre(sim::PortState{5, false, false}, sim::PortState{5, true, true}));
}

TEST_F(CliInterpreter, BoundsTheReports) {
  std::string lines = "configure terminal\ninterface gigabitethernet 0/1\n";
  for (size_t i = 0; i < sim::CliConfig::maxPortChanges; ++i) lines += "shutdown\nno shutdown\n";
  EXPECT_EQ(reasonOf(lines), "");
  EXPECT_THAT(m_config.portChanges, SizeIs(sim::CliConfig::maxPortChanges));
}

TEST_F(CliInterpreter, ShowsItsModeInThePrompt) {
  EXPECT_EQ(m_cli.prompt(), "iss# ");
  run("configure terminal");
  EXPECT_EQ(m_cli.prompt(), "iss(config)# ");
  run("vlan 7");
  EXPECT_EQ(m_cli.prompt(), "iss(config-vlan)# ");
  run("end\nconfigure terminal\ninterface vlan 7");
  EXPECT_EQ(m_cli.prompt(), "iss(config-if)# ");
  run("end\nconfigure terminal\ninterface extreme-ethernet 0/4");
  EXPECT_EQ(m_cli.prompt(), "iss(config-if)# ");
  run("end");
  EXPECT_EQ(m_cli.prompt(), "iss# ");
}

TEST_F(CliInterpreter, NamesPortsAsISSDoes) {
  EXPECT_EQ(sim::portName(1), "gigabitethernet 0/1");
  EXPECT_EQ(sim::portName(24), "gigabitethernet 0/24");
  EXPECT_EQ(sim::portName(25), "extreme-ethernet 0/1");
  EXPECT_EQ(sim::portName(28), "extreme-ethernet 0/4");
  EXPECT_EQ(reasonOf("configure terminal\nvlan 7\nports extreme-ethernet 0/4"), "");
  EXPECT_EQ(m_config.vlans.at(7).members, sim::portBit(28));
}

TEST_F(CliInterpreter, SkipsBlankLinesAndComments) {
  EXPECT_EQ(reasonOf("\n   \n! anything\n"), "");
}

TEST_F(CliInterpreter, AddsMembersToAVlanAndRetagsThem) {
  run("configure terminal\nvlan 7\nports gigabitethernet 0/1 untagged gigabitethernet 0/1");
  run("ports gigabitethernet 0/2");
  EXPECT_EQ(m_config.vlans.at(7).members, 3U);
  EXPECT_EQ(m_config.vlans.at(7).untagged, 1U);
  run("ports gigabitethernet 0/1");
  EXPECT_EQ(m_config.vlans.at(7).untagged, 0U);
}

TEST_F(CliInterpreter, TakesTheRowsOfAVlanInterfaceOnly) {
  run("configure terminal\nsnmpset mib name ifMainRowStatus.7 value 4\n"
      "snmpset mib name ifMainRowStatus.8 value 4\nsnmpset mib name ifStackStatus.8.7 value 4");
  EXPECT_EQ(m_config.stack.at({8, 7}), sim::RowStatus::active);
  run("interface vlan 7\nend\nconfigure terminal\nno interface vlan 7");
  EXPECT_THAT(m_config.rows, SizeIs(2));
  run("snmpset mib name ifAlias.7 value 76:6c:61:6e:30:30:30:37\ninterface vlan 7\nend\n"
      "configure terminal\nno interface vlan 7");
  EXPECT_THAT(m_config.rows, IsEmpty());
}

TEST_F(CliInterpreter, DestroysRowsWithTheirStacking) {
  run("configure terminal\nsnmpset mib name ifMainRowStatus.7 value 4\n"
      "snmpset mib name ifMainRowStatus.8 value 4\nsnmpset mib name ifStackStatus.8.7 value 4\n"
      "snmpset mib name ifStackStatus.8.7 value 6");
  EXPECT_THAT(m_config.stack, IsEmpty());
  run("snmpset mib name ifStackStatus.8.7 value 5\nsnmpset mib name ifMainRowStatus.7 value 6");
  EXPECT_THAT(m_config.stack, IsEmpty());
  EXPECT_THAT(m_config.rows, SizeIs(1));
}

TEST_F(CliInterpreter, BoundsTheTables) {
  run("configure terminal");
  for (size_t i = 0; i < sim::maxRows; ++i) {
    const std::string row = std::to_string(i);
    run("snmpset mib name ifMainRowStatus." + row + " value 4");
    run("snmpset mib name ifStackStatus.0." + row + " value 4");
  }
  EXPECT_EQ(run("snmpset mib name ifMainRowStatus.4096 value 4")->reason, sim::CliReason::full);
  EXPECT_EQ(run("snmpset mib name ifStackStatus.1.0 value 5")->reason, sim::CliReason::full);
  EXPECT_EQ(reasonOf("snmpset mib name ifMainRowStatus.7 value 5"), "");
}

struct Refused {
  const char* lines;
  sim::CliReason reason;
  const char* text;
};

class CliInterpreterRefusals : public CliInterpreter, public ::testing::WithParamInterface<Refused> {};

TEST_P(CliInterpreterRefusals, SayWhyAndChangeNothing) {
  run("configure terminal\nvlan 7\nend");
  const std::string lines = GetParam().lines;
  const size_t last = lines.rfind('\n');
  run(lines.substr(0, last == std::string::npos ? 0 : last));
  const sim::CliMode mode = m_cli.mode();
  const sim::CliResult refused = m_cli.run(lines.substr(last + 1));
  ASSERT_TRUE(refused.has_value());
  EXPECT_EQ(refused->reason, GetParam().reason);
  EXPECT_EQ(refused->text, GetParam().text);
  EXPECT_EQ(m_cli.mode(), mode);
}

#define CONFIG "configure terminal\n"
#define PORT CONFIG "interface gigabitethernet 0/1\n"
#define ROW CONFIG "snmpset mib name ifMainRowStatus.9 value 5\n"
using sim::CliReason;
INSTANTIATE_TEST_SUITE_P(
    CliInterpreter, CliInterpreterRefusals,
    ::testing::Values(
        Refused{"nonsense here", CliReason::unknownCommand, "unknown command"},
        Refused{"configure", CliReason::unknownCommand, "unknown command"},
        Refused{CONFIG "vlan 7\nshutdown now", CliReason::unknownCommand, "unknown command"},
        Refused{"vlan 7", CliReason::wrongMode, "not a command of exec mode"},
        Refused{"end", CliReason::wrongMode, "not a command of exec mode"},
        Refused{CONFIG "configure terminal", CliReason::wrongMode, "not a command of configuration mode"},
        Refused{CONFIG "shutdown", CliReason::wrongMode, "not a command of configuration mode"},
        Refused{CONFIG "vlan 7\nvlan 8", CliReason::wrongMode, "not a command of VLAN mode"},
        Refused{PORT "no mpls ip", CliReason::wrongMode, "not a command of port mode"},
        Refused{CONFIG "interface vlan 7\nswitchport pvid 7", CliReason::wrongMode,
                "not a command of VLAN interface mode"},
        Refused{CONFIG "vlan", CliReason::badArgument, "expected vlan VLAN"},
        Refused{CONFIG "vlan 7 8", CliReason::badArgument, "expected vlan VLAN"},
        Refused{CONFIG "vlan 7x", CliReason::badArgument, "not a number"},
        Refused{CONFIG "vlan -1", CliReason::badArgument, "not a number"},
        Refused{CONFIG "vlan 0", CliReason::badArgument, "no VLAN id, 1 to 4094"},
        Refused{CONFIG "no vlan 4095", CliReason::badArgument, "no VLAN id, 1 to 4094"},
        Refused{CONFIG "no vlan 1", CliReason::conflict, "the default VLAN cannot be removed"},
        Refused{CONFIG "vlan 7\nports", CliReason::badArgument, "expected ports PORT"},
        Refused{CONFIG "vlan 7\nports gigabitethernet 0/25", CliReason::badArgument, "no such port"},
        Refused{CONFIG "vlan 7\nports gigabitethernet 0/0", CliReason::badArgument, "no such port"},
        Refused{CONFIG "vlan 7\nports gigabitethernet 1/1", CliReason::badArgument, "no such port"},
        Refused{CONFIG "vlan 7\nports extreme-ethernet 0/5", CliReason::badArgument, "no such port"},
        Refused{CONFIG "vlan 7\nports gigabitethernet", CliReason::badArgument, "no such port"},
        Refused{CONFIG "vlan 7\nports gigabitethernet 0/1 untagged gigabitethernet 0/2", CliReason::conflict,
                "the untagged port is not among the ports"},
        Refused{CONFIG "interface fastethernet 0/1", CliReason::badArgument, "no such port"},
        Refused{CONFIG "no interface vlan 7", CliReason::missing, "interface vlan 7 does not exist"},
        Refused{PORT "mtu x", CliReason::badArgument, "not a number"},
        Refused{PORT "mtu 1600", CliReason::conflict, "the port must be shut down first"},
        Refused{PORT "shutdown\nmtu 63", CliReason::badArgument, "no MTU, 64 to 9246"},
        Refused{PORT "shutdown\nmtu 9247", CliReason::badArgument, "no MTU, 64 to 9246"},
        Refused{PORT "switchport pvid 8", CliReason::missing, "VLAN 8 does not exist"},
        Refused{CONFIG "interface vlan 7\nno ip unnumbered x", CliReason::badArgument, "not a MAC address"}));

INSTANTIATE_TEST_SUITE_P(
    CliMib, CliInterpreterRefusals,
    ::testing::Values(
        Refused{CONFIG "snmpset mib name ifMainType.9 value", CliReason::badArgument,
                "expected snmpset mib name WORD value WORD"},
        Refused{CONFIG "snmpset mib name ifMainType value 1", CliReason::badArgument,
                "not a MIB object with its index"},
        Refused{CONFIG "snmpset mib name ifMainType. value 1", CliReason::badArgument,
                "not a MIB object with its index"},
        Refused{CONFIG "snmpset mib name .1 value 1", CliReason::badArgument,
                "not a MIB object with its index"},
        Refused{CONFIG "snmpset mib name ifStackStatus.1.2.3 value 1", CliReason::badArgument,
                "not a MIB object with its index"},
        Refused{CONFIG "snmpset mib name ifStackStatus.1 value 1", CliReason::badArgument,
                "wrong number of indexes"},
        Refused{CONFIG "snmpset mib name ifMainType.1.2 value 1", CliReason::badArgument,
                "wrong number of indexes"},
        Refused{CONFIG "snmpset mib name sysName.1 value 1", CliReason::badArgument, "no such MIB object"},
        Refused{CONFIG "snmpset mib name ifMainType.9 value 136", CliReason::missing,
                "there is no interface row 9"},
        Refused{CONFIG "snmpset mib name ifMainAdminStatus.9 value 1", CliReason::missing,
                "there is no interface row 9"},
        Refused{CONFIG "snmpset mib name ifMainRowStatus.9 value 1", CliReason::missing,
                "there is no interface row 9"},
        Refused{CONFIG "snmpset mib name ifMainRowStatus.9 value 3", CliReason::badArgument, "no row status"},
        Refused{CONFIG "snmpset mib name ifMainRowStatus.9 value up", CliReason::badArgument,
                "no row status"},
        Refused{ROW "snmpset mib name ifMainRowStatus.9 value 1", CliReason::conflict, "the row has no type"},
        Refused{ROW "snmpset mib name ifMainType.9 value 0", CliReason::badArgument, "no interface type"},
        Refused{ROW "snmpset mib name ifMainAdminStatus.9 value 1", CliReason::conflict,
                "the row is not active"},
        Refused{ROW "snmpset mib name ifMainAdminStatus.9 value 3", CliReason::badArgument,
                "no admin status"},
        Refused{ROW "snmpset mib name ifMainAdminStatus.9 value 1x", CliReason::badArgument,
                "no admin status"},
        Refused{ROW "snmpset mib name ifIpAddrAllocMethod.9 value x", CliReason::badArgument, "not a number"},
        Refused{ROW "snmpset mib name ifAlias.9 value 76:6", CliReason::badArgument,
                "not a string of octets"},
        Refused{ROW "snmpset mib name ifAlias.9 value 76-6c", CliReason::badArgument,
                "not a string of octets"},
        Refused{ROW "snmpset mib name ifIpDestMacAddress.9 value 01:00:5e", CliReason::badArgument,
                "not a MAC address"},
        Refused{ROW "snmpset mib name ifStackStatus.9.8 value 5", CliReason::missing,
                "there is no interface row 8"},
        Refused{ROW "snmpset mib name ifStackStatus.9.9 value 3", CliReason::badArgument, "no row status"},
        Refused{ROW "snmpset mib name ifStackStatus.9.9 value x", CliReason::badArgument, "no row status"},
        Refused{ROW "snmpset mib name ifStackStatus.9.9 value 1", CliReason::missing,
                "interface 9 is not stacked on 9"}));

}  // namespace
