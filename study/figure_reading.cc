#include "study/figure_reading.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

namespace study {

using runtime::CBlockText;
using runtime::TBlockWord;

namespace {

constexpr std::pair<std::string_view, TFigure::EKind> kOfElements[] = {
    {"final", TFigure::kFinal}, {"min", TFigure::kMin}, {"max", TFigure::kMax}, {"mean", TFigure::kMean}};

constexpr int kMostNested = 200;  // parentheses, `not` and `-` inside one another

struct TOperator {
  std::string_view spelling;
  EStep step;
};
constexpr TOperator kOr[] = {{"or", EStep::kOr}};
constexpr TOperator kAnd[] = {{"and", EStep::kAnd}};
constexpr TOperator kCompare[] = {{"<=", EStep::kLessOrEqual}, {">=", EStep::kGreaterOrEqual}, {"<", EStep::kLess},
                                  {">", EStep::kGreater},      {"==", EStep::kEqual},          {"!=", EStep::kUnequal}};
constexpr TOperator kAdd[] = {{"+", EStep::kAdd}, {"-", EStep::kSubtract}};
constexpr TOperator kMultiply[] = {{"*", EStep::kMultiply}, {"/", EStep::kDivide}};
// From the loosest to the tightest. Those before the comparisons take conditions, the
// others numbers; `not` stands before a comparison.
constexpr std::span<const TOperator> kLevels[] = {kOr, kAnd, kCompare, kAdd, kMultiply};
constexpr std::size_t kComparisons = 2;

// Whether both sides of an operator are what it takes.
void ExpectBoth(CBlockText& text, std::uint32_t place, bool first, bool second, bool wanted) {
  if (first != wanted || second != wanted) {
    text.Fail(place, wanted ? "expected a condition on both sides" : "expected a number on both sides");
  }
}

}  // namespace

std::size_t InstrumentNamed(const runtime::CApplication& application, const std::string& name) {
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    if (application.Instrument(i).Name() == name) return i;
  }
  return kNoInstrument;
}

TFigure CFigureReading::ExpectFigure(CBlockText& text) {
  const std::uint32_t place = text.Peek().offset;
  const std::string word = text.ExpectName("a regulator's figure, or final, min, max or mean of an element");
  const runtime::CApplication& application = text.Application();
  TFigure figure;
  if (text.TakeIf("(")) {
    const auto* const found = std::find_if(std::begin(kOfElements), std::end(kOfElements),
                                           [&](const auto& known) { return known.first == word; });
    if (found == std::end(kOfElements)) {
      text.Fail(place, "expected final, min, max or mean" + CBlockText::MeantBy(word, {"final", "min", "max", "mean"}));
    }
    figure.kind = found->second;
    figure.item = text.ExpectItem();
    const runtime::TElement element = application.Element(figure.item.element);
    figure.name = word + "(" + element.name;
    if (element.length > 0) figure.name += "[" + std::to_string(figure.item.item) + "]";
    figure.name += ")";
    text.Expect(")");
    return figure;
  }
  figure.kind = TFigure::kOfInstrument;
  figure.instrument = InstrumentNamed(application, word);
  if (figure.instrument == kNoInstrument) {
    std::vector<std::string> known;
    for (std::size_t i = 0; i < application.InstrumentCount(); ++i) known.push_back(application.Instrument(i).Name());
    text.Fail(place, "there is no instrument '" + word + "'" + CBlockText::MeantBy(word, known));
  }
  text.Expect(".");
  const std::uint32_t placeOfFigure = text.Peek().offset;
  figure.figure = text.ExpectName("the name of a figure");
  const runtime::CInstrumentHandle instrument = application.Instrument(figure.instrument);
  const std::vector<std::string> known = names(instrument);
  if (std::find(known.begin(), known.end(), figure.figure) == known.end()) {
    text.Fail(placeOfFigure, "a " + instrument.ClassName() + " has no figure '" + figure.figure + "'" +
                                 CBlockText::MeantBy(figure.figure, known));
  }
  figure.name = word + "." + figure.figure;
  return figure;
}

// --- The condition -------------------------------------------------------------------------

void CFigureReading::ReadCondition(CBlockText& text, CCondition* condition) {
  made = condition;
  const std::uint32_t place = text.Peek().offset;
  if (!ReadLevel(text, 0)) text.Fail(place, "expected a condition, found a number");
}

void CFigureReading::AddRequired(TDefinition* definition) {
  std::vector<std::size_t> places;
  for (TFigure& figure : required) {
    auto& figures = definition->figures;
    const auto found = std::find(figures.begin(), figures.end(), figure);
    places.push_back(static_cast<std::size_t>(found - figures.begin()));
    if (found == figures.end()) figures.push_back(std::move(figure));
  }
  definition->required.Renumber(places);
}

// Operators between operands of the next level. Whether what was read is a condition.
bool CFigureReading::ReadLevel(CBlockText& text, std::size_t level) {
  if (level == std::size(kLevels)) return ReadPrimary(text);
  if (level == kComparisons && text.TakeIf("not")) {
    const std::uint32_t place = text.LastOffset();
    Nest(text, place);
    if (!ReadLevel(text, level)) text.Fail(place, "expected a condition, found a number");
    --nesting;
    made->Add(EStep::kNot);
    return true;
  }
  const bool first = ReadLevel(text, level + 1);
  for (;;) {
    const std::span<const TOperator> operators = kLevels[level];
    const auto taken = std::find_if(operators.begin(), operators.end(),
                                    [&text](const TOperator& known) { return text.TakeIf(known.spelling); });
    if (taken == operators.end()) return first;
    const std::uint32_t place = text.LastOffset();
    ExpectBoth(text, place, first, ReadLevel(text, level + 1), level < kComparisons);
    made->Add(taken->step);
    if (level == kComparisons) return true;
  }
}

void CFigureReading::Nest(CBlockText& text, std::uint32_t place) {
  if (++nesting > kMostNested) text.Fail(place, "expression nested too deeply");
}

bool CFigureReading::ReadPrimary(CBlockText& text) {
  if (text.TakeIf("(")) {
    Nest(text, text.LastOffset());
    const bool isCondition = ReadLevel(text, 0);
    text.Expect(")");
    --nesting;
    return isCondition;
  }
  if (text.TakeIf("-")) {
    const std::uint32_t place = text.LastOffset();
    Nest(text, place);
    if (ReadPrimary(text)) text.Fail(place, "expected a number");
    --nesting;
    made->Add(EStep::kMinus);
    return false;
  }
  const TBlockWord word = text.Peek();
  const bool isOfElement = std::any_of(std::begin(kOfElements), std::end(kOfElements),
                                       [&](const auto& known) { return known.first == word.text; });
  if (word.kind == TBlockWord::kName &&
      (isOfElement || InstrumentNamed(text.Application(), word.text) != kNoInstrument)) {
    const TFigure figure = ExpectFigure(text);
    auto found = std::find(required.begin(), required.end(), figure);
    if (found == required.end()) found = required.insert(found, figure);
    made->AddFigure(static_cast<std::size_t>(found - required.begin()));
    return false;
  }
  made->AddNumber(text.ExpectNumber());  // or a constant
  return false;
}

}  // namespace study
