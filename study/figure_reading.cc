#include "study/figure_reading.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace study {

using runtime::CBlockText;
using runtime::TBlockWord;

namespace {

constexpr std::pair<std::string_view, TFigure::EKind> kOfElements[] = {
    {"final", TFigure::kFinal}, {"min", TFigure::kMin}, {"max", TFigure::kMax}, {"mean", TFigure::kMean}};

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
  if (!ReadOr(text)) text.Fail(place, "expected a condition, found a number");
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

bool CFigureReading::ReadOr(CBlockText& text) {
  const bool first = ReadAnd(text);
  while (text.TakeIf("or")) {
    const std::uint32_t place = text.LastOffset();
    ExpectBoth(text, place, first, ReadAnd(text), true);
    made->Add(EStep::kOr);
  }
  return first;
}

bool CFigureReading::ReadAnd(CBlockText& text) {
  const bool first = ReadNot(text);
  while (text.TakeIf("and")) {
    const std::uint32_t place = text.LastOffset();
    ExpectBoth(text, place, first, ReadNot(text), true);
    made->Add(EStep::kAnd);
  }
  return first;
}

bool CFigureReading::ReadNot(CBlockText& text) {
  if (!text.TakeIf("not")) return ReadComparison(text);
  const std::uint32_t place = text.LastOffset();
  if (!ReadNot(text)) text.Fail(place, "expected a condition, found a number");
  made->Add(EStep::kNot);
  return true;
}

bool CFigureReading::ReadComparison(CBlockText& text) {
  static constexpr std::pair<std::string_view, EStep> kComparisons[] = {
      {"<=", EStep::kLessOrEqual}, {">=", EStep::kGreaterOrEqual}, {"<", EStep::kLess},
      {">", EStep::kGreater},      {"==", EStep::kEqual},          {"!=", EStep::kUnequal}};
  const bool first = ReadSum(text);
  for (const auto& [spelling, step] : kComparisons) {
    if (!text.TakeIf(spelling)) continue;
    const std::uint32_t place = text.LastOffset();
    ExpectBoth(text, place, first, ReadSum(text), false);
    made->Add(step);
    return true;
  }
  return first;
}

bool CFigureReading::ReadSum(CBlockText& text) {
  const bool first = ReadProduct(text);
  for (;;) {
    const bool adds = text.TakeIf("+");
    if (!adds && !text.TakeIf("-")) return first;
    const std::uint32_t place = text.LastOffset();
    ExpectBoth(text, place, first, ReadProduct(text), false);
    made->Add(adds ? EStep::kAdd : EStep::kSubtract);
  }
}

bool CFigureReading::ReadProduct(CBlockText& text) {
  const bool first = ReadPrimary(text);
  for (;;) {
    const bool multiplies = text.TakeIf("*");
    if (!multiplies && !text.TakeIf("/")) return first;
    const std::uint32_t place = text.LastOffset();
    ExpectBoth(text, place, first, ReadPrimary(text), false);
    made->Add(multiplies ? EStep::kMultiply : EStep::kDivide);
  }
}

bool CFigureReading::ReadPrimary(CBlockText& text) {
  if (text.TakeIf("(")) {
    const bool isBoolean = ReadOr(text);
    text.Expect(")");
    return isBoolean;
  }
  if (text.TakeIf("-")) {
    const std::uint32_t place = text.LastOffset();
    if (ReadPrimary(text)) text.Fail(place, "expected a number");
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
