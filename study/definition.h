// What a `study` block says: what is varied, what is kept of each run, and what is
// required of it.
#ifndef LOOPBOX_STUDY_DEFINITION_H
#define LOOPBOX_STUDY_DEFINITION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "study/condition.h"

namespace study {

enum class ESampling : std::uint8_t { kRandom, kLatinHypercube, kGrid };
inline constexpr const char* kSamplings[] = {"random", "latin_hypercube", "grid"};

enum class EDistribution : std::uint8_t { kUniform, kNormal, kLogUniform, kList };
inline constexpr const char* kDistributions[] = {"uniform", "normal", "log_uniform", "list"};

// An initial value, a constant, or an entry of an instrument's definition.
struct TInput {
  std::string name;  // as runtime::TReadOptions::initialValues has it
  EDistribution distribution = EDistribution::kUniform;
  double first = 0.0;   // low; of a normal one the mean
  double second = 0.0;  // high; the deviation
  std::vector<std::string> list;
};

// A number that a run yields: a figure of a regulator's over the whole run, or what an
// element was at the ends of its periods.
struct TFigure {
  enum EKind : std::uint8_t { kOfInstrument, kFinal, kMin, kMax, kMean };

  std::string name;  // heater.iae, max(temperature)
  EKind kind = kFinal;
  runtime::TItem item;         // of an element
  std::size_t instrument = 0;  // else
  std::string figure;          // of the instrument

  bool operator==(const TFigure& other) const { return name == other.name; }
};

struct TDefinition {
  std::string name;
  std::uint64_t runs = 0;  // 0: not given
  std::uint64_t seed = 1;
  ESampling sampling = ESampling::kLatinHypercube;
  std::vector<TInput> inputs;
  // Those kept, in the order of the text, then those that are only required.
  std::vector<TFigure> figures;
  CCondition required;  // of the figures
};

}  // namespace study

#endif
