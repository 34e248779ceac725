// The plot of a run: for each regulator its wish and value, its output below, and
// shaded when it was in hand; or chosen curves.
#ifndef LOOPBOX_WORKBENCH_PICTURES_RUN_PLOT_H
#define LOOPBOX_WORKBENCH_PICTURES_RUN_PLOT_H

#include <string>
#include <vector>

#include "painting/plot.h"
#include "workbench/pictures/view.h"
#include "workbench/run/observation.h"

namespace workbench {

class CRunPlot {
 public:
  // Both outlive the plot.
  CRunPlot(const CObservation& theObservation, const TView& theView) : observation(theObservation), view(theView) {}

  // False with a message when there is nothing to plot.
  bool Begin(std::string* error);
  // What has no room in the picture, as a sentence in the language that was chosen; empty when all has.
  const std::string& LeftOut() const { return plot.Footnote(); }
  // After each period, once it is observed.
  void Observe();
  // False with a message that names the file.
  bool Write(const std::string& fileName, std::string* error) const;

 private:
  void AddRegulators();
  void AddCurves();

  const CObservation& observation;
  const TView& view;
  painting::CPlot plot;
  std::size_t drawn = 0;       // regulators, or panels of chosen curves: the first so many
  std::vector<double> values;  // of a period
};

}  // namespace workbench

#endif
