// A condition on a run's figures: numbers, figures, arithmetic, comparisons, `and`,
// `or` and `not`, in the order in which a stack takes them.
#ifndef LOOPBOX_STUDY_CONDITION_H
#define LOOPBOX_STUDY_CONDITION_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace study {

enum class EStep : std::uint8_t {
  kNumber,
  kFigure,
  kMinus,  // of one
  kNot,
  kAdd,
  kSubtract,
  kMultiply,
  kDivide,
  kEqual,
  kUnequal,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
  kAnd,
  kOr,
};

class CCondition {
 public:
  void Add(EStep step) { steps.push_back({step, 0.0, 0}); }
  void AddNumber(double number) { steps.push_back({EStep::kNumber, number, 0}); }
  void AddFigure(std::size_t figure) { steps.push_back({EStep::kFigure, 0.0, figure}); }

  // Figures get other numbers: those at the places of their own.
  void Renumber(std::span<const std::size_t> numbers) {
    for (TStep& step : steps) {
      if (step.step == EStep::kFigure) step.figure = numbers[step.figure];
    }
  }

  bool IsGiven() const { return !steps.empty(); }
  // NaN stands for a figure that a run hasn't: a comparison with it doesn't hold.
  bool Holds(std::span<const double> figures) const;

 private:
  struct TStep {
    EStep step;
    double number;
    std::size_t figure;
  };
  std::vector<TStep> steps;
};

}  // namespace study

#endif
