#include "iss/CliScript.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "sim/support/TemporaryDirectory.h"

namespace {

std::string refusalOf(const std::string& script) {
  sim::CliConfig config;
  const sim::ScriptResult result = sim::runScript(script, config);
  return result.refused ? result.refused->text : "";
}

TEST(CliScript, PrintsEachCommandBehindItsPrompt) {
  sim::CliConfig config;
  EXPECT_EQ(sim::runScript("configure terminal\nvlan 7\nend\nfoo\nbar\n", config).output,
            "iss# configure terminal\niss(config)# vlan 7\niss(config-vlan)# end\niss# foo\n"
            "% line 4: foo: unknown command\n");
}

TEST(CliScript, DoesWhatComesBeforeARefusedLine) {
  sim::CliConfig config;
  const sim::ScriptResult result = sim::runScript("configure terminal\nvlan 7\nmtu 9\nvlan 8\n", config);
  ASSERT_TRUE(result.refused.has_value());
  EXPECT_EQ(result.refused->line, 3U);
  EXPECT_EQ(result.refused->refusal.reason, sim::CliReason::wrongMode);
  EXPECT_TRUE(config.vlans.contains(7));
  EXPECT_FALSE(config.vlans.contains(8));
}

TEST(CliScript, IsTakenAsAWhole) {
  EXPECT_EQ(refusalOf("configure terminal\nvlan 7\nend\n"), "");
}

TEST(CliScript, NamesTheLineTheCommandAndTheReason) {
  EXPECT_EQ(refusalOf("configure terminal\nvlan 7\nnonsense here\nend\n"),
            "line 3: \"nonsense here\": unknown command");
  EXPECT_EQ(refusalOf("configure terminal\nvlan 7\nx\x01\nend\n"), "line 3: \"x\\x01\": unknown command");
  EXPECT_EQ(refusalOf(std::string(100, 'x') + '\n'), "line 1: " + std::string(80, 'x') + ": unknown command");
}

TEST(CliScript, MustBeWellFormed) {
  EXPECT_EQ(refusalOf(""), "line 1: empty script");
  EXPECT_EQ(refusalOf("configure terminal\nend"), "line 2: end: no line end");
  EXPECT_EQ(refusalOf("configure terminal\nvlan 7\n"), "line 2: script ends inside a mode");
}

TEST(CliScript, IsReadFromARegularFileOnly) {
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

TEST(CliScript, IsBoundedInItsSize) {
  const TemporaryDirectory directory;
  std::string content;
  EXPECT_TRUE(sim::readScript(directory.write("s", std::string(65536, 'x')), content));
  EXPECT_EQ(content.size(), 65536U);
  EXPECT_FALSE(sim::readScript(directory.write("s", std::string(65537, 'x')), content));
}

}  // namespace
