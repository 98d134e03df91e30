#include "services/ports/ScriptFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "services/failClose.h"
#include "services/failFiles.h"
#include "support/contents.h"

namespace {

constexpr uid_t stranger = 65534;

class ScriptFile : public ::testing::Test {
 protected:
  ScriptFile() {
    char pattern[] = "/tmp/script-file-XXXXXX";
    m_dir = mkdtemp(pattern);
    m_path = m_dir + "/script";
    chmod(m_dir.c_str(), 01777);
  }
  ~ScriptFile() override { std::filesystem::remove_all(m_dir); }

  void put(const std::string& path, const std::string& text) { std::ofstream(path) << text; }
  std::string other() const { return m_dir + "/other"; }

  /// Writing succeeds, and what is there then is nobody else's.
  void expectOwn(const std::string& text) {
    ASSERT_EQ(writeScriptFile(m_path.c_str(), text), 0);
    struct stat status {};
    ASSERT_EQ(lstat(m_path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(status.st_uid, geteuid());
    EXPECT_EQ(status.st_nlink, 1U);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    EXPECT_EQ(contents(m_path), text);
  }
  void expectFailure(int error, const std::string& text) {
    EXPECT_EQ(writeScriptFile(m_path.c_str(), text), error);
    EXPECT_TRUE(std::filesystem::is_empty(m_dir)) << "nothing is left";
  }

  std::string m_dir;
  std::string m_path;
};

TEST_F(ScriptFile, HasAPathThatLeavesRoomForTheNameBefore) {
  // With ".XXXXXX" and the end of the text exactly too long by one.
  std::string path = m_dir + "/";
  while (path.size() + 7 < PATH_MAX - 1) path += "./";
  path.resize(PATH_MAX - 8, '/');
  EXPECT_EQ(writeScriptFile((path + "s").c_str(), "end\n"), ENAMETOOLONG);
  path.pop_back();
  EXPECT_EQ(writeScriptFile((path + "s").c_str(), "end\n"), 0);
}

TEST_F(ScriptFile, IsMadeWhereThereIsNone) {
  expectOwn("vlan 5\nend\n");
}

TEST_F(ScriptFile, TakesTheTextAsItIs) {
  expectOwn("");
  expectOwn(std::string("a\0b", 3) + std::string(100000, 'x'));
}

TEST_F(ScriptFile, ReplacesAnEarlierOne) {
  put(m_path, std::string(10000, 'x'));
  expectOwn("new\n");
}

TEST_F(ScriptFile, LeavesWhoeverReadsTheEarlierOneItsText) {
  put(m_path, "old\n");
  std::ifstream reader(m_path);
  expectOwn("new\n");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old\n");
}

TEST_F(ScriptFile, FollowsNoLink) {
  put(other(), "kept");
  for (const std::string& target : {other(), m_dir + "/nowhere", m_path}) {
    unlink(m_path.c_str());
    ASSERT_EQ(symlink(target.c_str(), m_path.c_str()), 0);
    expectOwn("new\n");
  }
  EXPECT_EQ(contents(other()), "kept");
  EXPECT_FALSE(std::filesystem::exists(m_dir + "/nowhere"));
}

TEST_F(ScriptFile, DoesNotWriteToAnotherNameOfTheFile) {
  put(other(), "kept");
  ASSERT_EQ(link(other().c_str(), m_path.c_str()), 0);
  expectOwn("new\n");
  EXPECT_EQ(contents(other()), "kept");
}

TEST_F(ScriptFile, DoesNotWaitForAReader) {
  ASSERT_EQ(mkfifo(m_path.c_str(), 0666), 0);
  expectOwn("new\n");
}

TEST_F(ScriptFile, GoesToNobodyWhoHasTheEarlierOneOpen) {
  put(m_path, "old\n");
  ASSERT_EQ(chmod(m_path.c_str(), 0666), 0);
  std::ofstream holder(m_path, std::ios::app);
  expectOwn("new\n");
  holder << "evil\n" << std::flush;
  EXPECT_EQ(contents(m_path), "new\n");
}

TEST_F(ScriptFile, ReplacesAStrangersFile) {
  put(m_path, "evil\n");
  if (geteuid() != 0 || chown(m_path.c_str(), stranger, stranger) != 0)
    GTEST_SKIP() << "only root can give a file to another user: run the tests as root";
  expectOwn("new\n");
}

TEST_F(ScriptFile, HasTheSameModeWhateverTheUmask) {
  const mode_t before = umask(0);
  expectOwn("new\n");
  umask(0777);
  expectOwn("new\n");
  umask(before);
}

TEST_F(ScriptFile, CannotReplaceADirectory) {
  ASSERT_EQ(mkdir(m_path.c_str(), 0700), 0);
  EXPECT_EQ(writeScriptFile(m_path.c_str(), "new\n"), EISDIR);
  EXPECT_TRUE(std::filesystem::is_empty(m_path));
}

TEST_F(ScriptFile, CannotBeMadeInADirectoryThatIsNotThere) {
  EXPECT_EQ(writeScriptFile((m_dir + "/none/script").c_str(), "new\n"), ENOENT);
}

TEST_F(ScriptFile, OutlivesSomebodyWhoKeepsPuttingALinkThere) {
  put(other(), "kept");
  std::atomic<bool> ended = false;
  std::thread attacker([&] {
    while (!ended) static_cast<void>(symlink(other().c_str(), m_path.c_str()) != 0);
  });
  for (int round = 0; round < 1000; ++round) {
    ASSERT_NO_FATAL_FAILURE(expectOwn("new\n"));
  }
  ended = true;
  attacker.join();
  EXPECT_EQ(contents(other()), "kept");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_dir), {}), 2) << "nothing else is left";
}

TEST_F(ScriptFile, IsNotLeftHalfWritten) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit hundredBytes{100, before.rlim_max};
  const auto disposition = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &hundredBytes), 0);
  expectFailure(EFBIG, std::string(1000, 'x'));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  signal(SIGXFSZ, disposition);
}

TEST_F(ScriptFile, IsNotLeftWhenItsCloseFails) {
  failNextClose(EIO);
  expectFailure(EIO, "new\n");
}

TEST_F(ScriptFile, IsNotLeftWhenItCannotBeFinished) {
  using By = failing::Call::By;
  failing::changeMode.fail(By::Test, EPERM);
  expectFailure(EPERM, "new\n");
  failing::renameFile.fail(By::Test, EROFS);
  expectFailure(EROFS, "new\n");
  failing::writeFile.fail(By::Test, -1);
  expectFailure(ENOSPC, "new\n");
  failing::writeFile.fail(By::Test, EIO);
  failNextClose(EDQUOT);
  expectFailure(EIO, "new\n");
}

TEST_F(ScriptFile, IsWrittenOnAfterASignal) {
  failing::writeFile.fail(failing::Call::By::Test, EINTR);
  expectOwn("new\n");
  EXPECT_TRUE(failing::writeFile.done());
}

TEST_F(ScriptFile, HasNoPathWithoutRoomForTheNameItIsMadeUnder) {
  // The system takes the path, but not with what makes the other name.
  std::string path = m_dir;
  while (path.size() < PATH_MAX - 8) path += "/.";
  path += "/script-";
  path.resize(PATH_MAX - 2, 'x');
  EXPECT_EQ(writeScriptFile(path.c_str(), "new\n"), ENAMETOOLONG);
  EXPECT_TRUE(std::filesystem::is_empty(m_dir));
}

}  // namespace
