#include "scenario/CheckCommand.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "scenario/Scenario.h"

namespace sim {
namespace {

constexpr const char* checkUsage =
    "Usage: iss-sim check FILE...\n"
    "Looks for mistakes in scenario files and tells them all, a line FILE:LINE:COLUMN: REASON each. Exits 0 "
    "when\n"
    "there are none, 1 when there are, 2 when a file cannot be read.\n"
    "\n"
    "  -h, --help   print this and exit\n";

int check(const char* path) {
  Scenario scenario;
  std::vector<std::string> mistakes;
  if (const Problem problem = scenario.load(path, mistakes)) {
    fprintf(stderr, "iss-sim: %s\n", problem->c_str());
    return 2;
  }
  for (const std::string& mistake : mistakes) fprintf(stderr, "%s\n", mistake.c_str());
  if (!mistakes.empty()) return 1;
  printf("%s: %zu directives, no mistake\n", path, scenario.size());
  return 0;
}

}  // namespace

int checkCommand(int argc, char* const* argv) {
  const std::string_view first = argc > 2 ? argv[2] : "";
  if (first == "--help" || first == "-h") {
    fputs(checkUsage, stdout);
    return 0;
  }
  if (argc < 3) {
    fputs("iss-sim: check needs a scenario file\n", stderr);
    return 2;
  }
  if (first.starts_with('-') && first != "--") {
    fprintf(stderr, "iss-sim: unknown option %s\n", argv[2]);
    return 2;
  }
  int worst = 0;
  for (int i = first == "--" ? 3 : 2; i < argc; ++i) worst = std::max(worst, check(argv[i]));
  return worst;
}

}  // namespace sim
