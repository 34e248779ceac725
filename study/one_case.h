// The runs of a study.
#ifndef LOOPBOX_STUDY_ONE_CASE_H
#define LOOPBOX_STUDY_ONE_CASE_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fmu/units.h"
#include "runtime/runtime.h"
#include "study/measure.h"
#include "study/plan.h"

namespace study {

struct TOutcome {
  std::vector<double> figures;  // NaN: the run has none
  std::string failure;          // empty: none; else there are no figures
};

class CCaseRunner {
 public:
  // Both outlive it. With `readsAnew` each case reads the text; else the first does, and
  // those that the application can't be restarted with (runtime::CApplication::Restart
  // says why); the bits are the same.
  CCaseRunner(const TSite& theSite, const TPlan& thePlan, bool theReadsAnew)
      : site(theSite), plan(thePlan), readsAnew(theReadsAnew) {}

  // `watch` sees the application before the first period and after each. What goes wrong
  // in a run, or is wrong with its values, is its failure, and ends it.
  TOutcome Run(const TCase& one, const std::function<void(runtime::CApplication&)>& watch = nullptr);

 private:
  // Before its first period. False with its failure.
  bool MakeReady(const TCase& one);

  const TSite& site;
  const TPlan& plan;
  const bool readsAnew;
  std::string failure;               // of the run, so far
  std::optional<fmu::CUnits> units;  // of the application
  std::unique_ptr<runtime::CApplication> application;
};

// A row of a part, without its end: the number, the figures, the failure.
std::string RowOf(const TPlan& plan, std::uint64_t number, const TOutcome& outcome);

}  // namespace study

#endif
