// The message reference: its outputs, and the program's look at a file that should hold one.
#include "Reference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr ops::ValueName portNames[] = {{24, "front"}, {0xFFFFFFFF, "none"}, {ops::anyOther, "bad"}};
constexpr ops::FieldInfo flushed[] = {{"vpn", 4, 4, ops::FieldKind::number, "a \"VPN\"", "things", {}},
                                      {"vp", 8, 2, ops::FieldKind::label, "where", "", portNames}};
constexpr ops::MessageInfo two[] = {
    {TASK_INIT_STATUS, ops::Direction::fromIss, false, "start", "Starts.", {}},
    {FLUSH_CMD, ops::Direction::toIss, true, "rules", "Flushes\n.", flushed}};

TEST(MessageReference, ListsTypesAndLeadsToTheirFields) {
  const std::string text = reference::markdown(two);
  EXPECT_THAT(text, HasSubstr("| 2 | `TASK_INIT_STATUS` | ISS to daemon | start | nobody | | Starts. |\n"));
  EXPECT_THAT(text, HasSubstr("| 16 | [`FLUSH_CMD`](#flush_cmd-16) | daemon to ISS | rules | ISS | yes |"));
  EXPECT_THAT(text, HasSubstr("\n## FLUSH_CMD (16)\n"));
  EXPECT_THAT(text, Not(HasSubstr("## TASK_INIT_STATUS")));
}

TEST(MessageReference, DescribesEachFieldInARow) {
  const std::string text = reference::markdown(two);
  EXPECT_THAT(text,
              HasSubstr("| 4 | 4 | `vpn` | number | a \"VPN\" | things |\n"
                        "| 8 | 2 | `vp` | label | where (24 = front, 0xFFFFFFFF = none, other = bad) | |\n"));
}

TEST(MessageReference, IsOneJsonObject) {
  EXPECT_THAT(reference::json(two), testing::StartsWith(R"({
  "recordSize": 6924,
  "types": [
    {"number": 2, "name": "TASK_INIT_STATUS", "direction": "fromIss", "isAnswer": false, "partner": "start", "meaning": "Starts.", "fields": []},
    {"number": 16, "name": "FLUSH_CMD", "direction": "toIss", "isAnswer": true, "partner": "rules", "meaning": "Flushes\u000a.", "fields": [
      {"name": "vpn", "offset": 4, "size": 4, "kind": "number", "meaning": "a \"VPN\"", "unit": "things", "values": []},
      {"name": "vp", "offset": 8, "size": 2, "kind": "label", "meaning": "where", "unit": "", "values": [
        {"value": 24, "name": "front"},
        {"value": 4294967295, "name": "none"},
        {"value": null, "name": "bad"}
      ]}
    ]}
  ],
  "trailer": [
    {"name": "errorString", )"));
}

TEST(MessageReference, IsTablesInLua) {
  const std::string text = reference::lua(two);
  EXPECT_THAT(text, HasSubstr(R"(
local record_size = 6924
local trailer_offset = 6412
local no_error = "No Error\013\010"

local types = {
  [2] = {name = "TASK_INIT_STATUS", direction = "fromIss", answer = false,
    meaning = "Starts.",
    fields = {}},
  [16] = {name = "FLUSH_CMD", direction = "toIss", answer = true,
    meaning = "Flushes\010.",
    fields = {
      {name = "vpn", offset = 4, size = 4, kind = "number",
       meaning = "a \"VPN\"", unit = "things", values = {}},
      {name = "vp", offset = 8, size = 2, kind = "label",
       meaning = "where", unit = "", values = {[24] = "front", [4294967295] = "none"}, other = "bad"},
    }},
}

local trailer = {
  {name = "errorString", )"));
}

/// The dissector gives fields of the same name one filter name, which has one kind of value.
TEST(MessageReference, GivesFieldsOfOneNameOneKind) {
  std::map<std::string, ops::FieldKind> kinds;
  const auto add = [&kinds](std::span<const ops::FieldInfo> fields) {
    for (const ops::FieldInfo& field : fields)
      EXPECT_EQ(kinds.try_emplace(field.name, field.kind).first->second, field.kind) << field.name;
  };
  for (const ops::MessageInfo& message : ops::messages) add(message.fields);
  add(ops::trailerFields);
}

TEST(MessageReference, NamesEveryKindOnce) {
  std::set<std::string> names;
  for (int kind = 0; kind <= static_cast<int>(reference::lastKind); ++kind) {
    const reference::KindText text = reference::kindText(static_cast<ops::FieldKind>(kind));
    EXPECT_STRNE(text.meaning, "") << kind;
    EXPECT_TRUE(names.insert(text.name).second) << text.name;
  }
  EXPECT_STREQ(reference::kindText(static_cast<ops::FieldKind>(names.size())).name, "");
}

/// Runs the program; what it wrote to standard error comes back, and its exit status.
int run(const std::string& arguments, std::string& complaint) {
  complaint.clear();
  FILE* pipe = popen((MESSAGE_REFERENCE " " + arguments + " 2>&1 >/dev/null").c_str(), "r");
  if (pipe == nullptr) return -1;
  char piece[256];
  while (fgets(piece, sizeof piece, pipe) != nullptr) complaint += piece;
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class MessageReferenceProgram : public ::testing::Test {
 protected:
  ~MessageReferenceProgram() override { std::remove(m_path.c_str()); }
  void write(const std::string& text) { std::ofstream(m_path, std::ios::binary) << text; }

  const std::string m_path = ::testing::TempDir() + "message-reference-" + std::to_string(getpid());
  std::string m_complaint;
};

TEST_F(MessageReferenceProgram, IsContentWithACurrentFile) {
  write(reference::markdown(ops::messages));
  EXPECT_EQ(run("--markdown --check " + m_path, m_complaint), 0);
  write(reference::json(ops::messages));
  EXPECT_EQ(run("--json --check " + m_path, m_complaint), 0);
  EXPECT_EQ(m_complaint, "");
}

TEST_F(MessageReferenceProgram, TellsWhatMakesAFileCurrent) {
  write(reference::markdown(ops::messages) + "\n");
  EXPECT_EQ(run("--markdown --check " + m_path, m_complaint), 1);
  EXPECT_EQ(m_complaint, m_path + " is not current: run " MESSAGE_REFERENCE " --markdown > " + m_path + "\n");
}

TEST_F(MessageReferenceProgram, TellsWhatItCannotRead) {
  EXPECT_EQ(run("--markdown --check " + m_path, m_complaint), 1);
  EXPECT_EQ(m_complaint, "message-reference: cannot read " + m_path + ": No such file or directory\n");
}

TEST_F(MessageReferenceProgram, RefusesAnotherCommandLine) {
  for (const char* arguments : {"", "--lua", "--json --check", "--json --chock x", "--json --check x y"})
    EXPECT_EQ(run(arguments, m_complaint), 2) << arguments;
  EXPECT_THAT(m_complaint, HasSubstr("usage: message-reference --markdown | --json | --dissector"));
}

TEST_F(MessageReferenceProgram, FailsWhereItCannotWrite) {
  EXPECT_EQ(system(MESSAGE_REFERENCE " --markdown 2>/dev/null >/dev/full") >> 8, 1);
}

}  // namespace
