// How well a regulator did, accumulated period by period in constant memory.
//
// Let T be the period in seconds, w the wish, x the value, u the output (what
// the panes show at the end of a period) and e = w - x. Units: [x] that of the
// quantity, [u] that of the output.
//
//   final error    e of the last period                                  [x]
//   IAE            sum of |e| T                                          [x] s
//   ISE            sum of e² T                                           [x]² s
//   output travel  sum of |u(k) - u(k-1)|                                [u]
//   switchings     periods in which a two-state output changed
//   duty           share of the periods in which it was on               %
//   outside band   time in which x > w + plus or x < w - minus           s, %
//   steps          periods with a plus step, with a minus step
//   valve travel   periods with a step, times T                          s
//
// Overshoot and settling belong to the last change of the wish, or to the
// start of the run when the wish never changed. A change begins at w0, the wish
// before it, and ends at w1. A wish that changes in consecutive periods is one
// change: w0 stays that before the first of them, and what follows is measured
// anew from each, so that a ramp counts from its end.
//
//   overshoot      the largest excursion of x beyond w1 since the change, in
//                  the direction of the change; as a share of |w1 - w0|  %
//                  At the start there is no w0: the direction is from the first
//                  x to w, and the excursion is given as it is           [x]
//   settling time  from the change to the moment from which |x - w1| stays
//                  within 2 % of |w1 - w0| (at the start: of w less the first
//                  x) to the end of the run; none when the last period is
//                  outside                                               s
#ifndef LOOPBOX_WORKBENCH_RUN_SUMMARY_H
#define LOOPBOX_WORKBENCH_RUN_SUMMARY_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace workbench {

enum class ERegulatorKind { kContinuous, kTwoState, kIncremental };

struct TBand {
  double plus;   // above the wish
  double minus;  // below the wish
};

struct TSample {
  double time;  // seconds
  double wish;
  double value;
  double output;
  std::optional<TBand> band;
};

struct TOvershoot {
  double amount;
  bool isShare;  // in % of the change; else in the quantity's unit
};

class CRegulatorSummary {
 public:
  explicit CRegulatorSummary(double periodSeconds) : period(periodSeconds) {}

  // Once a period, at its end.
  void Feed(const TSample& sample);

  std::uint64_t Periods() const { return periods; }
  double FinalError() const { return last.wish - last.value; }
  double AbsoluteError() const { return absoluteError; }
  double SquaredError() const { return squaredError; }
  TOvershoot Overshoot() const;
  std::optional<double> SettlingTime() const;  // seconds
  double OutputTravel() const { return outputTravel; }

  std::uint64_t Switchings() const { return switchings; }
  double Duty() const { return Share(plusSteps); }
  // None when the band is not known.
  std::optional<double> OutsideBand() const;       // seconds
  std::optional<double> OutsideBandShare() const;  // %

  std::uint64_t PlusSteps() const { return plusSteps; }
  std::uint64_t MinusSteps() const { return minusSteps; }
  double ValveTravel() const { return static_cast<double>(plusSteps + minusSteps) * period; }

 private:
  void FollowWish(const TSample& sample);
  void FollowValue(const TSample& sample);
  double Share(std::uint64_t part) const;

  double period;
  std::uint64_t periods = 0;
  TSample last{};

  double absoluteError = 0.0;
  double squaredError = 0.0;
  double outputTravel = 0.0;
  std::uint64_t switchings = 0;
  std::uint64_t plusSteps = 0;   // periods with an output above 0
  std::uint64_t minusSteps = 0;  // below 0
  std::uint64_t outsidePeriods = 0;
  bool bandKnown = false;

  double changeFrom = 0.0;        // w0, at the start the first value
  double changeTo = 0.0;          // w1
  double changeTime = 0.0;        // seconds
  bool wishChanged = false;       // ever
  bool wishChangedJust = false;   // in the period before
  double excursion = 0.0;         // beyond w1
  std::optional<double> settled;  // since when, seconds
};

// The rows of a regulator for the summary's table: labels and numbers in turn.
struct TRegulatorReport {
  ERegulatorKind kind;
  std::string quantityUnit;
  std::string outputUnit;
  std::uint64_t wishLimited;  // periods in which a pane limited it
  std::uint64_t valueLimited;
};
std::vector<std::vector<std::string>> ReportRows(const CRegulatorSummary& summary, const TRegulatorReport& report);

}  // namespace workbench

#endif
