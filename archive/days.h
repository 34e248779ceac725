// The files of an archive by their days.
#ifndef LOOPBOX_ARCHIVE_DAYS_H
#define LOOPBOX_ARCHIVE_DAYS_H

#include <cstdint>
#include <string>
#include <vector>

namespace archive {

// Days since 1970, in UTC.
std::string DayName(std::int64_t day);  // "2026-11-26"
std::int64_t DayOf(double time);        // of seconds of the epoch
std::string DayPath(const std::string& folder, std::int64_t day);

// Of all files in a folder, ascending; none where it can't be read.
std::vector<std::int64_t> DaysIn(const std::string& folder);

// With all that stands beside the file. Who reads it reads on.
void DeleteDay(const std::string& folder, std::int64_t day);

}  // namespace archive

#endif
