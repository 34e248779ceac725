// A regulator's figures as tables of text: labels and numbers with their units.
// What each figure is stands in metrics.h.
#ifndef LOOPBOX_WORKBENCH_RUN_SUMMARY_H
#define LOOPBOX_WORKBENCH_RUN_SUMMARY_H

#include <string>
#include <vector>

#include "workbench/run/metrics.h"
#include "workbench/run/wish_windows.h"

namespace workbench {

struct TFigureUnits {
  std::string quantity;
  std::string output;
  double rowSeconds;  // T
};

// Of all rows: labels and numbers in turn.
std::vector<std::vector<std::string>> FigureRows(ERegulatorKind kind, const TFigures& figures,
                                                 const TFigureUnits& units);
// A heading and a row for each window, in the units of the others where none stands.
std::vector<std::vector<std::string>> WindowRows(ERegulatorKind kind, const std::vector<TWindow>& windows,
                                                 const TFigureUnits& units);

}  // namespace workbench

#endif
