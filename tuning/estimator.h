// A model from what a run recorded: output-error fit of the continuous model, the same in open and in closed loop
// (Ljung, System Identification, 1999; variable projection after Golub and Pereyra, SIAM J. Numer. Anal. 10, 1973;
// Levenberg-Marquardt after Marquardt, 1963).
#ifndef LOOPBOX_TUNING_ESTIMATOR_H
#define LOOPBOX_TUNING_ESTIMATOR_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tuning/model.h"

namespace tuning {

// Rows at equal distances. input[k] acts from row k to row k + 1; output[k] is the value at row k.
// All three of one length.
struct TRecord {
  double period = 0;  // s
  std::vector<double> input;
  std::vector<double> output;
  std::vector<char> used;  // 0: this row's value isn't to be fitted (bad quality, a gap)
};

struct TEstimateOptions {
  std::uint64_t seed = 1;
  bool integrating = false;        // only models with eps = 0
  std::optional<bool> positive{};  // the gain's sign that the loop's direction asks for
};

// Standard deviations of the model's numbers; 0 for those that the order doesn't have.
struct TDeviations {
  double k = 0, kb = 0, L = 0, tau = 0, eps = 0, T3 = 0;
};

struct TEstimate {
  TModel model;
  TDeviations deviations;
  int order = 1;                            // 1; 2; 3: with a zero or a third lag; 4: with both
  double sigma = 0;                         // of the residuals, of all records together
  double gainTValue = 0;                    // of the gain, the other numbers given
  double inflation = 1;                     // 1 + 2 x the significant autocorrelations of the residuals
  std::vector<double> levels;               // the value at rest, one a record
  std::vector<double> sigmas;               // of the residuals, one a record
  std::vector<std::vector<double>> fitted;  // one a record, as long as it
  std::vector<TModel> set;                  // all models that the data don't rule out, the best one first; about 25
  // What speaks against the records: the part of a sum of squares that each explains; 0 where chance alone explains
  // as much, or where it moves the value by next to nothing. Anything above 0 is a disturbance.
  double loadStep = 0;   // a step at the input somewhere within
  double drift = 0;      // a ramp of the level
  double notAtRest = 0;  // an initial state that isn't rest
};

// Throws std::invalid_argument with a sentence where records hold no two levels of the input or of the value, too few
// rows, or numbers that are none.
TEstimate Estimate(const std::vector<TRecord>& records, const TEstimateOptions& options);

}  // namespace tuning

#endif
