// A program under test: started with arguments and environment, its output read through pipes. Ends with its
// owner. One thread.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

extern char** environ;

class Program {
 public:
  Program(std::vector<std::string> arguments, const std::vector<std::string>& extraEnvironment = {}) {
    int out[2];
    int err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return;
    // The first of two variables of one name counts.
    std::vector<std::string> environment = extraEnvironment;
    for (char** variable = environ; *variable != nullptr; ++variable) environment.push_back(*variable);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    if (posix_spawn(&m_pid, arguments[0].c_str(), &actions, nullptr, pointers(arguments).data(),
                    pointers(environment).data()) != 0) {
      m_pid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    m_out = out[0];
    m_err = err[0];
  }
  ~Program() {
    if (m_pid > 0) {
      signal(SIGKILL);
      wait();
    }
    closeOutput();
    if (m_err >= 0) close(m_err);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void signal(int number) { kill(m_pid, number); }

  /// Nobody reads its standard output from here on.
  void closeOutput() {
    if (m_out >= 0) close(m_out);
    m_out = -1;
  }

  /// The next line of its standard output without its end; empty at the end or after 20 s.
  std::string line() {
    std::string text;
    char c = 0;
    while (readOne(m_out, c) && c != '\n') text += c;
    return text;
  }
  /// All the rest of an output.
  std::string output() { return rest(m_out); }
  std::string errors() { return rest(m_err); }

  /// Its exit status, or minus the signal that ended it.
  int wait() {
    int status = 0;
    if (m_pid <= 0 || waitpid(m_pid, &status, 0) != m_pid) return -1000;
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  }
  static bool readOne(int fd, char& c) {
    pollfd readable{fd, POLLIN, 0};
    return poll(&readable, 1, 20000) == 1 && read(fd, &c, 1) == 1;
  }
  static std::string rest(int fd) {
    std::string text;
    char c = 0;
    while (readOne(fd, c)) text += c;
    return text;
  }

  pid_t m_pid = -1;
  int m_out = -1;
  int m_err = -1;
};
