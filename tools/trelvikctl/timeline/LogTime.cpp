#include <algorithm>
#include <array>
#include <charconv>

#include "timeline/LogLine.h"

namespace ctl {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

/// Takes a text apart from the left. What does not fit leaves `good` false.
struct Cursor {
  std::string_view rest;
  bool good = true;

  bool at(char c) const { return !rest.empty() && rest.front() == c; }
  bool take(char c) {
    if (!at(c)) return false;
    rest.remove_prefix(1);
    return true;
  }
  void need(char c) { good = take(c) && good; }
  void blanks() {
    while (take(' ')) {
    }
  }
  int number(size_t digits) {
    int value = 0;
    const char* const end = rest.data() + std::min(digits, rest.size());
    const auto [stop, error] = std::from_chars(rest.data(), end, value);
    if (error != std::errc() || stop != end || digits > rest.size() || value < 0) {
      good = false;
      return 0;
    }
    rest.remove_prefix(digits);
    return value;
  }
};

/// Nanoseconds reach not much further: in 2250.
constexpr int64_t lastSecond = 8'836'000'000;

constexpr std::array<std::string_view, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

void takeWeekday(Cursor& cursor) {
  for (const std::string_view day : {"Mon ", "Tue ", "Wed ", "Thu ", "Fri ", "Sat ", "Sun "}) {
    if (cursor.rest.starts_with(day)) cursor.rest.remove_prefix(day.size());
  }
}

/// "2026-11-21T", "Nov 21 " or nothing.
void takeDay(Cursor& cursor, std::tm& time) {
  takeWeekday(cursor);
  if (cursor.rest.size() > 10 && cursor.rest[4] == '-') {
    time.tm_year = cursor.number(4) - 1900;
    cursor.need('-');
    time.tm_mon = cursor.number(2) - 1;
    cursor.need('-');
    time.tm_mday = cursor.number(2);
    if (!cursor.take('T')) cursor.need(' ');
    return;
  }
  const auto* month = std::ranges::find(months, cursor.rest.substr(0, 3));
  if (month == months.end()) return;
  time.tm_mon = static_cast<int>(month - months.begin());
  cursor.rest.remove_prefix(3);
  cursor.blanks();
  time.tm_mday = cursor.rest.size() > 1 && cursor.rest[1] == ' ' ? cursor.number(1) : cursor.number(2);
  cursor.need(' ');
}

nanoseconds takeFraction(Cursor& cursor, nanoseconds& resolution) {
  resolution = seconds(1);
  nanoseconds fraction{};
  if (!cursor.take('.') && !cursor.take(',')) return fraction;
  while (!cursor.rest.empty() && cursor.rest.front() >= '0' && cursor.rest.front() <= '9') {
    resolution /= 10;
    fraction += resolution * (cursor.rest.front() - '0');
    cursor.rest.remove_prefix(1);
  }
  return fraction;
}

/// "Z", "+01:00", "+0100" or " UTC"; nothing for none.
std::optional<seconds> takeZone(Cursor& cursor) {
  if (cursor.take('Z') || cursor.rest.starts_with(" UTC")) return seconds(0);
  if (!cursor.at('+') && !cursor.at('-')) return std::nullopt;
  const int sign = cursor.at('-') ? -1 : 1;
  cursor.rest.remove_prefix(1);
  const int hours = cursor.number(2);
  cursor.take(':');
  return seconds(sign * (hours * 3600 + cursor.number(2) * 60));
}

/// "1763754423.123456", as journalctl -o short-unix has it.
std::optional<StampedTime> readUnixTime(std::string_view line) {
  int64_t whole = 0;
  const auto [stop, error] = std::from_chars(line.data(), line.data() + line.size(), whole);
  constexpr int64_t firstPlausible = 100'000'000;
  if (error != std::errc() || whole < firstPlausible || whole > lastSecond) return std::nullopt;
  Cursor cursor{line.substr(static_cast<size_t>(stop - line.data()))};
  if (!cursor.at('.')) return std::nullopt;
  StampedTime time;
  const nanoseconds fraction = takeFraction(cursor, time.resolution);
  time.when = seconds(whole) + fraction;
  return time;
}

}  // namespace

DayHint dayOf(LogTime when) {
  const auto whole = static_cast<time_t>(std::chrono::duration_cast<seconds>(when).count());
  std::tm day{};
  localtime_r(&whole, &day);
  return day;
}

std::optional<StampedTime> readTime(std::string_view line, const DayHint& hint) {
  if (const auto time = readUnixTime(line)) return time;
  Cursor cursor{line};
  std::tm fields{};
  fields.tm_year = hint.tm_year;
  fields.tm_mon = hint.tm_mon;
  fields.tm_mday = hint.tm_mday;
  takeDay(cursor, fields);
  fields.tm_hour = cursor.number(2);
  cursor.need(':');
  fields.tm_min = cursor.number(2);
  cursor.need(':');
  fields.tm_sec = cursor.number(2);
  StampedTime time;
  const nanoseconds fraction = takeFraction(cursor, time.resolution);
  const std::optional<seconds> zone = takeZone(cursor);
  if (!cursor.good || fields.tm_mon < 0 || fields.tm_mon > 11 || fields.tm_mday < 1) return std::nullopt;
  fields.tm_isdst = -1;
  const int64_t whole = zone ? timegm(&fields) - zone->count() : mktime(&fields);
  if (whole < 0 || whole > lastSecond) return std::nullopt;
  time.when = seconds(whole) + fraction;
  return time;
}

}  // namespace ctl
