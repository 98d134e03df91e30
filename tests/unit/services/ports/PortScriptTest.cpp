#include "services/ports/PortScript.h"

#include <gtest/gtest.h>

#include <map>

namespace {

struct Port {
  uint32_t number;
  const char* name;
  const char* pwVlan;
  const char* ipInterface;
  const char* stacked;
  const char* alias;
};

const Port ports[] = {
    {1, "gigabitethernet 0/1", "4001", "38", "184", "34:30:30:31"},
    {5, "gigabitethernet 0/5", "4005", "42", "188", "34:30:30:35"},
    {24, "gigabitethernet 0/24", "4024", "61", "207", "34:30:32:34"},
    {25, "extreme-ethernet 0/1", "4025", "62", "208", "34:30:32:35"},
    {28, "extreme-ethernet 0/4", "4028", "65", "211", "34:30:32:38"},
};

std::string filledIn(std::string text, const std::map<std::string, std::string>& values) {
  for (const auto& [name, value] : values)
    for (size_t at = 0; (at = text.find(name)) != std::string::npos;) text.replace(at, name.size(), value);
  return text;
}

const char* const acVlanLines =
    "configure terminal\n"
    "vlan 77\n"
    "ports gigabitethernet 0/24\n"
    "end\n";

const char* const setUpLines =
    "configure terminal\n"
    "vlan <PW>\n"
    "ports <PORT> untagged <PORT>\n"
    "end\n"
    "configure terminal\n"
    "interface <PORT>\n"
    "shutdown\n"
    "mtu 9246\n"
    "switchport pvid <PW>\n"
    "no shutdown\n"
    "end\n"
    "configure terminal\n"
    "snmpset mib name ifMainRowStatus.<IP> value 5\n"
    "snmpset mib name ifAlias.<IP> value 76:6c:61:6e:<ALIAS>\n"
    "snmpset mib name ifMainType.<IP> value 136\n"
    "snmpset mib name ifIpAddrAllocMethod.<IP> value 1\n"
    "snmpset mib name ifIpDestMacAddress.<IP> value 01:00:5e:90:00:00\n"
    "snmpset mib name ifMainRowStatus.<IP> value 1\n"
    "snmpset mib name ifMainRowStatus.<STACKED> value 5\n"
    "snmpset mib name ifMainType.<STACKED> value 166\n"
    "snmpset mib name ifStackStatus.<STACKED>.<IP> value 5\n"
    "snmpset mib name ifStackStatus.<STACKED>.<IP> value 1\n"
    "snmpset mib name ifMainRowStatus.<STACKED> value 1\n"
    "snmpset mib name ifMainAdminStatus.<STACKED> value 1\n"
    "snmpset mib name ifMainAdminStatus.<IP> value 1\n"
    "end\n";

const char* const releaseLines =
    "configure terminal\n"
    "no vlan <PW>\n"
    "<AC>"
    "end\n"
    "configure terminal\n"
    "interface vlan <PW>\n"
    "shutdown\n"
    "no ip unnumbered 01:00:5E:90:00:00\n"
    "no mpls ip\n"
    "end\n"
    "configure terminal\n"
    "no interface vlan <PW>\n"
    "end\n";

std::string expectedSetUp(const Port& port) {
  return filledIn(setUpLines, {{"<PORT>", port.name},
                               {"<PW>", port.pwVlan},
                               {"<IP>", port.ipInterface},
                               {"<STACKED>", port.stacked},
                               {"<ALIAS>", port.alias}});
}

PortScriptInput inputOf(const Port& port, bool noAcPort) {
  return {port.number, port.number + 4000, 77, noAcPort};
}

TEST(SetUpScript, IsByteForByteForEachKindOfPort) {
  for (const Port& port : ports) {
    EXPECT_EQ(setUpScript(inputOf(port, false)).text(), acVlanLines + expectedSetUp(port));
    EXPECT_EQ(setUpScript(inputOf(port, true)).text(), expectedSetUp(port));
  }
}

TEST(SetUpScript, MasksTheAliasToTwelveBitsAndNothingElse) {
  const PortScript built = setUpScript({100, 4100, 77, true});
  const std::string_view script = built.text();
  EXPECT_NE(script.find("snmpset mib name ifAlias.137 value 76:6c:61:6e:30:30:30:34\n"), std::string::npos);
  EXPECT_NE(script.find("vlan 4100\n"), std::string::npos);
  EXPECT_NE(script.find("switchport pvid 4100\n"), std::string::npos);
  EXPECT_NE(script.find("interface extreme-ethernet 0/76\n"), std::string::npos);
}

TEST(SetUpScript, ComparesThePortNumberUnsigned) {
  const PortScript built = setUpScript({0xFFFFFFFF, 3999, 77, true});
  const std::string_view script = built.text();
  EXPECT_NE(script.find("interface extreme-ethernet 0/-25\n"), std::string::npos);
  EXPECT_NE(script.find("ifMainRowStatus.36 value 5\n"), std::string::npos);
  EXPECT_NE(script.find("76:6c:61:6e:33:39:39:39\n"), std::string::npos);
}

TEST(SetUpScript, HasRoomForNumbersAtTheirLongest) {
  const PortScript script = setUpScript({0x80000000, 0x80000000, 0x80000000, false});
  EXPECT_LT(script.text().size(), 2000U);
  EXPECT_TRUE(script.text().ends_with("ifMainAdminStatus.-2147483611 value 1\nend\n"));
}

TEST(ReleaseScript, IsByteForByteForEachKindOfPort) {
  for (const Port& port : ports) {
    EXPECT_EQ(releaseScript(inputOf(port, false)).text(),
              filledIn(releaseLines, {{"<PW>", port.pwVlan}, {"<AC>", "no vlan 77\n"}}));
    EXPECT_EQ(releaseScript(inputOf(port, true)).text(),
              filledIn(releaseLines, {{"<PW>", port.pwVlan}, {"<AC>", ""}}));
  }
}

}  // namespace
