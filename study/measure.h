// What a run is measured by: the figures of its regulators come from who watches them.
#ifndef LOOPBOX_STUDY_MEASURE_H
#define LOOPBOX_STUDY_MEASURE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "study/definition.h"

namespace study {

class CMeasure {
 public:
  virtual ~CMeasure() = default;
  virtual void Observe() = 0;  // after each period
  // Of those asked for, by their place; NaN: it has none.
  virtual double Figure(std::size_t place) const = 0;
};

// What a study is read and run with. The plug-in outlives all that is read with it.
struct TSite {
  runtime::CPlugin& plugin;
  std::string program;  // its path
  // The figures that an instrument has over a run; none where it isn't a regulator.
  std::function<std::vector<std::string>(const runtime::CInstrumentHandle& instrument)> figures;
  // Made before the first period; the application outlives it. The figures are instruments'.
  std::function<std::unique_ptr<CMeasure>(const runtime::CApplication& application, const std::vector<TFigure>& asked)>
      measure;
};

}  // namespace study

#endif
