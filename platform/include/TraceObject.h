// The trace level behind all logging, and the one log statement.
//
// A TraceObject is owned by whoever created it; the level may be read and written by any thread. Log lines
// go through syslog(3), which is safe in every thread but not in a signal handler that may interrupt it.
#pragma once

#include <syslog.h>

#include <atomic>

namespace trace {

/// Levels as shown in a line's level word; a line is written when the trace level is at least its value.
enum Level : int { CRITICAL = 2, ERROR, WARNING, NOTICE, INFO, DEBUG1, DEBUG2, DEBUG3 };

/// All three debug levels share syslog's one debug priority.
constexpr int priority(Level level) {
  return level < LOG_DEBUG ? static_cast<int>(level) : LOG_DEBUG;
}

}  // namespace trace

class TraceObject {
 public:
  struct LevelHolder {
    std::atomic<int> level;
  };

  /// `name` is syslog's identity and must outlive the object (a literal).
  TraceObject(const char* name, int level);
  ~TraceObject();
  TraceObject(const TraceObject&) = delete;
  TraceObject& operator=(const TraceObject&) = delete;

  const char* name() const { return m_name; }
  LevelHolder* levelHolder() const { return m_levelHolder; }

 private:
  const char* m_name;
  LevelHolder* m_levelHolder;
};

/// The process's trace object; null before start-up has made it and after shutdown.
extern TraceObject* g_traceObject;

namespace trace {

inline bool admits(const TraceObject* object, Level level) {
  return object != nullptr && object->levelHolder() != nullptr &&
         object->levelHolder()->level.load(std::memory_order_relaxed) >= level;
}

}  // namespace trace

/// Where a log statement stands, as its line shows it: a constant next to what it names, because several
/// places are fixed whatever file the code stands in.
struct LogPlace {
  const char* source;
  const char* function;
  TraceObject* const* object = &g_traceObject;  ///< whose level admits the lines
};

/// The line of the file, for a statement without a number that operators know.
#define HERE __LINE__

/// The one log statement: LOG(INFO, atMain, 242, "Connected to OPS"). Writes one line when the level of the
/// place's object admits LEVEL, and evaluates no argument otherwise.
#define LOG(LEVEL, place, line, format, ...)                                                                 \
  do {                                                                                                       \
    if (::trace::admits(*(place).object, ::trace::LEVEL))                                                    \
      ::syslog(::trace::priority(::trace::LEVEL), "[" #LEVEL "] %s:%d (%s) - " format, (place).source, line, \
               (place).function __VA_OPT__(, ) __VA_ARGS__);                                                 \
  } while (false)
