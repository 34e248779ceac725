// The column of a CSV file that says when its rows were: seconds, or times of ISO 8601,
// of which the first is 0.
#ifndef LOOPBOX_WORKBENCH_RUN_TIME_COLUMN_H
#define LOOPBOX_WORKBENCH_RUN_TIME_COLUMN_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "workbench/csv.h"
#include "workbench/run/iso_time.h"

namespace workbench {

class CTimeColumn {
 public:
  static constexpr char kName[] = "time";

  // By one of `maps`, time=COLUMN, or by a name that such columns have. False with a
  // message that names the file.
  bool Find(const CCsvReader& reader, const std::vector<std::string>& maps, std::string* error);
  std::size_t Column() const { return column; }
  // Of the record read last, in seconds. False where it isn't after `before`, or none.
  bool Read(const CCsvReader& reader, double before, double* time, std::string* error);

 private:
  std::size_t column = 0;
  std::optional<TInstant> firstInstant;  // where times are no numbers
  bool isKnown = false;                  // whether they are
};

}  // namespace workbench

#endif
