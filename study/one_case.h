// One run of a study.
#ifndef LOOPBOX_STUDY_ONE_CASE_H
#define LOOPBOX_STUDY_ONE_CASE_H

#include <functional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "study/measure.h"
#include "study/plan.h"

namespace study {

struct TOutcome {
  std::vector<double> figures;  // NaN: the run has none
  std::string failure;          // empty: none; else there are no figures
};

// `watch` sees the application before the first period and after each. What goes wrong
// in a run, or is wrong with its values, is its failure, and ends it.
TOutcome RunCase(const TSite& site, const TPlan& plan, const TCase& one,
                 const std::function<void(runtime::CApplication&)>& watch = nullptr);

// A row of a part, without its end: the number, the figures, the failure.
std::string RowOf(const TPlan& plan, std::uint64_t number, const TOutcome& outcome);

}  // namespace study

#endif
