// The plot of a run: for each regulator its wish and value, its output below.
#ifndef LOOPBOX_WORKBENCH_PICTURES_RUN_PLOT_H
#define LOOPBOX_WORKBENCH_PICTURES_RUN_PLOT_H

#include <string>
#include <vector>

#include "painting/plot.h"
#include "workbench/run/observation.h"

namespace workbench {

class CRunPlot {
 public:
  // The observation outlives the plot.
  explicit CRunPlot(const CObservation& theObservation) : observation(theObservation) {}

  // False with a message when the application has no regulator, or too many.
  bool Begin(std::string* error);
  // After each period, once it is observed.
  void Observe();
  // False with a message that names the file.
  bool Write(const std::string& fileName, std::string* error) const;

 private:
  const CObservation& observation;
  painting::CPlot plot;
  std::vector<double> values;  // of a period
};

}  // namespace workbench

#endif
