#include "services/lifecycle/OBOchStub.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

#include "OBcomponent.h"
#include "services/failThreads.h"
#include "services/sleeps.h"
#include "support/FakeBus.h"
#include "support/RingTest.h"
#include "support/waitFor.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

enum : int32_t { initialized, started, stopped };

const std::string marker = "/tmp/initIssDone";
const std::string startScript = "-d -m /etc/rc.d/issStartScript.sh start\n";
const std::string stop = "-d -m /etc/rc.d/issStartScript.sh stop\n";

std::string line(const std::string& level, const std::string& function, const std::string& text) {
  return loggedAnywhere(level, "SrvIss", function, text);
}
std::string lifeCycleLine(const std::string& level, const std::string& text) {
  return line(level, "run_och_thread", text);
}

/// Commands run for real; what they call is a `screen` of the test's own, which writes down its arguments.
class LifeCycle : public RingTest {
 protected:
  LifeCycle() {
    FakeBus::clear();
    std::filesystem::remove_all(marker);
    char pattern[] = "/tmp/screenXXXXXX";
    m_directory = mkdtemp(pattern);
    m_path = getenv("PATH");
    setenv("PATH", m_directory.c_str(), 1);
    screenExits(0);
    m_stub.emplace(&m_component);
    forget();
  }
  ~LifeCycle() override {
    setenv("PATH", m_path.c_str(), 1);
    std::filesystem::remove_all(m_directory);
    std::filesystem::remove_all(marker);
  }

  void screenExits(int status) {
    const std::string screen = m_directory + "/screen";
    std::ofstream(screen) << "#!/bin/sh\necho \"$*\" >> " << m_directory << "/calls\nexit " << status << "\n";
    chmod(screen.c_str(), 0755);
  }
  std::string commands() const {
    std::ifstream calls(m_directory + "/calls");
    return {std::istreambuf_iterator<char>(calls), {}};
  }
  static void mark() { std::ofstream marking(marker); }

  /// Returns after how long the bus thread would have gone on.
  milliseconds trigger(int32_t state, bool flag = false, uint64_t call = 1) {
    const auto before = steady_clock::now();
    m_stub->triggerDataUser(FakeBus::call(call), state, flag);
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - before);
  }
  static void expectReply(int32_t state, bool result, uint64_t call = 1) {
    ASSERT_EQ(FakeBus::replies().size(), 1U);
    EXPECT_EQ(FakeBus::replies()[0].call, call);
    EXPECT_EQ(FakeBus::replies()[0].results, (std::vector<OBvalue>{state, result}));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }
  /// Triggers, and lets `change` happen after the first look at the marker; the reply waits for it.
  void expectWaitsFor(int32_t state, void (*change)(), bool result) {
    const auto before = steady_clock::now();
    std::thread bus([this, state] { trigger(state); });
    EXPECT_TRUE(waitFor([before] { return steady_clock::now() - before > milliseconds(1700); }));
    EXPECT_THAT(FakeBus::replies(), IsEmpty());
    change();
    bus.join();
    EXPECT_GE(steady_clock::now() - before, milliseconds(2000)) << "the marker is looked at once a second";
    expectReply(state, result);
  }

  OBcomponent m_component{"Trelvik", nullptr};
  std::optional<OBOchStub> m_stub;

 private:
  std::string m_directory;
  std::string m_path;
};

TEST_F(LifeCycle, RegistersItselfAtTheComponent) {
  FakeBus::clear();
  {
    const OBOchStub stub(&m_component);
    EXPECT_THAT(unnumbered(),
                ElementsAre(line("DEBUG1", "OBOchStub", "OBOchStub called"),
                            line("DEBUG1", "register_interface", "OBOchStub::register_interface called")));
    forget();
  }
  EXPECT_THAT(FakeBus::registrations(),
              ElementsAre("asynchronous TrelvikOchTriggerAsync OBOchTriggerTrelvik_1_0"));
  EXPECT_THAT(unnumbered(), ElementsAre(line("DEBUG1", "~OBOchStub", "~OBOchStub called")));
}

TEST_F(LifeCycle, NamesItsStates) {
  EXPECT_STREQ(dataUserStateName(0), "INITIALIZED");
  EXPECT_STREQ(dataUserStateName(1), "STARTED");
  EXPECT_STREQ(dataUserStateName(2), "STOPPED");
  for (const int32_t other : {-1, 3, 7, INT32_MIN, INT32_MAX})
    EXPECT_STREQ(dataUserStateName(other), "INVALID") << other;
}

TEST_F(LifeCycle, StartThatFindsTheMarkerRepliesAfterOneSecond) {
  mark();
  EXPECT_GE(trigger(started), milliseconds(1000));
  EXPECT_EQ(commands(), startScript);
  expectReply(started, true);
  EXPECT_THAT(unnumbered(),
              ElementsAre(line("DEBUG1", "triggerDataUser", "STARTED"), lifeCycleLine("DEBUG1", "STARTED")));
}

TEST_F(LifeCycle, StartTakesAMarkerOfAnyForm) {
  std::filesystem::create_directory(marker);
  trigger(started);
  expectReply(started, true);
}

TEST_F(LifeCycle, StartWaitsForTheMarker) {
  expectWaitsFor(started, mark, true);
  EXPECT_EQ(commands(), startScript) << "the command runs once";
}

TEST_F(LifeCycle, LooksAtTheMarkerOnceASecond) {
  for (const long after : {1, 1100, 2300, 3500, 4900}) {
    const PassingSleeps sleeps([after](long slept) {
      if (slept >= after) mark();
    });
    trigger(started);
    EXPECT_EQ(sleeps.total(), (after + 999) / 1000 * 1000) << "started after " << after << " ms";
    std::filesystem::remove(marker);
  }
}

