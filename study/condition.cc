#include "study/condition.h"

namespace study {
namespace {

// What is missing makes no comparison true, not even that of unequal ones.
double Of(EStep step, double a, double b) {
  switch (step) {
    case EStep::kAdd:
      return a + b;
    case EStep::kSubtract:
      return a - b;
    case EStep::kMultiply:
      return a * b;
    case EStep::kDivide:
      return a / b;
    case EStep::kEqual:
      return a == b ? 1.0 : 0.0;
    case EStep::kUnequal:
      return a < b || a > b ? 1.0 : 0.0;
    case EStep::kLess:
      return a < b ? 1.0 : 0.0;
    case EStep::kLessOrEqual:
      return a <= b ? 1.0 : 0.0;
    case EStep::kGreater:
      return a > b ? 1.0 : 0.0;
    case EStep::kGreaterOrEqual:
      return a >= b ? 1.0 : 0.0;
    case EStep::kAnd:
      return a != 0.0 && b != 0.0 ? 1.0 : 0.0;
    default:
      return a != 0.0 || b != 0.0 ? 1.0 : 0.0;
  }
}

}  // namespace

bool CCondition::Holds(std::span<const double> figures) const {
  std::vector<double> stack;
  for (const TStep& next : steps) {
    switch (next.step) {
      case EStep::kNumber:
        stack.push_back(next.number);
        break;
      case EStep::kFigure:
        stack.push_back(figures[next.figure]);
        break;
      case EStep::kMinus:
        stack.back() = -stack.back();
        break;
      case EStep::kNot:
        stack.back() = stack.back() == 0.0 ? 1.0 : 0.0;
        break;
      default: {
        const double second = stack.back();
        stack.pop_back();
        stack.back() = Of(next.step, stack.back(), second);
      }
    }
  }
  return stack.back() != 0.0;
}

}  // namespace study
