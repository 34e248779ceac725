// The plot of a run: for each regulator its wish and value, its output below.
#ifndef LOOPBOX_WORKBENCH_PICTURES_RUN_PLOT_H
#define LOOPBOX_WORKBENCH_PICTURES_RUN_PLOT_H

#include <string>
#include <vector>

#include "painting/plot.h"
#include "runtime/runtime.h"

namespace workbench {

class CRunPlot {
 public:
  // False with a message when the application has no regulator, or too many.
  bool Begin(const runtime::CApplication& application, std::string* error);
  // After each period.
  void Observe(const runtime::CApplication& application);
  // False with a message that names the file.
  bool Write(const std::string& fileName, std::string* error) const;

 private:
  painting::CPlot plot;
  std::vector<runtime::CInstrumentHandle> regulators;
  std::vector<double> values;  // of a period
};

}  // namespace workbench

#endif
