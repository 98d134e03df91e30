#include "base/Output.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ctl {

bool Output::isTerminal(int fd) {
  const char* kind = getenv("TERM");
  return isatty(fd) == 1 && (kind == nullptr || strcmp(kind, "dumb") != 0);
}

bool Output::wantsColour() {
  const char* refused = getenv("NO_COLOR");
  return isTerminal(STDOUT_FILENO) && (refused == nullptr || *refused == '\0');
}

void Output::event(std::string_view line, const Node& node) {
  endProgress();
  const std::string text = m_json ? toJson(node) : std::string(line);
  puts(text.c_str());
  fflush(stdout);
}

void Output::progress(const std::string& text) {
  if (m_json) return;
  if (isTerminal(STDERR_FILENO)) {
    fprintf(stderr, "\r\x1b[K%s", text.c_str());
    m_progress = true;
  } else {
    fprintf(stderr, "%s\n", text.c_str());
  }
  fflush(stderr);
}

void Output::endProgress() {
  if (m_progress) fputs("\r\x1b[K", stderr);
  m_progress = false;
}

int Output::finish(const Outcome& outcome) {
  endProgress();
  const bool done = outcome.status == Exit::done;
  if (m_json && !(done && outcome.data.empty() && outcome.message.empty())) {
    Node result = Node::object();
    result.add("outcome", exitName(outcome.status)).add("message", outcome.message);
    for (size_t i = 0; i < outcome.data.names().size(); ++i) {
      result.add(outcome.data.names()[i], outcome.data.values()[i]);
    }
    puts(toJson(result).c_str());
  } else if (!m_json) {
    const bool colour = wantsColour();
    fputs((outcome.text ? *outcome.text : toText(outcome.data, colour)).c_str(), stdout);
    if (done && !outcome.message.empty()) puts(coloured(outcome.message, Mark::good, colour).c_str());
  }
  if (!done) fprintf(stderr, "trelvikctl: %s\n", outcome.message.c_str());
  if (fflush(stdout) != 0 || ferror(stdout) != 0) {
    fprintf(stderr, "trelvikctl: cannot write the output: free space where it goes, or read it to its end\n");
    return static_cast<int>(done ? Exit::failed : outcome.status);
  }
  return static_cast<int>(outcome.status);
}

}  // namespace ctl
