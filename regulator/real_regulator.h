// What every regulator with a continuous output needs: one real data element,
// limited to the range of the output's pane.
#ifndef LOOPBOX_REGULATOR_REAL_REGULATOR_H
#define LOOPBOX_REGULATOR_REAL_REGULATOR_H

#include <cmath>
#include <utility>

#include "regulator/calls.h"
#include "regulator/entries.h"
#include "regulator/regulator.h"

namespace loopbox {

class CRealRegulator : public CRegulator {
 public:
  explicit CRealRegulator(const TRegulatorTables& classTables);

  void EventArguments(double output, TEventArguments& arguments) const override;
  double EventOutput(const TEventArguments& arguments) const override;
  void WriteOutput(double output) override;

  // With `inverse`, an output in the class's own direction and the written one are
  // mirrored within the output pane's range: this leads from one to the other, both
  // ways. When the range is at the ends of what a double holds, the output stays as
  // it is.
  double Mirror(double output) const {
    if (!loop.inverse) return output;
    const double mirrored = (outputMeter->rangeTo + outputMeter->rangeFrom) - output;
    return std::isfinite(mirrored) ? mirrored : output;
  }
  // To the output pane's range, whichever of its ends is the higher one.
  double LimitOutput(double output) const {
    double low = outputMeter->rangeFrom;
    double high = outputMeter->rangeTo;
    if (!(high > low)) std::swap(low, high);
    if (output > high) return high;
    if (output < low) return low;
    return output;
  }

 protected:
  ~CRealRegulator() = default;
};

inline constexpr TKeywordRow kRealOutput = {Text<6>(gaugekit_::kwOUTPUT),
                                            OutputEntry<&CRegulator::outputElement, hx_expr::kReal>};

inline constexpr TEvents kRealEvents =
    Events({Text<11>(u"OnOutput__R"), Text<21>(u"OnOutput( &U : real )")},
           {Text<17>(u"OnOutputChange__R"), Text<27>(u"OnOutputChange( &U : real )")});

}  // namespace loopbox

#endif
