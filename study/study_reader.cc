#include "study/study_reader.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "runtime/block_entries.h"
#include "study/figure_reading.h"
#include "study/sampling.h"

namespace study {
namespace {

using runtime::CBlockText;
using runtime::TBlockWord;

constexpr std::int64_t kMostRuns = 100'000'000;
constexpr std::int64_t kMostSeeds = std::int64_t{1} << 53;
constexpr std::size_t kMostInputs = 100;
constexpr std::size_t kMostListed = 1000;

struct TReadStudy {
  TDefinition& definition;
  CFigureReading figures;
};

// --- What is varied ---------------------------------------------------------------------

// Of a name that is no element's, an entry is told from a constant by its points.
std::string ExpectTarget(CBlockText& text) {
  const TBlockWord word = text.Peek();
  const runtime::CApplication& application = text.Application();
  for (std::size_t i = 0; i < application.ElementCount(); ++i) {
    if (application.Element(i).name != word.text) continue;
    const runtime::TItem item = text.ExpectItem();
    return application.Element(i).length == 0 ? word.text : word.text + "[" + std::to_string(item.item) + "]";
  }
  std::string name = text.ExpectName("the name of an element, a constant or an instrument");
  if (InstrumentNamed(application, name) == kNoInstrument) return name;
  text.Expect(".");
  name += "." + text.ExpectName("an entry of its definition");
  if (text.TakeIf(".")) name += "." + text.ExpectName("an entry of that block");
  return name;
}

// A number, or a word such as a kind of law.
std::string ExpectListed(CBlockText& text) {
  const TBlockWord word = text.Peek();
  if (word.kind != TBlockWord::kName) return NumberText(text.ExpectNumber());
  return text.ExpectName("a value");
}

void ReadList(CBlockText& text, TInput& input) {
  do {
    if (input.list.size() == kMostListed) text.Fail(text.Peek().offset, "more than 1000 values");
    input.list.push_back(ExpectListed(text));
  } while (text.TakeIf(","));
}

// Two numbers, and the second is at its place.
void ReadTwo(CBlockText& text, TInput& input) {
  const std::uint32_t first = text.Peek().offset;
  input.first = text.ExpectNumber();
  text.Expect(",");
  const std::uint32_t second = text.Peek().offset;
  input.second = text.ExpectNumber();
  const bool isNormal = input.distribution == EDistribution::kNormal;
  if (input.distribution == EDistribution::kLogUniform && !(input.first > 0.0))
    text.Fail(first, "expected a number above 0");
  if (isNormal && !(input.second > 0.0)) text.Fail(second, "expected a deviation above 0");
  if (!isNormal && !(input.second > input.first)) text.Fail(second, "expected a number above the one before");
}

void ReadVary(CBlockText& text, TReadStudy& read) {
  const std::uint32_t place = text.Peek().offset;
  TInput input;
  input.name = ExpectTarget(text);
  std::vector<TInput>& inputs = read.definition.inputs;
  if (std::any_of(inputs.begin(), inputs.end(), [&](const TInput& other) { return other.name == input.name; })) {
    text.Fail(place, "'" + input.name + "' is varied twice");
  }
  if (inputs.size() == kMostInputs) text.Fail(place, "more than 100 inputs");
  text.Expect("=");
  const std::string word = text.ExpectOneOf({std::begin(kDistributions), std::end(kDistributions)});
  const auto at = std::find(std::begin(kDistributions), std::end(kDistributions), word) - std::begin(kDistributions);
  input.distribution = static_cast<EDistribution>(at);
  text.Expect("(");
  if (input.distribution == EDistribution::kList) {
    ReadList(text, input);
  } else {
    ReadTwo(text, input);
  }
  text.Expect(")");
  inputs.push_back(std::move(input));
}

// --- The block ----------------------------------------------------------------------------

void ReadSampling(CBlockText& text, TReadStudy& read) {
  const std::string word = text.ExpectOneOf({std::begin(kSamplings), std::end(kSamplings)});
  const auto at = std::find(std::begin(kSamplings), std::end(kSamplings), word) - std::begin(kSamplings);
  read.definition.sampling = static_cast<ESampling>(at);
}

void ReadKeep(CBlockText& text, TReadStudy& read) {
  do {
    const std::uint32_t place = text.Peek().offset;
    TFigure figure = read.figures.ExpectFigure(text);
    std::vector<TFigure>& figures = read.definition.figures;
    if (std::find(figures.begin(), figures.end(), figure) != figures.end()) {
      text.Fail(place, "'" + figure.name + "' is kept twice");
    }
    figures.push_back(std::move(figure));
  } while (text.TakeIf(","));
}

void ReadRequired(CBlockText& text, TReadStudy& read) { read.figures.ReadCondition(text, &read.definition.required); }

constexpr runtime::TEntry<TReadStudy> kEntries[] = {
    {"runs",
     [](CBlockText& text, TReadStudy& read) {
       read.definition.runs = static_cast<std::uint64_t>(text.ExpectInteger(1, kMostRuns));
     }},
    {"seed",
     [](CBlockText& text, TReadStudy& read) {
       read.definition.seed = static_cast<std::uint64_t>(text.ExpectInteger(0, kMostSeeds));
     }},
    {"sampling", ReadSampling},
    {"vary", ReadVary, runtime::EEntryForm::kBlock},
    {"keep", ReadKeep, runtime::EEntryForm::kBlock},
    {"require", ReadRequired, runtime::EEntryForm::kFlag},
};

}  // namespace

void CStudyReader::Read(CBlockText& text) {
  const std::uint32_t place = text.Peek().offset;
  TDefinition definition;
  definition.name = text.ExpectName("the study's name");
  for (const TDefinition& other : definitions) {
    if (other.name == definition.name) text.Fail(place, "a second study '" + definition.name + "'");
  }
  TReadStudy read = {definition, CFigureReading(names)};
  const runtime::TPlaces places = ReadEntries(text, kEntries, "", read);
  runtime::Require(text, places, "vary", " …");
  runtime::Require(text, places, "keep", " …");
  read.figures.AddRequired(&definition);
  const std::string problem = ProblemOfRuns(definition);
  if (!problem.empty()) text.Fail(places.contains("runs") ? places.at("runs") : place, problem);
  definitions.push_back(std::move(definition));
}

}  // namespace study
