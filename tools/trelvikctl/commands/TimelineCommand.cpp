#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "base/InputFile.h"
#include "commands/Command.h"
#include "ops/CaptureFile.h"
#include "timeline/CaptureJoin.h"
#include "timeline/LogFile.h"
#include "timeline/Page.h"
#include "timeline/Report.h"

namespace ctl {
namespace {

constexpr size_t mostLogMib = 1024;

struct TimelineOptions {
  std::string log;
  std::string capture;
  std::string output = "timeline.html";
  bool text = false;
};

bool exists(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

/// A folder of scripts/board --keep stands for the files in it.
void lookIntoFolder(TimelineOptions& options) {
  struct stat status {};
  if (stat(options.log.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return;
  const std::string folder = options.log + '/';
  options.log = folder + "board.log";
  if (options.capture.empty() && exists(folder + "iss.pcapng")) options.capture = folder + "iss.pcapng";
}

Outcome readConnections(const std::string& path, std::vector<sim::CapturedConnection>& connections) {
  std::string bytes;
  if (Outcome read = readInput(path, mostLogMib, bytes); read.status != Exit::done) return read;
  if (!isCapture(bytes)) return failed(path + " is no capture: it needs the format pcapng or pcap");
  if (const sim::Problem problem = sim::readCapture(completed(bytes), connections)) {
    return failed(path + ": " + *problem);
  }
  return {};
}

/// The day of a log whose lines do not tell it: that of the capture, else of the file's last change.
DayHint hintFor(const std::string& path, const std::vector<sim::CapturedConnection>& connections) {
  if (!connections.empty()) return dayOf(connections.front().opened);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return dayOf(std::chrono::system_clock::now().time_since_epoch());
  return dayOf(std::chrono::seconds(status.st_mtime));
}

Outcome writePage(const std::string& path, const History& history) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << historyPage(history);
  file.close();
  if (!file) return failed("cannot write " + path + ": " + strerror(errno));
  Outcome outcome;
  outcome.text = path + ": " + summary(history) + '\n';
  for (const std::string& note : history.notes) *outcome.text += "note: " + printable(note) + '\n';
  return outcome;
}

Outcome show(Context& context, TimelineOptions options) {
  lookIntoFolder(options);
  std::vector<sim::CapturedConnection> connections;
  if (!options.capture.empty()) {
    if (Outcome read = readConnections(options.capture, connections); read.status != Exit::done) return read;
  }
  std::string log;
  if (Outcome read = readInput(options.log, mostLogMib, log); read.status != Exit::done) return read;
  History history = readHistory(log, hintFor(options.log, connections));
  if (history.daemonLines == 0) {
    return failed(options.log +
                  " has no line of the daemon: give its log (journalctl -t Trelvik -o short-precise)");
  }
  joinCapture(connections, history);
  if (!context.output.json() && !options.text) return writePage(options.output, history);
  Outcome outcome;
  if (context.output.json()) {
    outcome.data = historyNode(history);
  } else {
    outcome.text = historyText(history, Output::wantsColour());
  }
  return outcome;
}

}  // namespace

void addTimeline(Command root) {
  Command timeline =
      root.sub("timeline", "shows the path of each request through the daemon, out of its log");
  auto options = std::make_shared<TimelineOptions>();
  timeline.text("LOG", options->log,
                "a log of level 9, or a folder of scripts/board --keep; - is standard input", Need::required);
  timeline.text("CAPTURE", options->capture, "what passed between daemon and ISS, as pcapng or pcap");
  timeline.text("--output", options->output,
                "the page's file; default timeline.html, one that is there is written over");
  timeline.flag("--text", options->text, "tables for a terminal, in place of a page");
  timeline.run([options](Context& context) { return show(context, *options); });
}

}  // namespace ctl
