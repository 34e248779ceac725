#include "workbench/run/iso_time.h"

#include <charconv>
#include <chrono>
#include <string>

namespace workbench {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes what it finds at the start of a text.
class CTaker {
 public:
  explicit CTaker(std::string_view text) : rest(text) {}

  bool IsAtEnd() const { return rest.empty(); }
  bool Take(std::string_view oneOf) {
    if (rest.empty() || oneOf.find(rest[0]) == std::string_view::npos) return false;
    rest.remove_prefix(1);
    return true;
  }
  // A number of so many digits, at most `most`.
  bool Take(std::size_t digits, int most, int* number) {
    if (rest.size() < digits) return false;
    *number = 0;
    for (const char c : rest.substr(0, digits)) {
      if (!IsDigit(c)) return false;
      *number = 10 * *number + (c - '0');
    }
    rest.remove_prefix(digits);
    return *number <= most;
  }
  bool TakeFraction(double* fraction) {
    std::string text = "0.";
    while (!rest.empty() && IsDigit(rest[0])) {
      text += rest[0];
      rest.remove_prefix(1);
    }
    std::from_chars(text.data(), text.data() + text.size(), *fraction);
    return text.size() > 2;
  }
  bool IsAt(char c) const { return !rest.empty() && rest[0] == c; }

 private:
  std::string_view rest;
};

bool TakeClock(CTaker& taker, TInstant* time) {
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (!taker.Take(2, 23, &hour) || !taker.Take(":") || !taker.Take(2, 59, &minute)) return false;
  if (taker.Take(":")) {
    if (!taker.Take(2, 59, &second)) return false;
    if (taker.Take(".,") && !taker.TakeFraction(&time->fraction)) return false;
  }
  time->seconds += 3600 * hour + 60 * minute + second;
  return true;
}

bool TakeOffset(CTaker& taker, TInstant* time) {
  taker.Take(" ");
  time->hasOffset = true;
  if (taker.Take("Zz")) return true;
  const bool isWest = taker.IsAt('-');
  int hours = 0;
  int minutes = 0;
  if (!taker.Take("+-") || !taker.Take(2, 23, &hours)) return false;
  const bool hasMinutes = taker.Take(":") || !taker.IsAtEnd();
  if (hasMinutes && !taker.Take(2, 59, &minutes)) return false;
  time->seconds -= (isWest ? -60L : 60L) * (60 * hours + minutes);
  return true;
}

}  // namespace

std::optional<TInstant> ReadIsoTime(std::string_view text) {
  CTaker taker(text);
  int year = 0;
  int month = 0;
  int day = 0;
  if (!taker.Take(4, 9999, &year) || !taker.Take("-") || !taker.Take(2, 12, &month) || !taker.Take("-") ||
      !taker.Take(2, 31, &day)) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  TInstant time;
  time.seconds = std::int64_t{86400} * std::chrono::sys_days(date).time_since_epoch().count();
  if (taker.IsAtEnd()) return time;
  if (!taker.Take("Tt ") || !TakeClock(taker, &time)) return std::nullopt;
  if (!taker.IsAtEnd() && !TakeOffset(taker, &time)) return std::nullopt;
  if (!taker.IsAtEnd()) return std::nullopt;
  return time;
}

}  // namespace workbench
