#include "scenario/Scenario.h"

#include <gmock/gmock.h>

#include "sim/support/Program.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class Scenario : public ::testing::Test {
 protected:
  /// All that is wrong, a line each, without the file's name.
  std::vector<std::string> load(const std::string& content) {
    const std::string path = m_directory.write("s", content);
    std::vector<std::string> mistakes;
    if (const sim::Problem problem = m_scenario.load(path, mistakes)) mistakes.push_back(*problem);
    for (std::string& mistake : mistakes) {
      EXPECT_THAT(mistake, StartsWith(path + ":"));
      mistake.erase(0, path.size() + 1);
    }
    return mistakes;
  }

  TemporaryDirectory m_directory;
  sim::Scenario m_scenario;
};

TEST_F(Scenario, MayHoldCommentsAndEmptyLines) {
  EXPECT_THAT(load("# a scenario\n\n \t\r\n  # indented\nstartup init # behind\nkeepalive 1s"), IsEmpty());
  EXPECT_THAT(load(""), IsEmpty());
}

TEST_F(Scenario, NamesLineAndColumnOfEachMistake) {
  EXPECT_THAT(load("startup init\n\n# comment\nkeepalive 1s\n restore perhaps\r\nnonsense\nkeepalive\n"),
              ElementsAre("5:10: restore needs ok or failed", "6:1: unknown directive nonsense",
                          "7:10: keepalive needs a time with its unit (250ms, 2s, 5m), one day at most"));
}

TEST_F(Scenario, CountsTheMistakesThatAreTooMany) {
  std::string lines;
  for (int i = 0; i < 60; ++i) lines += "jump\n";
  const std::vector<std::string> mistakes = load(lines);
  ASSERT_EQ(mistakes.size(), sim::Scenario::maxMistakes + 1);
  EXPECT_EQ(mistakes.back(), " and 10 mistakes more");
}

TEST_F(Scenario, QuotesWhatCannotBePrinted) {
  EXPECT_THAT(load(std::string("\x7f\0ELF\x01\n", 7)),
              ElementsAre("1:1: unknown directive \"\\x7f\\x00ELF\\x01\""));
  EXPECT_THAT(load(std::string(100'000, 'x')), ElementsAre("1:1: unknown directive " + std::string(60, 'x')));
}

TEST_F(Scenario, MustBeAReadableFileOfSomeSize) {
  std::vector<std::string> mistakes;
  EXPECT_EQ(m_scenario.load(m_directory.path("none"), mistakes),
            m_directory.path("none") + ": No such file or directory");
  EXPECT_EQ(m_scenario.load("/dev/zero", mistakes), "/dev/zero: not a regular file");
  EXPECT_THAT(load(std::string((size_t{1} << 20) + 1, '\n')), ElementsAre(" longer than 1048576 bytes"));
}

TEST_F(Scenario, IsEachExampleOfTheManual) {
  std::ifstream manual(ISS_SIM_MANUAL);
  std::string examples;
  bool inExample = false;
  for (std::string line; std::getline(manual, line);) {
    if (line.starts_with("```")) {
      inExample = line == "```sim";
    } else if (inExample) {
      examples += line + "\n";
    }
  }
  EXPECT_THAT(examples, HasSubstr("clear faults\n"));
  EXPECT_THAT(load(examples), IsEmpty());
}

TEST_F(Scenario, IsEachFileOfTheGallery) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(ISS_SIM_GALLERY)) {
    std::vector<std::string> mistakes;
    EXPECT_EQ(m_scenario.load(entry.path(), mistakes), std::nullopt);
    EXPECT_THAT(mistakes, IsEmpty());
    ++count;
  }
  EXPECT_GE(count, 8U);
}

TEST_F(Scenario, WithAMistakeKeepsTheSimulatorFromStarting) {
  const std::string path = m_directory.write("s", "\njump\nrun\n");
  Program simulator({ISS_SIM, "--port", "0", "--scenario", path});
  EXPECT_EQ(simulator.output(), "");
  EXPECT_EQ(simulator.errors(),
            path + ":2:1: unknown directive jump\n" + path + ":3:1: unknown directive run\n");
  EXPECT_EQ(simulator.wait(), 2);
}

}  // namespace
