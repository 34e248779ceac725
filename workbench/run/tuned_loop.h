// The loop of one regulator, as what tunes it knows it.
#ifndef LOOPBOX_WORKBENCH_RUN_TUNED_LOOP_H
#define LOOPBOX_WORKBENCH_RUN_TUNED_LOOP_H

#include <optional>
#include <string>

#include "runtime/runtime.h"
#include "workbench/references.h"

namespace workbench {

// By what the regulator acts now.
struct TLoopSettings {
  std::string law;  // its name in a definition; empty: the class tells none
  double r0 = 0.0;
  double tI = 0.0;            // s
  double tD = 0.0;            // s
  std::optional<double> lag;  // of tD; none: the law has none
  bool isAdaptive = false;

  // Whether it has r0, tI and tD by which it can act.
  bool Acts() const { return !law.empty() && tI > 0.0; }
};

struct TTunedLoop {
  runtime::CInstrumentHandle instrument;
  runtime::TItem output = {};
  std::string outputName = {};               // of the element, as it heads a column
  std::optional<runtime::TItem> value = {};  // where what it measures is a plain element
  std::string valueName = {};
  bool isInverse = false;
  TLoopSettings now = {};
  bool raises = true;  // whether a higher output raises the value, as the regulator takes it
};

// Of an application that was read. None, with what is wrong, where there is no such
// instrument, or none with a continuous output that goes to one element.
std::optional<TTunedLoop> LoopOf(const runtime::CApplication& application, const TReferences& references,
                                 const std::string& file, const std::string& instrument, std::string* error);

// As they are at the moment.
TLoopSettings LoopSettingsOf(const runtime::CInstrumentHandle& instrument, const TReferences& references);

}  // namespace workbench

#endif
