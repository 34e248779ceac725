// What a run recorded of one loop, as tuning takes it.
#ifndef LOOPBOX_WORKBENCH_RUN_LOOP_RECORD_H
#define LOOPBOX_WORKBENCH_RUN_LOOP_RECORD_H

#include <optional>
#include <string>
#include <vector>

#include "tuning/estimator.h"
#include "workbench/run/tuned_loop.h"

namespace workbench {

struct TLoopRecord {
  std::string path;
  double begin = 0.0;  // s, of the first row
  tuning::TRecord rows;
};

// A trace, the folder of a record, or a historian's CSV with `maps`: ELEMENT=COLUMN of the
// value or the output, by their elements' names or INSTRUMENT.value and INSTRUMENT.output,
// and time=COLUMN. Rows are at equal distances, at most `period` seconds; one that is
// missing, without a value, or of a value that the plant says isn't good is not used.
// None, with a message that names the file, where it is no such record.
std::optional<TLoopRecord> ReadLoopRecord(const std::string& path, const TTunedLoop& loop,
                                          const std::vector<std::string>& maps, double period, std::string* error);

}  // namespace workbench

#endif
