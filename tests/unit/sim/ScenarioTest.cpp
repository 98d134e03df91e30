#include "Scenario.h"

#include <gmock/gmock.h>

#include "Program.h"
#include "TemporaryDirectory.h"

namespace {

using ::testing::HasSubstr;

class Scenario : public ::testing::Test {
 protected:
  sim::Problem load(const std::string& content) { return m_scenario.load(m_directory.write("s", content)); }

  TemporaryDirectory m_directory;
  sim::Scenario m_scenario;
};

TEST_F(Scenario, MayHoldCommentsAndEmptyLines) {
  EXPECT_EQ(load("# a scenario\n\n \t\r\n  # indented\nstartup init # behind\nkeepalive 1s"), std::nullopt);
  EXPECT_EQ(load(""), std::nullopt);
}

TEST_F(Scenario, NamesFileAndLineOfAMistake) {
  EXPECT_EQ(load("startup init\n\n# comment\nkeepalive 1s\nrestore perhaps\nnonsense\n"),
            m_directory.path("s") + ":5: restore needs ok or failed");
}

TEST_F(Scenario, QuotesWhatCannotBePrinted) {
  EXPECT_EQ(load(std::string("\x7f\0ELF\x01\n", 8)),
            m_directory.path("s") + ":1: unknown directive \"\\x7f\\x00ELF\\x01\"");
  EXPECT_THAT(*load(std::string(100'000, 'x')), HasSubstr(":1: unknown directive x"));
  EXPECT_LT(load(std::string(100'000, 'x'))->size(), 150U);
}

TEST_F(Scenario, MustBeAReadableFileOfSomeSize) {
  EXPECT_EQ(m_scenario.load(m_directory.path("none")),
            m_directory.path("none") + ": No such file or directory");
  EXPECT_EQ(m_scenario.load("/dev/zero"), "/dev/zero: not a regular file");
  EXPECT_THAT(*load(std::string((size_t{1} << 20) + 1, '\n')), HasSubstr("longer than 1048576 bytes"));
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
  EXPECT_EQ(load(examples), std::nullopt);
}

TEST_F(Scenario, IsEachFileOfTheGallery) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(ISS_SIM_GALLERY)) {
    EXPECT_EQ(m_scenario.load(entry.path()), std::nullopt);
    ++count;
  }
  EXPECT_GE(count, 8U);
}

TEST_F(Scenario, WithAMistakeKeepsTheSimulatorFromStarting) {
  const std::string path = m_directory.write("s", "\njump\n");
  Program simulator({ISS_SIM, "--port", "0", "--scenario", path});
  EXPECT_EQ(simulator.output(), "");
  EXPECT_EQ(simulator.errors(), "iss-sim: " + path + ":2: unknown directive jump\n");
  EXPECT_EQ(simulator.wait(), 2);
}

}  // namespace
