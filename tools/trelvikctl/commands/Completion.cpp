// What may come next on a command line, for the shells.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "OtnIpcFields.h"
#include "commands/Command.h"
#include "record/RecordTemplate.h"

namespace ctl {
namespace {

bool isOption(const std::string& word) {
  return word.starts_with('-') && word.size() > 1;
}

/// The option that a word names, of the command or of one above it.
const CLI::Option* findOption(CLI::App* app, const std::string& word) {
  for (; app != nullptr; app = app->get_parent()) {
    if (const CLI::Option* option = app->get_option_no_throw(word)) return option;
  }
  return nullptr;
}

std::vector<std::string> optionsOf(CLI::App* app) {
  std::vector<std::string> names;
  for (; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      if (!option->get_positional()) names.push_back(option->get_name());
    }
  }
  return names;
}

/// What the options's values, the places on the line and the subcommands offer.
class Line {
 public:
  Line(CLI::App& root, const Context& context) : m_app(&root), m_context(context) {}

  void take(const std::string& word) {
    if (m_option != nullptr) {
      m_option = nullptr;
      return;
    }
    if (isOption(word)) {
      const CLI::Option* option = findOption(m_app, word);
      if (option != nullptr && option->get_type_size() != 0) m_option = option;
      return;
    }
    for (CLI::App* sub : subcommands()) {
      if (sub->get_name() != word) continue;
      m_app = sub;
      m_places.clear();
      return;
    }
    m_places.push_back(word);
  }

  std::vector<std::string> next(const std::string& begun) const {
    if (m_option != nullptr) return candidatesOf(m_option);
    if (begun.starts_with('-')) return optionsOf(m_app);
    std::vector<std::string> words;
    for (const CLI::App* sub : subcommands()) words.push_back(sub->get_name());
    size_t place = 0;
    for (const CLI::Option* option : m_app->get_options()) {
      if (!option->get_positional()) continue;
      if (place++ == m_places.size()) words = candidatesOf(option);
    }
    if (m_app->get_name() == "send" && !m_places.empty()) return fieldNames(m_places.front());
    return words;
  }

 private:
  std::vector<CLI::App*> subcommands() const {
    return m_app->get_subcommands([](CLI::App*) { return true; });
  }

  std::vector<std::string> candidatesOf(const CLI::Option* option) const {
    const auto found = m_context.candidates.find(option);
    return found == m_context.candidates.end() ? std::vector<std::string>() : found->second;
  }

  /// "name=" for each field of the type that `ops send` was given.
  static std::vector<std::string> fieldNames(const std::string& word) {
    uint32_t type = 0;
    std::vector<std::string> names;
    if (!sim::parseType(word, type)) return names;
    for (const ops::FieldInfo& field : ops::fieldsOf(type)) names.push_back(std::string(field.name) + '=');
    return names;
  }

  CLI::App* m_app;
  const Context& m_context;
  const CLI::Option* m_option = nullptr;  ///< one that waits for its value
  std::vector<std::string> m_places;
};

}  // namespace

std::vector<std::string> complete(CLI::App& root, const Context& context,
                                  const std::vector<std::string>& words) {
  Line line(root, context);
  for (size_t i = 0; i + 1 < words.size(); ++i) line.take(words[i]);
  const std::string begun = words.empty() ? "" : words.back();
  std::vector<std::string> next = line.next(begun);
  std::erase_if(next, [&begun](const std::string& word) { return !word.starts_with(begun); });
  std::ranges::sort(next);
  next.erase(std::unique(next.begin(), next.end()), next.end());
  return next;
}

}  // namespace ctl
