#include "commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "commands/Command.h"

namespace {

void addGlobalOptions(ctl::Command& root, ctl::Context& context, bool& json) {
  root.flag("--json", json, "one JSON object; of several results, one a line");
  root.value("--timeout", "TIME", "the longest wait for an answer (500ms, 30s, 5m); default 30s",
             ctl::Need::optional, {}, [&context](const std::string& word) {
               std::chrono::milliseconds time{};
               ctl::Checked fault = ctl::parseTimeout(word, time);
               if (!fault) context.timeout = time;
               return fault;
             });
  root.flag("--dry-run", context.dryRun, "shows the call and the messages that come of it, and makes none");
  root.flag("--force", context.force, "sends values that are out of range all the same");
}

/// What could stand where the command line is wrong, and how to ask for help there.
std::string advice(const CLI::App* app) {
  std::string words = "trelvikctl";
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    words += ' ' + app->get_name();
  }
  std::string commands;
  for (const CLI::App* sub : app->get_subcommands([](const CLI::App*) { return true; })) {
    commands += (commands.empty() ? "commands: " : ", ") + sub->get_name();
  }
  return " (" + (commands.empty() ? "" : commands + "; ") + "help: " + words + " --help)";
}

int printCandidates(CLI::App& root, const ctl::Context& context, int argc, char** argv) {
  for (const std::string& word :
       ctl::complete(root, context, std::vector<std::string>(argv + 2, argv + argc))) {
    puts(word.c_str());
  }
  return 0;
}

/// "help COMMAND" is "COMMAND --help". CLI11 takes the words from the back.
std::vector<std::string> wordsOf(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  if (!words.empty() && words.front() == "help") {
    words.erase(words.begin());
    words.emplace_back("--help");
  }
  std::ranges::reverse(words);
  return words;
}

ctl::Outcome parse(CLI::App& root, ctl::Context& context, int argc, char** argv) {
  try {
    root.parse(wordsOf(argc, argv));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) throw;
    return ctl::usage(error.what() + advice(&root));
  }
  if (!context.faults.empty() && !context.force) {
    return ctl::usage(context.faults.front() + "; --force sends it all the same");
  }
  if (!context.command) return ctl::usage("a command is missing" + advice(&root));
  return {};
}

}  // namespace

int ctl::perform(int argc, char** argv) {
  CLI::App app("Talks to the daemon Trelvik: over the bus, over its debug socket, and about the board.",
               "trelvikctl");
  app.set_version_flag("--version", "trelvikctl " TRELVIK_VERSION);
  app.set_help_flag("-h,--help", "help for this command");
  app.footer(
      "With every command: --json, --timeout TIME, --dry-run, --force (trelvikctl --help).\n"
      "Exit status: 0 done, 1 refused or failed, 2 wrong command line, 3 no daemon, 4 no answer.");
  ctl::Context context;
  bool json = false;
  ctl::Command root(app, context);
  addGlobalOptions(root, context, json);
  for (const auto add :
       {ctl::addPort, ctl::addRule, ctl::addSyncE, ctl::addSmartSfp, ctl::addIss, ctl::addTrace,
        ctl::addRedundancy, ctl::addStatus, ctl::addWatch, ctl::addDoctor, ctl::addOps, ctl::addTimeline}) {
    add(root);
  }
  if (argc > 1 && strcmp(argv[1], "__complete") == 0) return printCandidates(app, context, argc, argv);
  try {
    ctl::Outcome outcome = parse(app, context, argc, argv);
    context.output.useJson(json);
    if (outcome.status == ctl::Exit::done) outcome = context.command(context);
    return context.output.finish(outcome);
  } catch (const CLI::ParseError& asked) {
    return app.exit(asked);
  }
}
