// A directory of its own for one test, removed with what is in it. One thread.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class TemporaryDirectory {
 public:
  // Short: a script's path must fit the record's 23 characters.
  TemporaryDirectory() { m_path = mkdtemp(m_name); }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  std::string path(const std::string& name) const { return m_path + "/" + name; }
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name)) << content;
    return path(name);
  }
  std::string read(const std::string& name) const {
    std::stringstream content;
    content << std::ifstream(path(name)).rdbuf();
    return content.str();
  }

 private:
  char m_name[12] = "/tmp/XXXXXX";
  std::string m_path;
};
