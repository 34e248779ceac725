#include "archive/days.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace archive {
namespace {

constexpr char kEnding[] = ".sqlite";
constexpr double kSecondsOfDay = 86400.0;

}  // namespace

std::string DayName(std::int64_t day) {
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(day))};
  char text[32];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

std::int64_t DayOf(double time) { return static_cast<std::int64_t>(std::floor(time / kSecondsOfDay)); }

std::string DayPath(const std::string& folder, std::int64_t day) { return folder + "/" + DayName(day) + kEnding; }

std::vector<std::int64_t> DaysIn(const std::string& folder) {
  std::vector<std::int64_t> days;
  std::error_code failed;
  for (std::filesystem::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed)) {
    const std::string name = at->path().filename().string();
    int year = 0;
    unsigned month = 0;
    unsigned date = 0;
    if (std::sscanf(name.c_str(), "%4d-%2u-%2u", &year, &month, &date) != 3) continue;
    const std::chrono::year_month_day known{std::chrono::year(year), std::chrono::month(month), std::chrono::day(date)};
    if (!known.ok()) continue;
    const std::int64_t day = std::chrono::sys_days(known).time_since_epoch().count();
    if (name == DayName(day) + kEnding) days.push_back(day);
  }
  std::sort(days.begin(), days.end());
  return days;
}

void DeleteDay(const std::string& folder, std::int64_t day) {
  std::error_code failed;
  for (const char* beside : {"", "-wal", "-shm"}) std::filesystem::remove(DayPath(folder, day) + beside, failed);
}

}  // namespace archive
