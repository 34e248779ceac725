#include "workbench/run/time_column.h"

#include <algorithm>
#include <cctype>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr const char* kNames[] = {CTimeColumn::kName, "timestamp", "datetime"};  // in any case of letters

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

}  // namespace

bool CTimeColumn::Find(const CCsvReader& reader, const std::vector<std::string>& maps, std::string* error) {
  const std::vector<std::string>& header = reader.Header();
  std::ptrdiff_t found = reader.Column(kName);
  for (const char* name : kNames) {
    const auto is = [name](const std::string& heading) { return Lower(heading) == name; };
    if (found < 0) found = std::find_if(header.begin(), header.end(), is) - header.begin();
    if (found == std::ssize(header)) found = -1;
  }
  for (const std::string& map : maps) {
    const std::size_t equal = map.find('=');
    if (map.substr(0, equal) == kName) found = reader.Column(map.substr(equal + 1));
  }
  if (found < 0) {
    *error = reader.Complaint("expected a column \"time\", in seconds or ISO 8601; --map time=COLUMN names another");
    return false;
  }
  column = static_cast<std::size_t>(found);
  return true;
}

bool CTimeColumn::Read(const CCsvReader& reader, double before, double* time, std::string* error) {
  const std::string text(Trim(reader.Field(column)));
  const std::optional<TInstant> instant = ReadIsoTime(text);
  if (!isKnown && instant) firstInstant = instant;
  if (!firstInstant) {
    if (!reader.Number(column, time, error)) return false;
  } else if (!instant || instant->hasOffset != firstInstant->hasOffset) {
    *error = reader.Complaint(column, std::string("expected a time of ISO 8601 ") +
                                          (firstInstant->hasOffset ? "with" : "without") +
                                          " an offset, as in the first row, found \"" + text + "\"");
    return false;
  } else {
    *time =
        static_cast<double>(instant->seconds - firstInstant->seconds) + (instant->fraction - firstInstant->fraction);
  }
  isKnown = true;
  if (*time > before) return true;
  *error = reader.Complaint(
      column, "expected a time after the " + Seconds(before) + " s of the row before, found \"" + text + "\"");
  return false;
}

}  // namespace workbench
