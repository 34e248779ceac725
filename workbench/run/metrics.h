// How well a regulator did over rows of its run, accumulated in constant memory. A
// row is the end of a period.
//
// Let T be the seconds between rows, w the wish, x the value, as their expressions
// give them before a pane cuts them, u the output that the pane shows, and e = w - x.
// Units: [x] that of the quantity, [u] that of the output.
//
//   final error    e of the last row                                     [x]
//   largest error  the largest |e|                                       [x]
//   mean error     the mean of |e|                                       [x]
//   IAE            sum of |e| T                                          [x] s
//   ISE            sum of e² T                                           [x]² s
//   output travel  sum of |u(k) - u(k-1)|; u(0) is what the output's element held
//                  before the run                                        [u]
//   limited        rows in which its pane showed another wish, or another value,
//                  times T                                               s
//   saturated      rows in which u was at an end of its pane's range, times T   s
//   switchings     rows in which a two-state output is another than in the row before
//   duty           share of the rows in which it was on                  %
//   outside band   rows in which x > w + plus or x < w - minus, times T  s, %
//   steps          rows with a plus step, with a minus step
//   valve travel   rows with a step, times T                             s
//
// Overshoot and settling belong to the last change of the wish within the rows; the
// run's first row counts as one, from its own x to w. A change begins at w0, the wish
// before it, and ends at w1. Changes in consecutive rows are one: w0 stays that before
// the first of them, and what follows is measured anew from each, so that a ramp
// counts from its end. Without a change, and while the wish moves, there is neither.
//
//   overshoot      the largest excursion of x beyond w1 since the change, in
//                  the direction of the change                           [x]
//                  and as a share of |w1 - w0|, but for the run's first row     %
//   settling       from the row of the change to the one from which |x - w1| stays
//                  within 2 % of |w1 - w0| to the last row               s
#ifndef LOOPBOX_WORKBENCH_RUN_METRICS_H
#define LOOPBOX_WORKBENCH_RUN_METRICS_H

#include <cstdint>
#include <optional>

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
  std::optional<double> outputBefore;  // in the row before; none: not known
  bool wishLimited = false;
  bool valueLimited = false;
  bool saturated = false;
  std::optional<TBand> band = {};
};

// What the wish does in a row.
struct TWishMotion {
  bool changes = false;
  bool moves = false;   // it changed in consecutive rows, and has not stood for ten since
  bool begins = false;  // the run's first row, which changes too
  double from = 0.0;    // w0
};

// Tells changes of the wish row by row. What differs by less than a billionth of the
// largest wish so far is the same: a regulator that sets another one's wish comes to
// rest by roundings.
class CWishFollower {
 public:
  TWishMotion Follow(double wish, double value);

 private:
  static constexpr std::uint64_t kStandingRows = 10;

  double standing = 0.0;  // since the last change
  double largest = 0.0;   // |wish|
  double from = 0.0;
  std::uint64_t rowsSinceChange = 0;  // with its own; 0: there was no row
  bool moves = false;
};

// None where there is none.
struct TFigures {
  std::optional<double> finalError, largestError, meanError, absoluteError, squaredError;
  std::optional<double> travel, overshoot, overshootPercent, settling;
  std::optional<double> wishLimited, valueLimited, saturated;  // seconds
  std::optional<double> outsideBand, outsideBandPercent;
  std::optional<double> switchings, duty;
  std::optional<double> plusSteps, minusSteps, valveTravel;
  bool responds = false;  // the wish changed, and stands
};

class CMetrics {
 public:
  void Feed(const TSample& sample, const TWishMotion& wish);
  // From here on the rows count as those of a wish that moves.
  void TakeAsMoving() { moves = true; }

  std::uint64_t Rows() const { return rows; }
  // Those of the kind; `rowSeconds` is T.
  TFigures Figures(ERegulatorKind kind, double rowSeconds) const;

 private:
  struct TResponse {
    double from = 0.0;  // w0
    double to = 0.0;    // w1
    double time = 0.0;  // seconds
    bool begins = false;
    double excursion = 0.0;         // beyond w1
    std::optional<double> settled;  // since when, seconds
  };

  void FollowResponse(const TSample& sample);
  void AddResponse(TFigures* figures) const;

  std::uint64_t rows = 0;
  double lastError = 0.0;
  double largestError = 0.0;
  double absoluteSum = 0.0;  // of |e|
  double squaredSum = 0.0;
  double travel = 0.0;
  std::uint64_t wishLimited = 0;  // rows
  std::uint64_t valueLimited = 0;
  std::uint64_t saturated = 0;
  std::uint64_t switchings = 0;
  std::uint64_t plusSteps = 0;   // rows with an output above 0
  std::uint64_t minusSteps = 0;  // below 0
  std::uint64_t outside = 0;
  bool bandKnown = false;
  bool moves = false;
  std::optional<TResponse> response;
};

}  // namespace workbench

#endif
