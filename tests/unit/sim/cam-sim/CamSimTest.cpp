#include <gmock/gmock.h>

#include "sim/support/Program.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class CamSim : public ::testing::Test {
 protected:
  std::vector<std::string> environment() const {
    return {"LD_PRELOAD=" CAM_SIM, "CAM_SIM_LOG=" + m_directory.path("log"),
            "CAM_SIM_REFUSE=" + m_directory.path("refuse"), "ASAN_OPTIONS=verify_asan_link_order=0"};
  }

  /// The probe's answers to the requests.
  std::string probe(std::vector<std::string> requests) {
    requests.insert(requests.begin(), CAM_PROBE);
    Program program(std::move(requests), environment());
    std::string output = program.output();
    EXPECT_EQ(program.errors(), "");
    EXPECT_EQ(program.wait(), 0);
    return output;
  }

  /// The log's lines without their time, descriptors as "N".
  std::vector<std::string> logged() const {
    std::vector<std::string> lines;
    std::stringstream log(m_directory.read("log"));
    for (std::string line; std::getline(log, line);) {
      std::string request = line.substr(line.find(' ') + 1);
      if (request.starts_with("open ") || request.starts_with("close ")) {
        request.replace(request.find_last_not_of("0123456789") + 1, std::string::npos, "N");
      }
      lines.push_back(request);
    }
    return lines;
  }

  TemporaryDirectory m_directory;
};

TEST_F(CamSim, LogsEachRequestWithItsValue) {
  EXPECT_EQ(probe({"open", "register=main", "timeout=120000", "kick", "unregister", "close"}),
            "open ok\nregister ok\ntimeout ok\nkick ok\nunregister ok\nclose ok\n");
  EXPECT_THAT(logged(), ElementsAre("open N", "register main", "timeout 120000", "kick main",
                                    "unregister main", "close N"));
}

TEST_F(CamSim, StartsEachLineWithSecondsAndMicroseconds) {
  probe({"open"});
  EXPECT_THAT(m_directory.read("log"), MatchesRegex("[0-9]+\\.[0-9][0-9][0-9][0-9][0-9][0-9] open [0-9]+\n"));
}

TEST_F(CamSim, EscapesLineEndsOfReports) {
  EXPECT_EQ(probe({"open", "report=CONNECTION TO OPS LOST !\n", "report=a\\b\r\t\x01", "close"}),
            "open ok\nreport ok\nreport ok\nclose ok\n");
  EXPECT_THAT(logged(), ElementsAre("open N", "report CONNECTION TO OPS LOST !\\n",
                                    "report a\\\\b\\r\\t\\x01", "close N"));
}

TEST_F(CamSim, LogsAnActivityWhoseKicksStopOnce) {
  probe({"open", "register=main", "timeout=300", "kick", "await=expired main", "kick", "unregister"});
  EXPECT_THAT(logged(), ElementsAre("open N", "register main", "timeout 300", "kick main", "expired main",
                                    "kick main", "unregister main"));
}

TEST_F(CamSim, WatchesAnActivityAgainAfterItsNextKick) {
  EXPECT_THAT(
      probe({"open", "register=A", "timeout=20", "await=expired A", "open", "register=B", "timeout=20",
             "await=expired B", "kick", "open", "register=C", "timeout=60", "await=expired C"}),
      HasSubstr("await ok\nkick ok"));
  const std::vector<std::string> lines = logged();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "expired A"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "expired B"), 2);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "expired C"), 1);
}

TEST_F(CamSim, DoesNotWatchAnActivityThatIsGone) {
  probe({"open", "register=A", "timeout=400", "unregister", "open", "register=B", "timeout=400", "close",
         "open", "register=C", "timeout=600", "await=expired C"});
  const std::vector<std::string> lines = logged();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "expired A"), 0);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "expired B"), 0);
}

TEST_F(CamSim, IsReachedThroughEveryWayToOpen) {
  probe({"open", "close", "open64", "close", "openat", "close"});
  EXPECT_THAT(logged(), ElementsAre("open N", "close N", "open N", "close N", "open N", "close N"));
}

TEST_F(CamSim, GivesARealDescriptorThatCanBeDuplicated) {
  EXPECT_EQ(probe({"open", "cloexec", "register=main", "dup", "kick"}),
            "open ok\ncloexec ok\nregister ok\ndup ok\nkick ok\n");
  EXPECT_THAT(logged(), ElementsAre("open N", "register main", "kick main"));
}

