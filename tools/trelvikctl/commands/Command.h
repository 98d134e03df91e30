// One command of the command line with its options: the door to CLI11, which nobody else includes. Start-up
// only. Values are stored where the caller says and live as long as the command.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/Values.h"
#include "commands/Context.h"

namespace CLI {
class App;
}

namespace ctl {

enum class Need : uint8_t { optional, required };

class Command {
 public:
  Command(CLI::App& app, Context& context) : m_app(app), m_context(context) {}

  Command sub(const std::string& name, const std::string& description);

  /// "--NAME" is an option, "NAME" a place on the line.
  Command& flag(const std::string& name, bool& value, const std::string& description);
  Command& number(const std::string& name, uint32_t& value, Range range, const std::string& description,
                  Need need = Need::optional);
  Command& choice(const std::string& name, uint32_t& value, std::span<const Name> names,
                  const std::string& description, Need need = Need::optional);
  Command& ports(const std::string& name, uint32_t& bitmap, const std::string& description,
                 Need need = Need::optional);
  Command& text(const std::string& name, std::string& value, const std::string& description,
                Need need = Need::optional, std::vector<std::string> candidates = {});
  Command& texts(const std::string& name, std::vector<std::string>& values, const std::string& description);

  /// What the others are made of: `form` is how help shows a value.
  Command& value(const std::string& name, const std::string& form, const std::string& description, Need need,
                 std::vector<std::string> candidates, std::function<Checked(const std::string&)> parse);

  /// What the command does.
  void run(std::function<Outcome(Context&)> action);

 private:
  CLI::App& m_app;
  Context& m_context;
};

/// Adds the commands; each stands in a file of its own.
void addPort(Command root);
void addRule(Command root);
void addSyncE(Command root);
void addSmartSfp(Command root);
void addIss(Command root);
void addTrace(Command root);
void addRedundancy(Command root);
void addStatus(Command root);
void addWatch(Command root);
void addDoctor(Command root);
void addOps(Command root);
void addTimeline(Command root);

/// The words that may come next on a command line, for the shell's completion; the last word is the one
/// begun.
std::vector<std::string> complete(CLI::App& root, const Context& context,
                                  const std::vector<std::string>& words);

}  // namespace ctl
