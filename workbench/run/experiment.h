// An experiment on one loop: its output is taken for a while, and what the value does is
// recorded. It knows no instrument and no clock: after each period it hears what the
// loop did, and says what the output is from the next one on.
//
//   rest    the loop regulates until nothing drifts; one that is in hand rests already
//   hold    the output stays: the value's noise is measured, and where it stands
//   relay   the output is the amplitude above or below that, on the side that brings
//           the value back to where it stood, by a relay with a hysteresis of 3 sigma
//           (Åström, Hägglund, Automatica 20, 1984); so many cycles or rows
//   step    the output is the amplitude above until the value is steady, or half of the
//           time is over; then back until it is steady
//   return  the output is what it was before, and then the loop's, which goes on from
//           there
#ifndef LOOPBOX_WORKBENCH_RUN_EXPERIMENT_H
#define LOOPBOX_WORKBENCH_RUN_EXPERIMENT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace workbench {

struct TExperimentPlan {
  static constexpr std::uint64_t kLeastPeriods = 60;  // in `longest`

  bool isRelay = true;
  double amplitude = 0.0;  // of the output, not 0; negative: the other way first
  double low = 0.0;        // the bound on the value
  double high = 0.0;
  double longest = 0.0;    // seconds, of the rest and again of all behind it
  std::uint64_t rows = 0;  // that a relay is to have; 0: 20 cycles
  double period = 0.0;     // seconds
  bool raises = true;      // whether a higher output raises the value
  double outputLow = 0.0;  // the output's range
  double outputHigh = 0.0;
  std::string valueUnit;  // of the sentences
  std::string outputUnit;
};

class CExperiment {
 public:
  explicit CExperiment(TExperimentPlan thePlan) : plan(std::move(thePlan)) {}

  struct THeard {
    double value = 0.0;
    double output = 0.0;       // that acts until the next period
    bool regulates = true;     // false: the loop is in hand
    std::uint64_t passed = 1;  // periods since the one before; those between were left out
  };
  // After each period. Yields what the output tracks from the next one on; none: it is
  // the loop's own.
  std::optional<double> Follow(const THeard& heard);
  // The output is given back from the next period on: why, as the end of "the experiment
  // ended …".
  void Abort(const std::string& why);

  // Whether the period heard last belongs into the record.
  bool IsRecorded() const { return isRecorded; }
  bool IsOver() const { return phase == EPhase::kOver; }
  // Whether it came to its end, and how it ended, in a sentence.
  bool IsWhole() const { return isWhole; }
  const std::string& Ending() const { return ending; }

 private:
  enum class EPhase { kRest, kHold, kActs, kReturn, kOver };

  // Sums of values from the first to each, for means of any part.
  struct TSums {
    std::vector<double> values{0.0};

    void Add(double value) { values.push_back(values.back() + value); }
    std::size_t Count() const { return values.size() - 1; }
    // Of the third and the last quarter of what came since `from`.
    double ThirdQuarter(std::size_t from) const;
    double LastQuarter(std::size_t from) const;
  };

  void Rest(const THeard& heard);
  void Hold(const THeard& heard);
  void Act(const THeard& heard);
  void ActByRelay(double value);
  void ActByStep();
  // The output is so much above its base from the next period on; an answer of less than
  // that is none.
  void Step(double to, double from, double answer);
  bool IsAtRest() const;
  bool IsSteady() const;
  bool LeavesBound(double value);
  void BeginHold(double output);
  void End(bool whole, const std::string& how);
  double Elapsed() const { return static_cast<double>(passed) * plan.period; }

  TExperimentPlan plan;
  EPhase phase = EPhase::kRest;
  bool isRecorded = false;
  bool isWhole = false;
  std::string ending;
  std::uint64_t periods = 0;  // of the rest, then of all behind it
  std::uint64_t passed = 0;   // the same, with those that were left out
  TSums values;               // of the rest, then of all behind it
  TSums outputs;
  std::optional<double> before;  // the value a period ago
  double base = 0.0;             // the output to which it returns
  double centre = 0.0;           // the value there
  double sigma = 0.0;            // of its noise
  double level = 0.0;            // added to the base
  std::uint64_t switchings = 0;  // of the relay
  std::size_t since = 0;         // periods before the step
  double start = 0.0;            // the value there
  double leastAnswer = 0.0;
  std::uint64_t returned = 0;  // periods
};

}  // namespace workbench

#endif