TEST_F(CamSim, RefusesWhatTheDeviceWouldRefuse) {
  EXPECT_EQ(probe({"kick", "open", "kick", "timeout=1", "unregister", "other"}),
            "kick EBADF\nopen ok\nkick EINVAL\ntimeout EINVAL\nunregister EINVAL\nother ENOTTY\n");
}

TEST_F(CamSim, RefusesEveryKindOfRequestWhenTold) {
  const std::vector<std::string> requests = {"open", "register=main", "timeout=1",
                                             "kick", "report=x",      "unregister"};
  for (size_t i = 1; i < requests.size(); ++i) {
    const std::string op = requests[i].substr(0, requests[i].find('='));
    m_directory.write("refuse", op + "\n");
    std::string expected;
    for (const std::string& request : requests) {
      const std::string name = request.substr(0, request.find('='));
      const bool needsARegistered = name == "timeout" || name == "kick" || name == "unregister";
      const bool invalid = op == "register" && needsARegistered;
      expected += name + (name == op ? " EPERM\n" : invalid ? " EINVAL\n" : " ok\n");
    }
    EXPECT_EQ(probe(requests), expected);
  }
}

TEST_F(CamSim, RefusesToBeOpenedWhenTold) {
  m_directory.write("refuse", "open");
  EXPECT_EQ(probe({"open"}), "open EPERM\n");
  EXPECT_THAT(logged(), ElementsAre("refused open "));
}

TEST_F(CamSim, LeavesARequestAloneWhenItRefusedToOpen) {
  m_directory.write("refuse", "open");
  EXPECT_EQ(probe({"open", "register=main"}), "open EPERM\nregister EBADF\n");
  EXPECT_THAT(logged(), ElementsAre("refused open "));
}

TEST_F(CamSim, RefusesOnlyTheTextThatItIsTold) {
  m_directory.write("refuse", "kick other\nregister OPS\nreport LOST");
  EXPECT_EQ(probe({"open", "register=main", "kick", "open", "register=OPS", "close", "open",
                   "report=LOST !\n", "report=x"}),
            "open ok\nregister ok\nkick ok\nopen ok\nregister EPERM\nclose ok\nopen ok\nreport EPERM\n"
            "report ok\n");
  EXPECT_THAT(logged(), ElementsAre("open N", "register main", "kick main", "open N", "refused register OPS",
                                    "close N", "open N", "refused report LOST !\\n", "report x"));
}

TEST_F(CamSim, LeavesAForkedChildADeviceOfItsOwn) {
  EXPECT_EQ(probe({"open", "register=main", "timeout=60000", "child", "kick", "close"}),
            "open ok\nregister ok\ntimeout ok\nchild ok\nkick ok\nclose ok\n");
  EXPECT_THAT(logged(), ElementsAre("open N", "register main", "timeout 60000", "open N", "register child",
                                    "kick main", "close N"));
}

TEST_F(CamSim, TakesNoSignalFromTheProcess) {
  EXPECT_EQ(probe({"open", "register=main", "timeout=60000", "signals"}),
            "open ok\nregister ok\ntimeout ok\nsignals ok\n");
}

TEST_F(CamSim, ServesThreadsAtOnce) {
  EXPECT_EQ(probe({"threads"}), "threads ok\n");
  const std::vector<std::string> lines = logged();
  EXPECT_EQ(lines.size(), 4U * 25 * 6);
  for (int i = 0; i < 4; ++i) {
    const std::string name = "thread" + std::to_string(i);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "register " + name), 25);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "kick " + name), 25);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "unregister " + name), 25);
  }
}

TEST_F(CamSim, EmulatesWithoutALog) {
  Program program({CAM_PROBE, "open", "register=main", "timeout=60000", "kick", "unregister", "close"},
                  {"LD_PRELOAD=" CAM_SIM, "ASAN_OPTIONS=verify_asan_link_order=0"});
  EXPECT_EQ(program.output(), "open ok\nregister ok\ntimeout ok\nkick ok\nunregister ok\nclose ok\n");
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(CamSim, IsHarmlessInAShellAndItsChildren) {
  Program program({"/bin/sh", "-c", "echo one | cat; exec 3</dev/null; exec 3<&-; ls /dev/null"},
                  environment());
  EXPECT_EQ(program.output(), "one\n/dev/null\n");
  EXPECT_EQ(program.errors(), "");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(logged(), IsEmpty());
}

}  // namespace
