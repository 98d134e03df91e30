// message-reference: prints the reference of the OPS messages, or tells whether a file holds it. Exit status:
// 0; 1 when the file is not current or a file or the output fails, 2 for a wrong command line.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include "Reference.h"

namespace {

struct Output {
  std::string_view option;
  std::string (*write)(reference::Messages messages);
};
constexpr Output outputs[] = {
    {"--markdown", reference::markdown}, {"--json", reference::json}, {"--dissector", reference::lua}};

int usage() {
  fputs("usage: message-reference --markdown | --json | --dissector [--check FILE]\n", stderr);
  return 2;
}

int print(const std::string& text) {
  if (fputs(text.c_str(), stdout) >= 0 && fflush(stdout) == 0) return 0;
  perror("message-reference: writing the output");
  return 1;
}

int check(const char* program, const Output& output, const std::string& text, const char* path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  if (!file) {
    fprintf(stderr, "message-reference: cannot read %s: %s\n", path, strerror(errno));
    return 1;
  }
  if (content.str() == text) return 0;
  fprintf(stderr, "%s is not current: run %s %s > %s\n", path, program, output.option.data(), path);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const bool checks = argc == 4 && strcmp(argv[2], "--check") == 0;
  if (argc != 2 && !checks) return usage();
  for (const Output& output : outputs) {
    if (output.option != argv[1]) continue;
    const std::string text = output.write(std::span(ops::messages));
    return checks ? check(argv[0], output, text, argv[3]) : print(text);
  }
  return usage();
}