TEST_F(LifeCycle, StartWaitsOnWhileTheMarkerCannotBeRead) {
  std::filesystem::create_symlink(marker, marker);
  expectWaitsFor(
      started,
      [] {
        std::filesystem::remove(marker);
        mark();
      },
      true);
}

TEST_F(LifeCycle, StartThatFailsStillWaits) {
  screenExits(3);
  expectWaitsFor(started, mark, false);
  EXPECT_EQ(commands(), startScript);
}

TEST_F(LifeCycle, StopWithoutTheMarkerRepliesAfterOneSecond) {
  EXPECT_GE(trigger(stopped), milliseconds(1000));
  EXPECT_EQ(commands(), stop);
  expectReply(stopped, true);
  EXPECT_THAT(unnumbered(),
              ElementsAre(line("DEBUG1", "triggerDataUser", "STOPPED"), lifeCycleLine("DEBUG1", "STOPPED")));
}

TEST_F(LifeCycle, StopTakesAMarkerThatCannotBeReadForAbsent) {
  std::filesystem::create_symlink(marker, marker);
  trigger(stopped);
  expectReply(stopped, true);
}

TEST_F(LifeCycle, StopWaitsUntilTheMarkerHasGone) {
  mark();
  expectWaitsFor(
      stopped, [] { std::filesystem::remove(marker); }, true);
  EXPECT_EQ(commands(), stop);
}

TEST_F(LifeCycle, StopThatFailsRepliesSo) {
  screenExits(1);
  trigger(stopped);
  expectReply(stopped, false);
}

TEST_F(LifeCycle, InitializedIsNotHandled) {
  EXPECT_GE(trigger(initialized), milliseconds(1000));
  EXPECT_EQ(commands(), "");
  EXPECT_FALSE(std::filesystem::exists(marker));
  expectReply(initialized, true);
  const std::string refused = lifeCycleLine("DEBUG1", "INITIALIZED is not handled");
  EXPECT_THAT(unnumbered(), ElementsAre(line("DEBUG1", "triggerDataUser", "INITIALIZED"),
                                        lifeCycleLine("DEBUG1", "INITIALIZED"), refused, refused));
}

TEST_F(LifeCycle, UnknownStatesAreRejected) {
  for (const int32_t state : {7, 3, -1}) {
    FakeBus::clear();
    forget();
    EXPECT_GE(trigger(state, false, 20), milliseconds(1000));
    expectReply(state, true, 20);
    const std::string refused =
        lifeCycleLine("ERROR", "INVALID(" + std::to_string(state) + ") is not supported");
    EXPECT_THAT(unnumbered(), ElementsAre(line("DEBUG1", "triggerDataUser", "INVALID"),
                                          lifeCycleLine("DEBUG1", "INVALID"), refused, refused));
  }
  EXPECT_EQ(commands(), "");
}

TEST_F(LifeCycle, TheFlagHasNoEffect) {
  trigger(stopped, true);
  expectReply(stopped, true);
  mark();
  FakeBus::clear();
  trigger(started, true);
  expectReply(started, true);
  EXPECT_EQ(commands(), stop + startScript);
  FakeBus::clear();
  trigger(initialized, true);
  expectReply(initialized, true);
}

TEST_F(LifeCycle, LogsOnlyErrorsAtTheStartLevel) {
  setLevel(6);
  trigger(initialized);
  EXPECT_THAT(lines(), IsEmpty());
  trigger(7);
  const std::string refused = lifeCycleLine("ERROR", "INVALID(7) is not supported");
  EXPECT_THAT(unnumbered(), ElementsAre(refused, refused));
}

TEST_F(LifeCycle, WorkerHasTheDefaultStack) {
  trigger(initialized);
  EXPECT_EQ(lastStackSize(), 0U) << "a size of its own";
}

TEST_F(LifeCycle, WithoutAThreadThereIsNoReply) {
  failNextThread(EAGAIN);
  trigger(started, false, 30);
  EXPECT_EQ(commands(), "");
  EXPECT_THAT(unnumbered(), Contains(line("ERROR", "triggerDataUser",
                                          "Failed to create thread: Resource temporarily unavailable")));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(30U));
}

TEST_F(LifeCycle, WithoutARequestThereIsNothingToDo) {
  EXPECT_EQ(run_och_thread(nullptr), nullptr);
  EXPECT_THAT(unnumbered(), ElementsAre(lifeCycleLine("ERROR", "Incoming parameters are invalid")));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
}

TEST_F(LifeCycle, WaitEndsWithoutAReplyWhenTheProcessStops) {
  std::thread bus([this] { trigger(started, false, 40); });
  EXPECT_TRUE(waitFor([this] { return commands() == startScript; }));
  const auto before = steady_clock::now();
  running = 0;
  bus.join();
  EXPECT_LT(steady_clock::now() - before, milliseconds(1000)) << "well within the 2 s of a stop";
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(40U));
}

TEST_F(LifeCycle, HasNoSynchronousForm) {
  m_stub->triggerDataUser(started, true);
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_THAT(unnumbered(),
              Contains(loggedAnywhere("ERROR", "OBOchTriggerTrelvik_1_0_SI", "triggerDataUser",
                                      "Error, this function should never be called [virtual void "
                                      "OBOchTriggerTrelvik_1_0_SI::triggerDataUser(int32_t, bool)]]\n")));
  EXPECT_EQ(commands(), "");
}

}  // namespace
