#include "archive/writer.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "archive/days.h"

namespace archive {

CWriter::CWriter(std::string theFolder, TRun theRun, std::vector<TChannel> theChannels, std::uint64_t theDays)
    : folder(std::move(theFolder)), run(std::move(theRun)), channels(std::move(theChannels)), days(theDays) {}

void CWriter::OpenDay(std::int64_t number) {
  if (day != nullptr) day->Close(lostBefore);
  day.reset();
  for (const std::int64_t other : DaysIn(folder)) {
    const std::string path = DayPath(folder, other);
    std::error_code failed;
    if (days > 0 && other <= number - static_cast<std::int64_t>(days)) {
      DeleteDay(folder, other);
    } else if (other < number && std::filesystem::exists(path + "-wal", failed)) {
      Tidy(path);
    }
  }
  day = std::make_unique<CDayWriter>(DayPath(folder, number), run, channels);
  dayNumber = number;
}

void CWriter::Take(std::uint64_t period, std::uint64_t lost, const double* values, const std::uint8_t* qualities) {
  const std::int64_t number = DayOf(run.TimeOf(period));
  if (day == nullptr || number != dayNumber) OpenDay(number);
  if (!day->Last() || *day->Last() < period) day->Take(period, values, qualities, lost != lostBefore);
  lostBefore = lost;
}

void CWriter::Commit() {
  if (day != nullptr) day->Commit(lostBefore);
}

void CWriter::End() {
  if (day != nullptr) day->Close(lostBefore);
  day.reset();
}

}  // namespace archive
