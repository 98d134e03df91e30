#include "commands/Command.h"

#include <CLI/CLI.hpp>

namespace ctl {

Command Command::sub(const std::string& name, const std::string& description) {
  CLI::App* app = m_app.add_subcommand(name, description);
  app->fallthrough();
  return {*app, m_context};
}

Command& Command::flag(const std::string& name, bool& value, const std::string& description) {
  m_app.add_flag(name, value, description);
  return *this;
}

Command& Command::value(const std::string& name, const std::string& form, const std::string& description,
                        Need need, std::vector<std::string> candidates,
                        std::function<Checked(const std::string&)> parse) {
  Context& context = m_context;
  CLI::Option* option = m_app.add_option_function<std::string>(
      name,
      [name, &context, parse = std::move(parse)](const std::string& word) {
        const Checked fault = parse(word);
        if (!fault) return;
        if (!fault->forcible) throw CLI::ValidationError(name + ' ' + fault->text);
        context.faults.push_back(name + ' ' + fault->text);
      },
      description);
  option->type_name(form)->required(need == Need::required);
  if (!candidates.empty()) context.candidates[option] = std::move(candidates);
  return *this;
}

Command& Command::number(const std::string& name, uint32_t& value, Range range,
                         const std::string& description, Need need) {
  const std::string form = std::to_string(range.least) + ".." + std::to_string(range.most);
  return this->value(name, form, description, need, {},
                     [&value, range](const std::string& word) { return parseNumber(word, range, value); });
}

Command& Command::choice(const std::string& name, uint32_t& value, std::span<const Name> names,
                         const std::string& description, Need need) {
  std::string form;
  std::vector<std::string> candidates;
  for (const Name& one : names) {
    form += (form.empty() ? "" : "|") + std::string(one.name);
    candidates.emplace_back(one.name);
  }
  return this->value(name, form, description, need, std::move(candidates),
                     [&value, names](const std::string& word) { return parseName(word, names, value); });
}

Command& Command::ports(const std::string& name, uint32_t& bitmap, const std::string& description,
                        Need need) {
  return value(name, "PORTS", description + " (1,2,5-8)", need, {},
               [&bitmap](const std::string& word) { return parsePortList(word, bitmap); });
}

Command& Command::text(const std::string& name, std::string& value, const std::string& description, Need need,
                       std::vector<std::string> candidates) {
  return this->value(name, "TEXT", description, need, std::move(candidates),
                     [&value](const std::string& word) -> Checked {
                       value = word;
                       return std::nullopt;
                     });
}

Command& Command::texts(const std::string& name, std::vector<std::string>& values,
                        const std::string& description) {
  m_app.add_option(name, values, description);
  return *this;
}

void Command::run(std::function<Outcome(Context&)> action) {
  m_app.callback([&context = m_context, action = std::move(action)] {
    // A command that has subcommands does its own only when none was named.
    if (!context.command) context.command = action;
  });
}

}  // namespace ctl
