// Parts of a study, a file for each in its folder `parts`: a row for each case, its
// number, its figures (empty: it has none), and behind the last comma why it failed.
#ifndef LOOPBOX_STUDY_PART_H
#define LOOPBOX_STUDY_PART_H

#include <cstdint>
#include <string>
#include <vector>

#include "study/measure.h"
#include "study/plan.h"
#include "study/runner.h"

namespace study {

struct TRange {
  std::uint64_t first = 0;
  std::uint64_t last = 0;  // included

  std::uint64_t Count() const { return last - first + 1; }
};

// In the order of their first cases.
std::vector<TRange> PartsOf(const TPlan& plan);
std::string PartName(const TPlan& plan, const TRange& part);

// What no part has of the cases from first to last.
std::vector<TRange> MissingOf(const std::vector<TRange>& parts, const TRange& wanted);

// "500-999", "1000-1499, 1700".
std::string TextOf(const std::vector<TRange>& ranges);

// Runs those cases of the range that no part has. One job makes parts of the plan's
// size; several make smaller ones, so that all have something to do to the end.
ERunning RunParts(const TSite& site, const TPlan& plan, const TRange& wanted, const TEffort& effort,
                  std::string* error);

}  // namespace study

#endif
