#include "support/SyslogCapture.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "support/memory.h"

#ifdef __SANITIZE_THREAD__
/// The daemon's signal handlers log, and do no harm with it: signals are open only where nothing else is
/// logged.
extern "C" const char* __tsan_default_options() {
  return "report_signal_unsafe=0";
}
#endif

namespace {

/// Never destroyed: threads that the tests leave behind may log while the process exits.
struct Sink {
  std::mutex mutex;
  SyslogCapture* capture = nullptr;
  std::vector<SyslogCapture::Line> lines;
  std::function<void(const std::string&)> look;
};

Sink& sink() {
  static Sink* const instance = new Sink;
  return *instance;
}

[[gnu::format(printf, 2, 0)]] void write(int priority, const char* format, va_list arguments) {
  const MemoryOutside memory;
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  vsnprintf(text.data(), text.size() + 1, format, arguments);

  std::function<void(const std::string&)> look;
  {
    const std::lock_guard guard(sink().mutex);
    look = sink().look;
  }
  if (look) look(text);

  const std::lock_guard guard(sink().mutex);
  if (sink().capture != nullptr) {
    sink().lines.push_back({priority, std::move(text)});
  } else {
    fprintf(stderr, "<%d>%s\n", priority, text.c_str());
  }
}

}  // namespace

extern "C" {

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(priority, format, arguments);
  va_end(arguments);
}

// What fortified programs call.
[[gnu::format(printf, 3, 4)]] void __syslog_chk(int priority, int, const char* format, ...);
void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(priority, format, arguments);
  va_end(arguments);
}
}

SyslogCapture::SyslogCapture() {
  const std::lock_guard guard(sink().mutex);
  sink().capture = this;
  sink().lines.clear();
}

SyslogCapture::~SyslogCapture() {
  const std::lock_guard guard(sink().mutex);
  sink().capture = nullptr;
  sink().look = nullptr;
}

void SyslogCapture::onLine(std::function<void(const std::string&)> look) {
  const std::lock_guard guard(sink().mutex);
  sink().look = std::move(look);
}

std::vector<SyslogCapture::Line> SyslogCapture::entries() const {
  const std::lock_guard guard(sink().mutex);
  return sink().lines;
}

std::vector<std::string> SyslogCapture::lines() const {
  std::vector<std::string> result;
  for (Line& line : entries()) result.push_back(std::move(line.text));
  return result;
}

size_t SyslogCapture::count(const std::string& text) const {
  const std::vector<std::string> all = lines();
  return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&text](const std::string& line) {
    return line.find(text) != std::string::npos;
  }));
}

void SyslogCapture::clear() {
  const std::lock_guard guard(sink().mutex);
  sink().lines.clear();
}
